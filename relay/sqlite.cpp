#include "relay/sqlite.h"

#include "relay/store.h"

#include <sqlite3.h>

#include <thread>

namespace sorrelwind::relay {

namespace {

[[noreturn]] void fail(sqlite3* handle) {
    throw StoreError(std::string("the database failed: ") + sqlite3_errmsg(handle));
}

} // namespace

void Database::Close::operator()(sqlite3* handle) const {
    sqlite3_close_v2(handle);
}

Database::Database(const std::string& path) {
    sqlite3* handle = nullptr;
    const int result =
        sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    m_handle.reset(handle);
    if (result != SQLITE_OK)
        fail(handle);
    sqlite3_busy_timeout(handle, 1000);
}

void Database::hurry() {
    m_patience = std::make_unique<Patience>();
    sqlite3_busy_handler(handle(), &Database::wait, m_patience.get());
}

int Database::wait(void* data, int attempts) {
    using namespace std::chrono_literals;
    auto& patience = *static_cast<Patience*>(data);
    const auto now = std::chrono::steady_clock::now();
    if (attempts == 0)
        patience.end = now < patience.back ? now : now + kLockTime;
    if (now >= patience.end) {
        patience.back = now + 1s;
        return 0;
    }
    std::this_thread::sleep_for(2ms);
    return 1;
}

void Database::run(const char* sql) {
    if (sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(handle());
}

std::int64_t Database::integer(const char* sql) {
    Statement statement(*this, sql);
    Query query(statement);
    return query.next() ? query.integer(0) : 0;
}

int Database::changes() const {
    return sqlite3_changes(handle());
}

Statement::Statement(Database& database, std::string_view sql) {
    sqlite3_stmt* handle = nullptr;
    const int result = sqlite3_prepare_v3(database.handle(), sql.data(),
                                          static_cast<int>(sql.size()), 0, &handle, nullptr);
    m_handle.reset(handle);
    if (result != SQLITE_OK)
        fail(database.handle());
}

void Statement::Finalize::operator()(sqlite3_stmt* handle) const {
    sqlite3_finalize(handle);
}

Query::~Query() {
    sqlite3_reset(m_handle);
    sqlite3_clear_bindings(m_handle);
}

void Query::check(int result) const {
    if (result != SQLITE_OK)
        fail(sqlite3_db_handle(m_handle));
}

bool Query::next() {
    const int result = sqlite3_step(m_handle);
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        fail(sqlite3_db_handle(m_handle));
    return result == SQLITE_ROW;
}

std::int64_t Query::integer(int column) const {
    return sqlite3_column_int64(m_handle, column);
}

std::string Query::text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(m_handle, column));
    if (text == nullptr)
        return {};
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(m_handle, column))};
}

// The bound values outlive the query: they are arguments of the store's operation.

void Query::bind(std::int64_t value) {
    check(sqlite3_bind_int64(m_handle, ++m_bound, value));
}

void Query::bind(std::string_view value) {
    check(sqlite3_bind_text(m_handle, ++m_bound, value.data(), static_cast<int>(value.size()),
                            SQLITE_STATIC));
}

void Query::bind(const std::array<unsigned char, 32>& value) {
    check(sqlite3_bind_blob(m_handle, ++m_bound, value.data(), static_cast<int>(value.size()),
                            SQLITE_STATIC));
}

Transaction::Transaction(Database& database) : m_database(database) {
    m_database.run("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    // After some failures SQLite has rolled back by itself; that it says so again is no news.
    if (m_open)
        sqlite3_exec(m_database.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
    m_database.run("COMMIT");
    m_open = false;
}

} // namespace sorrelwind::relay

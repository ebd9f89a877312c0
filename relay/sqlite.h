#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace sorrelwind::relay {

/// A connection to one SQLite file. Failures of it and of its statements throw StoreError.
class Database {
public:
    static constexpr std::chrono::milliseconds kLockTime{100};

    explicit Database(const std::string& path);

    /// From now on a statement waits for another process's lock for `kLockTime` at most, and none
    /// waits at all in the second after one that waited in vain.
    void hurry();
    /// Runs SQL without parameters and without results.
    void run(const char* sql);
    [[nodiscard]] std::int64_t integer(const char* sql);
    /// Rows changed by the last statement.
    [[nodiscard]] int changes() const;
    [[nodiscard]] sqlite3* handle() const { return m_handle.get(); }

private:
    struct Close {
        void operator()(sqlite3* handle) const;
    };
    struct Patience {
        std::chrono::steady_clock::time_point end, back;
    };
    static int wait(void* patience, int attempts);

    std::unique_ptr<Patience> m_patience; ///< SQLite has its address
    std::unique_ptr<sqlite3, Close> m_handle;
};

/// A prepared statement, kept by the store and run through `Query`.
class Statement {
public:
    Statement(Database& database, std::string_view sql);

private:
    friend class Query;
    struct Finalize {
        void operator()(sqlite3_stmt* handle) const;
    };
    std::unique_ptr<sqlite3_stmt, Finalize> m_handle;
};

/// One run of a statement; its end resets the statement, so that no read stays open.
class Query {
public:
    template <class... Values>
    explicit Query(Statement& statement, const Values&... values)
        : m_handle(statement.m_handle.get()) {
        (bind(values), ...);
    }
    ~Query();
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    /// Steps to the next row; false after the last one.
    bool next();
    void run() {
        while (next()) {
        }
    }
    [[nodiscard]] std::int64_t integer(int column) const;
    [[nodiscard]] std::string text(int column) const;

private:
    void bind(std::int64_t value);
    void bind(std::string_view value);
    void bind(const std::array<unsigned char, 32>& value);
    void check(int result) const;

    sqlite3_stmt* m_handle;
    int m_bound = 0;
};

/// Rolled back unless committed.
class Transaction {
public:
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

private:
    Database& m_database;
    bool m_open = true;
};

} // namespace sorrelwind::relay

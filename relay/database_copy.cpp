#include "relay/database_copy.h"

#include "relay/sqlite_store.h"
#include "relay/state_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace sorrelwind::relay {

namespace {

namespace fs = std::filesystem;

constexpr auto kServiceDirectory = "/var/lib/sorrelwind-hub";

[[noreturn]] void fail(const fs::path& path, const char* what) {
    throw StoreError(std::string(what) + ' ' + path.string() + ": " + std::strerror(errno));
}

/// A new file beside the one whose place it is to take; gone at the end if it has not.
class Replacement {
public:
    explicit Replacement(const fs::path& target)
        : m_target(target), m_path(target.string() + ".XXXXXX"),
          m_file(::mkostemp(m_path.data(), O_CLOEXEC)) {
        if (m_file < 0)
            fail(target, "cannot write");
    }
    ~Replacement() {
        ::close(m_file);
        if (!m_done)
            ::unlink(m_path.c_str());
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    [[nodiscard]] const std::string& path() const { return m_path; }
    void belongTo(const struct stat& owner) const {
        if (::geteuid() == 0 && ::fchown(m_file, owner.st_uid, owner.st_gid) != 0)
            fail(m_path, "cannot change the owner of");
    }
    void take() {
        const auto folder = m_target.has_parent_path() ? m_target.parent_path() : ".";
        if (::fsync(m_file) != 0 || ::rename(m_path.c_str(), m_target.c_str()) != 0)
            fail(m_target, "cannot write");
        m_done = true;
        const int entry = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::fsync(entry);
        ::close(entry);
    }

private:
    fs::path m_target;
    std::string m_path;
    int m_file;
    bool m_done = false;
};

/// Fills `to`, an empty file, with what `from` holds at this moment.
void copyWhole(const fs::path& from, const std::string& to) {
    if (::access(from.c_str(), R_OK) != 0)
        fail(from, "cannot read");
    Database source(from);
    if (source.integer("PRAGMA user_version") < 1)
        throw StoreError(from.string() + " is no database of a hub");
    Statement copy(source, "VACUUM INTO ?");
    Query(copy, to).run();
}

void backUp(const fs::path& data, const fs::path& file) {
    const auto database = data / "hub.db";
    if (::access(database.c_str(), F_OK) != 0 && errno == ENOENT)
        throw StoreError("there is no " + database.string() +
                         ": name the hub's folder with --data DIR");
    std::error_code missing;
    if (fs::equivalent(database, file, missing))
        throw StoreError(file.string() + " is the database itself: name another file");
    Replacement copy(file);
    copyWhole(database, copy.path());
    copy.take();
    std::cout << database.string() << " was copied to " << file.string() << std::endl;
}

void restore(const fs::path& data, const fs::path& file) {
    const StateDirectory directory(data);
    const auto database = directory.database();
    struct stat folder {};
    if (::stat(data.c_str(), &folder) != 0)
        fail(data, "cannot use the directory");
    // Where there was none, an empty one stays if the file is refused.
    if (::geteuid() == 0 && ::lchown(database.c_str(), folder.st_uid, folder.st_gid) != 0)
        fail(database, "cannot change the owner of");
    Replacement copy(database);
    copyWhole(file, copy.path());
    (void)SqliteStore(copy.path()); // throws where a hub would
    copy.belongTo(folder);
    try {
        // What is in its log goes into the old file, so that no log is left for the new one.
        Database(database).run("PRAGMA wal_checkpoint(TRUNCATE)");
    } catch (const StoreError&) { // it may be broken, which is why it is replaced
    }
    for (const auto* log : {"-wal", "-shm"})
        fs::remove(database.string() + log);
    copy.take();
    std::cout << file.string() << " was restored to " << database.string() << std::endl;
}

} // namespace

fs::path directoryInUse() {
    const auto usual = defaultStateDirectory();
    const fs::path service(kServiceDirectory);
    std::error_code hidden;
    return !fs::exists(usual / "hub.db", hidden) && fs::exists(service, hidden) ? service : usual;
}

void copyDatabase(const CopyOptions& options) {
    if (options.restores)
        restore(options.data, options.file);
    else
        backUp(options.data, options.file);
}

} // namespace sorrelwind::relay

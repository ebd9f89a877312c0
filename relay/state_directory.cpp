#include "relay/state_directory.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

namespace {

[[noreturn]] void fail(const std::filesystem::path& path, const char* what) {
    const char* reason = std::strerror(errno);
    throw OptionError(std::string(what) + ' ' + path.string() + ": " + reason);
}

void make(const std::filesystem::path& path) {
    if (path.empty() || std::filesystem::is_directory(path))
        return;
    make(path.parent_path());
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        fail(path, "cannot make the directory");
}

} // namespace

std::filesystem::path defaultStateDirectory() {
    if (const char* given = std::getenv("STATE_DIRECTORY"); given != nullptr && *given != '\0') {
        const std::string_view list(given);
        return list.substr(0, list.find(':'));
    }
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0') {
        const passwd* user = ::getpwuid(::getuid());
        home = user == nullptr ? "/" : user->pw_dir;
    }
    return std::filesystem::path(home) / ".local/state/sorrelwind-hub";
}

StateDirectory::StateDirectory(const std::filesystem::path& path) : m_path(path) {
    make(path.has_filename() ? path : path.parent_path());
    m_folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_folder < 0)
        fail(path, "cannot use the directory");
    // The folder carries the lock: closing a second descriptor of hub.db itself would drop
    // SQLite's own locks on it.
    if (::flock(m_folder, LOCK_EX | LOCK_NB) != 0) {
        ::close(m_folder);
        throw StartError("another sorrelwind-hub uses the directory " + path.string());
    }
    const int file = ::openat(m_folder, "hub.db", O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file < 0 || ::fchmod(file, 0600) != 0) {
        const int reason = errno;
        if (file >= 0)
            ::close(file);
        ::close(m_folder);
        errno = reason;
        fail(database(), "cannot use the database");
    }
    ::close(file);
}

void StateDirectory::check(const std::filesystem::path& path) {
    auto folder = std::filesystem::absolute(path);
    while (::access(folder.c_str(), F_OK) != 0 && errno == ENOENT && folder.has_relative_path())
        folder = folder.parent_path();
    if (::access((folder / ".").c_str(), R_OK | W_OK | X_OK) != 0)
        fail(folder, "cannot use the directory");
    const auto database = path / "hub.db";
    if (::access(database.c_str(), F_OK) != 0)
        return;
    if (::access(database.c_str(), R_OK | W_OK) != 0)
        fail(database, "cannot use the database");
    constexpr std::string_view kHead("SQLite format 3\0", 16);
    std::string head(kHead.size(), ' ');
    std::ifstream file(database, std::ios::binary);
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    if (file.gcount() != 0 && head != kHead)
        throw OptionError(database.string() + " is no database");
}

StateDirectory::~StateDirectory() {
    ::close(m_folder);
}

} // namespace sorrelwind::relay

#pragma once

#include <QString>

#include <optional>

namespace sorrelwind {

/// An exclusive flock(2) on a file, made with mode 0600 and left in place; the kernel lets go of it
/// when the process ends, however it ends.
class FileLock {
public:
    /// None when another process holds it, or the file cannot be made.
    [[nodiscard]] static std::optional<FileLock> tryLock(const QString& path);

    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&&) = delete;
    ~FileLock();

private:
    explicit FileLock(int fd) : m_fd(fd) {}
    int m_fd;
};

} // namespace sorrelwind

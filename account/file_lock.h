#pragma once

#include "base/l10n.h"
#include "base/result.h"

#include <QString>

namespace sorrelwind {

/// An exclusive flock(2) on a file, made with mode 0600 and left in place; the kernel lets go of it
/// when the process ends, however it ends.
class FileLock {
public:
    /// The error is an errno value: EWOULDBLOCK when another process holds the lock.
    [[nodiscard]] static Result<FileLock, int> tryLock(const QString& path);

    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&&) = delete;
    ~FileLock();

private:
    explicit FileLock(int fd) : m_fd(fd) {}
    int m_fd;
};

/// What to tell the user when a lock in `dir` failed with another error than EWOULDBLOCK.
[[nodiscard]] Sentence lockSentence(const QString& dir, int error);

} // namespace sorrelwind

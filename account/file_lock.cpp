#include "account/file_lock.h"

#include <QFile>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <utility>

namespace sorrelwind {

std::optional<FileLock> FileLock::tryLock(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        return std::nullopt;
    FileLock lock(fd);
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0)
        return std::nullopt;
    return lock;
}

FileLock::FileLock(FileLock&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

FileLock::~FileLock() {
    if (m_fd >= 0)
        ::close(m_fd);
}

} // namespace sorrelwind

#include "account/file_lock.h"

#include "base/system_reason.h"

#include <QFile>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace sorrelwind {

Result<FileLock, int> FileLock::tryLock(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        return failure(errno);
    FileLock lock(fd);
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0)
        return failure(errno);
    return lock;
}

FileLock::FileLock(FileLock&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

FileLock::~FileLock() {
    if (m_fd >= 0)
        ::close(m_fd);
}

Sentence lockSentence(const QString& dir, int error) {
    return Sentence::of(u"%1 中的文件无法锁定：%2。请检查它们属于谁。",
                        u"The files in %1 cannot be locked: %2. Check whom they belong to.")
        .arg(dir, systemReason(error));
}

} // namespace sorrelwind

#include "clipboard/pipe_read.h"

#include <QSocketNotifier>

#include <cerrno>
#include <fcntl.h>
#include <utility>

namespace sorrelwind {
namespace {

using namespace std::chrono_literals;

/// A program that writes ever so little before each deadline is given up after this time.
constexpr auto kLongestTransfer = 60s;
constexpr qsizetype kPiece = qsizetype{64} * 1024;
/// Pieces taken before the rest of the program gets its turn.
constexpr int kMaxPiecesAtOnce = 16;

} // namespace

PipeRead::PipeRead(std::chrono::milliseconds patience) {
    m_stalled.setSingleShot(true);
    m_stalled.setInterval(patience);
    connect(&m_stalled, &QTimer::timeout, this, [this] {
        // A deadline that has passed proves nothing before this: perhaps it was this program that
        // was held up.
        read();
        if (m_pipe.get() >= 0 && !m_stalled.isActive()) {
            fail(QStringLiteral("its owner does not answer"));
        }
    });
}

PipeRead::~PipeRead() = default;

Result<FileDescriptor, QString> PipeRead::start(qint64 limit) {
    cancel();
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return failure(QStringLiteral("there is no pipe for it"));
    }
    m_pipe = FileDescriptor(ends[0]);
    FileDescriptor forTheOther(ends[1]);
    // Only this end: most programs cannot write into a pipe that does not block.
    ::fcntl(m_pipe.get(), F_SETFL, O_RDONLY | O_NONBLOCK);
    m_limit = limit;
    m_end.setRemainingTime(kLongestTransfer);
    m_readable = std::make_unique<QSocketNotifier>(m_pipe.get(), QSocketNotifier::Read);
    connect(m_readable.get(), &QSocketNotifier::activated, this, &PipeRead::read);
    m_stalled.start();
    return forTheOther;
}

void PipeRead::cancel() {
    m_stalled.stop();
    if (m_readable) {
        m_readable->setEnabled(false);
        m_readable.release()->deleteLater(); // perhaps it is calling
    }
    m_pipe.reset();
    m_bytes = {};
}

void PipeRead::read() {
    for (int pieces = 0; pieces < kMaxPiecesAtOnce; ++pieces) {
        const qsizetype before = m_bytes.size();
        m_bytes.resize(before + kPiece);
        const ssize_t size = ::read(m_pipe.get(), m_bytes.data() + before, kPiece);
        const int error = errno;
        m_bytes.truncate(before + std::max<qsizetype>(size, 0));
        if (size == 0) {
            const QByteArray bytes = std::exchange(m_bytes, {});
            cancel();
            Q_EMIT finished(bytes);
            return;
        }
        if (size < 0) {
            if (error != EAGAIN && error != EINTR) {
                fail(QStringLiteral("its transfer breaks off"));
            }
            return;
        }
        m_stalled.start();
        if (m_bytes.size() > m_limit) {
            fail(QStringLiteral("it is too large"), true);
            return;
        }
        if (m_end.hasExpired()) {
            fail(QStringLiteral("its owner is too slow"));
            return;
        }
    }
}

void PipeRead::fail(const QString& problem, bool tooLarge) {
    cancel();
    Q_EMIT failed(problem, tooLarge);
}

} // namespace sorrelwind

#include "clipboard/pipe_writes.h"

#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

namespace sorrelwind {
namespace {

constexpr qsizetype kMaxTransfers = 64;
/// More than a pipe usually takes at once.
constexpr qsizetype kPiece = qsizetype{256} * 1024;

/// One pipe; deletes itself when it is done with.
class PipeWrite final : public QObject {
public:
    PipeWrite(FileDescriptor pipe, const QByteArray& bytes, std::chrono::milliseconds patience,
              QObject* parent)
        : QObject(parent), m_pipe(std::move(pipe)), m_bytes(bytes),
          m_writable(m_pipe.get(), QSocketNotifier::Write) {
        m_stalled.setSingleShot(true);
        m_stalled.setInterval(patience);
        connect(&m_stalled, &QTimer::timeout, this, [this] {
            write(); // perhaps it was this program that was held up
            if (!m_stalled.isActive()) {
                end();
            }
        });
        connect(&m_writable, &QSocketNotifier::activated, this, &PipeWrite::write);
        m_stalled.start();
    }

private:
    void write() {
        const qsizetype left = std::min(kPiece, m_bytes.size() - m_sent);
        const ssize_t size = ::write(m_pipe.get(), m_bytes.constData() + m_sent, left);
        if (size < 0) {
            if (errno != EAGAIN && errno != EINTR) {
                end();
            }
            return;
        }
        m_sent += size;
        m_stalled.start();
        if (m_sent == m_bytes.size()) {
            end();
        }
    }

    void end() {
        m_stalled.stop();
        m_writable.setEnabled(false);
        m_pipe.reset(); // the reader waits for it
        m_bytes.clear();
        deleteLater();
    }

    FileDescriptor m_pipe;
    QByteArray m_bytes;
    qsizetype m_sent = 0;
    QSocketNotifier m_writable;
    QTimer m_stalled;
};

} // namespace

void PipeWrites::add(FileDescriptor pipe, const QByteArray& bytes) {
    const int flags = ::fcntl(pipe.get(), F_GETFL);
    if (flags < 0 || ::fcntl(pipe.get(), F_SETFL, flags | O_NONBLOCK) != 0 ||
        children().size() >= kMaxTransfers) {
        return;
    }
    new PipeWrite(std::move(pipe), bytes, m_patience, this);
}

} // namespace sorrelwind

#pragma once

#include "base/result.h"
#include "clipboard/file_descriptor.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <memory>

class QSocketNotifier;

namespace sorrelwind {

/// Takes what another program writes into a pipe, up to its end, on the main loop. One that writes
/// nothing for a while, dribbles for a minute, or never ends is given up. One transfer at a time;
/// owned by whoever asked for the data.
class PipeRead final : public QObject {
    Q_OBJECT
public:
    explicit PipeRead(std::chrono::milliseconds patience);
    ~PipeRead() override;

    /// Makes a pipe for at most `limit` bytes and returns the end for the other program, to be
    /// closed here once it was passed on. A transfer under way is dropped. Fails with the reason in
    /// English.
    [[nodiscard]] Result<FileDescriptor, QString> start(qint64 limit);
    void cancel();

Q_SIGNALS:
    /// All was read.
    void finished(const QByteArray& bytes);
    /// In English.
    void failed(const QString& problem, bool tooLarge);

private:
    void read();
    void fail(const QString& problem, bool tooLarge = false);

    FileDescriptor m_pipe;
    std::unique_ptr<QSocketNotifier> m_readable;
    QTimer m_stalled;
    QDeadlineTimer m_end; ///< of the whole transfer, however well it gets on
    qint64 m_limit = 0;
    QByteArray m_bytes;
};

} // namespace sorrelwind

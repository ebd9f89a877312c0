#pragma once

#include <QObject>
#include <QSocketNotifier>

namespace sorrelwind {

/// Turns SIGTERM, SIGINT and SIGHUP into QCoreApplication::quit through a pipe to the main loop.
/// One per process, owned by main.
class QuitOnSignal final : public QObject {
    Q_OBJECT
public:
    QuitOnSignal();
    ~QuitOnSignal() override;

private:
    int m_pipe[2];
    QSocketNotifier m_notifier;
};

} // namespace sorrelwind

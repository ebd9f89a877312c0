#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>

namespace sorrelwind::test {

/// A D-Bus daemon of the test's own; also ended when the test program dies. Needs no event loop.
class MessageBus {
public:
    MessageBus();
    ~MessageBus();

    /// Empty when the daemon did not start.
    [[nodiscard]] const QString& address() const { return m_address; }

private:
    QProcess m_daemon;
    QString m_address;
};

} // namespace sorrelwind::test

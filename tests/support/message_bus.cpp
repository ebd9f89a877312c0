#include "tests/support/message_bus.h"

#include <csignal>
#include <sys/prctl.h>

namespace sorrelwind::test {

namespace {
constexpr int kPatienceMs = 20'000;
}

MessageBus::MessageBus() {
    m_daemon.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_daemon.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--session"), QStringLiteral("--nofork"),
                    QStringLiteral("--nopidfile"), QStringLiteral("--print-address=1")});
    while (!m_daemon.canReadLine() && m_daemon.waitForReadyRead(kPatienceMs)) {
    }
    m_address = QString::fromUtf8(m_daemon.readLine().trimmed());
}

MessageBus::~MessageBus() {
    m_daemon.terminate();
    m_daemon.waitForFinished(kPatienceMs);
}

} // namespace sorrelwind::test

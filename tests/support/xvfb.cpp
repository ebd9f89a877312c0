#include "tests/support/xvfb.h"

#include <QDeadlineTimer>
#include <QFile>

#include <csignal>
#include <sys/prctl.h>

namespace sorrelwind::test {
namespace {

constexpr int kStartMs = 20'000;
constexpr int kEndMs = 5'000;

} // namespace

Xvfb::Xvfb(const QStringList& extraArguments) {
    // The server says the number that it chose on its standard output, once it listens.
    QStringList arguments{QStringLiteral("-displayfd"),  QStringLiteral("1"),
                          QStringLiteral("-screen"),     QStringLiteral("0"),
                          QStringLiteral("1280x800x24"), QStringLiteral("-nolisten"),
                          QStringLiteral("tcp"),         QStringLiteral("-noreset")};
    arguments += extraArguments;
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_process.start(QStringLiteral("Xvfb"), arguments);
    m_process.waitForStarted(kStartMs);
    const QDeadlineTimer deadline(kStartMs);
    while (!m_process.canReadLine() && running() && !deadline.hasExpired()) {
        m_process.waitForReadyRead(static_cast<int>(deadline.remainingTime()));
    }
    if (m_process.canReadLine()) {
        m_display = ":" + m_process.readLine().trimmed();
    }
}

Xvfb::~Xvfb() {
    if (running()) {
        m_process.terminate();
        if (!m_process.waitForFinished(kEndMs)) {
            kill();
        }
    }
}

QProcessEnvironment Xvfb::environment() const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(m_display));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    return environment;
}

void Xvfb::kill() {
    m_process.kill();
    m_process.waitForFinished(kEndMs);
    removeLeftovers();
}

void Xvfb::removeLeftovers() const {
    if (m_display.size() > 1) {
        const QString number = QString::fromLatin1(m_display.mid(1));
        QFile::remove(QStringLiteral("/tmp/.X11-unix/X%1").arg(number));
        QFile::remove(QStringLiteral("/tmp/.X%1-lock").arg(number));
    }
}

} // namespace sorrelwind::test

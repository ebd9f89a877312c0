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
    const QStringList arguments{"-displayfd",  "1",         "-screen", "0",
                                "1280x800x24", "-nolisten", "tcp",     "-noreset"};
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_process.start("Xvfb", arguments + extraArguments);
    m_process.waitForStarted(kStartMs);
    const QDeadlineTimer deadline(kStartMs);
    while (!m_process.canReadLine() && running() && !deadline.hasExpired())
        m_process.waitForReadyRead(static_cast<int>(deadline.remainingTime()));
    if (m_process.canReadLine())
        m_display = ":" + m_process.readLine().trimmed();
}

Xvfb::~Xvfb() {
    m_process.terminate();
    if (running() && !m_process.waitForFinished(kEndMs))
        kill();
}

QProcessEnvironment Xvfb::environment() const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DISPLAY"_qs, QString::fromLatin1(m_display));
    environment.remove(u"WAYLAND_DISPLAY"_qs);
    return environment;
}

void Xvfb::kill() {
    m_process.kill();
    m_process.waitForFinished(kEndMs);
    if (!m_display.isEmpty()) {
        QFile::remove("/tmp/.X11-unix/X" + m_display.mid(1));
        QFile::remove("/tmp/.X" + m_display.mid(1) + "-lock");
    }
}

} // namespace sorrelwind::test

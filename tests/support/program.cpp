#include "tests/support/program.h"

#include <csignal>
#include <sys/prctl.h>

namespace sorrelwind::test {

Program::Program(const QString& path, const QStringList& arguments,
                 const QProcessEnvironment& environment, const QByteArray& input) {
    m_process.setProcessEnvironment(environment);
    m_process.setStandardErrorFile(QProcess::nullDevice());
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    m_process.start(path, arguments);
    m_process.waitForStarted();
    m_process.write(input);
    m_process.closeWriteChannel();
}

Program::~Program() {
    m_process.kill(); // also ends a stopped one
    m_process.waitForFinished();
}

QByteArray Program::output() {
    m_output += m_process.readAllStandardOutput();
    return m_output;
}

void Program::signal(int number) {
    if (running()) {
        ::kill(static_cast<pid_t>(m_process.processId()), number);
    }
}

} // namespace sorrelwind::test

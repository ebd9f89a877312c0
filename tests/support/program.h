#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

#include <csignal>
#include <sys/prctl.h>

namespace sorrelwind::test {

/// A program that a test starts: ends with this object, and also when the test program dies. Wait
/// for it through the event loop (waitFor), which goes on meanwhile.
class Program {
public:
    /// Everything in `input` goes to its standard input, which then ends.
    Program(const QString& path, const QStringList& arguments,
            const QProcessEnvironment& environment, const QByteArray& input = {}) {
        m_process.setProcessEnvironment(environment);
        m_process.setStandardErrorFile(QProcess::nullDevice());
        m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
        m_process.start(path, arguments);
        m_process.waitForStarted();
        m_process.write(input);
        m_process.closeWriteChannel();
    }
    ~Program() {
        m_process.kill(); // also ends a stopped one
        m_process.waitForFinished();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    [[nodiscard]] bool running() const { return m_process.state() != QProcess::NotRunning; }
    [[nodiscard]] int exitCode() const { return m_process.exitCode(); }
    /// What it has written to its standard output so far.
    [[nodiscard]] QByteArray output() { return m_output += m_process.readAllStandardOutput(); }
    /// Sends a signal such as SIGSTOP.
    void signal(int number) {
        if (running())
            ::kill(static_cast<pid_t>(m_process.processId()), number);
    }

private:
    QProcess m_process;
    QByteArray m_output;
};

} // namespace sorrelwind::test

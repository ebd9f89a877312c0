#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

namespace sorrelwind::test {

/// A program that a test starts: ends with this object, and also when the test program dies. Wait
/// for it through the event loop (waitFor), which goes on meanwhile.
class Program {
public:
    /// Everything in `input` goes to its standard input, which then ends.
    Program(const QString& path, const QStringList& arguments,
            const QProcessEnvironment& environment, const QByteArray& input = {});
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    [[nodiscard]] bool running() const { return m_process.state() != QProcess::NotRunning; }
    [[nodiscard]] int exitCode() const { return m_process.exitCode(); }
    /// What it has written to its standard output so far.
    [[nodiscard]] QByteArray output();
    /// Sends a signal such as SIGSTOP.
    void signal(int number);

private:
    QProcess m_process;
    QByteArray m_output;
};

} // namespace sorrelwind::test

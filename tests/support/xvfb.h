#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

namespace sorrelwind::test {

/// An X server without a screen, on a display number of its own choice, for as long as this object
/// lives; also ended when the test program dies. Several can run at once. Needs no event loop.
class Xvfb {
public:
    /// Starts the server and waits until it accepts clients; check running().
    explicit Xvfb(const QStringList& extraArguments = {});
    /// Ends the server and removes its socket and lock file.
    ~Xvfb();
    Xvfb(const Xvfb&) = delete;
    Xvfb& operator=(const Xvfb&) = delete;

    [[nodiscard]] bool running() const { return m_process.state() == QProcess::Running; }
    /// ":" and the number; empty when the server did not start.
    [[nodiscard]] QByteArray display() const { return m_display; }
    /// This process's environment with DISPLAY set and no Wayland, for programs that a test starts.
    [[nodiscard]] QProcessEnvironment environment() const;
    /// Ends the server without its consent, as a crash would.
    void kill();

private:
    QProcess m_process;
    QByteArray m_display;
};

} // namespace sorrelwind::test

#pragma once

#include "clipboard/make_pasteboard.h"
#include "tests/support/program.h"
#include "tests/support/xvfb.h"

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <memory>

namespace sorrelwind::test {

/// A desktop without a screen, an X server or a Wayland compositor, for as long as this object
/// lives, with folders and a session bus of its own. Also ended when the test program dies.
class DesktopSession {
public:
    enum class Kind { x11, sway, kwin, mutter };

    /// Starts it and waits until programs can be started in it; check running().
    explicit DesktopSession(Kind kind);
    ~DesktopSession();
    DesktopSession(const DesktopSession&) = delete;
    DesktopSession& operator=(const DesktopSession&) = delete;

    [[nodiscard]] bool running() const;
    /// For programs of the session, as the session itself gives it to them.
    [[nodiscard]] const QProcessEnvironment& environment() const { return m_environment; }
    /// Also lets this program connect there.
    [[nodiscard]] ClipboardServers servers() const;

private:
    void startCompositor(Kind kind);
    [[nodiscard]] QString path(const char* name) const;

    QTemporaryDir m_folder;
    std::unique_ptr<Xvfb> m_xvfb;
    QProcess m_bus;
    QProcess m_compositor;
    QProcessEnvironment m_environment;
};

} // namespace sorrelwind::test

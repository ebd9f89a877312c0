#pragma once

#include "tests/e2e/programs.h"

#include <QImage>
#include <QPoint>
#include <QRect>

namespace sorrelwind::test {

/// A desktop as a person has it (X server, session bus, window manager, and a panel when a test
/// wants one) with the agent and its windows on it; the test sees the screen and works with the
/// keyboard and the mouse. The agent is started by startAgent().
class FaceDesktop final : public Desktop {
public:
    FaceDesktop(const QString& folder, const QString& name);
    ~FaceDesktop();

    /// What shows status icons: a program with its arguments; it ends with the object.
    [[nodiscard]] std::unique_ptr<Background> host(const QStringList& command) const;

    /// A tray at the upper edge, by the X11 protocol.
    [[nodiscard]] static QStringList tray();

    /// A window of the agent that can be seen. Titles are those of the window manager.
    struct Window {
        QString id, title;
        QRect frame;
    };
    [[nodiscard]] QList<Window> windows() const;
    /// The one with this title and width, if there is one.
    [[nodiscard]] std::optional<Window> window(const QString& title, int width) const;
    /// Waits until it is there (and takes the keys), or until it is not.
    [[nodiscard]] bool opens(const QString& title, int width) const;
    [[nodiscard]] bool closes(const QString& title, int width) const;
    /// Where the status icon is; waits for it.
    [[nodiscard]] std::optional<QPoint> icon() const;

    /// Keys by their X names, for the window that has the focus.
    void press(const QStringList& keys) const;
    /// Replaces what stands in the field with the focus.
    void type(const QString& text) const;
    void click(QPoint place, int button = 1) const;
    /// Opens the icon's menu and presses the keys in it.
    void choose(QPoint icon, const QStringList& keys) const;

    [[nodiscard]] QImage screenshot() const;
    /// What a camera reads from the QR code on the screen; empty when there is none.
    [[nodiscard]] QByteArray readQr() const;
    /// How many pixels of the screen have this colour.
    [[nodiscard]] int count(const QColor& colour) const;

    /// How often the agent's main thread has begun to wait, since its start.
    [[nodiscard]] qint64 wakeUps() const;

private:
    Ended xdotool(const QStringList& arguments) const;
    [[nodiscard]] std::optional<QPoint> iconNow() const;

    QString m_home;
    std::unique_ptr<Background> m_bus;
    std::unique_ptr<Background> m_windowManager;
};

} // namespace sorrelwind::test

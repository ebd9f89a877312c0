#pragma once

#include <QDBusConnection>
#include <QKeySequence>
#include <QList>
#include <QObject>
#include <QRect>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QMenu;

namespace sorrelwind {

/// One entry of the menu behind the icon; one without a text is a line between the others.
struct MenuEntry {
    QString text{};
    QKeySequence shortcut{};
    bool enabled = true;
    std::function<void()> chosen{};
};

/// The program's icon in the desktop's panel: what it looks like, where it is, and which button
/// was pressed on it. Owned by the coordinator, lives on the main thread. A desktop may have no
/// place for it, or get one later; the item then appears by itself.
class StatusItem : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    /// A dimmed icon says that the program does nothing for now.
    virtual void setDimmed(bool dimmed) = 0;
    virtual void setToolTip(const QString& text) = 0;
    /// For panels that draw the menu themselves. They ask for it by no signal, and tell by none.
    virtual void setMenu(const QList<MenuEntry>&) {}
    /// Where the icon is on the screen, in device-independent pixels; none when the desktop does
    /// not tell.
    [[nodiscard]] virtual std::optional<QRect> anchor() const = 0;
    /// Whether the desktop has a place for the icon.
    [[nodiscard]] virtual bool hosted() const = 0;

    /// Opens the menu at the icon and returns at once; the menu stays the caller's.
    void popUp(QMenu& menu) const;

Q_SIGNALS:
    void clicked();
    /// The other button, or the middle one: some panels pass on only that.
    void menuRequested();
};

/// How much of a dimmed icon's ink is left.
inline constexpr float kDimmedOpacity = 0.4F;

/// The item of this desktop: a StatusNotifierItem while a host for these is on the session's `bus`,
/// if there is one, otherwise one by the X11 system tray protocol. It goes over as panels come and
/// go.
[[nodiscard]] std::unique_ptr<StatusItem> makeStatusItem(std::optional<QDBusConnection> bus);

} // namespace sorrelwind

#pragma once

#include "base/prefs.h"
#include "ui/session_bus.h"

#include <QDBusVariant>
#include <QObject>

#include <optional>

namespace sorrelwind {

/// Gives the application its light or dark look, and follows the desktop while the preference is
/// `system`: the desktop portal's `color-scheme` and its changes, else the look that the platform
/// gives by itself. Made by main after the QApplication and before any window; lives as long.
class Appearance final : public QObject {
    Q_OBJECT
public:
    /// Asks the desktop on `bus`, and does not wait for its answer.
    explicit Appearance(std::optional<QDBusConnection> bus = sessionBus());

    void apply(Prefs::Appearance appearance);
    [[nodiscard]] Prefs::Applier applier();

private Q_SLOTS:
    void onSettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    void render();
    void setDesktopScheme(const QVariant& value);

    Prefs::Appearance m_wanted = Prefs::Appearance::system;
    bool m_platformDark = false;
    std::optional<bool> m_desktopDark; // none until the desktop has said so
    std::optional<bool> m_shownDark;
};

} // namespace sorrelwind

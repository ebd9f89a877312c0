#pragma once

#include "base/prefs.h"
#include "ui/desktop_scheme.h"
#include "ui/session_bus.h"

#include <QDBusVariant>
#include <QObject>
#include <QStandardPaths>

#include <optional>

namespace sorrelwind {

/// Gives the application its light or dark look, and follows the desktop while the preference is
/// `system`: the desktop portal's `color-scheme`, else what the desktop's own settings say, else
/// the look that the platform gives by itself, each with its changes. Made by main after the
/// QApplication and before any window; lives as long.
class Appearance final : public QObject {
    Q_OBJECT
public:
    /// Asks the desktop on `bus`, and does not wait for its answer; `settings` is the folder of a
    /// person's settings.
    explicit Appearance(std::optional<QDBusConnection> bus = sessionBus(),
                        const QString& settings = QStandardPaths::writableLocation(
                            QStandardPaths::GenericConfigLocation));

    void apply(Prefs::Appearance appearance);
    [[nodiscard]] Prefs::Applier applier();

private Q_SLOTS:
    void onSettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    void render();
    void setPortalScheme(const QVariant& value);

    Prefs::Appearance m_wanted = Prefs::Appearance::system;
    bool m_platformDark = false;
    DesktopScheme m_settings;
    std::optional<bool> m_portalDark; // none until the desktop has said so
    std::optional<bool> m_shownDark;
};

} // namespace sorrelwind

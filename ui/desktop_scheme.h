#pragma once

#include "ui/x_settings.h"

#include <QFileSystemWatcher>
#include <QObject>

#include <optional>

namespace sorrelwind {

/// Whether the desktop's own settings ask for a dark look: in a session of KDE's the colours in its
/// file, in any other the theme of GTK, as a daemon tells it on X11 or else as its files have it.
/// Follows their changes.
class DesktopScheme final : public QObject {
    Q_OBJECT
public:
    /// `folder` is where a person's settings lie; `session` is the desktop's name as the session
    /// gives it, such as "KDE" or "ubuntu:GNOME".
    DesktopScheme(const QString& folder, const QString& session);

    /// None while the settings do not say.
    [[nodiscard]] std::optional<bool> dark() const { return m_dark; }

Q_SIGNALS:
    void changed();

private:
    void read();

    QStringList m_files; // the first that says something counts
    bool m_kde;
    XSettings m_xSettings;
    QFileSystemWatcher m_watcher;
    std::optional<bool> m_dark;
};

} // namespace sorrelwind

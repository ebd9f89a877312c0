#include "ui/desktop_scheme.h"

#include <QColor>
#include <QFileInfo>
#include <QSettings>

namespace sorrelwind {

namespace {

// The colours in force are written out; a scheme that was never changed has its name only. (What
// QSettings calls no group is the group "General".)
std::optional<bool> darkByKde(const QSettings& settings) {
    const QStringList rgb =
        settings.value(QStringLiteral("Colors:Window/BackgroundNormal")).toStringList();
    const QColor ground = rgb.size() >= 3 ? QColor(rgb[0].toInt(), rgb[1].toInt(), rgb[2].toInt())
                                          : QColor(rgb.value(0));
    if (ground.isValid())
        return ground.lightness() < 128;
    const QString scheme = settings.value(QStringLiteral("ColorScheme")).toString();
    if (scheme.isEmpty())
        return std::nullopt;
    return scheme.contains(QLatin1StringView("Dark"));
}

std::optional<bool> darkByGtk(const QSettings& settings) {
    GtkTheme theme;
    theme.name = settings.value(QStringLiteral("Settings/gtk-theme-name")).toString();
    const QVariant prefers =
        settings.value(QStringLiteral("Settings/gtk-application-prefer-dark-theme"));
    if (prefers.isValid())
        theme.prefersDark = prefers.toBool();
    return theme.dark();
}

} // namespace

DesktopScheme::DesktopScheme(const QString& folder, const QString& session)
    : m_kde(session.split(u':').contains(QLatin1StringView("KDE"))) {
    if (m_kde)
        m_files = {folder + QStringLiteral("/kdeglobals")};
    else
        m_files = {folder + QStringLiteral("/gtk-4.0/settings.ini"),
                   folder + QStringLiteral("/gtk-3.0/settings.ini")};
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &DesktopScheme::read);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &DesktopScheme::read);
    connect(&m_xSettings, &XSettings::changed, this, &DesktopScheme::read);
    m_watcher.addPath(folder);
    read();
}

void DesktopScheme::read() {
    std::optional<bool> dark;
    if (!m_kde && m_xSettings.theme())
        dark = m_xSettings.theme()->dark();
    for (const QString& file : std::as_const(m_files)) {
        // Both: a file is replaced by another, or written anew in its place.
        for (const QString& path : {QFileInfo(file).path(), file}) {
            if (QFileInfo::exists(path))
                m_watcher.addPath(path);
        }
        if (!dark) {
            const QSettings settings(file, QSettings::IniFormat);
            dark = m_kde ? darkByKde(settings) : darkByGtk(settings);
        }
    }
    if (std::exchange(m_dark, dark) != dark)
        Q_EMIT changed();
}

} // namespace sorrelwind

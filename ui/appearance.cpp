#include "ui/appearance.h"

#include "ui/palette.h"
#include "ui/text_font.h"

#include <QApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QPalette>
#include <QStyleHints>

namespace sorrelwind {

namespace {

// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
const auto kService = QStringLiteral("org.freedesktop.portal.Desktop");
const auto kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const auto kInterface = QStringLiteral("org.freedesktop.portal.Settings");
const auto kGroup = QStringLiteral("org.freedesktop.appearance");
const auto kKey = QStringLiteral("color-scheme");
constexpr uint kPreferDark = 1;
constexpr uint kPreferLight = 2;

/// The portal wraps the value once more than it says.
QVariant unwrapped(QVariant value) {
    while (value.userType() == qMetaTypeId<QDBusVariant>())
        value = qvariant_cast<QDBusVariant>(value).variant();
    return value;
}

/// What the base style and Qt's own pop-ups (menus, tool tips) paint with.
QPalette widgetPalette() {
    using Role = Palette::Role;
    QPalette palette;
    palette.setColor(QPalette::Window, Role::bg());
    palette.setColor(QPalette::WindowText, Role::text());
    palette.setColor(QPalette::Base, Role::surface());
    palette.setColor(QPalette::AlternateBase, Role::bgAlt());
    palette.setColor(QPalette::Text, Role::text());
    palette.setColor(QPalette::PlaceholderText, Role::textTertiary());
    palette.setColor(QPalette::Button, Role::surface());
    palette.setColor(QPalette::ButtonText, Role::text());
    palette.setColor(QPalette::BrightText, Role::danger());
    palette.setColor(QPalette::ToolTipBase, Role::surfaceRaised());
    palette.setColor(QPalette::ToolTipText, Role::text());
    palette.setColor(QPalette::Highlight, Brand::accent());
    palette.setColor(QPalette::HighlightedText, Brand::onAccent());
    palette.setColor(QPalette::Link, Brand::accentText());
    palette.setColor(QPalette::LinkVisited, Brand::accentText());
    palette.setColor(QPalette::Light, Role::surfaceRaised());
    palette.setColor(QPalette::Midlight, Role::fill());
    palette.setColor(QPalette::Mid, Role::separator());
    palette.setColor(QPalette::Dark, Role::separatorStrong());
    palette.setColor(QPalette::Shadow, Palette::Neutral::s1000());
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, Role::textTertiary());
    return palette;
}

} // namespace

Appearance::Appearance(std::optional<QDBusConnection> bus, const QString& settings)
    : m_settings(settings, qEnvironmentVariable("XDG_CURRENT_DESKTOP")) {
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setPalette(QPalette());
    m_platformDark = Palette::isDark();
    QApplication::setFont(textFont(Palette::TextSize::footnote));
    render();
    connect(&m_settings, &DesktopScheme::changed, this, &Appearance::render);
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    connect(QGuiApplication::styleHints(), &QStyleHints::colorSchemeChanged, this,
            [this](Qt::ColorScheme scheme) {
                m_platformDark = scheme == Qt::ColorScheme::Dark;
                render();
            });
#endif
    if (!bus)
        return;
    // The library finds the slot's parameter by its name, which it has not learnt at this time.
    qRegisterMetaType<QDBusVariant>();
    bus->connect(kService, kPath, kInterface, QStringLiteral("SettingChanged"), this,
                 SLOT(onSettingChanged(QString, QString, QDBusVariant)));
    QDBusMessage read =
        QDBusMessage::createMethodCall(kService, kPath, kInterface, QStringLiteral("Read"));
    read << kGroup << kKey;
    auto* watcher = new QDBusPendingCallWatcher(bus->asyncCall(read), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isValid())
            setPortalScheme(reply.value().variant());
        watcher->deleteLater();
    });
}

void Appearance::apply(Prefs::Appearance appearance) {
    m_wanted = appearance;
    render();
}

Prefs::Applier Appearance::applier() {
    return [this](Prefs::Appearance appearance) { apply(appearance); };
}

void Appearance::onSettingChanged(const QString& group, const QString& key,
                                  const QDBusVariant& value) {
    if (group == kGroup && key == kKey)
        setPortalScheme(value.variant());
}

void Appearance::setPortalScheme(const QVariant& value) {
    bool number = false;
    const uint scheme = unwrapped(value).toUInt(&number);
    m_portalDark.reset(); // no preference, or a value of another time
    if (number && scheme == kPreferDark)
        m_portalDark = true;
    else if (number && scheme == kPreferLight)
        m_portalDark = false;
    render();
}

void Appearance::render() {
    const bool systemDark = m_portalDark.value_or(m_settings.dark().value_or(m_platformDark));
    const bool dark =
        m_wanted == Prefs::Appearance::system ? systemDark : m_wanted == Prefs::Appearance::dark;
    if (m_shownDark == dark)
        return;
    m_shownDark = dark;
    // The window colour decides which appearance the tokens resolve to, so it comes first.
    QApplication::setPalette(dark ? Palette::Neutral::s975() : Palette::Neutral::s50());
    QApplication::setPalette(widgetPalette());
}

} // namespace sorrelwind

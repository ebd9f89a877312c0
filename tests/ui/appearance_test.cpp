#include "base/defaults.h"
#include "tests/support/message_bus.h"
#include "tests/support/wait.h"
#include "ui/appearance.h"
#include "ui/palette.h"

#include <QApplication>
#include <QDBusMessage>
#include <QDir>
#include <QPalette>
#include <QSaveFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

constexpr auto kGroup = "org.freedesktop.appearance";
constexpr auto kKey = "color-scheme";

/// The desktop's side: answers for one setting, and tells of its changes.
class Portal final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")
public:
    explicit Portal(QDBusConnection bus) : m_bus(std::move(bus)) {
        m_bus.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"), this,
                             QDBusConnection::ExportAllSlots);
        m_bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
    }

    void tell(const char* group, const char* key, const QVariant& value) {
        QDBusMessage signal = QDBusMessage::createSignal(
            QStringLiteral("/org/freedesktop/portal/desktop"),
            QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("SettingChanged"));
        signal << QString::fromLatin1(group) << QString::fromLatin1(key)
               << QVariant::fromValue(QDBusVariant(value));
        m_bus.send(signal);
    }

    QVariant scheme;
    int reads = 0;

public Q_SLOTS:
    QDBusVariant Read(const QString& group, const QString& key) {
        EXPECT_EQ(group.toStdString(), kGroup);
        EXPECT_EQ(key.toStdString(), kKey);
        ++reads;
        return QDBusVariant(QVariant::fromValue(QDBusVariant(scheme)));
    }

private:
    QDBusConnection m_bus;
};

class AppearanceTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_FALSE(m_bus.address().isEmpty()) << "dbus-daemon is needed"; }

    void TearDown() override {
        for (const QString& name : m_names)
            QDBusConnection::disconnectFromBus(name);
    }

    QDBusConnection connected(const QString& name) {
        m_names.append(name);
        return QDBusConnection::connectToBus(m_bus.address(), name);
    }

    QTemporaryDir folder; // of settings

private:
    MessageBus m_bus;
    QStringList m_names;
};

bool becomes(bool dark) {
    return waitFor([dark] { return Palette::isDark() == dark; });
}

TEST_F(AppearanceTest, FollowsTheDesktopWhileItIsToDoSo) {
    Portal portal(connected(QStringLiteral("portal")));
    portal.scheme = 1U;
    Appearance appearance(connected(QStringLiteral("agent")), folder.path());
    EXPECT_TRUE(becomes(true));

    portal.tell(kGroup, kKey, 2U);
    EXPECT_TRUE(becomes(false));
    portal.tell(kGroup, kKey, 1U);
    EXPECT_TRUE(becomes(true));
    portal.tell(kGroup, kKey, 0U); // no preference: the platform's own look, light here
    EXPECT_TRUE(becomes(false));

    // A choice of the user's holds against the desktop, which is heard nevertheless.
    appearance.apply(Prefs::Appearance::light);
    portal.tell(kGroup, kKey, 1U);
    portal.tell("org.gnome.desktop.interface", kKey, 2U);
    portal.tell(kGroup, "accent-color", 2U);
    runFor(std::chrono::milliseconds(200));
    EXPECT_FALSE(Palette::isDark());
    appearance.apply(Prefs::Appearance::system);
    EXPECT_TRUE(Palette::isDark());

    portal.tell(kGroup, kKey, QStringLiteral("rubbish"));
    EXPECT_TRUE(becomes(false));
    EXPECT_EQ(portal.reads, 1);
}

TEST_F(AppearanceTest, WithoutAPortalThePlatformDecides) {
    Appearance appearance(connected(QStringLiteral("agent")), folder.path());
    runFor(std::chrono::milliseconds(200));
    EXPECT_FALSE(Palette::isDark());
    appearance.apply(Prefs::Appearance::dark);
    EXPECT_TRUE(Palette::isDark());
}

TEST(AppearanceWithoutBusTest, FollowsTheSettingsOfTheDesktop) {
    constexpr bool kDark = true;
    constexpr bool kLight = false;
    struct Change {
        const char* file;
        const char* content;
        bool dark;
    };
    const std::pair<const char*, QList<Change>> kSessions[] = {
        {"KDE",
         {{"kdeglobals", "[General]\nColorScheme=BreezeDark\n", kDark},
          {"gtk-3.0/settings.ini", "[Settings]\ngtk-theme-name=Adwaita\n", kDark}, // not of KDE's
          {"kdeglobals", "[Colors:Window]\nBackgroundNormal=239,240,241\n", kLight},
          {"kdeglobals", "[Colors:Window]\nBackgroundNormal=#202326\n", kDark},
          {"kdeglobals", "[Colors:Window]\nBackgroundNormal=rubbish\n", kLight}}},
        {"X-Other:XFCE",
         {{"gtk-3.0/settings.ini", "[Settings]\ngtk-theme-name=Mint-Y-Dark-Aqua\n", kDark},
          {"gtk-3.0/settings.ini", "[Settings]\ngtk-theme-name=Arc-Darker\n", kLight},
          {"gtk-3.0/settings.ini", "[Settings]\ngtk-application-prefer-dark-theme=1\n", kDark},
          {"kdeglobals", "[Colors:Window]\nBackgroundNormal=239,240,241\n", kDark},
          {"gtk-4.0/settings.ini", "[Settings]\ngtk-application-prefer-dark-theme=false\n", kLight},
          {"gtk-4.0/settings.ini", "[Settings]\ngtk-theme-name=Adwaita-dark\n", kDark},
          {"gtk-4.0/settings.ini", "", kDark}, // as GTK 3 has it
          {"gtk-3.0/settings.ini", "", kLight}}},
    };
    for (const auto& [session, changes] : kSessions) {
        const QTemporaryDir dir;
        qputenv("XDG_CURRENT_DESKTOP", session);
        Appearance appearance(std::nullopt, dir.path());
        EXPECT_FALSE(Palette::isDark());
        for (const Change& change : changes) {
            QDir(dir.path()).mkpath(QFileInfo(QLatin1StringView(change.file)).path());
            QSaveFile file(dir.filePath(QLatin1StringView(change.file)));
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(change.content);
            ASSERT_TRUE(file.commit());
            EXPECT_TRUE(waitFor([&] { return Palette::isDark() == change.dark; }))
                << session << ": " << change.content;
        }
        appearance.apply(Prefs::Appearance::light);
    }
    qunsetenv("XDG_CURRENT_DESKTOP");
}

TEST(AppearanceWithoutBusTest, ThePreferenceReachesEveryColour) {
    const QTemporaryDir dir;
    Defaults defaults(dir.path());
    Appearance appearance(std::nullopt, dir.path());
    Prefs prefs(defaults, appearance.applier());
    for (const auto wanted : {Prefs::Appearance::dark, Prefs::Appearance::light,
                              Prefs::Appearance::dark, Prefs::Appearance::system}) {
        prefs.setAppearance(wanted);
        const bool dark = wanted == Prefs::Appearance::dark;
        EXPECT_EQ(Palette::isDark(), dark);
        EXPECT_EQ(Palette::Role::bg(), dark ? Palette::Neutral::s975() : Palette::Neutral::s50());
        const QPalette palette = QApplication::palette();
        EXPECT_EQ(palette.color(QPalette::Window), Palette::Role::bg());
        EXPECT_EQ(palette.color(QPalette::WindowText), Palette::Role::text());
        EXPECT_EQ(palette.color(QPalette::Base), Palette::Role::surface());
    }
}

} // namespace

} // namespace sorrelwind::test

#include "appearance_test.moc"

#include "base/defaults.h"
#include "tests/support/message_bus.h"
#include "tests/support/wait.h"
#include "ui/appearance.h"
#include "ui/palette.h"

#include <QApplication>
#include <QDBusMessage>
#include <QPalette>
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
    Appearance appearance(connected(QStringLiteral("agent")));
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
    Appearance appearance(connected(QStringLiteral("agent")));
    runFor(std::chrono::milliseconds(200));
    EXPECT_FALSE(Palette::isDark());
    appearance.apply(Prefs::Appearance::dark);
    EXPECT_TRUE(Palette::isDark());
}

TEST(AppearanceWithoutBusTest, ThePreferenceReachesEveryColour) {
    const QTemporaryDir dir;
    Defaults defaults(dir.path());
    Appearance appearance(std::nullopt);
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

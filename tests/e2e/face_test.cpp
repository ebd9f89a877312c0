// The whole agent as a person meets it: its windows on a real X server, worked by keys and clicks
// of xdotool, over a real hub.

#include "tests/e2e/face_desktop.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"
#include "ui/palette.h"

#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

namespace sorrelwind::test {

namespace {

constexpr int kOnboarding = 600; // the widths of the windows
constexpr int kPairing = 420;
constexpr int kSettings = 500;
constexpr int kPanel = 340;
const QString kName = QStringLiteral("Sorrelwind"); // the title of onboarding and panel
const QString kPairingTitle = QStringLiteral("Add Device");
const QString kSettingsTitle = QStringLiteral("Sorrelwind Settings");
const QStringList kSettingsInMenu{"Down", "Down", "Down", "Return"}; // pause, add a device

class Face : public testing::Test {
protected:
    /// In a group before the agent starts, so that nothing opens by itself.
    void startAsMember() {
        const Ended created = face.command({"create", "--server", hub.url(), "--name", "alpha"});
        ASSERT_EQ(created.code, 0) << created.err.toStdString();
        face.startAgent();
        ASSERT_TRUE(face.ready());
    }
    [[nodiscard]] QString connection() const {
        return face.status()[QStringLiteral("connection")].toString();
    }

    QTemporaryDir folder;
    Hub hub{folder.path()};
    FaceDesktop face{folder.path(), QStringLiteral("alpha")};
};

TEST_F(Face, GroupIsMadeByKeyboardAndTheSecondDeviceJoinsByTheQrCode) {
    face.startAgent();
    ASSERT_TRUE(face.opens(kName, kOnboarding));
    face.press({"Return", "Return"}); // get started, create a group: the name has the focus
    face.type(QStringLiteral("Studio"));
    // Past the passphrase with its two buttons, and to an address instead of hosting.
    face.press({"Tab", "Tab", "Tab", "Tab", "Left", "Tab"});
    face.type(hub.url());
    face.press({"Return"});
    ASSERT_TRUE(face.ready()) << face.log().toStdString();
    EXPECT_EQ(face.status()[QStringLiteral("deviceName")], QStringLiteral("Studio"));

    ASSERT_TRUE(waitFor([&] { return face.count(Palette::Green::s700()) > 1000; })) << "all set";
    face.press({"Return"}); // add a device
    ASSERT_TRUE(face.closes(kName, kOnboarding));
    ASSERT_TRUE(face.opens(kPairingTitle, kPairing));
    QByteArray link;
    ASSERT_TRUE(waitFor([&] { return (link = face.readQr()).startsWith("http://127.0.0.1:"); }));
    EXPECT_EQ(face.count(Palette::Green::s700()), 0);

    Desktop other(folder.path(), QStringLiteral("beta"));
    const Ended joined = other.command({"join", "-", "--name", "beta"}, link + '\n');
    ASSERT_EQ(joined.code, 0) << joined.err.toStdString();
    EXPECT_TRUE(waitFor([&] { return face.count(Palette::Green::s700()) > 1000; })) << "added";
    EXPECT_EQ(face.readQr(), QByteArray());
    face.press({"Tab", "Return"}); // add another
    EXPECT_TRUE(waitFor([&] {
        const QByteArray next = face.readQr();
        return !next.isEmpty() && next != link;
    }));
    face.press({"Escape"});
    EXPECT_TRUE(face.closes(kPairingTitle, kPairing));

    ASSERT_TRUE(other.ready());
    other.copy("over there");
    EXPECT_TRUE(face.pastes("over there"));

    // With all windows closed nothing but the poll wakes the program, twice a second.
    const qint64 before = face.wakeUps();
    runFor(std::chrono::seconds(2));
    EXPECT_LT(face.wakeUps() - before, 40);
    EXPECT_FALSE(face.log().contains("QPainter")) << face.log().toStdString();
}

TEST_F(Face, RemovalByAnotherDeviceEndsInOnboardingWithTheNotice) {
    startAsMember();
    Desktop other(folder.path(), QStringLiteral("beta"));
    other.joinByLink(face);
    const auto tray = face.host(FaceDesktop::tray());
    const auto icon = face.icon();
    ASSERT_TRUE(icon);
    // The menu: pause, add a device, settings, quit.
    const std::tuple<QStringList, QString, int> kOpened[] = {
        {{"Down", "Down", "Return"}, kPairingTitle, kPairing},
        {{"ctrl+comma"}, kSettingsTitle, kSettings}};
    for (const auto& [keys, title, width] : kOpened) {
        face.choose(*icon, keys);
        ASSERT_TRUE(face.opens(title, width)) << title.toStdString();
    }
    const Ended removed =
        other.command({"remove", face.status()[QStringLiteral("deviceId")].toString()});
    ASSERT_EQ(removed.code, 0) << removed.err.toStdString();
    EXPECT_TRUE(face.opens(kName, kOnboarding));
    EXPECT_FALSE(face.window(kPairingTitle, kPairing));
    EXPECT_FALSE(face.window(kSettingsTitle, kSettings));
    EXPECT_TRUE(waitFor([&] { return face.count(Palette::Orange::s700()) > 50; })) << "notice";
    EXPECT_FALSE(QFile::exists(face.configDir() + QStringLiteral("/account.json")));
    face.press({"Escape"});
    EXPECT_TRUE(face.closes(kName, kOnboarding));
    face.click(*icon); // a click leads back
    EXPECT_TRUE(face.opens(kName, kOnboarding));
    face.press({"ctrl+comma"}); // there are no settings now
    face.press({"ctrl+q"});
    EXPECT_TRUE(waitFor([&] { return face.status().isEmpty(); }));
    EXPECT_FALSE(face.window(kSettingsTitle, kSettings));
}

struct HostCase {
    const char* name;
    QStringList command;
    const char* config; // a file whose name follows the command, if any
};

constexpr auto kQtPanel = R"([General]
panels=panel1
[panel1]
lockPanel=true
panelSize=32
plugins=statusnotifier
position=Top
width=100
width-percent=true
[statusnotifier]
alignment=Right
type=statusnotifier
)";

const HostCase kHosts[] = {
    {"XembedTray", FaceDesktop::tray(), nullptr},
    {"NotifierHostOfQt", {"lxqt-panel", "--config"}, kQtPanel},
    {"NotifierHostOfGtk", {"xfce4-panel", "--disable-wm-check"}, nullptr},
};

class FaceOnHost : public Face, public testing::WithParamInterface<HostCase> {
protected:
    FaceOnHost() {
        if (const char* config = GetParam().config) {
            QFile file(folder.filePath(QStringLiteral("panel.conf")));
            EXPECT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(config);
            command << file.fileName();
        }
    }
    QStringList command = GetParam().command;
};

TEST_P(FaceOnHost, IconComesWithItsHostAndOpensThePanel) {
    startAsMember();
    runFor(std::chrono::milliseconds(500)); // nobody shows icons yet
    EXPECT_TRUE(face.windows().isEmpty());
    for (const char* start : {"late", "again"}) {
        SCOPED_TRACE(start);
        const auto host = face.host(command);
        const auto icon = face.icon();
        ASSERT_TRUE(icon);
        for (int i = 0; i < 2; ++i) {
            face.click(*icon);
            ASSERT_TRUE(waitFor([&] { return face.window(kName, kPanel).has_value(); }));
            face.click(*icon);
            ASSERT_TRUE(face.closes(kName, kPanel));
            runFor(std::chrono::milliseconds(300)); // it would be back by now
            EXPECT_FALSE(face.window(kName, kPanel));
        }
        face.click(*icon);
        std::optional<FaceDesktop::Window> shown;
        ASSERT_TRUE(waitFor([&] { return (shown = face.window(kName, kPanel)).has_value(); }));
        const QRect panel = shown->frame;
        EXPECT_LE(panel.top(), 64);
        EXPECT_TRUE(QRect(0, 0, 1280, 800).contains(panel));
        EXPECT_TRUE(panel.left() <= icon->x() && icon->x() <= panel.right() + 8);
        face.press({"Escape"});
        ASSERT_TRUE(face.closes(kName, kPanel));
        // The host's own menu, then ours, as the panel has the pointer while it is open.
        for (const bool panelIsOpen : {false, true}) {
            if (panelIsOpen) {
                face.click(*icon);
                ASSERT_TRUE(waitFor([&] { return face.window(kName, kPanel).has_value(); }));
                face.click(*icon, 3);
                ASSERT_TRUE(waitFor([&] {
                    const auto all = face.windows();
                    return !face.window(kName, kPanel) &&
                           std::ranges::any_of(all,
                                               [](const auto& w) { return w.frame.height() > 64; });
                }));
                face.press(kSettingsInMenu);
            } else {
                face.choose(*icon, kSettingsInMenu);
            }
            ASSERT_TRUE(face.opens(kSettingsTitle, kSettings)) << panelIsOpen;
            face.press({"Escape"});
            ASSERT_TRUE(face.closes(kSettingsTitle, kSettings));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, FaceOnHost, testing::ValuesIn(kHosts),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace

} // namespace sorrelwind::test

#include "crypto/clipboard_crypto.h"
#include "tests/ui/played_systemd.h"
#include "tests/ui/windows_fixture.h"
#include "ui/settings_window.h"

#include <QFile>

namespace sorrelwind::test {

namespace {

class Settings : public WindowsFixture {
protected:
    void open(const Account& stored) { open(stored, hubHost); }
    void open(const Account& stored, HubHost& host) {
        ASSERT_TRUE(store.save(stored));
        startModel();
        ASSERT_TRUE(waitFor([&] { return hub.sockets > 0; }));
        settings = std::make_unique<SettingsWindowController>(
            *model, SettingsServices{prefs, l10n, host, launchAtLogin,
                                     [this](const QString& text) { copied << text; }});
        settings->present();
    }
    [[nodiscard]] static QString name() { return seen<QLineEdit>("deviceName")->text(); }
    [[nodiscard]] static QString passphraseShown() { return seen<QLabel>("passphrase")->text(); }

    std::unique_ptr<SettingsWindowController> settings;
};

TEST_F(Settings, NameIsSavedOnEnterAndOnLeavingTheField) {
    hub.on("PATCH /devices/d", {{.body = R"({"ok":true})"}});
    open(account());
    type("deviceName", u"  Desk "_qs);
    EXPECT_EQ(hub.count("PATCH /devices/d"), 0);
    key(Qt::Key_Return);
    ASSERT_TRUE(waitFor([&] { return store.load()->deviceName == u"Desk"_qs; }));
    EXPECT_EQ(name(), u"Desk"_qs);
    type("deviceName", u"Table"_qs);
    key(Qt::Key_Tab);
    ASSERT_TRUE(waitFor([&] { return store.load()->deviceName == u"Table"_qs; }));
    type("deviceName", u"Lamp"_qs);
    key(Qt::Key_Escape);
    ASSERT_TRUE(waitFor([&] { return store.load()->deviceName == u"Lamp"_qs; }));
    EXPECT_FALSE(settings->isVisible());
    EXPECT_EQ(hub.count("PATCH /devices/d"), 3);
}

TEST_F(Settings, ClipboardThatCannotBeReachedIsSaidWithTheReason) {
    open(account());
    EXPECT_FALSE(says(u"Not available"_qs));
    EXPECT_EQ(model->warning(), std::nullopt);
    pasteboard.setAvailable(false);
    EXPECT_TRUE(says(u"Not available"_qs));
    EXPECT_TRUE(says(pasteboard.unavailableReason().en));
    EXPECT_TRUE(model->warning().value_or(QString()).contains(u"clipboard"_qs));
    pasteboard.setAvailable(true);
    EXPECT_FALSE(says(u"Not available"_qs));
    EXPECT_EQ(model->warning(), std::nullopt);
}

TEST_F(Settings, RefusedNameIsSaidAndTheOldOneIsBack) {
    hub.on("PATCH /devices/d", {{.status = 400, .body = R"({"error":"that name is taken"})"}});
    open(account());
    type("deviceName", u"Desk"_qs);
    key(Qt::Key_Return);
    ASSERT_TRUE(waitFor([] { return says(u"that name is taken"_qs); }));
    EXPECT_EQ(name(), u"Studio"_qs);
    QTest::keyClick(seen<QWidget>("language"), Qt::Key_Left);
    EXPECT_TRUE(says(u"that name is taken"_qs)); // the hub's own words
    EXPECT_EQ(store.load()->deviceName, u"Studio"_qs);
    // No name at all is no wish.
    type("deviceName", u"  "_qs);
    key(Qt::Key_Return);
    EXPECT_EQ(name(), u"Studio"_qs);
    EXPECT_EQ(hub.count("PATCH /devices/d"), 1);
}

TEST_F(Settings, TypingSurvivesWhatElseHappens) {
    open(account());
    type("deviceName", u"half a na"_qs);
    hub.send(R"({"type":"devices","devices":[]})");
    model->setPaused(true);
    EXPECT_EQ(name(), u"half a na"_qs);
}

TEST_F(Settings, PassphraseIsHiddenUntilAskedFor) {
    open(account());
    EXPECT_FALSE(passphraseShown().contains(u"abcde"_qs));
    press(u"Show the passphrase"_qs);
    EXPECT_EQ(passphraseShown(), u"abcde-fghjk"_qs);
    settings->close();
    settings->present();
    EXPECT_FALSE(passphraseShown().contains(u"abcde"_qs));
    press(u"Copy the passphrase"_qs);
    EXPECT_EQ(copied, QStringList({u"abcde-fghjk"_qs}));
}

TEST_F(Settings, KeyWithoutPassphraseIsExplained) {
    Account joined = account();
    joined.passphrase.reset();
    open(joined);
    EXPECT_TRUE(
        says(u"This computer joined with a pairing link, so only the key is stored — not the "
             u"passphrase."_qs));
    EXPECT_EQ(seen<QLabel>("passphrase"), nullptr);
    EXPECT_EQ(button(u"Copy the passphrase"_qs), nullptr);
}

TEST_F(Settings, PassphraseThatDoesNotFitIsEnteredAgain) {
    const QString waiting =
        *Crypto::encryptText(u"waiting"_qs, *Crypto::deriveKey(u"right"_qs, *account().salt, 2));
    open(account());
    EXPECT_EQ(seen<QLineEdit>("enterPassphrase"), nullptr);
    hub.send(R"({"type":"item","item":{"id":"i","ts":1,"from":"e","device":"Studio 2",)"
             R"("mime":"text/plain","payload":")" +
             waiting.toUtf8() + R"("}})");
    ASSERT_TRUE(waitFor([] { return says(u"can't be opened with this passphrase"_qs); }));
    settings->close();
    settings->present();
    EXPECT_EQ(window()->focusWidget(), seen<QLineEdit>("enterPassphrase"));
    EXPECT_FALSE(button(u"Use"_qs)->isEnabled());
    expectOneLanguage(Lang::en);

    type("enterPassphrase", u"abcde-fghjk"_qs); // the one that it has
    key(Qt::Key_Return);
    ASSERT_TRUE(waitFor([] { return says(u"nothing was changed"_qs); }));
    EXPECT_EQ(window()->focusWidget(), seen<QLineEdit>("enterPassphrase")) << "to be mended";
    QTest::keyClick(seen<QWidget>("language"), Qt::Key_Left);
    expectOneLanguage(Lang::zh);
    QTest::keyClick(seen<QWidget>("language"), Qt::Key_Right);
    expectTabReachesAll();

    // One that would take for ever is called off.
    hub.on("GET /crypto",
           {{.body = R"({"crypto":{"v":1,"kdf":"k","iters":2147483647,"salt":"AAAA"}})"}});
    type("enterPassphrase", u"right"_qs);
    press(u"Use"_qs);
    ASSERT_TRUE(waitFor([] { return says(u"2147483647 rounds"_qs); }));
    press(u"Cancel"_qs);
    hub.on("GET /crypto", {{.body = kCrypto}});
    press(u"Use"_qs);
    ASSERT_TRUE(waitFor([] { return says(u"The passphrase fits."_qs); }));
    EXPECT_EQ(seen<QLineEdit>("enterPassphrase"), nullptr);
    EXPECT_EQ(window()->focusWidget(), window()) << "and on no switch";
    EXPECT_EQ(pasteboard.string(), u"waiting"_qs);
    EXPECT_EQ(store.load()->passphrase, u"right"_qs);
}

TEST_F(Settings, SwitchesAndChoicesAreKept) {
    open(account());
    QTest::mouseClick(seen<QAbstractButton>("bubble"), Qt::LeftButton);
    EXPECT_FALSE(prefs.showSyncBubble());
    QTest::mouseClick(seen<QAbstractButton>("launchAtLogin"), Qt::LeftButton);
    EXPECT_TRUE(launchAtLogin.enabled());
    QTest::mouseClick(seen<QAbstractButton>("launchAtLogin"), Qt::LeftButton);
    EXPECT_FALSE(launchAtLogin.enabled());
    QTest::keyClick(seen<QWidget>("appearance"), Qt::Key_Right);
    QTest::keyClick(seen<QWidget>("appearance"), Qt::Key_Right);
    EXPECT_EQ(prefs.appearance(), Prefs::Appearance::dark);

    QFile blocker(dir.filePath(u"autostart"_qs));
    QDir(dir.filePath(u"autostart"_qs)).removeRecursively();
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    QTest::mouseClick(seen<QAbstractButton>("launchAtLogin"), Qt::LeftButton);
    EXPECT_TRUE(says(u"Opening at login can't be changed"_qs));
    EXPECT_FALSE(seen<QAbstractButton>("launchAtLogin")->isChecked());
    QTest::keyClick(seen<QWidget>("language"), Qt::Key_Left);
    EXPECT_TRUE(says(u"无法更改登录时启动"_qs));
}

TEST_F(Settings, BothLanguagesAndEveryControlByTab) {
    open(account());
    expectOneLanguage(Lang::en);
    expectTabReachesAll();
    const int epoch = model->languageEpoch();
    QTest::keyClick(seen<QWidget>("language"), Qt::Key_Left);
    EXPECT_EQ(l10n.lang(), Lang::zh);
    EXPECT_EQ(model->languageEpoch(), epoch + 1);
    expectOneLanguage(Lang::zh);
    press(u"离开设备组…"_qs);
    expectOneLanguage(Lang::zh);
    expectTabReachesAll();
    QTest::keyClick(seen<QWidget>("language"), Qt::Key_Right);
    expectOneLanguage(Lang::en);
}

TEST_F(Settings, LeavingIsAskedFirst) {
    open(account());
    press(u"Leave Group…"_qs);
    EXPECT_TRUE(says(u"forgets the key and passphrase"_qs));
    EXPECT_EQ(window()->focusWidget(), button(u"Cancel"_qs));
    key(Qt::Key_Return);
    EXPECT_FALSE(says(u"forgets the key and passphrase"_qs));
    press(u"Leave Group…"_qs);
    settings->close();
    settings->present();
    EXPECT_FALSE(says(u"forgets the key and passphrase"_qs)); // the question went with the window
    EXPECT_EQ(hub.count("DELETE /devices/d"), 0);

    press(u"Leave Group…"_qs);
    press(u"Leave Group"_qs);
    ASSERT_TRUE(waitFor([&] { return onboardingWanted == 1; }));
    EXPECT_EQ(hub.count("DELETE /devices/d"), 1);
    EXPECT_FALSE(QFile::exists(store.fileUrl()));
}

TEST_F(Settings, HubThatRunsHereIsStoppedAfterAQuestion) {
    const PlayedSystemd systemd(dir.path());
    systemd.pretendToRun();
    defaults.set(u"hostHub"_qs, u"service"_qs);
    defaults.set(u"hostHubAddress"_qs, hub.base());
    HubHost host(defaults, {.program = {}, .mayUseAvahi = false});
    open(account(), host);
    ASSERT_TRUE(waitFor([] { return says(u"Runs on this computer as a service"_qs); }));
    press(u"Stop…"_qs);
    EXPECT_TRUE(says(u"no device of the group can sync"_qs));
    key(Qt::Key_Return); // on "Cancel"
    EXPECT_TRUE(says(u"as a service"_qs));
    expectTabReachesAll();
    press(u"Stop…"_qs);
    press(u"Stop Hub"_qs);
    ASSERT_TRUE(waitFor([] { return says(u"The hub on this computer is stopped"_qs); }));
    EXPECT_TRUE(systemd.log().contains("disable --now"));
    settings.reset(); // before its host
}

TEST_F(Settings, HubOfThisComputerCanBeStartedAgain) {
    // The group's address is one of this computer's, but no hub is hosted.
    defaults.set(u"hostHubAddress"_qs, hub.base());
    open(account());
    EXPECT_TRUE(says(u"The hub on this computer is stopped"_qs));
    press(u"Start"_qs);
    ASSERT_TRUE(waitFor([] { return says(u"sorrelwind-hub is not on this computer"_qs); }));
}

} // namespace

} // namespace sorrelwind::test

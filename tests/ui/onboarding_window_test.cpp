#include "tests/ui/played_systemd.h"
#include "tests/ui/windows_fixture.h"
#include "ui/onboarding/invitation.h"
#include "ui/onboarding_window.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace sorrelwind::test {

namespace {

const QByteArray kEndlessCrypto = QByteArray(kCrypto).replace(":2,", ":2147483647,");

class Onboarding : public WindowsFixture {
protected:
    Onboarding() {
        qunsetenv("SORRELWIND_SERVER");
        startModel();
    }

    void open() {
        window_ = std::make_unique<OnboardingWindowController>(
            *model, OnboardingServices{store, network, l10n, hubHost, launchAtLogin,
                                       [this](const QString& text) { copied << text; },
                                       [this] { return showsIcon; }, hubOfThisComputer});
        window_->onFinish = [this] {
            calls << u"finish"_qs;
            window_.reset();
        };
        window_->onAddDevice = [this] { calls << u"add"_qs; };
        window_->present();
    }
    void openCreate() {
        open();
        press(u"Get Started"_qs);
        press(u"Create a group"_qs);
        useAddress();
        type("server", hub.base());
    }
    static void useAddress() { QTest::keyClick(seen<QWidget>("hubChoice"), Qt::Key_Left); }
    void openJoin() {
        open();
        press(u"Get Started"_qs);
        press(u"Join a group"_qs);
    }
    [[nodiscard]] bool reachesDone() {
        return waitFor([] { return says(u"You’re all set"_qs); });
    }

    QStringList calls;
    std::unique_ptr<OnboardingWindowController> window_;
    bool showsIcon = true;
    QString hubOfThisComputer = u"http://127.0.0.1:9"_qs; // nobody answers
};

TEST_F(Onboarding, CreatesAGroupByKeyboardAlone) {
    open();
    expectTabReachesAll();
    while (!button(u"Get Started"_qs)->hasFocus() &&
           window()->focusWidget() != button(u"Get Started"_qs))
        key(Qt::Key_Tab);
    key(Qt::Key_Return);
    key(Qt::Key_Return); // the first choice has the focus
    auto* name = seen<QLineEdit>("deviceName");
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(window()->focusWidget(), name);
    EXPECT_FALSE(name->text().isEmpty());
    EXPECT_EQ(seen<QLineEdit>("passphrase")->text().size(), 23);
    useAddress();
    EXPECT_EQ(seen<QLineEdit>("server")->text(), QString());
    EXPECT_EQ(seen<QLineEdit>("server")->placeholderText(), u"https://hub.example"_qs);
    expectTabReachesAll();
    type("deviceName", u" Desk "_qs);
    type("passphrase", u"my own words"_qs);
    type("server", hub.base() + u"/path"_qs);
    EXPECT_TRUE(says(u"Connects to "_qs + hub.base()));
    key(Qt::Key_Return);
    ASSERT_TRUE(reachesDone());
    const auto sent = QJsonDocument::fromJson(hub.requests.first().body).object();
    EXPECT_EQ(sent[u"name"].toString(), u"Desk"_qs);
    ASSERT_TRUE(store.load().has_value());
    EXPECT_EQ(store.load()->passphrase, u"my own words"_qs);
    EXPECT_EQ(store.load(), model->account());
    EXPECT_EQ(model->phase(), AppModel::Phase::running);

    EXPECT_TRUE(says(u"lives in the system tray"_qs));
    showsIcon = false;
    model->setPaused(true);
    EXPECT_TRUE(says(u"start Sorrelwind again"_qs)); // the only way back in
    auto* launch = seen<QAbstractButton>("launchAtLogin");
    ASSERT_NE(launch, nullptr);
    QTest::keyClick(launch, Qt::Key_Space);
    EXPECT_TRUE(launchAtLogin.enabled());
    expectTabReachesAll();
    while (window()->focusWidget() != button(u"Add a Device"_qs))
        key(Qt::Key_Tab);
    key(Qt::Key_Return);
    EXPECT_EQ(window(), nullptr);
    ASSERT_TRUE(waitFor([&] { return !calls.isEmpty(); }));
    EXPECT_EQ(calls, QStringList({u"finish"_qs, u"add"_qs}));
    EXPECT_EQ(hub.count("DELETE /devices/d"), 0);
}

TEST_F(Onboarding, PassphraseIsTheEarlierOneElseFreshAndCanBeChangedAndCopied) {
    QFile legacy(dir.filePath(u"config.json"_qs));
    ASSERT_TRUE(legacy.open(QIODevice::WriteOnly));
    legacy.write(R"({"passphrase":"from before"})");
    legacy.close();
    openCreate();
    auto* field = seen<QLineEdit>("passphrase");
    EXPECT_EQ(field->text(), u"from before"_qs);
    press(u"Make another passphrase"_qs);
    EXPECT_EQ(field->text().size(), 23);
    press(u"Copy the passphrase"_qs);
    EXPECT_EQ(copied, QStringList({field->text()}));
}

TEST_F(Onboarding, AnErrorIsASentenceAndTheFormStays) {
    hub.on("POST /groups",
           {{.status = 503, .body = R"({"error":"closed on Sunday"})"}, {.body = kJoined}});
    openCreate();
    type("passphrase", u"my own words"_qs);
    key(Qt::Key_Return);
    EXPECT_TRUE(says(u"Creating your group…"_qs));
    EXPECT_FALSE(seen<QLineEdit>("passphrase")->isEnabled());
    ASSERT_TRUE(waitFor([] { return says(u"closed on Sunday"_qs); }));
    EXPECT_EQ(seen<QLineEdit>("passphrase")->text(), u"my own words"_qs);
    EXPECT_EQ(window()->focusWidget(), seen<QLineEdit>("passphrase"));
    EXPECT_EQ(seen<QLineEdit>("server")->text(), hub.base());
    EXPECT_FALSE(store.load());
    press(u"Create Group"_qs);
    ASSERT_TRUE(reachesDone());
}

TEST_F(Onboarding, FieldsAreCheckedAsTheyAreTyped) {
    openCreate();
    const std::tuple<const char*, const char16_t*, bool> kTable[] = {
        {"server", u"ftp://x", false}, {"server", u"", false},     {"server", u"hub.example", true},
        {"passphrase", u"", false},    {"passphrase", u"x", true}, {"deviceName", u"   ", false},
        {"deviceName", u"a", true},
    };
    for (const auto& [field, text, good] : kTable) {
        type(field, QString::fromUtf16(text));
        EXPECT_EQ(button(u"Create Group"_qs)->isEnabled(), good) << field;
    }
    EXPECT_TRUE(says(u"Connects to https://hub.example"_qs));
    EXPECT_TRUE(hub.requests.isEmpty());
}

TEST_F(Onboarding, OffersTheHubThatIsThereElseHosting) {
    const QByteArray healthy = R"({"ok":true,"version":"0.1.0"})";
    const struct {
        const char* what;
        QByteArray environment;
        Answer health;
        bool typesFirst;
        QString offered; // empty: hosting
    } kTable[] = {
        {"a hub of this computer", "", {.body = healthy}, false, hub.base()},
        {"another program", "", {.body = "{}"}, false, {}},
        {"a hub in trouble", "", {.status = 503, .body = healthy}, false, {}},
        {"what a person chose stands", "", {.body = healthy}, true, {}},
        {"the environment's", "hub.example", {.body = healthy}, false, u"https://hub.example"_qs},
    };
    hubOfThisComputer = hub.base();
    for (const auto& [what, environment, health, typesFirst, offered] : kTable) {
        SCOPED_TRACE(what);
        const Environment server("SORRELWIND_SERVER", environment);
        hub.requests.clear();
        hub.on("GET /healthz", {health});
        open();
        press(u"Get Started"_qs);
        press(u"Create a group"_qs);
        EXPECT_EQ(seen<QLineEdit>("server") == nullptr, environment.isEmpty());
        if (typesFirst) {
            useAddress();
            QTest::keyClick(seen<QWidget>("hubChoice"), Qt::Key_Right);
        }
        if (environment.isEmpty()) {
            ASSERT_TRUE(waitFor([&] { return hub.count("GET /healthz") == 1; }));
            if (offered.isEmpty())
                runFor(std::chrono::milliseconds(100));
            else
                ASSERT_TRUE(waitFor([] { return seen<QLineEdit>("server") != nullptr; }));
        }
        auto* field = seen<QLineEdit>("server");
        EXPECT_EQ(field ? field->text() : QString(), offered);
        EXPECT_EQ(says(u"Phones and other computers can’t reach"_qs), offered == hub.base());
        key(Qt::Key_Escape);
        ASSERT_TRUE(waitFor([&] { return window_ == nullptr; }));
    }
}

TEST_F(Onboarding, HostingThatCannotBeSaysWhy) {
    open();
    press(u"Get Started"_qs);
    press(u"Create a group"_qs);
    press(u"Create Group"_qs);
    ASSERT_TRUE(waitFor([] { return says(u"sorrelwind-hub is not on this computer"_qs); }));
    EXPECT_TRUE(hub.requests.isEmpty());
    EXPECT_FALSE(hubHost.hosts());
}

TEST(Invitation, IsRecognised) {
    using Kind = Invitation::Kind;
    const QString key = u"AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8"_qs;
    const std::pair<QString, Kind> kTable[] = {
        {u"  \n"_qs, Kind::empty},
        {u"https://hub.example/#pair=AB&k="_qs + key, Kind::linkWithKey},
        {u" https://hub.example/#pair=AB&k="_qs + key + u"\n"_qs, Kind::linkWithKey},
        {u"https://hub.example/#pair=AB&k=short"_qs, Kind::link},
        {u"https://hub.example/#pair=AB"_qs, Kind::link},
        {u"https://hub.example/#pair="_qs, Kind::unknown},
        {u"ABCD-2345"_qs, Kind::code},
        {u" ab cd 23 45 "_qs, Kind::code},
        {u"ABCD-234"_qs, Kind::unknown},
        {u"ABCD-23456"_qs, Kind::unknown},
    };
    for (const auto& [text, kind] : kTable)
        EXPECT_EQ(Invitation::read(text).kind, kind) << text.toStdString();
    EXPECT_EQ(Invitation::read(u" ABCD-2345 "_qs).code, u"ABCD-2345"_qs);
}

TEST_F(Onboarding, JoinAsksOnlyForWhatItNeeds) {
    openJoin();
    const QString key = u"&k=AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8"_qs;
    const struct {
        QString entry;
        const char16_t* says;
        bool passphrase;
        bool server;
        bool ready; // without anything else typed
    } kTable[] = {
        {u"hello"_qs, u"Neither a pairing link nor", false, false, false},
        {u"ABCD-2345"_qs, u"Pairing code.", true, true, false},
        {u"https://hub.example/#pair=X"_qs, u"Pairing link — hub.example", true, false, false},
        {u"https://hub.example/#pair=X"_qs + key, u"carries the encryption key", false, false,
         true},
        {u""_qs, u"On your other device", false, false, false},
    };
    for (const auto& [entry, sentence, passphrase, server, ready] : kTable) {
        SCOPED_TRACE(entry.toStdString());
        type("invitation", entry);
        EXPECT_TRUE(says(QString::fromUtf16(sentence)));
        EXPECT_EQ(seen<QLineEdit>("passphrase") != nullptr, passphrase);
        EXPECT_EQ(seen<QLineEdit>("server") != nullptr, server);
        EXPECT_EQ(button(u"Join Group"_qs)->isEnabled(), ready);
    }
}

TEST_F(Onboarding, JoinsByTypedCode) {
    openJoin();
    type("invitation", u" abcd-2345 "_qs);
    type("passphrase", u"words"_qs);
    type("server", hub.base());
    expectTabReachesAll();
    press(u"Join Group"_qs);
    ASSERT_TRUE(reachesDone());
    const auto sent = QJsonDocument::fromJson(hub.requests.first().body).object();
    EXPECT_EQ(sent[u"code"].toString(), u"abcd-2345"_qs);
    press(u"Done"_qs);
    ASSERT_TRUE(waitFor([&] { return !calls.isEmpty(); }));
    EXPECT_EQ(calls, QStringList({u"finish"_qs}));
    EXPECT_TRUE(store.load().has_value());
}

TEST_F(Onboarding, ClosedHalfWayGivesTheMembershipBack) {
    hub.on("GET /crypto", {{.body = kEndlessCrypto}});
    openCreate();
    press(u"Create Group"_qs);
    ASSERT_TRUE(waitFor([] { return says(u"Generating the encryption key…"_qs); }));
    key(Qt::Key_Escape);
    ASSERT_TRUE(waitFor([&] { return window_ == nullptr; }));
    ASSERT_TRUE(waitFor([&] { return hub.count("DELETE /devices/d") == 1; }));
    EXPECT_FALSE(QFile::exists(store.fileUrl()));
    EXPECT_EQ(model->phase(), AppModel::Phase::onboarding);
}

TEST_F(Onboarding, CancelledItCanBeTriedAgainAtOnce) {
    hub.on("GET /crypto", {{.body = kEndlessCrypto}, {.body = kCrypto}});
    openCreate();
    press(u"Create Group"_qs);
    ASSERT_TRUE(waitFor([] { return says(u"Generating the encryption key…"_qs); }));
    press(u"Cancel"_qs);
    EXPECT_TRUE(seen<QLineEdit>("server")->isEnabled());
    press(u"Create Group"_qs);
    ASSERT_TRUE(reachesDone());
    ASSERT_TRUE(waitFor([&] { return hub.count("DELETE /devices/d") == 1; }));
    EXPECT_TRUE(store.load().has_value());
    EXPECT_EQ(hub.count("POST /groups"), 2);
}

TEST_F(Onboarding, ShowsAndClearsTheNotice) {
    model->startSync(account());
    ASSERT_TRUE(waitFor([&] { return hub.sockets > 0; }));
    hub.send(R"({"type":"removed"})");
    ASSERT_TRUE(waitFor([&] { return model->notice().has_value(); }));
    open();
    EXPECT_TRUE(says(u"This computer was removed from its group."_qs));
    EXPECT_NE(button(u"Create a group"_qs), nullptr); // no welcome for who was here before
    press(u"Dismiss"_qs);
    EXPECT_FALSE(model->notice());
    EXPECT_FALSE(says(u"removed from its group"_qs));
}

TEST_F(Onboarding, LanguageSwitchReachesEveryPage) {
    const auto both = [&](const char* page) {
        SCOPED_TRACE(page);
        expectOneLanguage(Lang::en);
        auto* language = seen<QAbstractButton>("language");
        ASSERT_NE(language, nullptr);
        QTest::mouseClick(language, Qt::LeftButton);
        EXPECT_EQ(l10n.lang(), Lang::zh);
        expectOneLanguage(Lang::zh);
        QTest::mouseClick(language, Qt::LeftButton);
    };
    hub.on("POST /groups", {{.status = 500}, {.body = kJoined}});
    open();
    both("welcome");
    press(u"Get Started"_qs);
    both("choose");
    press(u"Join a group"_qs);
    both("join");
    type("invitation", u"ABCD-2345"_qs);
    both("join by code");
    press(u"Back"_qs);
    press(u"Create a group"_qs);
    both("create, hosting");
    useAddress();
    both("create without an address");
    type("server", hub.base());
    both("create");
    press(u"Create Group"_qs);
    both("create at work");
    ASSERT_TRUE(waitFor([] { return says(u"Server error (500)"_qs); }));
    both("create after an error");
    EXPECT_TRUE(says(u"Server error (500)"_qs));
    press(u"Create Group"_qs);
    ASSERT_TRUE(reachesDone());
    both("done");
    EXPECT_EQ(model->languageEpoch(), 18 + 2);
}

} // namespace

} // namespace sorrelwind::test

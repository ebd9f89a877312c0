#include "core/app_model.h"

#include "account/account_store.h"
#include "base/defaults.h"
#include "base/prefs.h"
#include "crypto/clipboard_crypto.h"
#include "hub/network.h"
#include "tests/support/fake_pasteboard.h"
#include "tests/support/print_qt.h"
#include "tests/support/scripted_hub.h"
#include "tests/support/wait.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

using CryptoStatus = AppModel::CryptoStatus;
using Direction = Activity::Direction;

const QByteArray kKeyBytes(32, 'k');

SymmetricKey key() {
    return *SymmetricKey::fromBytes(kKeyBytes);
}

QJsonObject object(const QByteArray& text) {
    return QJsonDocument::fromJson(text).object();
}

/// A model over a pasteboard in memory and a scripted hub on loopback.
class AppModelTest : public testing::Test {
protected:
    AppModelTest() {
        defaults.set(u"language"_qs, u"en"_qs);
        hub.on("GET /crypto", {Answer{.body = R"({"crypto":null})"}});
        hub.on("POST /items", {Answer{.body = R"({"recipients":1})"}});
        hub.on("DELETE /devices/me", {Answer{}});
    }

    Account account(bool withKey) const {
        Account made{hub.base(), u"g"_qs, u"me"_qs, u"Mine"_qs, u"g.t"_qs, {}, {}, {}};
        if (withKey)
            made.key = Crypto::base64(key());
        return made;
    }

    /// Starts the model on `stored`, and waits until its socket is open.
    void start(const std::optional<Account>& stored) {
        if (stored)
            (void)store.save(*stored);
        model =
            std::make_unique<AppModel>(AppModel::Services{store, pasteboard, network, l10n, prefs});
        model->showBubble = [this](const QString& text, BubbleKind kind) {
            bubbles.append(text);
            lastKind = kind;
        };
        model->onNeedsOnboarding = [this] { ++onboardings; };
        ASSERT_TRUE(
            waitFor([&] { return !stored || model->connection() == SyncState::connected; }));
    }

    /// The next publish is acknowledged so.
    void acknowledge(int status, int recipients) {
        hub.onFrame = [this, status, recipients](const QByteArray& frame) {
            const QJsonObject item = object(frame)[u"item"].toObject();
            if (item.isEmpty())
                return;
            published.append(item[u"payload"].toString());
            hub.send(QByteArray(R"({"type":"ack","ref":"$id","status":$status,"recipients":$n})")
                         .replace("$id", item[u"id"].toString().toUtf8())
                         .replace("$status", QByteArray::number(status))
                         .replace("$n", QByteArray::number(recipients)));
        };
    }

    void deliver(const QString& payload, const QByteArray& id, const QByteArray& from = "other",
                 const QByteArray& mime = "text/plain") {
        const auto before = receiptsFor(id);
        hub.send(R"({"type":"item","item":{"ts":1,"device":"Pad","id":")" + id + R"(","from":")" +
                 from + R"(","mime":")" + mime + R"(","payload":")" + payload.toUtf8() + "\"}}");
        // The receipt leaves before the item is looked at, so the next answer comes after it.
        ASSERT_TRUE(waitFor([&] { return receiptsFor(id) > before; }));
    }
    [[nodiscard]] qsizetype receiptsFor(const QByteArray& id) const {
        return std::ranges::count_if(hub.frames, [&](const QByteArray& frame) {
            return object(frame).value(u"id").toString().toUtf8() == id;
        });
    }

    QTemporaryDir folder;
    AccountStore store{folder.path()};
    Defaults defaults{folder.path()};
    L10n l10n{defaults};
    Prefs prefs{defaults};
    FakePasteboard pasteboard;
    Network network;
    ScriptedHub hub;
    QStringList bubbles;
    BubbleKind lastKind = BubbleKind::info;
    int onboardings = 0;
    QStringList published;
    std::unique_ptr<AppModel> model;
};

} // namespace

TEST_F(AppModelTest, WithoutAnAccountNothingIsSent) {
    start({});
    EXPECT_EQ(model->phase(), AppModel::Phase::onboarding);
    pasteboard.copyText(u"text"_qs);
    EXPECT_EQ(model->lastSent(), std::nullopt);
    EXPECT_TRUE(hub.requests.isEmpty());
}

TEST_F(AppModelTest, LocalCopyLeavesSealedAndItsOutcomeIsShown) {
    const struct {
        int status;
        int recipients;
        Direction direction;
        BubbleKind kind;
        const char* says;
    } cases[] = {{200, 2, Direction::sent, BubbleKind::success, "Synced"},
                 {200, 0, Direction::sent, BubbleKind::info, "No other devices yet"},
                 {413, 0, Direction::failed, BubbleKind::failure, "Too large to sync"},
                 {503, 0, Direction::failed, BubbleKind::failure, "Couldn't sync"}};
    start(account(true));
    EXPECT_EQ(model->statusText(), u"Connected · Encrypted"_qs);
    int number = 0;
    for (const auto& c : cases) {
        acknowledge(c.status, c.recipients);
        bubbles.clear();
        const QString text = u"机密 %1"_qs.arg(++number);
        pasteboard.copyText(text);
        ASSERT_TRUE(waitFor([&] { return !bubbles.isEmpty(); }));
        EXPECT_TRUE(bubbles[0].startsWith(QLatin1StringView(c.says)));
        EXPECT_EQ(lastKind, c.kind);
        EXPECT_EQ(model->lastSent()->direction, c.direction);
        EXPECT_EQ(model->lastSent()->recipients, c.recipients);
        EXPECT_EQ(Crypto::decryptText(published.last(), key()), text);
        EXPECT_EQ(model->warning().has_value(), c.status == 413);
    }
    // What the clipboard's own limit keeps out does not even get as far as the hub.
    const auto before = published.size();
    pasteboard.copyTooLarge();
    EXPECT_EQ(bubbles.last(), u"Too large to sync"_qs);
    EXPECT_TRUE(model->warning()->contains(u"too large"_qs));
    EXPECT_EQ(published.size(), before);
    prefs.setShowSyncBubble(false);
    bubbles.clear();
    published.clear();
    acknowledge(200, 1);
    pasteboard.copyText(u"quietly"_qs);
    EXPECT_TRUE(waitFor([&] { return model->lastSent()->direction == Direction::sent; }));
    EXPECT_TRUE(bubbles.isEmpty());
}

TEST_F(AppModelTest, WhatArrivesIsCheckedBeforeItReachesTheClipboard) {
    start(account(true));
    const auto sealed = [](const char* text) {
        return *Crypto::encryptText(QString::fromUtf8(text), key());
    };
    const auto clipboard = [&] { return pasteboard.string().value_or(QString()); };

    deliver(sealed("first"), "1");
    EXPECT_EQ(clipboard(), u"first"_qs);
    EXPECT_EQ(model->lastReceived()->device, u"Pad"_qs);
    EXPECT_FALSE(model->lastReceived()->unsealed || model->lastReceivedText()->unsealed);
    deliver(sealed("own"), "2", "me");
    deliver(sealed("image"), "3", "other", "image/png");
    EXPECT_EQ(clipboard(), u"first"_qs);

    deliver(u"sw1.AAAA.BBBB"_qs, "4");
    EXPECT_TRUE(model->decryptFailed());
    EXPECT_TRUE(model->warning()->contains(u"passphrase mismatch"_qs));
    // The same item again is not written again, yet shows that opening works.
    pasteboard.copyConcealed(u"elsewhere"_qs);
    deliver(sealed("first"), "1");
    EXPECT_FALSE(model->decryptFailed());
    EXPECT_EQ(pasteboard.writes, 1);

    deliver(u"plain is taken as it is"_qs, "5");
    EXPECT_EQ(clipboard(), u"plain is taken as it is"_qs);
    EXPECT_TRUE(model->lastReceived()->unsealed && model->lastReceivedText()->unsealed);
    EXPECT_TRUE(hub.count("POST /items") == 0 && published.isEmpty()) << "nothing went back";

    const auto last = model->lastReceived();
    deliver(QString(kMaxClipboardBytes + 1, u'x'), "too large");
    EXPECT_TRUE(model->warning()->contains(u"too large for the clipboard"_qs));
    EXPECT_EQ(model->lastReceived(), last);
    EXPECT_EQ(model->lastReceivedText()->text, clipboard());
    deliver(sealed("plain is taken as it is"), "7");
    EXPECT_EQ(model->warning(), std::nullopt);

    model->setPaused(true);
    deliver(sealed("during the pause"), "6");
    EXPECT_EQ(clipboard(), u"plain is taken as it is"_qs);
    EXPECT_EQ(model->statusText(), u"Paused"_qs);
}

TEST_F(AppModelTest, KeyIsFoundDerivedOrMissing) {
    const QByteArray record =
        R"({"crypto":{"v":1,"kdf":"pbkdf2-sha256","iters":7,"salt":"c2FsdHNhbHQ="}})";
    const QByteArray badSalt = QByteArray(record).replace("c2FsdHNhbHQ=", "?");
    const QString short31 = QString::fromLatin1(QByteArray(31, 'k').toBase64());
    const QString pw = u"pw"_qs;
    const struct {
        const char* what;
        Answer answer;
        std::optional<QString> passphrase;
        std::optional<QString> storedKey;
        CryptoStatus outcome;
        const char* leaves; // what a copy ends as: "sw1.", "plain", or "" when it is not sent
    } cases[] = {
        {"passphrase", {.body = record}, pw, {}, CryptoStatus::encrypted, "sw1."},
        {"key of 31 bytes", {.body = record}, pw, short31, CryptoStatus::encrypted, "sw1."},
        {"no passphrase", {.body = record}, {}, {}, CryptoStatus::missingKey, ""},
        {"bad salt", {.body = badSalt}, pw, {}, CryptoStatus::failed, ""},
        {"no record", {.body = R"({"crypto":null})"}, pw, {}, CryptoStatus::plaintext, "plain"},
        {"request fails", {.status = 500, .body = ""}, pw, {}, CryptoStatus::plaintext, "plain"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        model.reset();
        published.clear();
        hub.on("GET /crypto", {c.answer});
        Account stored = account(false);
        stored.passphrase = c.passphrase;
        stored.key = c.storedKey;
        start(stored);
        acknowledge(200, 1);
        ASSERT_TRUE(waitFor([&] { return model->crypto() == c.outcome; }));
        bubbles.clear();
        pasteboard.copyText(u"plain "_qs + QLatin1StringView(c.what));
        ASSERT_TRUE(waitFor([&] { return !bubbles.isEmpty(); }));
        if (*c.leaves) {
            ASSERT_EQ(published.size(), 1);
            EXPECT_TRUE(published[0].startsWith(QLatin1StringView(c.leaves)));
        } else {
            EXPECT_TRUE(published.isEmpty());
            EXPECT_EQ(model->lastSent()->direction, Direction::failed);
            EXPECT_TRUE(model->warning().has_value());
        }
        // A derived key is kept, so that the next start has it at once.
        const bool kept = c.outcome == CryptoStatus::encrypted;
        EXPECT_EQ(store.load()->key.value_or(QString()).size(), kept ? 44 : 0);
        EXPECT_EQ(store.load()->passphrase, c.passphrase);
    }
}

TEST_F(AppModelTest, APassphraseThatDoesNotFitIsSaidAndEnteredAgain) {
    using KeyFit = AppModel::KeyFit;
    const QString salt = u"c2FsdHNhbHQ="_qs;
    const QString wanted =
        *Crypto::encryptText(u"from the others"_qs, *Crypto::deriveKey(u"right"_qs, salt, 7));
    const auto enter = [&](const QString& passphrase) {
        return *outcomeOf(model->enterPassphrase(passphrase, [](const Sentence&) {}));
    };
    for (const bool typed : {true, false}) { // else a link carried the key
        SCOPED_TRACE(typed);
        model.reset();
        pasteboard.copyConcealed(u"before"_qs);
        hub.on("GET /crypto", {{.body = R"({"crypto":null})"},
                               {.body = R"({"crypto":{"v":1,"kdf":"k","iters":7,"salt":")" +
                                        salt.toUtf8() + "\"}}"}});
        Account joined = account(true);
        joined.passphrase = typed ? std::optional(u"typed"_qs) : std::nullopt;
        start(joined);
        EXPECT_TRUE(model->keyFit() == KeyFit::unknown && !model->wantsPassphrase());
        deliver(wanted, typed ? "1" : "2");
        EXPECT_EQ(model->keyFit(), KeyFit::doesNotFit);
        EXPECT_TRUE(model->wantsPassphrase());
        EXPECT_TRUE(model->warning()->contains(typed ? u"this passphrase"_qs : u"pairing link"_qs));

        EXPECT_TRUE(enter(u"right"_qs).error().en.contains(u"not encrypted"_qs));
        EXPECT_TRUE(enter(u"wrong"_qs).error().en.contains(u"“\u2068Pad\u2069”"_qs));
        EXPECT_EQ(store.load(), joined);
        ASSERT_EQ(enter(u"right"_qs), KeyFit::fits);
        EXPECT_EQ(pasteboard.string(), u"from the others"_qs);
        EXPECT_TRUE(!model->wantsPassphrase() && !model->warning());
        EXPECT_EQ(store.load(), model->account());
        EXPECT_EQ(store.load()->passphrase, u"right"_qs);
        acknowledge(200, 1);
        pasteboard.copyText(u"to the others"_qs);
        ASSERT_TRUE(waitFor([&] { return !published.isEmpty(); }));
        EXPECT_EQ(Crypto::decryptText(published.takeLast(),
                                      *SymmetricKey::fromBase64(*store.load()->key)),
                  u"to the others"_qs);

        // A key that has opened something may well be the group's: then another device is asked
        // about.
        deliver(*Crypto::encryptText(u"?"_qs, key()), typed ? "3" : "4");
        EXPECT_TRUE(model->warning()->contains(u"on another device?"_qs));
        deliver(u"sw1.AAAA.BBBB"_qs, "damaged");
        deliver(u"in the clear"_qs, typed ? "5" : "6");
        EXPECT_FALSE(model->wantsPassphrase());
        deliver(u"sw1.AAAA.BBBB"_qs, "damaged again");
        EXPECT_TRUE(model->decryptFailed() && !model->wantsPassphrase()) << "no passphrase helps";
        // Without a text to try it on, it is taken and said to be unproven.
        EXPECT_EQ(enter(u"another"_qs), KeyFit::unknown);

        // Views look while the group goes.
        deliver(wanted, typed ? "7" : "8");
        ASSERT_TRUE(model->wantsPassphrase());
        QObject::connect(model.get(), &AppModel::changed, [this] {
            (void)model->warning();
            EXPECT_TRUE(model->account() || !model->wantsPassphrase());
        });
        onboardings = 0;
        TaskScope scope;
        if (typed)
            scope.start(model->leaveGroup());
        else
            hub.send(R"({"type":"removed"})");
        ASSERT_TRUE(waitFor([&] { return onboardings == 1; }));
    }
}

TEST_F(AppModelTest, WhatArrivesBeforeTheKeyIsOpenedWithIt) {
    constexpr int kIterations = 300'000; // long enough for an item to arrive meanwhile
    hub.on("GET /crypto",
           {{.body = R"({"crypto":{"v":1,"kdf":"k","iters":300000,"salt":"c2FsdHNhbHQ="}})"}});
    const QString early = *Crypto::encryptText(
        u"early"_qs, *Crypto::deriveKey(u"right"_qs, u"c2FsdHNhbHQ="_qs, kIterations));
    Account stored = account(false);
    stored.passphrase = u"right"_qs;
    start(stored);
    deliver(early, "1");
    EXPECT_FALSE(model->wantsPassphrase());
    ASSERT_TRUE(waitFor([&] { return pasteboard.string() == u"early"_qs; }));
    EXPECT_EQ(model->keyFit(), AppModel::KeyFit::fits);
    EXPECT_EQ(model->warning(), std::nullopt);
}

TEST_F(AppModelTest, RemovalEndsInOnboardingWithANotice) {
    start(account(true));
    hub.send(R"({"type":"removed"})");
    ASSERT_TRUE(waitFor([&] { return onboardings == 1; }));
    EXPECT_EQ(model->phase(), AppModel::Phase::onboarding);
    EXPECT_TRUE(model->notice()->startsWith(u"This computer was removed"_qs));
    EXPECT_EQ(store.load(), std::nullopt);
    EXPECT_EQ(model->selfId(), std::nullopt);
    pasteboard.copyText(u"after"_qs);
    EXPECT_EQ(model->lastSent(), std::nullopt);
}

TEST_F(AppModelTest, LeavingIsNoRemovalAndNeedsNoHub) {
    for (const bool hubThere : {true, false}) {
        SCOPED_TRACE(hubThere);
        model.reset();
        onboardings = 0;
        hub.on("DELETE /devices/me", {Answer{.status = hubThere ? 200 : 500}});
        start(account(true));
        // The hub tells the leaving device's socket that it was removed, before it answers.
        if (hubThere)
            hub.send(R"({"type":"removed"})");
        TaskScope scope;
        scope.start(model->leaveGroup());
        ASSERT_TRUE(waitFor([&] { return onboardings == 1; }));
        EXPECT_EQ(model->notice(), std::nullopt);
        EXPECT_EQ(model->phase(), AppModel::Phase::onboarding);
        EXPECT_EQ(model->connection(), SyncState::disconnected);
        EXPECT_EQ(store.load(), std::nullopt);
    }
}

TEST_F(AppModelTest, NothingOfAGroupOutlivesIt) {
    for (const bool removed : {true, false}) {
        SCOPED_TRACE(removed);
        model.reset();
        onboardings = 0;
        start(account(true));
        hub.send(R"({"type":"devices","devices":[{"id":"other","name":"Pad","platform":"web",)"
                 R"("createdAt":1,"lastSeen":1,"online":true}]})");
        deliver(*Crypto::encryptText(u"theirs"_qs, key()), "1");
        EXPECT_TRUE(model->lastReceivedText());
        acknowledge(413, 0);
        pasteboard.copyText(u"mine"_qs + QString::number(removed));
        ASSERT_TRUE(waitFor([&] { return model->warning().has_value(); }));
        deliver(u"sw1.AAAA.BBBB"_qs, "2");
        EXPECT_EQ(model->caption(), u"Copies go to your other devices"_qs);

        TaskScope scope;
        if (removed)
            hub.send(R"({"type":"removed"})");
        else
            scope.start(model->leaveGroup());
        ASSERT_TRUE(waitFor([&] { return onboardings == 1; }));
        EXPECT_EQ(model->warning(), std::nullopt);
        EXPECT_EQ(model->lastSent(), std::nullopt);
        EXPECT_EQ(model->lastReceived(), std::nullopt);
        EXPECT_FALSE(model->lastReceivedText());
        EXPECT_TRUE(model->devices().isEmpty());
        EXPECT_EQ(model->crypto(), CryptoStatus::unknown);
        EXPECT_EQ(model->statusText(),
                  removed ? u"Removed from the group"_qs : u"In no group yet"_qs);
        EXPECT_EQ(model->statusText(Lang::zh),
                  removed ? u"已被移出设备组"_qs : u"还没有加入设备组"_qs);
    }
}

TEST_F(AppModelTest, WithoutAConnectionNobodyIsOnline) {
    start(account(true));
    hub.send(
        R"({"type":"devices","devices":[)"
        R"({"id":"me","name":"Mine","platform":"macos","createdAt":1,"lastSeen":1,"online":true},)"
        R"({"id":"pad","name":"Pad","platform":"web","createdAt":1,"lastSeen":1,"online":true},)"
        R"({"id":"pc","name":"PC","platform":"web","createdAt":1,"lastSeen":2,"online":false}]})");
    ASSERT_TRUE(waitFor([&] { return model->shownDevices().size() == 3; }));
    EXPECT_TRUE(model->shownDevices()[1].online);
    EXPECT_EQ(model->shownDevices()[1].lastSeen, 1);
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    hub.die();
    ASSERT_TRUE(waitFor([&] { return model->connection() == SyncState::disconnected; }));
    for (const DeviceInfo& device : model->shownDevices())
        EXPECT_FALSE(device.online) << device.name.toStdString();
    EXPECT_GE(model->shownDevices()[1].lastSeen, before) << "until then it was there";
    EXPECT_EQ(model->shownDevices()[2].lastSeen, 2);
    EXPECT_EQ(model->caption(), u"Copies may not reach other devices now"_qs);
}

TEST_F(AppModelTest, SecondLeaveNeverTouchesTheNextMembership) {
    hub.on("DELETE /devices/me", {Answer{.raw = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n"}});
    start(account(true));
    auto hanging = std::make_unique<TaskScope>();
    hanging->start(model->leaveGroup());
    TaskScope second;
    second.start(model->leaveGroup());
    EXPECT_EQ(onboardings, 0);
    // The window from which the first was started goes, and the user leaves again.
    hanging.reset();
    hub.on("DELETE /devices/me", {Answer{}});
    TaskScope third;
    third.start(model->leaveGroup());
    ASSERT_TRUE(waitFor([&] { return onboardings == 1; }));
    model->startSync(account(true));
    (void)store.save(account(true));
    ASSERT_TRUE(waitFor([&] { return model->connection() == SyncState::connected; }));
    EXPECT_EQ(onboardings, 1);
    EXPECT_NE(store.load(), std::nullopt);
}

TEST_F(AppModelTest, PairingRemovalAndRenameSpeakToTheHub) {
    start(account(true));
    hub.on("POST /pair",
           {Answer{.body = R"({"code":"ABCD-EFGH","expiresAt":600000})"}, Answer{.status = 429}});
    const auto pairing = *outcomeOf(model->createPairing());
    EXPECT_EQ(pairing->url,
              hub.base() + u"/#pair=ABCD-EFGH&k="_qs +
                  QString::fromLatin1(kKeyBytes.toBase64(QByteArray::Base64UrlEncoding |
                                                         QByteArray::OmitTrailingEquals)));
    EXPECT_EQ(pairing->expiresAt.toMSecsSinceEpoch(), 600000);
    EXPECT_EQ((*outcomeOf(model->createPairing())).error().code, 429);

    hub.on("DELETE /devices/x", {Answer{}, Answer{.status = 404, .body = R"({"error":"gone"})"}});
    EXPECT_EQ(*outcomeOf(model->removeDevice(u"x"_qs)), std::nullopt);
    EXPECT_EQ((*outcomeOf(model->removeDevice(u"x"_qs)))->en, u"Couldn't remove: gone"_qs);

    hub.on("PATCH /devices/me", {Answer{}, Answer{.status = 400, .body = R"({"error":"name"})"}});
    EXPECT_EQ(*outcomeOf(model->renameThisMac(u"New"_qs)), std::nullopt);
    EXPECT_EQ(outcomeOf(model->renameThisMac(u"Bad"_qs))->value().hubMessage, u"name"_qs);
    EXPECT_EQ(store.load()->deviceName, u"New"_qs);
    EXPECT_EQ(model->account()->deviceName, u"New"_qs);
    const qsizetype asked = hub.count("PATCH /devices/me");
    EXPECT_EQ(*outcomeOf(model->renameThisMac(u"New"_qs)), std::nullopt);
    EXPECT_EQ(hub.count("PATCH /devices/me"), asked);
}

TEST_F(AppModelTest, WritesThatChangeNothingNotifyNobody) {
    start(account(true));
    int changes = 0;
    QObject::connect(model.get(), &AppModel::changed, [&] { ++changes; });
    model->setPaused(false);
    model->clearNotice();
    EXPECT_EQ(changes, 0);
    model->setPaused(true);
    EXPECT_EQ(changes, 1);
    model->languageChanged();
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(model->languageEpoch(), 1);
}

} // namespace sorrelwind::test

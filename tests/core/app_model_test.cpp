#include "core/app_model.h"

#include "account/account_store.h"
#include "base/defaults.h"
#include "base/prefs.h"
#include "crypto/clipboard_crypto.h"
#include "tests/support/fake_pasteboard.h"
#include "tests/support/print_qt.h"
#include "tests/support/scripted_hub.h"
#include "tests/support/wait.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
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
        defaults.set(QStringLiteral("language"), QStringLiteral("en"));
        hub.on("GET /crypto", {Answer{.body = R"({"crypto":null})"}});
        hub.on("POST /items", {Answer{.body = R"({"recipients":1})"}});
        hub.on("DELETE /devices/me", {Answer{}});
    }

    Account account(bool withKey) const {
        Account made{hub.base(),
                     QStringLiteral("g"),
                     QStringLiteral("me"),
                     QStringLiteral("Mine"),
                     QStringLiteral("g.t"),
                     {},
                     {},
                     {}};
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
        if (stored) {
            ASSERT_TRUE(waitFor([&] { return model->connection() == SyncState::connected; }));
        }
    }

    [[nodiscard]] bool becomes(CryptoStatus crypto) const {
        return waitFor([&] { return model->crypto() == crypto; });
    }

    /// The next publish is acknowledged so.
    void acknowledge(int status, int recipients) {
        hub.onFrame = [this, status, recipients](const QByteArray& frame) {
            const QJsonObject item = object(frame).value(u"item").toObject();
            if (item.isEmpty())
                return;
            published.append(item.value(u"payload").toString());
            hub.send("{\"type\":\"ack\",\"ref\":\"" + item.value(u"id").toString().toUtf8() +
                     "\",\"status\":" + QByteArray::number(status) +
                     ",\"recipients\":" + QByteArray::number(recipients) + "}");
        };
    }

    void deliver(const QString& payload, const QByteArray& id, const QByteArray& from = "other",
                 const QByteArray& mime = "text/plain") {
        const auto before = receiptsFor(id);
        hub.send("{\"type\":\"item\",\"item\":{\"id\":\"" + id + "\",\"ts\":1,\"from\":\"" + from +
                 "\",\"device\":\"Pad\",\"mime\":\"" + mime + "\",\"payload\":\"" +
                 payload.toUtf8() + "\"}}");
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
    QNetworkAccessManager network;
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
    pasteboard.copyText(QStringLiteral("text"));
    EXPECT_EQ(model->lastSent(), std::nullopt);
    EXPECT_TRUE(hub.requests.isEmpty());
}

TEST_F(AppModelTest, LocalCopyLeavesSealedAndItsOutcomeIsShown) {
    struct Case {
        int status;
        int recipients;
        Direction direction;
        BubbleKind kind;
        const char* says;
    };
    start(account(true));
    EXPECT_EQ(model->statusText(), QStringLiteral("Connected · Encrypted"));
    int number = 0;
    for (const Case& c : {Case{200, 2, Direction::sent, BubbleKind::success, "Synced"},
                          Case{200, 0, Direction::sent, BubbleKind::info, "No other devices yet"},
                          Case{413, 0, Direction::failed, BubbleKind::failure, "Couldn't sync"}}) {
        acknowledge(c.status, c.recipients);
        bubbles.clear();
        const QString text = QStringLiteral("机密 %1").arg(++number);
        pasteboard.copyText(text);
        ASSERT_TRUE(waitFor([&] { return !bubbles.isEmpty(); }));
        EXPECT_TRUE(bubbles[0].startsWith(QLatin1StringView(c.says)));
        EXPECT_EQ(lastKind, c.kind);
        EXPECT_EQ(model->lastSent()->direction, c.direction);
        EXPECT_EQ(model->lastSent()->recipients, c.recipients);
        EXPECT_EQ(Crypto::decryptText(published.last(), key()), text);
    }
    prefs.setShowSyncBubble(false);
    bubbles.clear();
    published.clear();
    acknowledge(200, 1);
    pasteboard.copyText(QStringLiteral("quietly"));
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
    EXPECT_EQ(clipboard(), QStringLiteral("first"));
    EXPECT_EQ(model->lastReceived()->device, QStringLiteral("Pad"));
    deliver(sealed("own"), "2", "me");
    deliver(sealed("image"), "3", "other", "image/png");
    EXPECT_EQ(clipboard(), QStringLiteral("first"));

    deliver(QStringLiteral("sw1.AAAA.BBBB"), "4");
    EXPECT_TRUE(model->decryptFailed());
    EXPECT_TRUE(model->warning()->contains(QStringLiteral("passphrase mismatch")));
    // The same item again is not written again, yet shows that opening works.
    pasteboard.copyConcealed(QStringLiteral("elsewhere"));
    deliver(sealed("first"), "1");
    EXPECT_FALSE(model->decryptFailed());
    EXPECT_EQ(pasteboard.writes, 1);

    deliver(QStringLiteral("plain is taken as it is"), "5");
    EXPECT_EQ(clipboard(), QStringLiteral("plain is taken as it is"));
    EXPECT_TRUE(hub.count("POST /items") == 0 && published.isEmpty()) << "nothing went back";

    model->setPaused(true);
    deliver(sealed("during the pause"), "6");
    EXPECT_EQ(clipboard(), QStringLiteral("plain is taken as it is"));
    EXPECT_EQ(model->statusText(), QStringLiteral("Paused"));
}

TEST_F(AppModelTest, KeyIsFoundDerivedOrMissing) {
    const QByteArray record =
        R"({"crypto":{"v":1,"kdf":"pbkdf2-sha256","iters":7,"salt":"c2FsdHNhbHQ="}})";
    const QByteArray badSalt = R"({"crypto":{"v":1,"kdf":"pbkdf2-sha256","iters":7,"salt":"?"}})";
    struct Case {
        const char* what;
        Answer answer;
        std::optional<QString> passphrase;
        std::optional<QString> storedKey;
        CryptoStatus outcome;
        const char* leaves; // what a copy ends as: "sw1.", "plain", or "" when it is not sent
    };
    const QString short31 = QString::fromLatin1(QByteArray(31, 'k').toBase64());
    const Case cases[] = {
        {"passphrase", {.body = record}, QStringLiteral("pw"), {}, CryptoStatus::encrypted, "sw1."},
        {"stored key of 31 bytes",
         {.body = record},
         QStringLiteral("pw"),
         short31,
         CryptoStatus::encrypted,
         "sw1."},
        {"no passphrase", {.body = record}, {}, {}, CryptoStatus::missingKey, ""},
        {"bad salt", {.body = badSalt}, QStringLiteral("pw"), {}, CryptoStatus::failed, ""},
        {"no record",
         {.body = R"({"crypto":null})"},
         QStringLiteral("pw"),
         {},
         CryptoStatus::plaintext,
         "plain"},
        {"request fails",
         {.status = 500, .body = ""},
         QStringLiteral("pw"),
         {},
         CryptoStatus::plaintext,
         "plain"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        model.reset();
        published.clear();
        hub.on("GET /crypto", {c.answer});
        Account stored = account(false);
        stored.passphrase = c.passphrase;
        stored.key = c.storedKey;
        start(stored);
        acknowledge(200, 1);
        ASSERT_TRUE(becomes(c.outcome));
        bubbles.clear();
        pasteboard.copyText(QStringLiteral("plain ") + QLatin1StringView(c.what));
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

TEST_F(AppModelTest, RemovalEndsInOnboardingWithANotice) {
    start(account(true));
    hub.send(R"({"type":"removed"})");
    ASSERT_TRUE(waitFor([&] { return onboardings == 1; }));
    EXPECT_EQ(model->phase(), AppModel::Phase::onboarding);
    EXPECT_TRUE(model->notice()->startsWith(QStringLiteral("This Mac was removed")));
    EXPECT_EQ(store.load(), std::nullopt);
    EXPECT_EQ(model->selfId(), std::nullopt);
    pasteboard.copyText(QStringLiteral("after"));
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
              hub.base() + QStringLiteral("/#pair=ABCD-EFGH&k=") +
                  QString::fromLatin1(kKeyBytes.toBase64(QByteArray::Base64UrlEncoding |
                                                         QByteArray::OmitTrailingEquals)));
    EXPECT_EQ(pairing->expiresAt.toMSecsSinceEpoch(), 600000);
    EXPECT_EQ((*outcomeOf(model->createPairing())).error().code, 429);

    hub.on("DELETE /devices/x", {Answer{}, Answer{.status = 404, .body = R"({"error":"gone"})"}});
    EXPECT_EQ(*outcomeOf(model->removeDevice(QStringLiteral("x"))), std::nullopt);
    EXPECT_EQ(*outcomeOf(model->removeDevice(QStringLiteral("x"))),
              QStringLiteral("Couldn't remove: gone"));

    hub.on("PATCH /devices/me", {Answer{}, Answer{.status = 400, .body = R"({"error":"name"})"}});
    EXPECT_EQ(*outcomeOf(model->renameThisMac(QStringLiteral("New"))), std::nullopt);
    EXPECT_EQ(outcomeOf(model->renameThisMac(QStringLiteral("Bad")))->value().hubMessage,
              QStringLiteral("name"));
    EXPECT_EQ(store.load()->deviceName, QStringLiteral("New"));
    EXPECT_EQ(model->account()->deviceName, QStringLiteral("New"));
    const qsizetype asked = hub.count("PATCH /devices/me");
    EXPECT_EQ(*outcomeOf(model->renameThisMac(QStringLiteral("New"))), std::nullopt);
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

#include "crypto/group_setup.h"

#include "crypto/base64.h"
#include "hub/network.h"
#include "tests/support/print_qt.h"
#include "tests/support/scripted_hub.h"

#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QThreadPool>

namespace sorrelwind {
namespace {

using test::Answer;
using test::outcomeOf;
using test::ScriptedHub;
using Outcome = Result<Account, SetupError>;

const QByteArray kJoined = R"({"device":{"id":"d","name":"from the hub"},"token":"g.secret.x"})";
const QByteArray kSalt = "AAECAwQFBgcICQoLDA0ODw==";
const QByteArray kCrypto = R"({"crypto":{"v":9,"kdf":"any","iters":2,"salt":")" + kSalt + "\"}}";
const QByteArray kEndless = QByteArray(kCrypto).replace(":2,", ":2147483647,");
const QString kPassphrase = u"abcde-fghjk"_qs;
// openssl kdf … pass:abcde-fghjk hexsalt:000102030405060708090a0b0c0d0e0f iter:2 PBKDF2
const QString kDerived = u"gYB16WIczFeDqdKw2EqdPR8tUnGQ3ltydxNQ5uLDyIw="_qs;
const QString kLinkKey = u"AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8="_qs;

class Setup : public testing::Test {
protected:
    Setup() {
        m_hub.on("POST /groups", {{.body = kJoined}});
        m_hub.on("POST /pair/claim", {{.body = kJoined}});
        m_hub.on("GET /crypto", {{.body = kCrypto}});
    }
    Outcome create() {
        return outcomeOf(m_setup.create(m_hub.base(), u"my name"_qs, kPassphrase, progress()))
            .value();
    }
    Outcome join(const std::optional<PairingLink>& link, const QString& server) {
        return outcomeOf(
                   m_setup.join(server, link, u"TYPED"_qs, kPassphrase, u"my name"_qs, progress()))
            .value();
    }
    GroupSetup::Progress progress() {
        m_steps.clear();
        return [this](const Sentence& sentence) { m_steps << sentence.en; };
    }
    /// The requests so far, and that each but the first carries the new token.
    QString requests() {
        QStringList all;
        for (const auto& request : m_hub.requests) {
            EXPECT_EQ(request.headers.value("authorization"),
                      all.isEmpty() ? "" : "Bearer g.secret.x");
            all << QString::fromLatin1(request.method + request.path);
        }
        return all.join(u' ');
    }
    [[nodiscard]] QJsonObject body(qsizetype index) const {
        return QJsonDocument::fromJson(m_hub.requests.at(index).body).object();
    }
    [[nodiscard]] Account expected(std::optional<QString> passphrase, std::optional<QString> salt,
                                   std::optional<QString> key) const {
        return {m_hub.base(),     u"g"_qs,    u"d"_qs,         u"from the hub"_qs,
                u"g.secret.x"_qs, passphrase, std::move(salt), std::move(key)};
    }

    ScriptedHub m_hub;
    Network m_network;
    GroupSetup m_setup{m_network};
    QStringList m_steps;
};

const QString kCreating = u"Creating your group…"_qs;
const QString kJoining = u"Joining…"_qs;
const QString kDeriving = u"Generating the encryption key…"_qs;
const QString kSaltText = QString::fromLatin1(kSalt);

TEST_F(Setup, CreateUploadsOneSaltAndUsesTheHubsRecord) {
    m_hub.on("GET /crypto", {{.body = R"({"crypto":null})"}});
    m_hub.on("POST /crypto", {{.body = kCrypto}});
    EXPECT_EQ(create(), expected(kPassphrase, kSaltText, kDerived));
    EXPECT_EQ(requests(), u"POST/groups GET/crypto POST/crypto"_qs);
    EXPECT_EQ(body(0), (QJsonObject{{u"name"_qs, u"my name"_qs}, {u"platform"_qs, u"macos"_qs}}));
    EXPECT_EQ(body(2).keys(), QStringList({u"salt"_qs}));
    const QByteArray sent = body(2)[u"salt"].toString().toLatin1();
    EXPECT_EQ(strictBase64Decode(sent).value_or(QByteArray()).size(), 16);
    EXPECT_NE(sent, kSalt);
    EXPECT_EQ(m_steps, QStringList({kCreating, kDeriving}));
}

TEST_F(Setup, CreateUsesARecordThatIsThere) {
    EXPECT_EQ(create(), expected(kPassphrase, kSaltText, kDerived));
    EXPECT_EQ(requests(), u"POST/groups GET/crypto"_qs);
    EXPECT_EQ(m_steps, QStringList({kCreating, kDeriving}));
}

TEST_F(Setup, JoinTakesItsKeyFromTheLinkElseThePassphrase) {
    struct Row {
        const char* name;
        std::optional<QString> key; ///< of the link
        bool derives;
    };
    const QString shortKey = QString::fromLatin1(QByteArray(31, 'k').toBase64());
    const Row kTable[] = {
        {"32 bytes", kLinkKey, false},   {"31 bytes", shortKey, true},
        {"no base64", u"!!!!"_qs, true}, {"line break after it", kLinkKey + u'\n', true},
        {"empty", QString(), true},      {"none", {}, true},
    };
    for (const Row& row : kTable) {
        SCOPED_TRACE(row.name);
        m_hub.requests.clear();
        // The link's server and code count, whatever else was given.
        const PairingLink link{m_hub.base(), u"LINKED"_qs, row.key};
        EXPECT_EQ(join(link, u"http://127.0.0.1:1"_qs),
                  row.derives ? expected(kPassphrase, kSaltText, kDerived)
                              : expected({}, kSaltText, row.key));
        EXPECT_EQ(m_steps,
                  row.derives ? QStringList({kJoining, kDeriving}) : QStringList({kJoining}));
        EXPECT_EQ(requests(), u"POST/pair/claim GET/crypto"_qs);
        EXPECT_EQ(body(0), (QJsonObject{{u"code"_qs, u"LINKED"_qs},
                                        {u"name"_qs, u"my name"_qs},
                                        {u"platform"_qs, u"macos"_qs}}));
    }
}

TEST_F(Setup, JoinByTypedCode) {
    EXPECT_EQ(join({}, m_hub.base()), expected(kPassphrase, kSaltText, kDerived));
    EXPECT_EQ(body(0)[u"code"], u"TYPED"_qs);
    // Without a record there is no key material, and no error.
    m_hub.on("GET /crypto", {{.body = "{}"}});
    EXPECT_EQ(join(PairingLink{m_hub.base(), u"X"_qs, kLinkKey}, QString()), expected({}, {}, {}));
    EXPECT_EQ(m_hub.count("POST /crypto"), 0);
}

TEST_F(Setup, FailuresAreHandedOn) {
    const SetupError network = HubError{HubError::Kind::network, 0, {}};
    const SetupError decode = HubError{HubError::Kind::decode, 0, {}};
    const SetupError denied = HubError{HubError::Kind::status, 403, u"no"_qs};
    const auto record = [](const char* iters, const char* salt) {
        return QByteArray(R"({"crypto":{"v":1,"kdf":"k","iters":)") + iters + R"(,"salt":")" +
               salt + "\"}}";
    };
    const HubError lost{
        HubError::Kind::network,
        0,
        {},
        Unreachable{Unreachable::Why::closed, u"127.0.0.1:"_qs + m_hub.port(), {}, {}}};
    const struct {
        const char* request;
        Answer answer;
        SetupError error;
        bool joins; ///< whether a join meets it as well
    } kTable[] = {
        {"POST /groups", {.body = "{}"}, decode, false},
        {"POST /pair/claim", {.status = 403, .body = R"({"error":"no"})"}, denied, true},
        {"GET /crypto", {.status = 403, .body = R"({"error":"no"})"}, denied, true},
        {"GET /crypto", {.raw = "", .ending = Answer::close}, lost, true},
        {"GET /crypto", {.body = record("2", "")}, CryptoError::badFormat, true},
        {"GET /crypto", {.body = record("2", "A===")}, CryptoError::badFormat, true},
        {"GET /crypto", {.body = record("0", "AAAA")}, CryptoError::badFormat, true},
        {"POST /crypto", {.body = R"({"crypto":null})"}, decode, false},
        {"POST /crypto", {.status = 403, .body = R"({"error":"no"})"}, denied, false},
    };
    for (const auto& [request, answer, error, joins] : kTable) {
        SCOPED_TRACE(std::string(request) + " " + answer.body.toStdString());
        const QByteArray name(request);
        m_hub.on("POST /groups", {{.body = kJoined}});
        m_hub.on("POST /pair/claim", {{.body = kJoined}});
        m_hub.on("GET /crypto", {{.body = name == "POST /crypto" ? QByteArray("{}") : kCrypto}});
        m_hub.on(name, {answer});
        const Outcome outcome = joins ? join({}, m_hub.base()) : create();
        ASSERT_FALSE(outcome.has_value());
        EXPECT_TRUE(outcome.error() == error);
        for (const Lang lang : {Lang::zh, Lang::en})
            EXPECT_FALSE(setupMessage(outcome.error()).in(lang).isEmpty());
    }
    m_hub.requests.clear();
    for (const QString& server : {QString(), u"http://[::1"_qs, u"no address"_qs}) {
        const auto made = outcomeOf(m_setup.create(server, u"n"_qs, kPassphrase, progress()));
        EXPECT_TRUE(made.value().error() == network);
        EXPECT_TRUE(join({}, server).error() == network);
        EXPECT_EQ(m_steps, QStringList());
    }
    EXPECT_TRUE(m_hub.requests.isEmpty());
}

TEST_F(Setup, GroupIdIsTheReplysElseTheTokensFirstPiece) {
    const std::tuple<QString, std::optional<QString>, QString> kTable[] = {
        {u"abc.def.ghi"_qs, {}, u"abc"_qs},
        {u".abc.def"_qs, {}, u"abc"_qs},
        {u"abc"_qs, {}, u"abc"_qs},
        {u"..abc"_qs, {}, u"abc"_qs},
        {u"abc.def"_qs, u"other"_qs, u"other"_qs},
        {u"abc.def"_qs, QString(), QString()},
    };
    for (const auto& [token, groupId, expected] : kTable)
        EXPECT_EQ(GroupSetup::groupId({u"d"_qs, u"n"_qs, token, groupId}), expected);
}

TEST_F(Setup, TheFlowNeedsNeitherItsMakerNorAWaitingOwner) {
    // The object that made the flow may go at once; the owner of the flow may go while it derives.
    auto task = GroupSetup(m_network).create(m_hub.base(), u"my name"_qs, kPassphrase, progress());
    EXPECT_EQ(outcomeOf(std::move(task)).value(), expected(kPassphrase, kSaltText, kDerived));

    m_hub.on("GET /crypto", {{.body = kEndless}});
    bool ended = false;
    const auto flow = [](Task<Outcome> joining, bool& end) -> Task<> {
        const auto outcome = co_await std::move(joining);
        end = true;
    };
    {
        TaskScope scope;
        scope.start(
            flow(m_setup.join(m_hub.base(), {}, u"X"_qs, kPassphrase, u"n"_qs, progress()), ended));
        ASSERT_TRUE(test::waitFor([&] { return m_steps.contains(kDeriving); }));
    }
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents();
    EXPECT_FALSE(ended);
}

TEST_F(Setup, ALongDerivationSaysSoAndIsCancelled) {
    m_hub.on("GET /crypto", {{.body = kEndless}});
    std::stop_source stop;
    const GroupSetup setup(m_network, stop.get_token());
    const auto cancelling = [this, &stop](const Sentence& sentence) {
        m_steps << sentence.en;
        if (sentence.en.contains(u"2147483647 rounds"_qs))
            stop.request_stop();
    };
    auto task = setup.join(m_hub.base(), {}, u"X"_qs, kPassphrase, u"n"_qs, cancelling);
    EXPECT_EQ(outcomeOf(std::move(task)).value(), expected({}, {}, {}));
    EXPECT_EQ(m_steps.size(), 3);
}

} // namespace
} // namespace sorrelwind

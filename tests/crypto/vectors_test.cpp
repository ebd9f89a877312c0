#include "crypto/clipboard_crypto.h"
#include "tests/support/print_qt.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>

#include <map>
#include <thread>

namespace sorrelwind {
namespace {

QJsonArray vectors(const char* name) {
    QFile file(QStringLiteral(SORRELWIND_VECTORS_DIR "/") + QLatin1StringView(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
    return QJsonDocument::fromJson(file.readAll()).array();
}

template <class T>
QString outcome(const Result<T, CryptoError>& result) {
    if (result)
        return u"ok"_qs;
    const std::map<CryptoError, QString> names{{CryptoError::badFormat, u"badFormat"_qs},
                                               {CryptoError::decryptFailed, u"decryptFailed"_qs},
                                               {CryptoError::deriveFailed, u"deriveFailed"_qs},
                                               {CryptoError::cipher, u"cipher"_qs},
                                               {CryptoError::cancelled, u"cancelled"_qs}};
    return names.at(result.error());
}

TEST(Crypto, DerivesLikeTheVectors) {
    const QJsonArray cases = vectors("derivation.json");
    ASSERT_FALSE(cases.isEmpty());
    for (const QJsonValue row : cases) {
        SCOPED_TRACE(row[u"name"].toString().toStdString());
        const auto key = Crypto::deriveKey(row[u"passphrase"].toString(), row[u"salt"].toString(),
                                           row[u"iters"].toInteger());
        EXPECT_EQ(outcome(key), row[u"outcome"].toString());
        if (key) {
            EXPECT_EQ(Crypto::base64(*key), row[u"key"].toString());
        }
    }
    EXPECT_EQ(outcome(Crypto::deriveKey(u"p"_qs, u"AAAA"_qs, 1LL << 31)), u"badFormat"_qs);
}

TEST(Crypto, DerivationStopsWhenAsked) {
    std::stop_source stop;
    const std::jthread asker([&] { stop.request_stop(); });
    const auto key = Crypto::deriveKey(u"p"_qs, u"AAAA"_qs, (1LL << 31) - 1, stop.get_token());
    EXPECT_EQ(outcome(key), u"cancelled"_qs);
}

TEST(Crypto, OpensLikeTheVectors) {
    const QJsonArray cases = vectors("sealed.json");
    ASSERT_FALSE(cases.isEmpty());
    for (const QJsonValue row : cases) {
        SCOPED_TRACE(row[u"name"].toString().toStdString());
        const auto key = SymmetricKey::fromBase64(row[u"key"].toString());
        ASSERT_TRUE(key);
        const auto text = Crypto::decryptText(row[u"wire"].toString(), *key);
        EXPECT_EQ(outcome(text), row[u"outcome"].toString());
        if (!text)
            continue;
        EXPECT_EQ(*text, row[u"text"].toString());
        // What we seal is of the same form, has a fresh nonce, and opens again.
        const auto wire = Crypto::encryptText(*text, *key);
        ASSERT_TRUE(wire);
        EXPECT_EQ(wire->size(), row[u"wire"].toString().size());
        EXPECT_NE(*wire, Crypto::encryptText(*text, *key).value());
        EXPECT_EQ(Crypto::decryptText(*wire, *key).value(), *text);
    }
}

TEST(Crypto, SealedEmptyTextIsRefused) {
    const auto key = SymmetricKey::fromBytes(QByteArray(32, 'k'));
    const auto wire = Crypto::encryptText(QString(), *key);
    ASSERT_TRUE(wire);
    EXPECT_EQ(wire->size(), 4 + 16 + 1 + 24);
    EXPECT_EQ(outcome(Crypto::decryptText(*wire, *key)), u"badFormat"_qs);
}

TEST(SymmetricKey, IsExactlyStrictBase64Of32Bytes) {
    const QString good = u"AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8="_qs;
    const auto key = SymmetricKey::fromBase64(good);
    ASSERT_TRUE(key);
    EXPECT_EQ(key->bytes()[31], 31);
    EXPECT_EQ(Crypto::base64(*key), good);
    for (const QString& bad : {QString(), good.chopped(1), good + u'=', good + u'\n', good.mid(4),
                               good.chopped(1) + u'A', QString(good).replace(0, 1, u'-'),
                               QString(good).replace(0, 1, u'密')})
        EXPECT_FALSE(SymmetricKey::fromBase64(bad)) << bad.toStdString();
}

TEST(Crypto, PassphrasesAndSaltsAreOfTheirFormAndFresh) {
    const QRegularExpression form(u"\\A[a-hjkmnp-z2-9]{5}(-[a-hjkmnp-z2-9]{5}){3}\\z"_qs);
    QSet<QChar> seen;
    QSet<QString> all;
    for (int i = 0; i < 200; ++i) {
        const QString passphrase = Crypto::randomPassphrase();
        EXPECT_TRUE(form.match(passphrase).hasMatch()) << passphrase.toStdString();
        seen.unite(QSet<QChar>(passphrase.begin(), passphrase.end()));
        all << passphrase << Crypto::randomSalt();
    }
    EXPECT_EQ(all.size(), 400);
    EXPECT_EQ(seen.size(), 31 + 1) << "every character of the alphabet, and the dash";
    EXPECT_EQ(Crypto::randomSalt().size(), 24);
    EXPECT_TRUE(Crypto::deriveKey(u"p"_qs, Crypto::randomSalt(), 1).has_value());
}

} // namespace
} // namespace sorrelwind

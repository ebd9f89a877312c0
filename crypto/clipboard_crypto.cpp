#include "crypto/clipboard_crypto.h"

#include "crypto/base64.h"

#include <QStringDecoder>

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>

namespace sorrelwind {

namespace {

constexpr qsizetype kNonceBytes = 12;
constexpr qsizetype kTagBytes = 16;
constexpr qint64 kRoundsBetweenLooks = 1024;

template <auto Free>
struct Deleter {
    template <class T>
    void operator()(T* object) const {
        Free(object);
    }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, Deleter<EVP_CIPHER_CTX_free>>;
using Mac = std::unique_ptr<EVP_MAC, Deleter<EVP_MAC_free>>;
using MacContext = std::unique_ptr<EVP_MAC_CTX, Deleter<EVP_MAC_CTX_free>>;

unsigned char* data(QByteArray& bytes) {
    return reinterpret_cast<unsigned char*>(bytes.data());
}
const unsigned char* data(QByteArrayView bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

/// Bytes that are wiped when they go.
struct Wiped {
    QByteArray bytes;
    ~Wiped() { OPENSSL_cleanse(bytes.data(), static_cast<size_t>(bytes.size())); }
};

// Without random bytes there is no secrecy, so the program ends rather than go on without.
void randomBytes(unsigned char* out, int size) {
    if (RAND_bytes(out, size) != 1)
        qFatal("the system's random source failed");
}

QString base64Text(QByteArrayView bytes) {
    QString text;
    appendBase64(text, bytes);
    return text;
}

} // namespace

Result<SymmetricKey, CryptoError> Crypto::deriveKey(const QString& passphrase,
                                                    const QString& saltB64, qint64 iters,
                                                    const std::stop_token& stop) {
    const auto salt = strictBase64Decode(saltB64.toLatin1());
    if (!salt || salt->isEmpty() || iters < 1 || iters > std::numeric_limits<int>::max())
        return failure(CryptoError::badFormat);

    // OpenSSL's own PBKDF2 is one call that nothing can end. 32 bytes are a single block of it
    // (RFC 8018, section 5.2), so its loop is short, and as fast here as there.
    const Mac hmac(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
    const MacContext context(hmac ? EVP_MAC_CTX_new(hmac.get()) : nullptr);
    char digest[] = "SHA256";
    const OSSL_PARAM params[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
        OSSL_PARAM_construct_end(),
    };
    Wiped secret{passphrase.toUtf8()};
    if (!context || EVP_MAC_init(context.get(), data(secret.bytes),
                                 static_cast<size_t>(secret.bytes.size()), params) != 1)
        return failure(CryptoError::deriveFailed);
    Wiped round{*salt + QByteArray("\0\0\0\1", 4)};
    Wiped key{QByteArray(SymmetricKey::kSize, 0)};
    for (qint64 i = 0; i < iters; ++i) {
        if (i % kRoundsBetweenLooks == 0 && stop.stop_requested())
            return failure(CryptoError::cancelled);
        size_t size = 0;
        const bool ok = (i == 0 || EVP_MAC_init(context.get(), nullptr, 0, nullptr) == 1) &&
                        EVP_MAC_update(context.get(), data(round.bytes),
                                       static_cast<size_t>(round.bytes.size())) == 1;
        round.bytes.resize(SymmetricKey::kSize);
        if (!ok || EVP_MAC_final(context.get(), data(round.bytes), &size, SymmetricKey::kSize) != 1)
            return failure(CryptoError::deriveFailed);
        std::ranges::transform(key.bytes, round.bytes, key.bytes.begin(), std::bit_xor<char>());
    }
    return *SymmetricKey::fromBytes(key.bytes);
}

Result<QString, CryptoError> Crypto::encryptText(const QString& text, const SymmetricKey& key) {
    // Sealed in place, so that no copy of the text stays behind.
    Wiped body{text.toUtf8()};
    const int size = static_cast<int>(body.bytes.size());
    body.bytes.resize(size + kTagBytes);
    QByteArray nonce(kNonceBytes, Qt::Uninitialized);
    randomBytes(data(nonce), kNonceBytes);

    const CipherContext context(EVP_CIPHER_CTX_new());
    unsigned char* const bytes = data(body.bytes);
    int written = 0;
    int rest = 0;
    const bool ok =
        context &&
        EVP_EncryptInit_ex2(context.get(), EVP_aes_256_gcm(), key.bytes().data(), data(nonce),
                            nullptr) == 1 &&
        EVP_EncryptUpdate(context.get(), bytes, &written, bytes, size) == 1 &&
        EVP_EncryptFinal_ex(context.get(), bytes + written, &rest) == 1 &&
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, kTagBytes, bytes + size) == 1;
    if (!ok)
        return failure(CryptoError::cipher);
    QString wire(kWirePrefix);
    appendBase64(wire, nonce);
    wire += u'.';
    appendBase64(wire, body.bytes);
    return wire;
}

Result<QString, CryptoError> Crypto::decryptText(const QString& wire, const SymmetricKey& key) {
    if (!wire.startsWith(kWirePrefix))
        return failure(CryptoError::badFormat);
    const QByteArray pieces = QStringView(wire).mid(kWirePrefix.size()).toLatin1();
    const qsizetype dot = pieces.indexOf('.');
    if (dot < 0 || pieces.indexOf('.', dot + 1) >= 0)
        return failure(CryptoError::badFormat);
    const auto nonce = strictBase64Decode(QByteArrayView(pieces).first(dot));
    auto body = strictBase64Decode(QByteArrayView(pieces).sliced(dot + 1));
    if (!nonce || !body || body->size() <= kTagBytes)
        return failure(CryptoError::badFormat);
    if (nonce->size() != kNonceBytes)
        return failure(CryptoError::cipher);

    const int size = static_cast<int>(body->size() - kTagBytes);
    Wiped plain{QByteArray(size, Qt::Uninitialized)};
    const CipherContext context(EVP_CIPHER_CTX_new());
    int written = 0;
    int rest = 0;
    const bool ok = context &&
                    EVP_DecryptInit_ex2(context.get(), EVP_aes_256_gcm(), key.bytes().data(),
                                        data(QByteArrayView(*nonce)), nullptr) == 1 &&
                    EVP_DecryptUpdate(context.get(), data(plain.bytes), &written,
                                      data(QByteArrayView(*body)), size) == 1 &&
                    EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, kTagBytes,
                                        data(*body) + size) == 1 &&
                    EVP_DecryptFinal_ex(context.get(), data(plain.bytes) + written, &rest) == 1;
    if (!ok)
        return failure(CryptoError::cipher);
    // QString::fromUtf8 would swallow a byte order mark, which is part of the text.
    QStringDecoder utf8(QStringDecoder::Utf8,
                        QStringDecoder::Flag::ConvertInitialBom | QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(plain.bytes);
    if (utf8.hasError())
        return failure(CryptoError::decryptFailed);
    return text;
}

QString Crypto::randomPassphrase() {
    constexpr QLatin1StringView kAlphabet("abcdefghjkmnpqrstuvwxyz23456789");
    constexpr unsigned kUnbiased =
        256 - 256 % 31; // bytes from here on would favour some characters
    QString passphrase;
    for (int i = 0; i < 20; ++i) {
        unsigned char byte = 0;
        do
            randomBytes(&byte, 1);
        while (byte >= kUnbiased);
        if (i > 0 && i % 5 == 0)
            passphrase += u'-';
        passphrase += kAlphabet[byte % 31];
    }
    return passphrase;
}

QString Crypto::randomSalt() {
    QByteArray salt(16, Qt::Uninitialized);
    randomBytes(data(salt), 16);
    return base64Text(salt);
}

QString Crypto::base64(const SymmetricKey& key) {
    const auto bytes = key.bytes();
    return base64Text({reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size())});
}

} // namespace sorrelwind

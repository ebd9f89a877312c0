#pragma once

#include "base/result.h"
#include "crypto/symmetric_key.h"

#include <QString>

#include <stop_token>

namespace sorrelwind {

enum class CryptoError {
    badFormat,     // the text is not of the form it must have
    decryptFailed, // what was sealed is not UTF-8
    deriveFailed,  // PBKDF2 failed
    cipher,        // the cipher itself refused: wrong key, altered data, a nonce of another size
    cancelled,     // the caller asked the derivation to stop
    notEncrypted,  // the group has no parameters to derive a key by
};

/// How clipboard text is kept from the hub: the group key is derived from a passphrase, each text
/// is sealed into one line of ASCII, "sw1." base64(nonce) "." base64(ciphertext and tag). Pure
/// functions and OpenSSL's random source; callable on any thread.
class Crypto {
public:
    /// PBKDF2-HMAC-SHA-256 (RFC 8018) of the passphrase's UTF-8 bytes; `saltB64` is strict standard
    /// base64. badFormat: the salt is no base64 or empty, or iters is not in 1 … 2^31-1. Slow by
    /// design: 600,000 iterations take some tenths of a second. Asked to `stop`, it gives up within
    /// a millisecond or so.
    [[nodiscard]] static Result<SymmetricKey, CryptoError>
    deriveKey(const QString& passphrase, const QString& saltB64, qint64 iters,
              const std::stop_token& stop = {});

    /// AES-256-GCM (NIST SP 800-38D) with a fresh 12-byte nonce and a 16-byte tag, no associated
    /// data.
    [[nodiscard]] static Result<QString, CryptoError> encryptText(const QString& text,
                                                                  const SymmetricKey& key);
    /// The text sealed in `wire`. The sealed empty text is refused as badFormat.
    [[nodiscard]] static Result<QString, CryptoError> decryptText(const QString& wire,
                                                                  const SymmetricKey& key);

    /// Four groups of five characters, about 99 bits, without characters that are easily confused.
    [[nodiscard]] static QString randomPassphrase();
    /// A new salt: standard base64 of 16 random bytes.
    [[nodiscard]] static QString randomSalt();
    /// 44 characters of standard base64.
    [[nodiscard]] static QString base64(const SymmetricKey& key);
};

/// What a sealed text begins with.
inline constexpr QLatin1StringView kWirePrefix{"sw1."};

} // namespace sorrelwind

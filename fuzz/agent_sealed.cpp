// Sealed text as it comes from a hub, and the texts of keys and salts.

#include "crypto/base64.h"
#include "crypto/clipboard_crypto.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace sorrelwind;
    static const auto key = SymmetricKey::fromBytes(QByteArray(32, 'k'));
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QString text = QString::fromUtf8(bytes);
    (void)Crypto::decryptText(text, *key);
    (void)Crypto::decryptText(kWirePrefix + text, *key);
    (void)SymmetricKey::fromBase64(text);
    // What decodes is what Qt's own decoder makes of it, and was strict.
    if (const auto decoded = strictBase64Decode(bytes)) {
        const auto other = QByteArray::fromBase64Encoding(
            bytes, QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
        if (bytes.size() % 4 != 0 || !other || *other != *decoded ||
            base64Encode(*decoded).size() != bytes.size())
            std::abort();
    }
    return 0;
}

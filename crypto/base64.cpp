#include "crypto/base64.h"

#include <openssl/evp.h>

#include <limits>

namespace sorrelwind {

std::optional<QByteArray> strictBase64Decode(QByteArrayView text) {
    if (text.isEmpty())
        return QByteArray();
    if (text.size() % 4 != 0 || text.size() > std::numeric_limits<int>::max())
        return std::nullopt;
    // OpenSSL's decoder is fast, but reads "=" as a zero, and trims white space and dashes at the
    // ends: then it yields fewer bytes than it should.
    const qsizetype firstPad = text.indexOf('=');
    const qsizetype padding = firstPad < 0 ? 0 : text.size() - firstPad;
    if (padding > 2 || (padding == 2 && text.back() != '='))
        return std::nullopt;

    QByteArray bytes(text.size() / 4 * 3, Qt::Uninitialized);
    const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                       reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
    if (length != bytes.size())
        return std::nullopt;
    bytes.chop(padding);
    return bytes;
}

QByteArray base64Encode(QByteArrayView bytes) {
    QByteArray text((bytes.size() + 2) / 3 * 4 + 1, Qt::Uninitialized); // and OpenSSL's final NUL
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                       reinterpret_cast<const unsigned char*>(bytes.data()),
                                       static_cast<int>(bytes.size()));
    text.truncate(length);
    return text;
}

} // namespace sorrelwind

#include "crypto/base64.h"

#include <openssl/evp.h>

#include <algorithm>
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

void appendBase64(QString& text, QByteArrayView bytes) {
    // Piece by piece through the cache rather than through a second large buffer.
    constexpr qsizetype kPiece = 3 * 4096;
    unsigned char piece[kPiece / 3 * 4 + 1]; // and OpenSSL's final NUL
    text.reserve(text.size() + (bytes.size() + 2) / 3 * 4);
    for (; !bytes.isEmpty(); bytes = bytes.sliced(std::min(kPiece, bytes.size()))) {
        const int length =
            EVP_EncodeBlock(piece, reinterpret_cast<const unsigned char*>(bytes.data()),
                            static_cast<int>(std::min(kPiece, bytes.size())));
        text += QLatin1StringView(reinterpret_cast<const char*>(piece), length);
    }
}

} // namespace sorrelwind

#include "crypto/symmetric_key.h"

#include "crypto/base64.h"

#include <openssl/crypto.h>

#include <algorithm>

namespace sorrelwind {

std::optional<SymmetricKey> SymmetricKey::fromBytes(QByteArrayView bytes) {
    if (bytes.size() != static_cast<qsizetype>(kSize))
        return std::nullopt;
    SymmetricKey key;
    std::ranges::copy(bytes, key.m_bytes.begin());
    return key;
}

std::optional<SymmetricKey> SymmetricKey::fromBase64(const QString& text) {
    auto bytes = strictBase64Decode(text.toLatin1());
    if (!bytes)
        return std::nullopt;
    auto key = fromBytes(*bytes);
    OPENSSL_cleanse(bytes->data(), static_cast<size_t>(bytes->size()));
    return key;
}

SymmetricKey::SymmetricKey(SymmetricKey&& other) noexcept : m_bytes(other.m_bytes) {
    other.wipe();
}

SymmetricKey& SymmetricKey::operator=(SymmetricKey&& other) noexcept {
    if (this != &other) {
        m_bytes = other.m_bytes;
        other.wipe();
    }
    return *this;
}

SymmetricKey::~SymmetricKey() {
    wipe();
}

void SymmetricKey::wipe() {
    OPENSSL_cleanse(m_bytes.data(), m_bytes.size());
}

} // namespace sorrelwind

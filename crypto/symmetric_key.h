#pragma once

#include <QByteArrayView>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace sorrelwind {

/// A group's 256-bit key. Move-only, wiped when it goes, never printed.
class SymmetricKey {
public:
    static constexpr size_t kSize = 32;

    /// None unless `bytes` are exactly 32.
    [[nodiscard]] static std::optional<SymmetricKey> fromBytes(QByteArrayView bytes);
    /// None unless `text` is strict standard base64 of exactly 32 bytes.
    [[nodiscard]] static std::optional<SymmetricKey> fromBase64(const QString& text);

    SymmetricKey(SymmetricKey&& other) noexcept;
    SymmetricKey& operator=(SymmetricKey&& other) noexcept;
    SymmetricKey(const SymmetricKey&) = delete;
    SymmetricKey& operator=(const SymmetricKey&) = delete;
    ~SymmetricKey();

    [[nodiscard]] std::span<const uint8_t, kSize> bytes() const { return m_bytes; }

private:
    SymmetricKey() = default;
    void wipe();

    std::array<uint8_t, kSize> m_bytes{};
};

} // namespace sorrelwind

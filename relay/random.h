#pragma once

#include <openssl/rand.h>

#include <array>
#include <cstddef>
#include <stdexcept>

namespace sorrelwind::relay {

/// Bytes from the cryptographic random source; throws when it fails.
template <std::size_t N>
[[nodiscard]] std::array<unsigned char, N> randomBytes() {
    std::array<unsigned char, N> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(N)) != 1)
        throw std::runtime_error("the random source failed");
    return bytes;
}

} // namespace sorrelwind::relay

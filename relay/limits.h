#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace sorrelwind::relay {

/// What one operator allows; every number may be 0, which means no limit.
struct Limits {
    std::uint64_t maxPayload = 8u << 20; ///< bytes of an item's payload
    std::size_t maxDevices = 32;         ///< in a group
    double publishRate = 10;             ///< a second and device
    double publishBurst = 40;
    int claimFailures = 10; ///< a minute and address; over all addresses `allowedGuesses`
    int newGroups = 20;     ///< an hour and address
    std::chrono::seconds itemTtl{3600};
    std::size_t maxConnections = 256;     ///< of an address
    std::uint64_t maxMemory = 512u << 20; ///< bytes queued, held and half-received in all

    /// The largest JSON text that can hold an allowed item, leaving room for escapes; 0 = no limit.
    [[nodiscard]] std::uint64_t maxMessage() const {
        return maxPayload == 0 ? 0 : maxPayload + maxPayload / 4 + (64u << 10);
    }
};

inline constexpr std::uint64_t kMaxBody = 64u << 10; ///< bytes of any other request's body or frame
inline constexpr std::uint32_t kMaxHeader = 8u << 10; ///< bytes of a request's head
inline constexpr std::size_t kMaxQueued = 8u << 20;   ///< bytes waiting for a slow reader
inline constexpr std::size_t kSmall = 64u << 10;      ///< bytes that are taken whatever is held
inline constexpr std::size_t kMaxSockets = 4;         ///< of one device
inline constexpr std::size_t kMaxLiveCodes = 4;       ///< pairing codes of one group
inline constexpr std::chrono::minutes kCodeLifetime{10};
inline constexpr std::chrono::seconds kRequestTime{15}; ///< in which a request must be whole
inline constexpr std::chrono::seconds kIdleTime{60};    ///< between requests of a connection
inline constexpr std::chrono::seconds kCrowdedTime{5};  ///< for both of them near the limit
inline constexpr std::chrono::seconds kCloseTime{4};    ///< for a socket's polite end

} // namespace sorrelwind::relay

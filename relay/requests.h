#pragma once

#include "relay/records.h"
#include "relay/refusal.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace sorrelwind::relay {

/// The bodies and frames that clients send, read and checked. A refusal names the field that is
/// wrong. Members that are not known are ignored.

struct NewDevice {
    std::string name; ///< trimmed
    std::string platform;
};

struct Claim {
    std::string code; ///< as typed
    NewDevice device;
};

[[nodiscard]] Answer<NewDevice> readNewDevice(std::string_view body);
[[nodiscard]] Answer<Claim> readClaim(std::string_view body);
[[nodiscard]] Answer<std::string> readName(std::string_view body);
[[nodiscard]] Answer<std::string> readSalt(std::string_view body);
/// `maxPayload` in bytes; 0 = no limit.
[[nodiscard]] Answer<Item> readItem(std::string_view body, std::uint64_t maxPayload);

[[nodiscard]] Refusal payloadTooLarge(std::uint64_t limit);

struct PublishFrame {
    std::string ref; ///< the item's id as far as it could be read, for the acknowledgement
    Answer<Item> item;
};

struct ReceivedFrame {
    std::string id;
};

/// `monostate` stands for everything that the hub does not know or cannot read.
using ClientFrame = std::variant<std::monostate, PublishFrame, ReceivedFrame>;

[[nodiscard]] ClientFrame readFrame(std::string_view text, std::uint64_t maxPayload);

} // namespace sorrelwind::relay

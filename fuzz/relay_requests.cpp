// The JSON that clients send to the hub. What is accepted must hold its promises.

#include "relay/base64.h"
#include "relay/frames.h"
#include "relay/pairing_code.h"
#include "relay/requests.h"
#include "relay/text_rules.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace sorrelwind::relay;

namespace {

constexpr std::uint64_t kMaxPayload = 64;

void require(bool promise) {
    if (!promise)
        std::abort();
}

void checkItem(const Item& item) {
    require(isPrintable(item.id, 64) && isPrintable(item.mime, 127));
    require(item.payload.size() <= kMaxPayload);
    // What receivers get says what the publisher said.
    const auto copy = readItem(itemJson(item, "from", "device"), kMaxPayload);
    require(copy && copy->id == item.id && copy->ts == item.ts && copy->mime == item.mime &&
            copy->payload == item.payload);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (const auto device = readNewDevice(text)) {
        require(deviceName(device->name) == device->name && device->name.size() <= 256);
        require(isPlatform(device->platform));
    }
    if (const auto claim = readClaim(text))
        require(canonicalCode(claim->code).value_or("12345678").size() == 8);
    if (const auto salt = readSalt(text))
        require(base64Size(*salt).value_or(0) >= 8 && salt->size() <= 88);
    if (const auto item = readItem(text, kMaxPayload))
        checkItem(*item);
    const auto frame = readFrame(text, kMaxPayload);
    if (const auto* publish = std::get_if<PublishFrame>(&frame))
        if (publish->item)
            checkItem(*publish->item);
    (void)canonicalCode(text);
    (void)base64Size(text);
    if (const auto name = deviceName(text))
        require(deviceName(*name) == name);
    return 0;
}

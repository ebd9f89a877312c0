#include "relay/requests.h"

#include "relay/base64.h"
#include "relay/text_rules.h"

#include <boost/json.hpp>

#include <cmath>
#include <optional>

namespace sorrelwind::relay {

namespace {

namespace json = boost::json;

constexpr std::size_t kMaxDepth = 8;

std::optional<json::object> parseObject(std::string_view text) {
    json::parse_options options;
    options.max_depth = kMaxDepth;
    boost::system::error_code error;
    auto value = json::parse(json::string_view(text.data(), text.size()), error, {}, options);
    if (error || !value.is_object())
        return std::nullopt;
    return std::move(value.get_object());
}

Refusal notAnObject() {
    return {400, "the body must be a JSON object"};
}

/// The text member `key`; none if it is missing or of another type.
std::optional<std::string_view> text(const json::object& object, std::string_view key) {
    const auto* value = object.if_contains(json::string_view(key.data(), key.size()));
    const auto* string = value == nullptr ? nullptr : value->if_string();
    if (string == nullptr)
        return std::nullopt;
    return std::string_view(string->data(), string->size());
}

/// The integer member `key`. 2.0 is one, 2.5 and "2" are not.
std::optional<std::int64_t> integer(const json::object& object, std::string_view key) {
    const auto* value = object.if_contains(json::string_view(key.data(), key.size()));
    if (value == nullptr)
        return std::nullopt;
    if (const auto* number = value->if_int64())
        return *number;
    if (const auto* number = value->if_double()) {
        constexpr double kExact = 9007199254740992.0; // 2^53
        if (std::abs(*number) <= kExact && std::trunc(*number) == *number)
            return static_cast<std::int64_t>(*number);
    }
    return std::nullopt;
}

Answer<std::string> nameIn(const json::object& object) {
    if (const auto raw = text(object, "name"))
        if (auto name = deviceName(*raw))
            return std::move(*name);
    return Refusal{400, "name must be 1 to 64 characters without control characters"};
}

Answer<NewDevice> newDeviceIn(const json::object& object) {
    auto name = nameIn(object);
    if (!name)
        return name.error();
    const auto platform = text(object, "platform");
    if (!platform || !isPlatform(*platform))
        return Refusal{400, "platform must be a word of 1 to 32 characters of a-z, 0-9 and -"};
    return NewDevice{std::move(*name), std::string(*platform)};
}

Answer<Item> itemIn(const json::object& object, std::uint64_t maxPayload) {
    const auto id = text(object, "id");
    if (!id || !isPrintable(*id, 64))
        return Refusal{400, "id must be 1 to 64 printable ASCII characters"};
    const auto ts = integer(object, "ts");
    if (!ts)
        return Refusal{400, "ts must be an integer, milliseconds since 1970"};
    const auto mime = text(object, "mime");
    if (!mime || !isPrintable(*mime, 127))
        return Refusal{400, "mime must be 1 to 127 printable ASCII characters"};
    const auto payload = text(object, "payload");
    if (!payload)
        return Refusal{400, "payload must be a text"};
    if (maxPayload != 0 && payload->size() > maxPayload)
        return payloadTooLarge(maxPayload);
    return Item{std::string(*id), *ts, std::string(*mime), std::string(*payload)};
}

} // namespace

Refusal payloadTooLarge(std::uint64_t limit) {
    return {413, "the payload is larger than " + std::to_string(limit) + " bytes"};
}

Answer<NewDevice> readNewDevice(std::string_view body) {
    const auto object = parseObject(body);
    if (!object)
        return notAnObject();
    return newDeviceIn(*object);
}

Answer<Claim> readClaim(std::string_view body) {
    const auto object = parseObject(body);
    if (!object)
        return notAnObject();
    const auto code = text(*object, "code");
    if (!code)
        return Refusal{400, "code must be a text"};
    auto device = newDeviceIn(*object);
    if (!device)
        return device.error();
    return Claim{std::string(*code), std::move(*device)};
}

Answer<std::string> readName(std::string_view body) {
    const auto object = parseObject(body);
    if (!object)
        return notAnObject();
    return nameIn(*object);
}

Answer<std::string> readSalt(std::string_view body) {
    const auto object = parseObject(body);
    if (!object)
        return notAnObject();
    const auto salt = text(*object, "salt");
    const auto size = salt ? base64Size(*salt) : std::nullopt;
    if (!size || *size < 8 || *size > 64)
        return Refusal{400, "salt must be standard base64 of 8 to 64 bytes"};
    return std::string(*salt);
}

Answer<Item> readItem(std::string_view body, std::uint64_t maxPayload) {
    const auto object = parseObject(body);
    if (!object)
        return notAnObject();
    return itemIn(*object, maxPayload);
}

ClientFrame readFrame(std::string_view frame, std::uint64_t maxPayload) {
    const auto object = parseObject(frame);
    if (!object)
        return std::monostate();
    const auto type = text(*object, "type");
    if (type == "received") {
        const auto id = text(*object, "id");
        if (id && isPrintable(*id, 64))
            return ReceivedFrame{std::string(*id)};
    }
    if (type == "publish") {
        const auto* value = object->if_contains("item");
        const auto* item = value == nullptr ? nullptr : value->if_object();
        if (item == nullptr)
            return PublishFrame{{}, Refusal{400, "item must be an object"}};
        const auto id = text(*item, "id");
        auto ref = id && isPrintable(*id, 64) ? std::string(*id) : std::string();
        return PublishFrame{std::move(ref), itemIn(*item, maxPayload)};
    }
    return std::monostate();
}

} // namespace sorrelwind::relay

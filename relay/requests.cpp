#include "relay/requests.h"

#include "relay/base64.h"
#include "relay/json_members.h"
#include "relay/text_rules.h"

#include <utility>

namespace sorrelwind::relay {

namespace {

Refusal notAnObject() {
    return {400, "the body must be a JSON object"};
}

Answer<std::string> nameIn(JsonMembers& members) {
    if (const auto* raw = members.text("name"))
        if (auto name = deviceName(*raw))
            return std::move(*name);
    return Refusal{
        400, "name must be 1 to 64 characters, none of them a control character or invisible"};
}

Answer<NewDevice> newDeviceIn(JsonMembers& members) {
    auto name = nameIn(members);
    if (!name)
        return name.error();
    const auto* platform = members.text("platform");
    if (platform == nullptr || !isPlatform(*platform))
        return Refusal{400, "platform must be a word of 1 to 32 characters of a-z, 0-9 and -"};
    return NewDevice{std::move(*name), *platform};
}

Answer<Item> itemIn(JsonMembers& members, std::uint64_t maxPayload) {
    const auto* id = members.text("id");
    if (id == nullptr || !isPrintable(*id, 64))
        return Refusal{400, "id must be 1 to 64 printable ASCII characters"};
    const auto ts = members.integer("ts");
    if (!ts)
        return Refusal{400, "ts must be an integer, milliseconds since 1970"};
    const auto* mime = members.text("mime");
    if (mime == nullptr || !isPrintable(*mime, 127))
        return Refusal{400, "mime must be 1 to 127 printable ASCII characters"};
    auto* payload = members.text("payload");
    if (payload == nullptr)
        return Refusal{400, "payload must be a text"};
    if (maxPayload != 0 && payload->size() > maxPayload)
        return payloadTooLarge(maxPayload);
    return Item{*id, *ts, *mime, std::move(*payload)};
}

} // namespace

Refusal payloadTooLarge(std::uint64_t limit) {
    return {413, "the payload is larger than " + std::to_string(limit) + " bytes"};
}

Answer<NewDevice> readNewDevice(std::string_view body) {
    auto message = readJsonMessage(body);
    if (!message)
        return notAnObject();
    return newDeviceIn(message->members);
}

Answer<Claim> readClaim(std::string_view body) {
    auto message = readJsonMessage(body);
    if (!message)
        return notAnObject();
    const auto* code = message->members.text("code");
    if (code == nullptr)
        return Refusal{400, "code must be a text"};
    auto device = newDeviceIn(message->members);
    if (!device)
        return device.error();
    return Claim{*code, std::move(*device)};
}

Answer<std::string> readName(std::string_view body) {
    auto message = readJsonMessage(body);
    if (!message)
        return notAnObject();
    return nameIn(message->members);
}

Answer<std::string> readSalt(std::string_view body) {
    auto message = readJsonMessage(body);
    if (!message)
        return notAnObject();
    const auto* salt = message->members.text("salt");
    const auto size = salt == nullptr ? std::nullopt : base64Size(*salt);
    if (!size || *size < 8 || *size > 64)
        return Refusal{400, "salt must be standard base64 of 8 to 64 bytes"};
    return *salt;
}

Answer<Item> readItem(std::string_view body, std::uint64_t maxPayload) {
    auto message = readJsonMessage(body);
    if (!message)
        return notAnObject();
    return itemIn(message->members, maxPayload);
}

ClientFrame readFrame(std::string_view frame, std::uint64_t maxPayload) {
    auto message = readJsonMessage(frame);
    const auto* type = message ? message->members.text("type") : nullptr;
    if (type == nullptr)
        return std::monostate();
    if (*type == "received") {
        const auto* id = message->members.text("id");
        if (id != nullptr && isPrintable(*id, 64))
            return ReceivedFrame{*id};
    }
    if (*type == "publish") {
        if (!message->item)
            return PublishFrame{{}, Refusal{400, "item must be an object"}};
        const auto* id = message->item->text("id");
        auto ref = id != nullptr && isPrintable(*id, 64) ? *id : std::string();
        return PublishFrame{std::move(ref), itemIn(*message->item, maxPayload)};
    }
    return std::monostate();
}

} // namespace sorrelwind::relay

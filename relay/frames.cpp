#include "relay/frames.h"

#include <boost/json.hpp>

namespace sorrelwind::relay {

namespace {

namespace json = boost::json;

json::array devicesArray(const std::vector<DeviceView>& devices) {
    json::array array;
    for (const auto& [record, online] : devices)
        array.push_back(json::object{{"id", record.id},
                                     {"name", record.name},
                                     {"platform", record.platform},
                                     {"createdAt", record.createdAt},
                                     {"lastSeen", record.lastSeen},
                                     {"online", online}});
    return array;
}

std::string text(const json::object& object) {
    return json::serialize(object);
}

} // namespace

std::string itemJson(const Item& item, const std::string& from, const std::string& device) {
    return text({{"id", item.id},
                 {"ts", item.ts},
                 {"from", from},
                 {"device", device},
                 {"mime", item.mime},
                 {"payload", item.payload}});
}

std::string itemHead() {
    return R"({"type":"item","item":)";
}

std::string helloHead(const std::vector<DeviceView>& devices) {
    auto frame = helloFrame(devices);
    frame.pop_back();
    return frame + R"(,"item":)";
}

std::string helloFrame(const std::vector<DeviceView>& devices) {
    return text({{"type", "hello"}, {"devices", devicesArray(devices)}});
}

std::string devicesFrame(const std::vector<DeviceView>& devices) {
    return text({{"type", "devices"}, {"devices", devicesArray(devices)}});
}

std::string removedFrame() {
    return text({{"type", "removed"}});
}

std::string ackFrame(const std::string& ref, int status, std::optional<int> recipients) {
    json::object frame{{"type", "ack"}, {"status", status}};
    if (!ref.empty())
        frame["ref"] = ref;
    if (recipients)
        frame["recipients"] = *recipients;
    return text(frame);
}

std::string joinedBody(const std::string& group, const DeviceRecord& device,
                       const std::string& token) {
    return text({{"groupId", group},
                 {"device", json::object{{"id", device.id}, {"name", device.name}}},
                 {"token", token}});
}

std::string codeBody(const std::string& code, std::int64_t expiresAt) {
    return text({{"code", code}, {"expiresAt", expiresAt}});
}

std::string cryptoBody(const std::optional<CryptoRecord>& record) {
    if (!record)
        return text({{"crypto", nullptr}});
    return text({{"crypto", json::object{{"v", record->v},
                                         {"kdf", record->kdf},
                                         {"iters", record->iters},
                                         {"salt", record->salt}}}});
}

std::string recipientsBody(int recipients) {
    return text({{"recipients", recipients}});
}

std::string okBody() {
    return text({{"ok", true}});
}

std::string healthBody(std::string_view version, std::optional<bool> believed) {
    json::object body{{"ok", true}, {"version", version}};
    if (believed)
        body["forwarded"] = *believed ? "believed" : "ignored";
    return text(body);
}

std::string errorBody(const std::string& sentence) {
    return text({{"error", sentence}});
}

} // namespace sorrelwind::relay

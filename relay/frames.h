#pragma once

#include "relay/records.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sorrelwind::relay {

/// A device as its group sees it.
struct DeviceView {
    DeviceRecord record;
    bool online = false;
};

/// What the hub writes: WebSocket frames and REST bodies, as compact JSON.

/// The item object that receivers get: the publisher's, with `from` and `device` filled in.
[[nodiscard]] std::string itemJson(const Item& item, const std::string& from,
                                   const std::string& device);

/// A frame up to its item, after which kItemEnd ends it: so all frames can share the item.
[[nodiscard]] std::string itemHead();
[[nodiscard]] std::string helloHead(const std::vector<DeviceView>& devices);
inline constexpr char kItemEnd = '}';

/// The greeting without an item.
[[nodiscard]] std::string helloFrame(const std::vector<DeviceView>& devices);
[[nodiscard]] std::string devicesFrame(const std::vector<DeviceView>& devices);
[[nodiscard]] std::string removedFrame();
/// Without `ref` when it is empty, without `recipients` unless the item was accepted.
[[nodiscard]] std::string ackFrame(const std::string& ref, int status,
                                   std::optional<int> recipients);

[[nodiscard]] std::string joinedBody(const std::string& group, const DeviceRecord& device,
                                     const std::string& token);
[[nodiscard]] std::string codeBody(const std::string& code, std::int64_t expiresAt);
[[nodiscard]] std::string cryptoBody(const std::optional<CryptoRecord>& record);
[[nodiscard]] std::string recipientsBody(int recipients);
[[nodiscard]] std::string okBody();
/// `believed`: what became of the request's X-Forwarded-For; none if it had none.
[[nodiscard]] std::string healthBody(std::string_view version, std::optional<bool> believed);
[[nodiscard]] std::string errorBody(const std::string& text);

} // namespace sorrelwind::relay

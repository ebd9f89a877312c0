#pragma once

#include <cstdint>
#include <string>

namespace sorrelwind::relay {

/// Who is asking: a device and the group that it belongs to.
struct Member {
    std::string group;
    std::string device;

    bool operator==(const Member&) const = default;
};

/// One device of a group, as it is stored. Times are milliseconds since the Unix epoch.
struct DeviceRecord {
    std::string id;
    std::string name;
    std::string platform;
    std::int64_t createdAt = 0;
    std::int64_t lastSeen = 0;

    bool operator==(const DeviceRecord&) const = default;
};

/// A group's parameters for deriving its key from a passphrase. The hub never sees the passphrase.
struct CryptoRecord {
    std::int64_t v = 1;
    std::string kdf = "pbkdf2-sha256";
    std::int64_t iters = 600000;
    std::string salt; ///< standard base64

    bool operator==(const CryptoRecord&) const = default;
};

/// One clipboard item as a device published it. The payload is opaque here.
struct Item {
    std::string id;
    std::int64_t ts = 0;
    std::string mime;
    std::string payload;
};

} // namespace sorrelwind::relay

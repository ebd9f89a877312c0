#pragma once

#include "relay/identity.h"
#include "relay/records.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace sorrelwind::relay {

/// The store cannot do its work. `what()` is a sentence for the operator.
class StoreError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What outlives the process: groups, their devices and derivation parameters, hashed tokens and
/// pairing codes; never an item. Each operation is one transaction: it has happened as a whole and
/// for good when it returns, or not at all. Every one may throw StoreError.
/// Times are milliseconds since the Unix epoch.
class Store {
public:
    enum class Join { joined, noSuchCode, groupFull };
    enum class Removal { noSuchDevice, device, lastDevice };

    virtual ~Store() = default;

    virtual void createGroup(const std::string& group, const DeviceRecord& first,
                             const Digest& token) = 0;
    /// A device of the group has opened a socket: from now on it is no unused one.
    virtual void markUsed(const std::string& group) = 0;
    /// Removes groups made at `madeBefore` or earlier that have one device and never were marked as
    /// used, `most` at once; returns how many there were.
    virtual int removeUnused(std::int64_t madeBefore, int most) = 0;
    [[nodiscard]] virtual std::optional<Member> memberByToken(const Digest& token) = 0;
    /// In the order in which they joined; empty if there is no such group.
    [[nodiscard]] virtual std::vector<DeviceRecord> devices(const std::string& group) = 0;
    /// False if the group has no such device.
    virtual bool rename(const Member& device, const std::string& name) = 0;
    /// The last device takes its group with it, and a device the codes that it asked for.
    virtual Removal remove(const Member& device) = 0;
    virtual void saveLastSeen(const std::vector<std::pair<std::string, std::int64_t>>& times) = 0;

    [[nodiscard]] virtual std::optional<CryptoRecord> crypto(const std::string& group) = 0;
    /// The first writer wins: returns the record that stands.
    virtual CryptoRecord setCrypto(const std::string& group, const CryptoRecord& record) = 0;

    /// Keeps the `maxLive` youngest codes of the group.
    virtual void addCode(const Digest& code, const Member& by, std::int64_t now,
                         std::int64_t expiresAt, std::size_t maxLive) = 0;
    /// How many codes of all groups have not lapsed.
    [[nodiscard]] virtual std::int64_t liveCodes(std::int64_t now) = 0;
    /// The group of a code that has not lapsed.
    [[nodiscard]] virtual std::optional<std::string> groupOfCode(const Digest& code,
                                                                 std::int64_t now) = 0;
    /// Uses the code up and adds the device to its group. A `maxDevices` of 0 is no limit; a full
    /// group leaves the code as it is.
    virtual Join joinByCode(const Digest& code, const DeviceRecord& device, const Digest& token,
                            std::int64_t now, std::size_t maxDevices) = 0;

    /// Reads and writes a little; throws if either fails.
    virtual void probe() = 0;
};

} // namespace sorrelwind::relay

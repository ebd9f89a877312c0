#pragma once

#include "relay/group_bus.h"
#include "relay/last_seen.h"
#include "relay/limits.h"
#include "relay/log.h"
#include "relay/memory_budget.h"
#include "relay/now.h"
#include "relay/rate_limits.h"
#include "relay/refusal.h"
#include "relay/requests.h"
#include "relay/store.h"

#include <functional>
#include <optional>
#include <string>

namespace sorrelwind::relay {

/// What the hub does, whatever it is asked through: membership, pairing and the relaying of items.
/// Between the store, which remembers, and the bus, which is live; no sockets, and time is an
/// argument. Owned by main. A failing store throws StoreError through every operation.
class Hub {
public:
    /// What one gets who asks for memory that others have.
    static Refusal memoryFull() { return {503, "the hub's memory is full", 5}; }

    struct Joined {
        std::string group;
        DeviceRecord device;
        std::string token;
    };
    struct Code {
        std::string code;
        std::int64_t expiresAt = 0;
    };

    Hub(Store& store, const Limits& limits);

    [[nodiscard]] const Limits& limits() const { return m_limits; }
    [[nodiscard]] MemoryBudget& memory() { return m_memory; }

    /// The device that holds `token`, which counts as seen now; none for a dead token.
    [[nodiscard]] std::optional<Member> authenticate(std::string_view token, const Now& now);

    [[nodiscard]] Answer<Joined> createGroup(const NewDevice& device, const Address& client,
                                             const Now& now);
    /// Refused to a group of the doctor's.
    [[nodiscard]] Answer<Code> createCode(const Member& member, const Now& now);
    [[nodiscard]] Answer<Joined> claim(const Claim& claim, const Address& client, const Now& now);
    [[nodiscard]] std::optional<CryptoRecord> crypto(const Member& member);
    [[nodiscard]] CryptoRecord setCrypto(const Member& member, const std::string& salt);
    [[nodiscard]] Answer<void> rename(const Member& member, const std::string& device,
                                      const std::string& name, const Now& now);
    [[nodiscard]] Answer<void> remove(const Member& member, const std::string& device,
                                      const Now& now);
    /// Whether the member may change something in the store now, other than by a removal.
    [[nodiscard]] Answer<void> admitWrite(const Member& member, const Now& now);
    /// The same for a removal, of which a group as a whole may see any number: a device that floods
    /// its group is to be removable.
    [[nodiscard]] Answer<void> admitRemoval(const Member& member, const Now& now);
    /// Whether the member may try to publish now, accepted or not: ask before reading the item.
    [[nodiscard]] Answer<void> admitAttempt(const Member& member, const Now& now);
    /// Relays the item and returns how many other devices had a live socket. A repetition gets its
    /// first answer.
    [[nodiscard]] Answer<int> publish(const Member& member, const Answer<Item>& item,
                                      const Now& now);
    /// Whether the store can be read and written; asked of the store every few seconds at most.
    [[nodiscard]] bool ready(const Now& now);

    void open(const Member& member, Outlet& outlet, const Now& now);
    void frame(const Member& member, Outlet& outlet, std::string_view text, const Now& now);
    void closed(const Member& member, const Outlet& outlet, const Now& now);

    /// Does what is due; call it at `nextTick`, which may have moved closer whenever `onTickSoon`
    /// is called.
    void tick(const Now& now);
    [[nodiscard]] Steady nextTick() const;
    void onTickSoon(std::function<void()> callback) { m_onTickSoon = std::move(callback); }

    /// From now on everything is refused; sockets are told goodbye.
    void stop();
    [[nodiscard]] bool stopping() const { return m_stopping; }
    /// Writes down what is only in memory and may be kept.
    void flush();

private:
    [[nodiscard]] std::vector<DeviceRecord> roster(const std::string& group);
    /// Whether a doctor made the group, to try a socket with. It is of no other use, so that it
    /// need not count as a new group: nobody can join it, and it is forgotten like one never used.
    [[nodiscard]] bool isForDoctor(const std::string& group);
    [[nodiscard]] static DeviceRecord newDevice(const NewDevice& device, const Now& now);
    [[nodiscard]] std::optional<Refusal> claimsBlocked(const std::string& key, const Now& now);
    void changed(const std::string& group, const Now& now);
    void tickSoon();
    void sweep(const Now& now);
    void forgetUnused(const Now& now);

    Store& m_store;
    Limits m_limits;
    MemoryBudget m_memory;
    GroupBus m_bus;
    LastSeen m_lastSeen;
    Pseudonyms m_pseudonyms;
    TokenBuckets m_publishes;   ///< accepted items
    TokenBuckets m_attempts;    ///< everything that was meant to be one, or nothing that is known
    TokenBuckets m_writes;      ///< of a device
    TokenBuckets m_groupWrites; ///< of all its devices
    WindowLimit m_newGroups;
    WindowLimit m_doctorGroups; ///< counted by themselves, with the same limit
    WindowLimit m_failedClaims;
    WindowLimit m_allFailedClaims;
    std::function<void()> m_onTickSoon;
    Steady m_nextSweep;
    std::optional<Steady> m_probed;
    bool m_ready = false;
    bool m_stopping = false;
};

} // namespace sorrelwind::relay

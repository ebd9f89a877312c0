#pragma once

#include "relay/frame.h"
#include "relay/frames.h"
#include "relay/now.h"
#include "relay/records.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace sorrelwind::relay {

enum class Goodbye { removed, tooManySockets, tooLarge, tooSlow, outOfMemory, stopping };

/// The way out to one socket. The bus calls it and does not own it; it must outlive its place in
/// the bus (`GroupBus::leave`). Neither call may call back into the bus.
class Outlet {
public:
    virtual ~Outlet() = default;
    /// Queues a frame. False when the peer reads too slowly: the outlet closes by itself then.
    virtual bool send(const Frame& frame) = 0;
    /// Sends what is queued and closes. The bus has forgotten the outlet by then.
    virtual void close(Goodbye why) = 0;
};

/// The live half of every group: its open sockets, its newest item for those who have not got it
/// yet, and when its members must be told of a change. Kept in memory alone, without I/O; time is
/// an argument. Owned by the hub, whose store knows the members.
class GroupBus {
public:
    /// All devices of a group, in the order in which they joined. What it throws, the operations
    /// that ask for it throw on.
    using Roster = std::function<std::vector<DeviceRecord>(const std::string& group)>;

    static constexpr std::chrono::milliseconds kDevicesDelay{100};
    static constexpr std::chrono::seconds kRetryDelay{1};
    /// For how long and how many items of a group a repeated id is recognised.
    static constexpr std::chrono::minutes kRepeatTime{10};
    static constexpr std::size_t kRepeatItems = 1024;

    /// An `itemTtl` of 0 keeps the newest item until everyone has got it.
    GroupBus(Roster roster, std::chrono::seconds itemTtl, MemoryBudget& memory)
        : m_roster(std::move(roster)), m_itemTtl(itemTtl), m_memory(memory) {}

    /// A socket opened: greets it. A device's oldest socket makes room for its fifth. A device that
    /// was removed in the meantime is told so instead; neither then nor after a throw is the socket
    /// in the bus.
    void join(const Member& who, Outlet& outlet, const Now& now);
    /// A socket is gone. One that the bus has forgotten already is no error.
    void leave(const Member& who, const Outlet& outlet, const Now& now);

    /// The answer that an item with this id got before, within `kRepeatTime`.
    [[nodiscard]] std::optional<int> repeated(const std::string& group, const std::string& item,
                                              const Now& now) const;
    /// Relays an item to every other device of the group; returns how many had a live socket.
    int publish(const Member& from, const Item& item, const Now& now);
    void received(const Member& who, const std::string& item);

    /// A device joined or was renamed: everyone gets the new list, `kDevicesDelay` after the first
    /// change.
    void changed(const std::string& group, const Now& now);
    void removed(const Member& who, const Now& now);
    /// The last device is gone and its group with it.
    void forget(const std::string& group) { m_groups.erase(group); }

    [[nodiscard]] bool isOnline(const Member& who) const;
    /// Sends the device lists that are due. One that cannot be read is tried again after
    /// `kRetryDelay` and holds no other group up; what was thrown is thrown on at the end.
    void tick(const Now& now);
    [[nodiscard]] std::optional<Steady> nextTick() const;
    /// Forgets what is too old. Call it now and then.
    void sweep(const Now& now);
    /// Says goodbye to every socket.
    void closeAll(Goodbye why);

private:
    struct Socket {
        std::string device;
        Outlet* outlet;
    };
    struct Held {
        std::string id;
        SharedText rest;                ///< of the frames that it is sent in
        std::set<std::string> awaiting; ///< devices that were members then and have not got it
        Steady since;
    };
    struct Accepted {
        std::string id;
        int recipients;
        Steady at;
    };
    /// What it holds without a socket is given up when its sockets have nothing left to give.
    struct Group final : MemoryBudget::Holder {
        Group(MemoryBudget& memory, const std::string& name) : charge(memory, name, 0, this) {}
        [[nodiscard]] std::uint64_t weight() const override;
        void giveUp() override;
        void count();

        std::vector<Socket> sockets; ///< in the order in which they opened
        std::optional<Held> newest;
        std::deque<Accepted> recent;
        bool changed = false;
        MemoryBudget::Charge charge;
    };

    [[nodiscard]] Group& groupOf(const std::string& name);
    [[nodiscard]] Group* find(const std::string& group);
    [[nodiscard]] SharedText share(const std::string& group, std::string text) const;
    [[nodiscard]] static std::vector<DeviceView> view(std::vector<DeviceRecord> members,
                                                      const Group& group);
    void tellDevices(const std::string& name, const Group& group) const;
    [[nodiscard]] bool expired(const Held& held, const Now& now) const;

    Roster m_roster;
    std::chrono::seconds m_itemTtl;
    MemoryBudget& m_memory;
    std::unordered_map<std::string, Group> m_groups;
    std::multimap<Steady, std::string> m_due; ///< groups to tell, each with `changed` set
};

} // namespace sorrelwind::relay

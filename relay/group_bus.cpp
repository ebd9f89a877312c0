#include "relay/group_bus.h"

#include "relay/limits.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace sorrelwind::relay {

namespace {

// Roughly what the containers take: for a text, for an accepted id, for a group with its members.
constexpr std::uint64_t kTextOverhead = 128;
constexpr std::uint64_t kAcceptedBytes = 160;
constexpr std::uint64_t kGroupBytes = 4096;

void sayRemoved(Outlet& outlet) {
    outlet.send({removedFrame()});
    outlet.close(Goodbye::removed);
}

} // namespace

std::uint64_t GroupBus::Group::weight() const {
    return newest || !recent.empty() ? 1 : 0;
}

void GroupBus::Group::giveUp() {
    newest.reset();
    recent.clear();
    count();
}

void GroupBus::Group::count() {
    charge.resize(kGroupBytes + recent.size() * kAcceptedBytes);
}

GroupBus::Group& GroupBus::groupOf(const std::string& name) {
    const auto [entry, isNew] = m_groups.try_emplace(name, m_memory, name);
    if (isNew)
        entry->second.count();
    return entry->second;
}

SharedText GroupBus::share(const std::string& group, std::string text) const {
    const auto bytes = text.capacity() + kTextOverhead;
    return {std::make_shared<const std::string>(std::move(text)),
            std::make_shared<const MemoryBudget::Charge>(m_memory, group, bytes)};
}

GroupBus::Group* GroupBus::find(const std::string& group) {
    const auto found = m_groups.find(group);
    return found == m_groups.end() ? nullptr : &found->second;
}

std::vector<DeviceView> GroupBus::view(std::vector<DeviceRecord> members, const Group& group) {
    std::set<std::string> online;
    for (const auto& socket : group.sockets)
        online.insert(socket.device);
    std::vector<DeviceView> devices;
    for (auto& record : members) {
        const bool live = online.contains(record.id);
        devices.push_back({std::move(record), live});
    }
    return devices;
}

bool GroupBus::expired(const Held& held, const Now& now) const {
    return m_itemTtl.count() > 0 && now.steady - held.since >= m_itemTtl;
}

void GroupBus::join(const Member& who, Outlet& outlet, const Now& now) {
    auto members = m_roster(who.group);
    const auto isWho = [&](const DeviceRecord& record) { return record.id == who.device; };
    if (std::none_of(members.begin(), members.end(), isWho)) {
        sayRemoved(outlet);
        return;
    }

    auto& group = groupOf(who.group);
    const auto isOwn = [&](const Socket& socket) { return socket.device == who.device; };
    const auto open = std::count_if(group.sockets.begin(), group.sockets.end(), isOwn);
    if (open >= static_cast<std::ptrdiff_t>(kMaxSockets)) {
        const auto oldest = std::find_if(group.sockets.begin(), group.sockets.end(), isOwn);
        Outlet& replaced = *oldest->outlet;
        group.sockets.erase(oldest);
        replaced.close(Goodbye::tooManySockets);
    }
    group.sockets.push_back({who.device, &outlet});
    if (open == 0)
        changed(who.group, now);

    if (group.newest && expired(*group.newest, now))
        group.newest.reset();
    const bool waits = group.newest && group.newest->awaiting.contains(who.device);
    const auto devices = view(std::move(members), group);
    if (waits)
        outlet.send({helloHead(devices), group.newest->rest});
    else
        outlet.send({helloFrame(devices)});
}

void GroupBus::leave(const Member& who, const Outlet& outlet, const Now& now) {
    auto* group = find(who.group);
    if (group == nullptr)
        return;
    const auto gone =
        std::erase_if(group->sockets, [&](const Socket& s) { return s.outlet == &outlet; });
    if (gone > 0 && !isOnline(who))
        changed(who.group, now);
}

std::optional<int> GroupBus::repeated(const std::string& group, const std::string& item,
                                      const Now& now) const {
    const auto found = m_groups.find(group);
    if (found == m_groups.end())
        return std::nullopt;
    for (const auto& accepted : found->second.recent)
        if (accepted.id == item && now.steady - accepted.at < kRepeatTime)
            return accepted.recipients;
    return std::nullopt;
}

int GroupBus::publish(const Member& from, const Item& item, const Now& now) {
    std::string publisher;
    std::set<std::string> others;
    for (const auto& record : m_roster(from.group)) {
        if (record.id == from.device)
            publisher = record.name;
        else
            others.insert(record.id);
    }

    auto& group = groupOf(from.group);
    auto rest = share(from.group, itemJson(item, from.device, publisher) + kItemEnd);
    const Frame frame{itemHead(), rest};
    Held held{item.id, std::move(rest), std::move(others), now.steady};
    std::set<std::string> reached;
    for (const auto& socket : group.sockets)
        if (socket.device != from.device && socket.outlet->send(frame))
            reached.insert(socket.device);
    if (held.awaiting.empty())
        group.newest.reset();
    else
        group.newest = std::move(held);

    const int recipients = static_cast<int>(reached.size());
    group.recent.push_back({item.id, recipients, now.steady});
    if (group.recent.size() > kRepeatItems)
        group.recent.pop_front();
    group.count();
    return recipients;
}

void GroupBus::received(const Member& who, const std::string& item) {
    auto* group = find(who.group);
    if (group == nullptr || !group->newest || group->newest->id != item)
        return;
    group->newest->awaiting.erase(who.device);
    if (group->newest->awaiting.empty())
        group->newest.reset();
}

void GroupBus::changed(const std::string& name, const Now& now) {
    auto* group = find(name);
    if (group == nullptr || group->changed)
        return;
    group->changed = true;
    m_due.emplace(now.steady + kDevicesDelay, name);
}

void GroupBus::removed(const Member& who, const Now& now) {
    auto* group = find(who.group);
    if (group == nullptr)
        return;
    std::erase_if(group->sockets, [&](const Socket& socket) {
        if (socket.device != who.device)
            return false;
        sayRemoved(*socket.outlet);
        return true;
    });
    if (group->newest) {
        group->newest->awaiting.erase(who.device);
        if (group->newest->awaiting.empty())
            group->newest.reset();
    }
    changed(who.group, now);
}

bool GroupBus::isOnline(const Member& who) const {
    const auto found = m_groups.find(who.group);
    if (found == m_groups.end())
        return false;
    const auto& sockets = found->second.sockets;
    return std::any_of(sockets.begin(), sockets.end(),
                       [&](const Socket& socket) { return socket.device == who.device; });
}

void GroupBus::tick(const Now& now) {
    std::exception_ptr failure;
    while (!m_due.empty() && m_due.begin()->first <= now.steady) {
        const auto name = std::move(m_due.extract(m_due.begin()).mapped());
        auto* group = find(name);
        if (group == nullptr)
            continue;
        try {
            tellDevices(name, *group);
            group->changed = false;
        } catch (const std::exception&) {
            failure = std::current_exception();
            m_due.emplace(now.steady + kRetryDelay, name);
        }
    }
    if (failure)
        std::rethrow_exception(failure);
}

void GroupBus::tellDevices(const std::string& name, const Group& group) const {
    if (group.sockets.empty())
        return;
    const Frame frame{{}, share(name, devicesFrame(view(m_roster(name), group)))};
    for (const auto& socket : group.sockets)
        socket.outlet->send(frame);
}

std::optional<Steady> GroupBus::nextTick() const {
    if (m_due.empty())
        return std::nullopt;
    return m_due.begin()->first;
}

void GroupBus::sweep(const Now& now) {
    for (auto& [name, group] : m_groups) {
        if (group.newest && expired(*group.newest, now))
            group.newest.reset();
        while (!group.recent.empty() && now.steady - group.recent.front().at >= kRepeatTime)
            group.recent.pop_front();
        group.count();
    }
    std::erase_if(m_groups, [](const auto& entry) {
        const Group& group = entry.second;
        return group.sockets.empty() && !group.newest && group.recent.empty() && !group.changed;
    });
}

void GroupBus::closeAll(Goodbye why) {
    for (auto& entry : m_groups)
        for (const auto& socket : std::exchange(entry.second.sockets, {}))
            socket.outlet->close(why);
}

} // namespace sorrelwind::relay

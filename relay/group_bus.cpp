#include "relay/group_bus.h"

#include "relay/limits.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace sorrelwind::relay {

namespace {

Frame share(std::string text) {
    return std::make_shared<const std::string>(std::move(text));
}

} // namespace

GroupBus::Group* GroupBus::find(const std::string& group) {
    const auto found = m_groups.find(group);
    return found == m_groups.end() ? nullptr : &found->second;
}

std::vector<DeviceView> GroupBus::view(const std::string& name, const Group& group) const {
    std::set<std::string> online;
    for (const auto& socket : group.sockets)
        online.insert(socket.device);
    std::vector<DeviceView> devices;
    for (auto& record : m_roster(name)) {
        const bool live = online.contains(record.id);
        devices.push_back({std::move(record), live});
    }
    return devices;
}

bool GroupBus::expired(const Held& held, const Now& now) const {
    return m_itemTtl.count() > 0 && now.steady - held.since >= m_itemTtl;
}

void GroupBus::join(const Member& who, Outlet& outlet, const Now& now) {
    auto& group = m_groups[who.group];
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
    const std::string_view item = waits ? std::string_view(group.newest->json) : "";
    outlet.send(share(helloFrame(view(who.group, group), item)));
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

    auto& group = m_groups[from.group];
    Held held{item.id, itemJson(item, from.device, publisher), std::move(others), now.steady};
    const auto frame = share(itemFrame(held.json));
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
    const auto frame = share(removedFrame());
    std::erase_if(group->sockets, [&](const Socket& socket) {
        if (socket.device != who.device)
            return false;
        socket.outlet->send(frame);
        socket.outlet->close(Goodbye::removed);
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
    const auto frame = share(devicesFrame(view(name, group)));
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

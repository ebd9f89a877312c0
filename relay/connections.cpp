#include "relay/connections.h"

#include <utility>
#include <vector>

namespace sorrelwind::relay {

namespace {

bool isNear(std::size_t count, std::size_t limit) {
    return limit != 0 && count >= limit - limit / 4;
}

} // namespace

std::size_t Connections::countOf(const std::string& address) const {
    const auto found = m_counts.find(address);
    return found == m_counts.end() ? 0 : found->second;
}

bool Connections::makeRoom(Steady now) {
    return m_size < m_limit || giveWay(nullptr, now);
}

bool Connections::makeRoomFor(const std::string& address, Steady now) {
    return address.empty() || m_addressLimit == 0 || countOf(address) < m_addressLimit ||
           giveWay(&address, now);
}

bool Connections::giveWay(const std::string* address, Steady now) {
    Place* best = nullptr;
    std::size_t most = 0;
    for (auto* place : m_places) {
        if (place->m_left || (address && place->m_address != *address))
            continue;
        if (!place->m_idleSince || now < *place->m_idleSince + kGrace)
            continue;
        const auto count = place->m_address.empty() ? 1 : countOf(place->m_address);
        if (best && (count < most || (count == most && place->m_idleSince >= best->m_idleSince)))
            continue;
        best = place;
        most = count;
    }
    if (best == nullptr)
        return false;
    best->leave();
    best->m_end();
    return true;
}

void Connections::stopIdle() {
    for (auto* place : std::vector<Place*>(m_places.begin(), m_places.end()))
        if (place->m_idleSince)
            place->m_end();
}

Connections::Place::Place(Connections& connections, std::function<void()> end)
    : m_connections(connections), m_end(std::move(end)) {
    m_connections.m_places.insert(this);
    ++m_connections.m_size;
    ++m_connections.m_counts[m_address];
}

Connections::Place::~Place() {
    leave();
    m_connections.m_places.erase(this);
    if (m_connections.m_places.empty() && m_connections.m_emptied)
        m_connections.m_emptied();
}

void Connections::Place::leave() {
    if (std::exchange(m_left, true))
        return;
    --m_connections.m_size;
    const auto count = m_connections.m_counts.find(m_address);
    if (--count->second == 0)
        m_connections.m_counts.erase(count);
}

bool Connections::Place::moveTo(const std::string& address, Steady now) {
    if (address == m_address || m_left)
        return true;
    if (!m_connections.makeRoomFor(address, now))
        return false;
    leave();
    m_left = false;
    m_address = address;
    ++m_connections.m_size;
    ++m_connections.m_counts[address];
    return true;
}

bool Connections::Place::crowded() const {
    return isNear(m_connections.m_size, m_connections.m_limit) ||
           (!m_address.empty() &&
            isNear(m_connections.countOf(m_address), m_connections.m_addressLimit));
}

} // namespace sorrelwind::relay

#pragma once

#include "relay/now.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace sorrelwind::relay {

/// The open connections of a server: how many there are, in all and of one address, and which of
/// them gives way to a newcomer: one that has waited for a request for `kGrace` at least, of the
/// address that has the most, and of these the one that has waited longest. Without I/O; outlives
/// every connection.
class Connections {
public:
    class Place;

    /// In which a request that is on its way is read.
    static constexpr std::chrono::seconds kGrace{1};

    /// One address gets half of all at most. An `addressLimit` of 0 is none.
    Connections(std::size_t limit, std::size_t addressLimit)
        : m_limit(limit), m_addressLimit(std::min(addressLimit, limit / 2)) {}

    /// `callback` is called whenever the last one is gone.
    void onEmptied(std::function<void()> callback) { m_emptied = std::move(callback); }
    [[nodiscard]] std::size_t size() const { return m_size; }
    /// Whether one more may come, after one gave way if need be.
    [[nodiscard]] bool makeRoom(Steady now);
    /// Ends the connections that wait for a request; the others end with their next answer.
    void stopIdle();

private:
    [[nodiscard]] bool makeRoomFor(const std::string& address, Steady now);
    [[nodiscard]] std::size_t countOf(const std::string& address) const;
    /// Of all addresses if none is given.
    bool giveWay(const std::string* address, Steady now);

    std::size_t m_limit;
    std::size_t m_addressLimit;
    std::size_t m_size = 0; ///< without those that have given way
    std::unordered_set<Place*> m_places;
    std::unordered_map<std::string, std::size_t> m_counts;
    std::function<void()> m_emptied;
};

/// What one connection takes of the whole, for as long as it lives.
class Connections::Place {
public:
    /// `end` ends the connection soon; it may be called while the connection is idle.
    Place(Connections& connections, std::function<void()> end);
    ~Place();
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    /// Counts for this address from now on, as `limitKey` has it; an empty one is nobody's. False
    /// when it has too many; then nothing changes.
    bool moveTo(const std::string& address, Steady now);
    /// It waits for a request.
    void idle(Steady now) { m_idleSince = now; }
    void busy() { m_idleSince.reset(); }
    /// Whether time is short: the limits of all or of this address are near.
    [[nodiscard]] bool crowded() const;

private:
    friend class Connections;
    void leave();

    Connections& m_connections;
    std::function<void()> m_end;
    std::string m_address;
    std::optional<Steady> m_idleSince;
    bool m_left = false;
};

} // namespace sorrelwind::relay

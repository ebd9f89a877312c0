#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace sorrelwind::relay {

/// When each device was last active, ahead of the store: a device's every request is noted here,
/// and the notes are written down together once a minute. Killed in between, the hub has lost
/// nothing but these times. Owned by the hub.
class LastSeen {
public:
    void note(const std::string& device, std::int64_t unixMs) { m_notes[device] = unixMs; }
    void forget(const std::string& device) { m_notes.erase(device); }

    /// The later of the note and what is stored.
    [[nodiscard]] std::int64_t of(const std::string& device, std::int64_t stored) const;
    /// All notes that are not written down yet; they are kept until `written`.
    [[nodiscard]] std::vector<std::pair<std::string, std::int64_t>> pending() const;
    void written() { m_notes.clear(); }

private:
    std::unordered_map<std::string, std::int64_t> m_notes;
};

} // namespace sorrelwind::relay

#include "relay/last_seen.h"

#include <algorithm>

namespace sorrelwind::relay {

std::int64_t LastSeen::of(const std::string& device, std::int64_t stored) const {
    const auto note = m_notes.find(device);
    return note == m_notes.end() ? stored : std::max(stored, note->second);
}

std::vector<std::pair<std::string, std::int64_t>> LastSeen::pending() const {
    return {m_notes.begin(), m_notes.end()};
}

} // namespace sorrelwind::relay

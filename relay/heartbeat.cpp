#include "relay/heartbeat.h"

#include <algorithm>

namespace sorrelwind::relay {

Heartbeat::Due Heartbeat::due(Steady now) {
    if (now >= m_heard + kSilence)
        return Due::gone;
    if (now < m_pinged + kPingEvery)
        return Due::nothing;
    m_pinged = now;
    return Due::ping;
}

Steady Heartbeat::next() const {
    return std::min(m_heard + kSilence, m_pinged + kPingEvery);
}

} // namespace sorrelwind::relay

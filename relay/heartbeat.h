#pragma once

#include "relay/now.h"

namespace sorrelwind::relay {

/// When one WebSocket is pinged and when its peer counts as gone. Does nothing by itself: its
/// session tells what it heard and asks what is due.
class Heartbeat {
public:
    static constexpr std::chrono::seconds kPingEvery{25};
    static constexpr std::chrono::seconds kSilence{60};

    enum class Due { nothing, ping, gone };

    explicit Heartbeat(Steady opened) : m_heard(opened), m_pinged(opened) {}

    /// Any byte of the peer counts, also one of a long message that is still arriving.
    void heard(Steady now) { m_heard = now; }
    /// What is due now; a ping counts as sent.
    [[nodiscard]] Due due(Steady now);
    [[nodiscard]] Steady next() const;

private:
    Steady m_heard;
    Steady m_pinged;
};

} // namespace sorrelwind::relay

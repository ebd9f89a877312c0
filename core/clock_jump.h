#pragma once

#include <chrono>

namespace sorrelwind {

/// Notices that the wall clock went another way than the monotonic one, which stands still while
/// the computer sleeps: it slept, or its clock was set. Fed from time to time by its owner.
class ClockJump {
public:
    using Wall = std::chrono::system_clock;
    using Steady = std::chrono::steady_clock;
    static constexpr std::chrono::seconds kTolerance{2};

    ClockJump(Wall::time_point wall, Steady::time_point steady) : m_wall(wall), m_steady(steady) {}

    /// Whether the clocks parted by more than kTolerance since the last call.
    [[nodiscard]] bool seen(Wall::time_point wall, Steady::time_point steady) {
        const auto parted = (wall - m_wall) - (steady - m_steady);
        m_wall = wall;
        m_steady = steady;
        return parted > kTolerance || parted < -kTolerance;
    }

private:
    Wall::time_point m_wall;
    Steady::time_point m_steady;
};

} // namespace sorrelwind

#pragma once

#include <chrono>
#include <cstdint>

namespace sorrelwind::relay {

using Steady = std::chrono::steady_clock::time_point;

/// One reading of both clocks, handed down to everything whose behaviour depends on time.
/// Deadlines and rates go by the steady clock, whatever is stored or sent by the wall clock.
struct Now {
    Steady steady;
    std::int64_t unixMs = 0; ///< milliseconds since the Unix epoch

    [[nodiscard]] static Now read() {
        using namespace std::chrono;
        const auto wall = system_clock::now().time_since_epoch();
        return {steady_clock::now(), duration_cast<milliseconds>(wall).count()};
    }

    [[nodiscard]] Now after(std::chrono::milliseconds span) const {
        return {steady + span, unixMs + span.count()};
    }
};

} // namespace sorrelwind::relay

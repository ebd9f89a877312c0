#pragma once

#include <chrono>
#include <string>

namespace sorrelwind::relay {

struct DoctorOptions {
    std::string address; ///< as it was typed
    std::chrono::seconds idle{30};
};

/// Looks at a hub from outside, as its devices do, and prints a line to stdout for each finding:
/// "ok", "warn" or "fail", what it is about, what was found and what to do. To see the socket
/// work it makes a group of its own, which it removes again, also when it is interrupted. Returns
/// the exit status: 0 without a failure, else 1.
[[nodiscard]] int runDoctor(const DoctorOptions& options);

} // namespace sorrelwind::relay

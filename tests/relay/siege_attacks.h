#pragma once

#include "tests/relay/siege_ground.h"

#include <string>
#include <vector>

namespace sorrelwind::relay::test {

/// What an attack found: each expectation that did not hold, and a few words on what was seen.
struct Verdict {
    std::string wrong;
    std::string seen;

    void expect(bool held, const std::string& what) { wrong += held ? "" : what + "; "; }
};

/// One row of the siege. What is expected of the hub beside it always holds: the bystander is
/// served, memory stays in its bounds, and memory and descriptors come back.
struct Attack {
    const char* name;
    Walls walls;
    const char* does;
    const char* expected;
    void (*run)(Ground& ground, Verdict& verdict);
};

[[nodiscard]] std::vector<Attack> attacksOfStrangers();
[[nodiscard]] std::vector<Attack> attacksOfMembers();

} // namespace sorrelwind::relay::test

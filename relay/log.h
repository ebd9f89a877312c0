#pragma once

#include "relay/client_address.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace sorrelwind::relay {

/// Writes one line to stderr: the event, then "key=value" for each detail. Whoever collects the
/// lines adds the time. Nothing that is secret, and no address of a person, may be among them.
void logEvent(std::string_view event,
              std::initializer_list<std::pair<std::string_view, std::string_view>> details = {});

/// Stands in for addresses in the log: within one day (UTC) the same address has the same name;
/// across days, or for anyone without the key, which lives in memory alone, names tell nothing.
class Pseudonyms {
public:
    [[nodiscard]] std::string of(const Address& address, std::int64_t unixMs);

private:
    std::int64_t m_day = -1;
    std::array<unsigned char, 32> m_key{};
};

} // namespace sorrelwind::relay

#pragma once

#include "relay/client_address.h"
#include "relay/doctor.h"
#include "relay/limits.h"
#include "relay/listen_address.h"

#include <filesystem>
#include <optional>
#include <variant>
#include <vector>

namespace sorrelwind::relay {

/// The command line.
struct Options {
    std::vector<ListenAddress> listen;
    std::filesystem::path data;
    std::optional<std::filesystem::path> tlsCert; ///< with `tlsKey`, or neither
    std::optional<std::filesystem::path> tlsKey;
    std::optional<std::filesystem::path> web;
    std::vector<Cidr> trustedProxies;
    Limits limits;
};

/// What to serve with, or the hub to look at ("doctor"), or the exit status after it has said what
/// is wrong (2) or what was asked for (0).
[[nodiscard]] std::variant<Options, DoctorOptions, int> readCommandLine(int argc, char** argv);

} // namespace sorrelwind::relay

#pragma once

#include "relay/client_address.h"
#include "relay/database_copy.h"
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
    bool check = false; ///< only say whether these are right
};

/// What to serve with, the hub to look at ("doctor"), the database to copy ("backup", "restore"),
/// or the exit status after it has said what is wrong (2) or what was asked for (0).
using CommandLine = std::variant<Options, DoctorOptions, CopyOptions, int>;
[[nodiscard]] CommandLine readCommandLine(int argc, char** argv);

} // namespace sorrelwind::relay

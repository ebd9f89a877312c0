#pragma once

#include "base/l10n.h"

#include <QString>

#include <optional>

namespace sorrelwind {

/// Why a request to the hub failed.
struct HubError {
    enum class Kind {
        status,  // the hub answered with another HTTP status than 200 (0: the reply was no HTTP)
        network, // the request did not complete
        decode,  // status 200, but the body is not the expected record
    };

    Kind kind = Kind::network;
    int code = 0;                      // status only
    std::optional<QString> hubMessage; // status only: the hub's own words

    bool operator==(const HubError&) const = default;

    /// One sentence for the user.
    [[nodiscard]] QString message(Lang lang) const;
};

} // namespace sorrelwind

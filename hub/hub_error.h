#pragma once

#include "base/l10n.h"
#include "hub/unreachable.h"

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
    int code = 0;                           // status only
    std::optional<QString> hubMessage;      // status only: the hub's own words
    std::optional<Unreachable> reason = {}; // network only, where it is known
    QString movedTo = {};                   // status only: the https address to use instead

    bool operator==(const HubError&) const = default;

    /// One sentence for the user.
    [[nodiscard]] QString message(Lang lang) const;
    [[nodiscard]] Sentence sentence() const { return {message(Lang::zh), message(Lang::en)}; }
    /// That sentence, and where there is more to say a second one: why the hub is out of reach and
    /// what to do.
    [[nodiscard]] QString explained(Lang lang) const;
};

} // namespace sorrelwind

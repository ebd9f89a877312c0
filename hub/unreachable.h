#pragma once

#include "base/l10n.h"

#include <QString>

namespace sorrelwind {

/// Why there is no connection to a hub, or no longer.
struct Unreachable {
    enum class Why {
        nameNotFound,
        refused,
        noRoad, // no network, or none that leads there
        timedOut,
        closed, // without an answer, or in the middle of one
        proxy,  // one that this computer is set to use
        noTls,
        // The certificate is none that this computer trusts, is for another name, or not valid now.
        untrusted,
        otherName,
        expired,
        notYetValid,
    };

    Why why = Why::closed;
    QString host;        // with the port that the address names, if it does
    QString issuer;      // of the certificate; the others have none
    QString fingerprint; // likewise: SHA-256, pairs of digits

    bool operator==(const Unreachable&) const = default;

    /// The reason and what to do, as one sentence without its full stop.
    [[nodiscard]] Sentence sentence() const;
};

} // namespace sorrelwind

#pragma once

#include "account/pairing_link.h"

#include <QString>

#include <optional>

namespace sorrelwind {

/// What stands in the one field of the join page, as far as it is understood.
struct Invitation {
    enum class Kind {
        empty,
        unknown, // neither a link nor a code, or not yet
        link,    // without a usable key
        linkWithKey,
        code,
    };

    Kind kind = Kind::empty;
    std::optional<PairingLink> link;
    QString code; // as typed, without white space at its ends

    [[nodiscard]] static Invitation read(const QString& entry);

    [[nodiscard]] bool usable() const { return kind != Kind::empty && kind != Kind::unknown; }
    [[nodiscard]] bool needsPassphrase() const { return kind == Kind::link || kind == Kind::code; }
    [[nodiscard]] bool needsServer() const { return kind == Kind::code; }
};

} // namespace sorrelwind

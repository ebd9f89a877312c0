#pragma once

#include <QString>

#include <optional>

namespace sorrelwind {

/// An invitation into a group: "SERVER/#pair=CODE", and "&k=KEY" when it carries the group key. All
/// parameters stand in the fragment, which no browser sends to a server. Holds a secret.
struct PairingLink {
    QString server; // canonical
    QString code;
    std::optional<QString> keyB64; // standard base64 with padding, not checked

    bool operator==(const PairingLink&) const = default;

    /// The link as text; the key in unpadded URL-safe base64 (RFC 4648, section 5).
    [[nodiscard]] QString toString() const;
    /// None when `text` is no http or https link with a pairing code in its fragment.
    [[nodiscard]] static std::optional<PairingLink> parse(const QString& text);
};

/// Whether a typed entry has the shape of a pairing code: exactly 8 letters or digits, whatever
/// separates them.
[[nodiscard]] bool looksLikePairingCode(const QString& text);

} // namespace sorrelwind

#include "ui/onboarding/invitation.h"

#include "crypto/symmetric_key.h"

namespace sorrelwind {

Invitation Invitation::read(const QString& entry) {
    const QString text = entry.trimmed();
    if (text.isEmpty())
        return {};
    if (auto link = PairingLink::parse(text)) {
        const bool hasKey = link->keyB64 && SymmetricKey::fromBase64(*link->keyB64);
        return {hasKey ? Kind::linkWithKey : Kind::link, std::move(link), {}};
    }
    return {looksLikePairingCode(text) ? Kind::code : Kind::unknown, std::nullopt, text};
}

} // namespace sorrelwind

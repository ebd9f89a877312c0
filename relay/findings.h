#pragma once

#include "relay/hub_visit.h"
#include "relay/text.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

/// One finding about a hub, for its operator.
struct Finding {
    enum class Level { ok, warn, fail };

    Level level;
    std::string_view about; ///< one English word
    Text text;              ///< a sentence; texts of the hub in it are printable and short

    /// A line without its end: "warn  clock        …".
    [[nodiscard]] std::string line(Lang lang) const;
};

/// What a reply, a certificate or an idle socket says about the hub. Free of input and output.

[[nodiscard]] Finding aboutAddress(const HubAddress& address);
[[nodiscard]] Finding aboutCertificate(const PeerCertificate& certificate,
                                       const HubAddress& address);
[[nodiscard]] Finding aboutHealth(const HubReply& health);
[[nodiscard]] Finding aboutVersion(const HubReply& health, std::string_view own);
[[nodiscard]] Finding aboutProxy(const HubReply& health);
/// `refusal`: of a claim that lacks everything but the Origin of the hub's own page.
[[nodiscard]] Finding aboutPage(const HubReply& refusal);
[[nodiscard]] Finding aboutStore(const HubReply& ready);
/// `sent` and `received`: Unix seconds by this computer's clock around the request.
[[nodiscard]] Finding aboutClock(const HubReply& reply, std::int64_t sent, std::int64_t received);
/// The upgrade and the greeting.
[[nodiscard]] Finding aboutSocket(const SocketVisit& visit);
[[nodiscard]] Finding aboutIdling(const SocketVisit& visit, std::chrono::seconds idle);
[[nodiscard]] Finding aboutLargeRequest(const HubReply& reply, std::size_t bytes);

/// What an operator can do about a reply that is not the hub's own.
[[nodiscard]] Text strangeReply(const HubReply& reply);

/// The device that `POST /groups` made; none if that is not what the body says.
struct Guest {
    std::string id;
    std::string token;
};
[[nodiscard]] std::optional<Guest> readGuest(const HubReply& reply);

/// The Unix seconds of a Date header (RFC 9110, IMF-fixdate).
[[nodiscard]] std::optional<std::int64_t> readHttpDate(const std::string& text);

} // namespace sorrelwind::relay

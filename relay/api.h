#pragma once

#include "relay/client_address.h"
#include "relay/hub.h"
#include "relay/site.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sorrelwind::relay {

/// What the interface looks at of a request's head.
struct Head {
    std::string_view method{};
    std::string_view target{};
    std::string_view authorization{};
    std::string_view host{}; ///< with port; of an absolute-form target where there is one
    std::string_view origin{};
    std::string_view contentType{};
    std::string_view ifNoneMatch{};
    std::string_view acceptEncoding{}; ///< all its lines
    Address client{};
    std::optional<bool> believed{}; ///< whether its X-Forwarded-For is; none without one
    bool tls = false;               ///< to this program itself
};

struct Response {
    int status = 200;
    std::string type = "application/json";
    std::string body;
    std::string_view file; ///< instead of the body, a page's bytes, which outlive all responses
    std::vector<std::pair<std::string, std::string>> headers;
};

/// The HTTP interface without the HTTP: a table of routes from request to response. A request is
/// parsed, validated, carried out by the hub and answered; it never throws.
class Api {
public:
    Api(Hub& hub, const Site& site) : m_hub(hub), m_site(site) {}

    [[nodiscard]] Response handle(const Head& head, std::string_view body, const Now& now);

    struct BodyLimit {
        std::uint64_t bytes = 0; ///< 0 = no limit
        std::string group;       ///< whose body it is; empty for a stranger's
    };
    /// The largest body that this request may have. Only a member may send an item's worth.
    [[nodiscard]] BodyLimit bodyLimit(const Head& head, const Now& now);
    /// The answer to a request whose body is larger than that.
    [[nodiscard]] Response tooLarge(const Head& head, const Now& now);
    /// Whose socket is to be opened, by the token in the target's query.
    [[nodiscard]] Answer<Member> admitSocket(const Head& head, const Now& now);

    /// The answer to a request for a socket that is not an upgrade.
    [[nodiscard]] Response upgradeNeeded(const Head& head, const Now& now);

    [[nodiscard]] static Response refused(const Refusal& refusal);

private:
    struct Call {
        const Head& head;
        std::string_view body;
        std::string rest; ///< of the path, where a route ends in "/"
        Member member;    ///< empty for routes that anyone may call
        const Now& now;
    };
    /// Who may call, and what it counts as; all but the first two are members.
    enum class Access { anyone, newcomer, member, publisher, writer, remover };
    struct Route {
        std::string_view method;
        std::string_view path;
        Access access;
        Response (Api::*act)(const Call&);
    };
    static const Route kRoutes[];

    [[nodiscard]] Response dispatch(const Head& head, std::string_view body, const Now& now);
    /// Whether the call may be read and made; fills in its member.
    [[nodiscard]] Answer<void> admit(Access access, Call& call);
    [[nodiscard]] Response page(const Head& head, const Site::Page& page) const;

    Response createGroup(const Call& call);
    Response createCode(const Call& call);
    Response claim(const Call& call);
    Response readCrypto(const Call& call);
    Response setCrypto(const Call& call);
    Response rename(const Call& call);
    Response remove(const Call& call);
    Response publish(const Call& call);
    Response health(const Call& call);
    Response ready(const Call& call);

    Hub& m_hub;
    const Site& m_site;
};

} // namespace sorrelwind::relay

#include "relay/api.h"

#include "relay/content_negotiation.h"
#include "relay/frames.h"
#include "relay/target.h"

#include <algorithm>

namespace sorrelwind::relay {

namespace {

Response ok(std::string body) {
    return {200, "application/json", std::move(body), {}, {}};
}

Refusal deadToken() {
    return {401, "the token is missing or no longer valid"};
}
Refusal stoppingNow() {
    return {503, "the hub is stopping", 1};
}
Refusal storeDown() {
    return {503, "the hub's store is not available", 5};
}

/// A route whose path ends in "/" takes one more, non-empty segment.
bool matches(std::string_view route, std::string_view path) {
    if (!route.ends_with('/'))
        return route == path;
    return path.size() > route.size() && path.starts_with(route) &&
           path.find('/', route.size()) == std::string_view::npos;
}

std::string_view asGet(std::string_view method) {
    return method == "HEAD" ? "GET" : method;
}

} // namespace

const Api::Route Api::kRoutes[] = {
    {"POST", "/groups", Access::newcomer, &Api::createGroup},
    {"POST", "/pair", Access::writer, &Api::createCode},
    {"POST", "/pair/claim", Access::newcomer, &Api::claim},
    {"GET", "/crypto", Access::member, &Api::readCrypto},
    {"POST", "/crypto", Access::writer, &Api::setCrypto},
    {"PATCH", "/devices/", Access::writer, &Api::rename},
    {"DELETE", "/devices/", Access::remover, &Api::remove},
    {"POST", "/items", Access::publisher, &Api::publish},
    {"GET", "/healthz", Access::anyone, &Api::health},
    {"GET", "/readyz", Access::anyone, &Api::ready},
};

Response Api::refused(const Refusal& refusal) {
    Response response{refusal.status, "application/json", errorBody(refusal.text), {}, {}};
    if (refusal.retryAfter > 0)
        response.headers.emplace_back("Retry-After", std::to_string(refusal.retryAfter));
    if (refusal.status == 401)
        response.headers.emplace_back("WWW-Authenticate", "Bearer");
    return response;
}

Response Api::handle(const Head& head, std::string_view body, const Now& now) {
    if (m_hub.stopping())
        return refused(stoppingNow());
    try {
        return dispatch(head, body, now);
    } catch (const StoreError& error) {
        logEvent(error.what());
        return refused(storeDown());
    }
}

Response Api::dispatch(const Head& head, std::string_view body, const Now& now) {
    const auto path = pathOf(head.target);
    const auto method = asGet(head.method);
    std::string allowed;
    for (const auto& route : kRoutes) {
        if (!matches(route.path, path))
            continue;
        if (route.method != method) {
            allowed.append(allowed.empty() ? "" : ", ").append(route.method);
            continue;
        }
        Call call{head, body, std::string(path.substr(route.path.size())), {}, now};
        if (const auto admitted = admit(route.access, call); !admitted)
            return refused(admitted.error());
        if (!body.empty() && !isJsonType(head.contentType))
            return refused({415, "the body must be application/json"});
        return (this->*route.act)(call);
    }
    if (const auto* found = m_site.find(path)) {
        if (method == "GET")
            return page(head, *found);
        allowed = "GET, HEAD";
    }
    if (allowed.empty())
        return refused({404, "there is nothing at this path"});
    auto response = refused({405, "this path is not for this method"});
    response.headers.emplace_back("Allow", allowed);
    return response;
}

Answer<void> Api::admit(Access access, Call& call) {
    const auto& head = call.head;
    if (access == Access::newcomer && !head.origin.empty() &&
        !isOwnOrigin(head.origin, head.host, head.tls))
        return Refusal{403, "this is not for pages of other sites"};
    if (access == Access::newcomer || access == Access::anyone)
        return {};
    auto member = m_hub.authenticate(bearerToken(head.authorization), call.now);
    if (!member)
        return deadToken();
    call.member = std::move(*member);
    switch (access) {
    case Access::publisher:
        return m_hub.admitAttempt(call.member, call.now);
    case Access::writer:
        return m_hub.admitWrite(call.member, call.now);
    case Access::remover:
        return m_hub.admitRemoval(call.member, call.now);
    default:
        return {};
    }
}

Response Api::page(const Head& head, const Site::Page& page) const {
    const auto& variant = page.bestFor(head.acceptEncoding);
    Response response{200, page.type, {}, {}, {}};
    response.headers = {{"Content-Security-Policy", m_site.policy(head.host)},
                        {"Referrer-Policy", "no-referrer"},
                        {"Cache-Control", page.cacheControl},
                        {"Vary", "Accept-Encoding"},
                        {"ETag", variant.etag}};
    if (namesEtag(head.ifNoneMatch, variant.etag)) {
        response.status = 304;
        return response;
    }
    if (!variant.encoding.empty())
        response.headers.emplace_back("Content-Encoding", variant.encoding);
    response.file = variant.body;
    return response;
}

Api::BodyLimit Api::bodyLimit(const Head& head, const Now& now) {
    if (head.method == "POST" && pathOf(head.target) == "/items") {
        try {
            if (auto member = m_hub.authenticate(bearerToken(head.authorization), now))
                return {m_hub.limits().maxMessage(), std::move(member->group)};
        } catch (const StoreError&) {
            // The request itself will meet the same failure and say so.
        }
    }
    return {kMaxBody, {}};
}

Response Api::tooLarge(const Head& head, const Now& now) {
    const auto limit = bodyLimit(head, now).bytes;
    if (pathOf(head.target) != "/items")
        return refused({413, "the body is larger than " + std::to_string(limit) + " bytes"});
    try {
        const auto member = m_hub.authenticate(bearerToken(head.authorization), now);
        if (!member)
            return refused(deadToken());
        if (const auto admitted = m_hub.admitAttempt(*member, now); !admitted)
            return refused(admitted.error());
        return refused(payloadTooLarge(m_hub.limits().maxPayload));
    } catch (const StoreError& error) {
        logEvent(error.what());
        return refused(storeDown());
    }
}

Answer<Member> Api::admitSocket(const Head& head, const Now& now) {
    if (m_hub.stopping())
        return stoppingNow();
    try {
        const auto token = queryItem(head.target, "token");
        auto member = m_hub.authenticate(token.value_or(""), now);
        if (!member)
            return deadToken();
        return std::move(*member);
    } catch (const StoreError& error) {
        logEvent(error.what());
        return storeDown();
    }
}

Response Api::upgradeNeeded(const Head& head, const Now& now) {
    const auto member = admitSocket(head, now);
    if (!member)
        return refused(member.error());
    auto response = refused({426, "this path speaks WebSocket only"});
    response.headers = {{"Upgrade", "websocket"}, {"Connection", "Upgrade"}};
    return response;
}

Response Api::createGroup(const Call& call) {
    const auto device = readNewDevice(call.body);
    if (!device)
        return refused(device.error());
    const auto joined = m_hub.createGroup(*device, call.head.client, call.now);
    if (!joined)
        return refused(joined.error());
    return ok(joinedBody(joined->group, joined->device, joined->token));
}

Response Api::createCode(const Call& call) {
    const auto code = m_hub.createCode(call.member, call.now);
    return code ? ok(codeBody(code->code, code->expiresAt)) : refused(code.error());
}

Response Api::claim(const Call& call) {
    const auto claim = readClaim(call.body);
    if (!claim)
        return refused(claim.error());
    const auto joined = m_hub.claim(*claim, call.head.client, call.now);
    if (!joined)
        return refused(joined.error());
    return ok(joinedBody(joined->group, joined->device, joined->token));
}

Response Api::readCrypto(const Call& call) {
    return ok(cryptoBody(m_hub.crypto(call.member)));
}

Response Api::setCrypto(const Call& call) {
    const auto salt = readSalt(call.body);
    if (!salt)
        return refused(salt.error());
    return ok(cryptoBody(m_hub.setCrypto(call.member, *salt)));
}

Response Api::rename(const Call& call) {
    const auto name = readName(call.body);
    if (!name)
        return refused(name.error());
    const auto done = m_hub.rename(call.member, call.rest, *name, call.now);
    return done ? ok(okBody()) : refused(done.error());
}

Response Api::remove(const Call& call) {
    const auto done = m_hub.remove(call.member, call.rest, call.now);
    return done ? ok(okBody()) : refused(done.error());
}

Response Api::publish(const Call& call) {
    const auto item = readItem(call.body, m_hub.limits().maxPayload);
    const auto recipients = m_hub.publish(call.member, item, call.now);
    return recipients ? ok(recipientsBody(*recipients)) : refused(recipients.error());
}

Response Api::health(const Call& call) {
    return ok(healthBody(SORRELWIND_VERSION, call.head.believed));
}

Response Api::ready(const Call& call) {
    return m_hub.ready(call.now) ? ok(okBody()) : refused(storeDown());
}

} // namespace sorrelwind::relay

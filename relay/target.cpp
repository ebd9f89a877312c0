#include "relay/target.h"

#include <algorithm>
#include <charconv>

namespace sorrelwind::relay {

namespace {

constexpr std::string_view kHttp = "http://";
constexpr std::string_view kHttps = "https://";

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

/// Of the scheme of an absolute URL, with "://"; 0 if it is none of the web.
std::size_t schemeLength(std::string_view url) {
    for (const auto scheme : {kHttp, kHttps})
        if (equalsIgnoringCase(url.substr(0, scheme.size()), scheme))
            return scheme.size();
    return 0;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        unsigned char byte = 0;
        const auto digits = text.substr(i + 1, 2);
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        if (digits.size() != 2 || error != std::errc() || end != digits.data() + 2)
            return std::nullopt;
        result += static_cast<char>(byte);
        i += 2;
    }
    return result;
}

} // namespace

std::string_view pathOf(std::string_view target) {
    target = target.substr(0, target.find('?'));
    const auto scheme = schemeLength(target);
    if (scheme == 0)
        return target;
    const auto path = target.find('/', scheme);
    return path == std::string_view::npos ? "/" : target.substr(path);
}

std::string_view authorityOf(std::string_view target) {
    const auto scheme = schemeLength(target);
    if (scheme == 0)
        return {};
    target.remove_prefix(scheme);
    return target.substr(0, target.find_first_of("/?"));
}

bool isOwnOrigin(std::string_view origin, std::string_view host, bool tls) {
    const auto scheme = schemeLength(origin);
    const bool secure = scheme == kHttps.size();
    if (scheme == 0 || (tls && !secure))
        return false;
    // A browser leaves the usual port out, a proxy may have put it into Host.
    const std::string_view usualPort = secure ? ":443" : ":80";
    if (host.ends_with(usualPort))
        host.remove_suffix(usualPort.size());
    return equalsIgnoringCase(origin.substr(scheme), host);
}

bool isJsonType(std::string_view contentType) {
    contentType = contentType.substr(0, contentType.find(';'));
    contentType = contentType.substr(0, contentType.find_last_not_of(" \t") + 1);
    return equalsIgnoringCase(contentType, "application/json");
}

std::optional<std::string> queryItem(std::string_view target, std::string_view name) {
    const auto mark = target.find('?');
    if (mark == std::string_view::npos)
        return std::nullopt;
    auto rest = target.substr(mark + 1);
    while (!rest.empty()) {
        const auto item = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(rest.size(), item.size() + 1));
        if (item.starts_with(name) && item.substr(name.size()).starts_with('='))
            return percentDecoded(item.substr(name.size() + 1));
    }
    return std::nullopt;
}

std::string_view bearerToken(std::string_view authorization) {
    constexpr std::string_view kScheme = "bearer ";
    if (!equalsIgnoringCase(authorization.substr(0, kScheme.size()), kScheme))
        return {};
    const auto token = authorization.substr(kScheme.size());
    const auto start = std::min(token.find_first_not_of(' '), token.size());
    return token.substr(start);
}

} // namespace sorrelwind::relay

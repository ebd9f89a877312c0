#include "relay/target.h"

#include <algorithm>
#include <charconv>

namespace sorrelwind::relay {

namespace {

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
    return target.substr(0, target.find('?'));
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
    const bool matches =
        authorization.size() > kScheme.size() &&
        std::equal(kScheme.begin(), kScheme.end(), authorization.begin(), [](char a, char b) {
            return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b - 'A' + 'a') : b);
        });
    if (!matches)
        return {};
    const auto token = authorization.substr(kScheme.size());
    const auto start = std::min(token.find_first_not_of(' '), token.size());
    return token.substr(start);
}

} // namespace sorrelwind::relay

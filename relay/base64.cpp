#include "relay/base64.h"

#include <algorithm>

namespace sorrelwind::relay {

namespace {

constexpr std::string_view kUrlAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

} // namespace

std::string base64Url(std::span<const unsigned char> bytes) {
    std::string text;
    text.reserve((bytes.size() * 4 + 2) / 3);
    unsigned pool = 0;
    int bits = 0;
    for (const unsigned char byte : bytes) {
        pool = (pool << 8 | byte) & 0xffff;
        bits += 8;
        for (; bits >= 6; bits -= 6)
            text += kUrlAlphabet[pool >> (bits - 6) & 63];
    }
    if (bits > 0)
        text += kUrlAlphabet[pool << (6 - bits) & 63];
    return text;
}

std::optional<std::size_t> base64Size(std::string_view text) {
    if (text.size() % 4 != 0)
        return std::nullopt;
    std::size_t padding = 0;
    while (padding < 2 && text.ends_with('=')) {
        text.remove_suffix(1);
        ++padding;
    }
    if (text.find_first_not_of(kAlphabet) != std::string_view::npos)
        return std::nullopt;
    if (padding > 0) {
        if (text.empty())
            return std::nullopt;
        const auto last = kAlphabet.find(text.back());
        if ((last & (padding == 1 ? 3u : 15u)) != 0)
            return std::nullopt;
    }
    return text.size() * 3 / 4;
}

} // namespace sorrelwind::relay

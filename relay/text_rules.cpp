#include "relay/text_rules.h"

#include <algorithm>

namespace sorrelwind::relay {

namespace {

struct CodePoint {
    char32_t value;
    std::size_t bytes;
};

/// The first code point of valid UTF-8; a stray byte counts as a control character.
CodePoint firstOf(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80)
        return {lead, 1};
    const std::size_t bytes = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || text.size() < bytes)
        return {0, 1};
    char32_t value = lead & (0x7fu >> bytes);
    for (std::size_t i = 1; i < bytes; ++i)
        value = value << 6 | (static_cast<unsigned char>(text[i]) & 0x3fu);
    return {value, bytes};
}

bool isControl(char32_t c) {
    return c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0x2028 || c == 0x2029;
}

bool isSpace(char32_t c) {
    return (c >= 0x09 && c <= 0x0d) || c == 0x20 || c == 0x85 || c == 0xa0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200a) || c == 0x2028 || c == 0x2029 || c == 0x202f ||
           c == 0x205f || c == 0x3000;
}

} // namespace

std::optional<std::string> deviceName(std::string_view text) {
    // The widest allowed name with as much white space around it; more is not worth looking at.
    constexpr std::size_t kMaxBytes = 1024;
    constexpr std::size_t kMaxCharacters = 64;
    if (text.size() > kMaxBytes)
        return std::nullopt;

    std::size_t begin = 0;
    std::size_t end = 0; // of the last character that is not white space
    std::size_t characters = 0;
    std::size_t charactersAtEnd = 0;
    bool controlInside = false;
    bool controlSinceEnd = false;
    for (std::size_t at = 0; at < text.size();) {
        const auto [value, bytes] = firstOf(text.substr(at));
        at += bytes;
        if (end == 0 && isSpace(value)) {
            begin = at;
            continue;
        }
        ++characters;
        controlSinceEnd = controlSinceEnd || isControl(value);
        if (!isSpace(value)) {
            end = at;
            charactersAtEnd = characters;
            controlInside = controlInside || controlSinceEnd;
        }
    }
    if (end == 0 || charactersAtEnd > kMaxCharacters || controlInside)
        return std::nullopt;
    return std::string(text.substr(begin, end - begin));
}

bool isPlatform(std::string_view text) {
    return !text.empty() && text.size() <= 32 && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
    });
}

bool isPrintable(std::string_view text, std::size_t maxLength) {
    return !text.empty() && text.size() <= maxLength &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7f; });
}

} // namespace sorrelwind::relay

#include "relay/text_rules.h"

#include <algorithm>
#include <iterator>
#include <utility>

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

/// What has no picture of its own (Unicode's Default_Ignorable_Code_Point): it turns the direction
/// of what stands around it, or hides.
bool isInvisible(char32_t c) {
    constexpr std::pair<char32_t, char32_t> kRanges[] = {
        {0xad, 0xad},       {0x34f, 0x34f},   {0x61c, 0x61c},     {0x115f, 0x1160},
        {0x17b4, 0x17b5},   {0x180b, 0x180f}, {0x200b, 0x200f},   {0x202a, 0x202e},
        {0x2060, 0x206f},   {0x3164, 0x3164}, {0xfe00, 0xfe0f},   {0xfeff, 0xfeff},
        {0xffa0, 0xffa0},   {0xfff0, 0xfffb}, {0x1bca0, 0x1bca3}, {0x1d173, 0x1d17a},
        {0xe0000, 0xe0fff},
    };
    return std::any_of(std::begin(kRanges), std::end(kRanges),
                       [c](const auto& range) { return c >= range.first && c <= range.second; });
}

bool isPictograph(char32_t c) {
    return (c >= 0x2190 && c < 0x2200) || (c >= 0x2600 && c < 0x27c0) ||
           (c >= 0x2b00 && c < 0x2c00) || (c >= 0x1f000 && c < 0x1fb00);
}

bool isVariationSelector(char32_t c) {
    return (c >= 0x180b && c <= 0x180d) || (c >= 0xfe00 && c <= 0xfe0f) ||
           (c >= 0xe0100 && c <= 0xe01ef);
}

/// Whether an invisible character does its work between these two (0 = none): it chooses the look
/// of the one before, joins two emoji to one, or spells the region of a flag.
bool belongs(char32_t c, char32_t before, char32_t after) {
    constexpr char32_t kJoiner = 0x200d;
    constexpr char32_t kEmojiLook = 0xfe0f;
    constexpr char32_t kFlag = 0x1f3f4;
    const auto isTag = [](char32_t tag) { return tag >= 0xe0020 && tag <= 0xe007f; };
    if (c == kJoiner)
        return (isPictograph(before) || before == kEmojiLook) && isPictograph(after);
    if (isTag(c))
        return before == kFlag || isTag(before);
    return isVariationSelector(c) && before != 0 && !isInvisible(before);
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
    char32_t before = 0;
    bool refusedInside = false;
    bool refusedSinceEnd = false;
    for (std::size_t at = 0; at < text.size();) {
        const auto [value, bytes] = firstOf(text.substr(at));
        at += bytes;
        if (end == 0 && isSpace(value)) {
            begin = at;
            continue;
        }
        ++characters;
        const char32_t after = at < text.size() ? firstOf(text.substr(at)).value : 0;
        refusedSinceEnd = refusedSinceEnd || isControl(value) ||
                          (isInvisible(value) && !belongs(value, before, after));
        before = value;
        if (!isSpace(value)) {
            end = at;
            charactersAtEnd = characters;
            refusedInside = refusedInside || refusedSinceEnd;
        }
    }
    if (end == 0 || charactersAtEnd > kMaxCharacters || refusedInside)
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

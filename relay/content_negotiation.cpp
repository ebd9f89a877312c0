#include "relay/content_negotiation.h"

#include <algorithm>

namespace sorrelwind::relay {

namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t";
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
    return text.substr(0, text.find_last_not_of(kSpace) + 1);
}

/// Takes the text up to the next separator off `rest`.
std::string_view nextPiece(std::string_view& rest, char separator) {
    const auto piece = rest.substr(0, rest.find(separator));
    rest.remove_prefix(std::min(rest.size(), piece.size() + 1));
    return trimmed(piece);
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameWord(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, lower, lower);
}

/// "0", "0." or "0.000": not wanted at all.
bool isZero(std::string_view weight) {
    return weight.starts_with('0') && weight.find_first_not_of("0.") == std::string_view::npos;
}

} // namespace

bool acceptsEncoding(std::string_view header, std::string_view coding) {
    while (!header.empty()) {
        auto item = nextPiece(header, ',');
        if (!sameWord(nextPiece(item, ';'), coding))
            continue;
        while (!item.empty()) {
            auto parameter = nextPiece(item, ';');
            if (sameWord(nextPiece(parameter, '='), "q"))
                return !isZero(trimmed(parameter));
        }
        return true;
    }
    return false;
}

bool namesEtag(std::string_view header, std::string_view etag) {
    if (trimmed(header) == "*")
        return true;
    while (!header.empty()) {
        auto tag = nextPiece(header, ',');
        if (tag.starts_with("W/"))
            tag.remove_prefix(2);
        if (tag == etag)
            return true;
    }
    return false;
}

} // namespace sorrelwind::relay

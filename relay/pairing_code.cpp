#include "relay/pairing_code.h"

#include "relay/random.h"

#include <algorithm>

namespace sorrelwind::relay {

namespace {

// Without the letters and digits that are mistaken for each other: I, L, O, 0, 1.
constexpr std::string_view kAlphabet = "ABCDEFGHJKMNPQRSTUVWXYZ23456789";
constexpr std::size_t kLength = 8;
constexpr std::size_t kMaxTyped = 64;
constexpr unsigned kUnbiased = 256 - 256 % kAlphabet.size();

} // namespace

std::string newPairingCode() {
    std::string code;
    while (code.size() < kLength + 1) {
        const unsigned byte = randomBytes<1>()[0];
        if (byte >= kUnbiased)
            continue;
        if (code.size() == kLength / 2)
            code += '-';
        code += kAlphabet[byte % kAlphabet.size()];
    }
    return code;
}

int allowedGuesses(std::int64_t liveCodes) {
    constexpr int kFewest = 100;
    constexpr int kMinutes = 24 * 60;
    constexpr std::int64_t kCodes = [] {
        std::int64_t codes = 1;
        for (std::size_t i = 0; i < kLength; ++i)
            codes *= static_cast<std::int64_t>(kAlphabet.size());
        return codes;
    }();
    const auto safe = kCodes / 1'000'000 / kMinutes / std::max<std::int64_t>(1, liveCodes);
    return std::max(kFewest, static_cast<int>(safe));
}

std::optional<std::string> canonicalCode(std::string_view typed) {
    if (typed.size() > kMaxTyped)
        return std::nullopt;
    std::string code;
    for (char c : typed) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
        const bool letterOrDigit = (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (!letterOrDigit)
            continue;
        if (kAlphabet.find(c) == std::string_view::npos)
            return std::nullopt;
        code += c;
    }
    if (code.size() != kLength)
        return std::nullopt;
    return code;
}

} // namespace sorrelwind::relay

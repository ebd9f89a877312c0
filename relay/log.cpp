#include "relay/log.h"

#include "relay/base64.h"
#include "relay/random.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <unistd.h>

namespace sorrelwind::relay {

void logEvent(std::string_view event,
              std::initializer_list<std::pair<std::string_view, std::string_view>> details) {
    std::string line(event);
    for (const auto& [key, value] : details)
        line.append(" ").append(key).append("=").append(value);
    for (char& c : line)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '?';
    line += '\n';
    // One call a line, so that lines of several processes never mix. A lost line is no failure.
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
}

std::string Pseudonyms::of(const Address& address, std::int64_t unixMs) {
    constexpr std::int64_t kDay = 86'400'000;
    if (unixMs / kDay != m_day) {
        m_day = unixMs / kDay;
        m_key = randomBytes<32>();
    }
    const auto text = address.to_string();
    std::array<unsigned char, 32> digest{};
    unsigned size = 0;
    HMAC(EVP_sha256(), m_key.data(), static_cast<int>(m_key.size()),
         reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data(), &size);
    return base64Url(std::span(digest).first<6>());
}

} // namespace sorrelwind::relay

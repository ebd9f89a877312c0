// What the doctor reads: the address on its command line, and what the other end answered. The
// first byte is the reply's status; the rest is text, body and header alike.

#include "relay/findings.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace sorrelwind::relay;

namespace {

void mustBePrintable(const Finding& finding) {
    for (const char c : finding.line(Lang::en))
        if (c < 0x20 || c > 0x7e)
            std::abort();
    for (const unsigned char c : finding.line(Lang::zh))
        if (c < 0x20 || c == 0x7f)
            std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    if (const auto address = HubAddress::parse(text)) {
        const auto again = HubAddress::parse(address->text());
        if (!again || again->text() != address->text())
            std::abort();
    }
    const HubReply reply{200 + data[0] * 2, text, text, text, text, text};
    for (const auto& finding :
         {aboutHealth(reply), aboutVersion(reply, "1.0.0"), aboutProxy(reply), aboutStore(reply),
          aboutClock(reply, 0, 1), aboutLargeRequest(reply, 1 << 20)})
        mustBePrintable(finding);
    if (const auto guest = readGuest(reply))
        if (guest->id.find_first_of("/\r\n ") != std::string::npos)
            std::abort();
    return 0;
}

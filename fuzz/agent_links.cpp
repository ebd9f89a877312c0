// What a person pastes or types: hub addresses, pairing links, pairing codes.

#include "account/pairing_link.h"
#include "account/server_defaults.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace sorrelwind;
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    // A canonical address is one for good, and of http or https.
    if (const auto address = ServerDefaults::normalize(text)) {
        if (ServerDefaults::normalize(*address) != address || !address->startsWith(u"http"))
            std::abort();
    }
    if (const auto link = PairingLink::parse(text)) {
        if (link->code.isEmpty() || ServerDefaults::normalize(link->server) != link->server ||
            (link->keyB64 && link->keyB64->size() % 4 != 0))
            std::abort();
        (void)link->toString();
    }
    (void)looksLikePairingCode(text);
    return 0;
}

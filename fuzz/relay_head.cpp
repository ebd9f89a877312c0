// What the hub reads from a request's head and its own command line: target, token, addresses.

#include "relay/client_address.h"
#include "relay/listen_address.h"
#include "relay/target.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace sorrelwind::relay;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (pathOf(text).find('?') != std::string_view::npos)
        std::abort();
    if (authorityOf(text).size() > text.size())
        std::abort();
    (void)isOwnOrigin(text, "hub.example", false);
    (void)isJsonType(text);
    if (const auto token = queryItem(text, "token"))
        if (token->size() > text.size())
            std::abort();
    if (bearerToken(text).size() > text.size())
        std::abort();
    const auto proxy = boost::asio::ip::make_address("127.0.0.1");
    const auto client = clientAddress(proxy, text, {*Cidr::parse("127.0.0.0/8")});
    (void)limitKey(client);
    if (const auto range = Cidr::parse(text))
        (void)range->contains(client);
    if (const auto address = ListenAddress::parse(text)) {
        const auto again = ListenAddress::parse(address->text());
        if (!again || again->port != address->port)
            std::abort();
    }
    return 0;
}

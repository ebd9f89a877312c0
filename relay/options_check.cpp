#include "relay/options_check.h"

#include "relay/log.h"
#include "relay/server.h"
#include "relay/site.h"
#include "relay/state_directory.h"
#include "relay/tls.h"

#include <iostream>

namespace sorrelwind::relay {

int checkOptions(const Options& options) {
    bool right = true;
    const auto attempt = [&right](const auto& use) {
        try {
            use();
        } catch (const StartError& error) {
            right = false;
            logEvent(error.what());
        }
    };
    if (options.tlsCert)
        attempt([&] { (void)loadTls(*options.tlsCert, *options.tlsKey); });
    if (options.web)
        attempt([&] { const Site site(*options.web); });
    attempt([&] { StateDirectory::check(options.data); });

    boost::asio::io_context io;
    for (const auto& address : options.listen) {
        boost::asio::ip::tcp::acceptor acceptor(io);
        const auto error = bindTo(acceptor, address);
        if (error == boost::asio::error::address_in_use)
            logEvent(address.text() +
                     " is in use, which is right if it is this hub that runs there");
        else
            attempt([&] { refuse(address, error); });
    }
    if (right)
        std::cout << "the options are right" << std::endl;
    return right ? 0 : 2;
}

} // namespace sorrelwind::relay

#include "relay/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>

namespace sorrelwind::relay {

void tellServiceManager(std::string_view state, std::string_view status) {
    const char* given = std::getenv("NOTIFY_SOCKET");
    const std::string_view path(given == nullptr ? "" : given);
    sockaddr_un address{};
    if (path.empty() || path.size() >= sizeof address.sun_path)
        return;
    address.sun_family = AF_UNIX;
    std::ranges::copy(path, address.sun_path);
    if (path.front() == '@') // an abstract name
        address.sun_path[0] = '\0';

    std::string message(state);
    if (!status.empty())
        message.append(message.empty() ? "" : "\n").append("STATUS=").append(status);
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket < 0)
        return;
    // Who does not listen misses nothing that the log does not say as well.
    [[maybe_unused]] const auto sent =
        ::sendto(socket, message.data(), message.size(), MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr*>(&address),
                 static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size()));
    ::close(socket);
}

} // namespace sorrelwind::relay

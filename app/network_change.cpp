#include "app/network_change.h"

#include <cerrno>
#include <chrono>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace sorrelwind {

namespace {

using namespace std::chrono_literals;

constexpr auto kTogether = 200ms;

bool isNewDefaultRoute(const nlmsghdr& message) {
    return message.nlmsg_type == RTM_NEWROUTE && message.nlmsg_len >= NLMSG_LENGTH(sizeof(rtmsg)) &&
           static_cast<const rtmsg*>(NLMSG_DATA(&message))->rtm_dst_len == 0;
}

} // namespace

NetworkChange::NetworkChange()
    : m_socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE)) {
    m_settled.setSingleShot(true);
    m_settled.setInterval(kTogether);
    connect(&m_settled, &QTimer::timeout, this, &NetworkChange::changed);
    sockaddr_nl routes{};
    routes.nl_family = AF_NETLINK;
    routes.nl_groups = RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
    if (::bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&routes), sizeof routes) != 0)
        return;
    m_readable = std::make_unique<QSocketNotifier>(m_socket.get(), QSocketNotifier::Read);
    connect(m_readable.get(), &QSocketNotifier::activated, this, &NetworkChange::read);
}

void NetworkChange::read() {
    alignas(nlmsghdr) char buffer[16 * 1024];
    for (;;) {
        const ssize_t size = ::recv(m_socket.get(), buffer, sizeof buffer, 0);
        if (size < 0 && errno == ENOBUFS) { // more than the kernel keeps, so what came is unknown
            m_settled.start();
            continue;
        }
        if (size <= 0)
            return;
        auto left = static_cast<unsigned>(size);
        for (const auto* message = reinterpret_cast<const nlmsghdr*>(buffer);
             NLMSG_OK(message, left); message = NLMSG_NEXT(message, left)) {
            if (isNewDefaultRoute(*message) && !m_settled.isActive())
                m_settled.start();
        }
    }
}

} // namespace sorrelwind

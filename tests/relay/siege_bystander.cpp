#include "tests/relay/siege_bystander.h"

#include <algorithm>
#include <stdexcept>

namespace sorrelwind::relay::test {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

const std::string kHome = "127.0.0.9";
const std::string kNewcomer = "127.0.0.8";
constexpr std::size_t kText = 300;
constexpr std::size_t kLargeText = 500'000;

Device joined(const Target& hub, const std::string& from, const std::string& path,
              const boost::json::object& body) {
    const auto reply =
        Peer(hub, from).exchange(httpRequest("POST", path, boost::json::serialize(body)));
    if (reply.status != 200)
        throw std::runtime_error(path + " was answered " + std::to_string(reply.status) +
                                 reply.body);
    return {reply.text("groupId"), std::string(reply.json().at("device").at("id").as_string()),
            reply.text("token")};
}

} // namespace

Device enlist(const Target& hub, const std::string& from, const std::string& name) {
    return joined(hub, from, "/groups", {{"name", name}, {"platform", "linux"}});
}

Device invite(const Target& hub, const std::string& from, const Device& by,
              const std::string& name) {
    const auto code = Peer(hub, from).exchange(httpRequest("POST", "/pair", {}, by.token));
    if (code.status != 200)
        throw std::runtime_error("/pair was answered " + std::to_string(code.status));
    return joined(hub, from, "/pair/claim",
                  {{"code", code.text("code")}, {"name", name}, {"platform", "linux"}});
}

Bystander::Bystander(const Target& hub) : m_hub(hub) {
    m_members[0].device = enlist(hub, kHome);
    m_members[1].device = invite(hub, kHome, m_members[0].device);
    m_thread = std::thread([this] { live(); });
}

Bystander::~Bystander() {
    m_stop = true;
    m_thread.join();
}

void Bystander::forget() {
    const std::lock_guard lock(m_mutex);
    m_account = {};
}

Bystander::Account Bystander::take() {
    std::unique_lock lock(m_mutex);
    m_exchanged.wait(lock, [this, until = m_exchanges + 2] { return m_exchanges >= until; });
    auto account = std::exchange(m_account, {});
    std::sort(account.latencies.begin(), account.latencies.end());
    return account;
}

void Bystander::fail(const std::string& what) {
    const std::lock_guard lock(m_mutex);
    m_account.failures += "bystander: " + what + "; ";
}

void Bystander::live() {
    for (int n = 0; !m_stop; ++n) {
        const auto next = Clock::now() + 60ms;
        try {
            exchange(m_members[n % 2], m_members[1 - n % 2], n % 16 == 0 ? kLargeText : kText);
            if (n % 8 == 0)
                greetNewcomer();
        } catch (const std::exception& failure) {
            fail(failure.what());
        }
        {
            const std::lock_guard lock(m_mutex);
            ++m_exchanges;
        }
        m_exchanged.notify_all();
        std::this_thread::sleep_until(next); // its pace, which waits for nothing
    }
}

void Bystander::exchange(Member& from, Member& to, std::size_t size) {
    for (auto* member : {&from, &to}) {
        if (member->socket)
            continue;
        member->socket.emplace(m_hub, kHome);
        const int status = member->socket->upgrade(member->device.token);
        if (status != 101 || !member->socket->messageWith("\"hello\"")) {
            member->socket.reset();
            throw std::runtime_error("socket refused with " + std::to_string(status));
        }
    }
    const auto start = Clock::now();
    const auto id = std::to_string(start.time_since_epoch().count());
    const boost::json::object publish{{"type", "publish"},
                                      {"item", item(id, std::string(size, 'x'))}};
    from.socket->send(frame(boost::json::serialize(publish)));
    const bool arrived = to.socket->messageWith(id).has_value();
    const std::chrono::duration<double, std::milli> took = Clock::now() - start;
    const auto ack = from.socket->messageWith(id);
    if (arrived && ack && ack->payload.find("\"status\":200") != std::string::npos) {
        to.socket->send(frame(R"({"type":"received","id":")" + id + "\"}"));
        const std::lock_guard lock(m_mutex);
        if (size == kText)
            m_account.latencies.push_back(took.count());
        return;
    }
    from.socket.reset();
    to.socket.reset();
    throw std::runtime_error(!arrived ? "an item did not arrive"
                             : ack    ? "refused: " + ack->payload
                                      : "no acknowledgement");
}

void Bystander::greetNewcomer() {
    const int status = Peer(m_hub, kNewcomer).exchange(httpRequest("GET", "/readyz")).status;
    if (status != 200)
        throw std::runtime_error("a newcomer was answered " + std::to_string(status));
}

} // namespace sorrelwind::relay::test

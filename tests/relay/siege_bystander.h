#pragma once

#include "tests/relay/siege_peer.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace sorrelwind::relay::test {

/// Two members of a group who mean no harm: on a thread of its own they publish to each other, one
/// item every 60 ms in turns, now and then a large one, and every eighth time a newcomer from
/// another address asks for something. Whatever happens around them, each item and each answer has
/// to arrive.
class Bystander {
public:
    explicit Bystander(const Target& hub);
    ~Bystander();
    Bystander(const Bystander&) = delete;
    Bystander& operator=(const Bystander&) = delete;

    struct Account {
        std::vector<double> latencies; ///< ms from publishing a small item to its arrival, sorted
        std::string failures;          ///< empty: everything arrived
    };
    void forget();
    /// What happened since `forget`; waits until one more exchange has begun and ended.
    Account take();

private:
    struct Member {
        Device device;
        std::optional<Peer> socket;
    };

    void live();
    void exchange(Member& from, Member& to, std::size_t size);
    void greetNewcomer();
    void fail(const std::string& what);

    const Target m_hub;
    std::array<Member, 2> m_members;
    std::atomic<bool> m_stop = false;
    std::mutex m_mutex;
    std::condition_variable m_exchanged;
    Account m_account;
    int m_exchanges = 0;
    std::thread m_thread;
};

/// A new group's first device, and one that joins by this member's code.
Device enlist(const Target& hub, const std::string& from, const std::string& name = "a");
Device invite(const Target& hub, const std::string& from, const Device& by,
              const std::string& name = "b");

} // namespace sorrelwind::relay::test

#pragma once

#include "tests/relay/siege_bystander.h"

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

namespace sorrelwind::relay::test {

enum class Walls { plain, tls, fewDescriptors };

/// One hub under siege with its bystander. Its memory is limited to 64 MiB (`kMemory`), and to
/// `kFewDescriptors` descriptors if that is what the siege is about.
class Ground {
public:
    static constexpr std::size_t kMemory = std::size_t{64} << 20;
    static constexpr int kFewDescriptors = 256;

    Ground(Walls walls, bool full, const std::string& program);

    [[nodiscard]] const Target& hub() const { return m_hub; }
    /// The same port without its TLS.
    [[nodiscard]] Target bare() const { return {m_hub.port, false}; }
    [[nodiscard]] int size(int small, int full) const { return m_full ? full : small; }
    [[nodiscard]] bool full() const { return m_full; }
    /// A loopback address that nobody has come from yet.
    [[nodiscard]] std::string address();
    /// A group of so many devices, the first of which invited the others.
    [[nodiscard]] std::vector<Device> group(int devices);
    /// So many connections, each `addresses` of them from addresses of their own.
    [[nodiscard]] Crowd crowd(int count, int addresses = 1, int receiveBuffer = 0);
    /// Open sockets of these devices, `each` of one device, with their greeting unread.
    [[nodiscard]] Crowd sockets(const std::vector<Device>& devices, int each,
                                int receiveBuffer = 0);

    /// Resident bytes of the hub, now and at most since `forgetPeak`.
    [[nodiscard]] std::size_t resident() const { return memory("VmRSS:"); }
    [[nodiscard]] std::size_t peak() const { return memory("VmHWM:"); }
    void forgetPeak() const;
    [[nodiscard]] std::size_t descriptors() const;
    /// Waits until the peak stays where it is, since what was sent is taken up only bit by bit.
    void calm() const;
    /// Removes all devices of the groups made so far.
    void disband();
    /// Stops the hub's process and lets it run again, so that what is sent meanwhile meets it at
    /// once.
    void pause() const { m_program->signal(SIGSTOP); }
    void resume() const { m_program->signal(SIGCONT); }

    [[nodiscard]] Bystander& bystander() { return *m_bystander; }
    /// Ends the hub politely: what is wrong with its end or its log; empty if nothing.
    std::string leave();

private:
    [[nodiscard]] std::size_t memory(const char* line) const;
    [[nodiscard]] std::string log() const;

    const bool m_full;
    TemporaryFolder m_folder;
    std::unique_ptr<Program> m_program;
    Target m_hub{};
    int m_addresses = 0;
    std::vector<Device> m_devices;
    std::vector<std::string> m_secrets;
    std::unique_ptr<Bystander> m_bystander;
};

} // namespace sorrelwind::relay::test

#include "tests/relay/siege_ground.h"

#include "tests/relay/certificate.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace sorrelwind::relay::test {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

Ground::Ground(Walls walls, bool full, const std::string& program) : m_full(full) {
    const auto folder = m_folder.path();
    // Its log goes to a file, as a pipe that nobody empties would hold it up.
    std::string script = "log=$1; shift; exec \"$@\" 2>\"$log\"";
    if (walls == Walls::fewDescriptors)
        script = "ulimit -n " + std::to_string(kFewDescriptors) + "; " + script;
    std::vector<std::string> command{"/bin/sh",      "-c",
                                     script,         "sh",
                                     folder / "log", program,
                                     "--listen",     "127.0.0.1:0",
                                     "--data",       folder / "data",
                                     "--max-memory", std::to_string(kMemory)};
    if (walls == Walls::tls) {
        writeCertificate(folder / "cert.pem", folder / "key.pem", 1);
        for (const auto& word : {"--tls-cert", "cert.pem", "--tls-key", "key.pem"})
            command.push_back(word[0] == '-' ? word : folder / word);
    }
    m_program = std::make_unique<Program>(command);

    const std::string mark = "://127.0.0.1:";
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    auto at = std::string::npos;
    while ((at = log().find(mark)) == std::string::npos || log().find('\n', at) == at) {
        if (std::chrono::steady_clock::now() > deadline || m_program->wait(10ms) >= 0)
            throw std::runtime_error("the hub does not start: " + log());
    }
    m_hub = {static_cast<unsigned short>(std::stoi(log().substr(at + mark.size()))),
             walls == Walls::tls};
    m_bystander = std::make_unique<Bystander>(m_hub);
}

std::string Ground::address() {
    const int number = ++m_addresses;
    return "127." + std::to_string(1 + number / 62500) + "." + std::to_string(number / 250 % 250) +
           "." + std::to_string(1 + number % 250);
}

std::vector<Device> Ground::group(int devices) {
    const auto home = address();
    std::vector<Device> group{enlist(m_hub, home)};
    while (group.size() < static_cast<std::size_t>(devices))
        group.push_back(invite(m_hub, home, group.back()));
    m_devices.insert(m_devices.end(), group.begin(), group.end());
    return group;
}

Crowd Ground::crowd(int count, int addresses, int receiveBuffer) {
    std::vector<std::string> homes;
    for (int i = 0; i < addresses; ++i)
        homes.push_back(address());
    Crowd crowd;
    for (int i = 0; i < count; ++i)
        crowd.emplace_back(m_hub, homes[static_cast<std::size_t>(i % addresses)], receiveBuffer);
    return crowd;
}

Crowd Ground::sockets(const std::vector<Device>& devices, int each, int receiveBuffer) {
    const auto home = address();
    Crowd crowd;
    for (const auto& device : devices) {
        for (int i = 0; i < each; ++i) {
            crowd.emplace_back(m_hub, home, receiveBuffer);
            crowd.back().send(upgradeRequest(device.token));
        }
    }
    for (const auto& peer : crowd)
        if (!peer.readable())
            throw std::runtime_error("an upgrade was not answered");
    return crowd;
}

void Ground::calm() const {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    auto last = peak();
    for (int still = 0; still < 10 && std::chrono::steady_clock::now() < deadline; ++still) {
        std::this_thread::sleep_for(30ms);
        if (const auto now = peak(); now != last) {
            last = now;
            still = 0;
        }
    }
}

void Ground::disband() {
    const auto home = address();
    for (const auto& device : m_devices) {
        m_secrets.push_back(device.token);
        // Those that an attack has removed are answered 401.
        Peer(m_hub, home)
            .exchange(httpRequest("DELETE", "/devices/" + device.id, {}, device.token));
    }
    m_devices.clear();
}

void Ground::forgetPeak() const {
    std::ofstream("/proc/" + std::to_string(m_program->pid()) + "/clear_refs") << 5;
}

std::size_t Ground::memory(const char* line) const {
    std::ifstream status("/proc/" + std::to_string(m_program->pid()) + "/status");
    for (std::string word; status >> word;) {
        std::size_t kilobytes = 0;
        if (word == line && status >> kilobytes)
            return kilobytes << 10;
    }
    throw std::runtime_error("the hub is gone: " + log());
}

std::size_t Ground::descriptors() const {
    const fs::directory_iterator files("/proc/" + std::to_string(m_program->pid()) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

std::string Ground::log() const {
    std::ifstream file(m_folder.path() / "log");
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string Ground::leave() {
    m_bystander.reset();
    m_program->signal(SIGTERM);
    const int status = m_program->wait();
    const auto text = log();
    if (status != 0)
        return "the hub ended with " + std::to_string(status) + "\n" + text;
    for (const auto& secret : m_secrets)
        if (text.find(secret) != std::string::npos)
            return "a token is in its log";
    return {};
}

} // namespace sorrelwind::relay::test

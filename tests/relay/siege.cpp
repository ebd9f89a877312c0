// Lays siege to a hub: every attack of the tables, with a bystander group that has to be served
// throughout, and memory and descriptors that have to stay in their bounds and come back.

#include "tests/relay/siege_attacks.h"

#include <CLI/CLI.hpp>

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace sorrelwind::relay::test {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

#ifdef __SANITIZE_ADDRESS__
constexpr bool kSanitized = true; // its shadow and its quarantine are memory too
#else
constexpr bool kSanitized = false;
#endif

/// What the hub may take above its limit, for the messages that it is reading at the moment and for
/// what the allocator keeps.
constexpr std::size_t kWorking = std::size_t{64} << 20;
/// What the allocator may keep afterwards.
constexpr std::size_t kRest = Ground::kMemory / 2;

struct Tally {
    int rounds = 0;
    int failed = 0;
    std::vector<double> latencies;
    std::size_t peak = 0;
    std::string seen;
};

double quantile(const std::vector<double>& sorted, double part) {
    return sorted.empty() ? 0 : sorted[static_cast<std::size_t>(part * (sorted.size() - 1))];
}

std::string mebibytes(std::size_t bytes) {
    return std::to_string(bytes >> 20) + " MiB";
}

class Siege {
public:
    Siege(bool full, const std::string& program) {
        for (std::size_t i = 0; i < m_grounds.size(); ++i) {
            m_grounds[i] = std::make_unique<Ground>(static_cast<Walls>(i), full, program);
            m_grounds[i]->bystander().take();
            m_memory[i] = m_grounds[i]->resident();
            m_descriptors[i] = m_grounds[i]->descriptors();
        }
        for (const auto& table : {attacksOfStrangers(), attacksOfMembers()})
            m_attacks.insert(m_attacks.end(), table.begin(), table.end());
        m_tallies.resize(m_attacks.size());
    }

    void round(const std::string& only) {
        for (std::size_t i = 0; i < m_attacks.size(); ++i)
            if (std::string(m_attacks[i].name).find(only) != std::string::npos)
                lay(m_attacks[i], m_tallies[i]);
    }

    bool leave() {
        for (auto& ground : m_grounds) {
            const auto wrong = ground->leave();
            m_good = m_good && wrong.empty();
            std::fputs(wrong.c_str(), stderr);
        }
        return m_good;
    }

    void report() const {
        std::printf("\n| attack | rounds | bystander p50 / p99 / max, ms | peak | seen |\n"
                    "|---|---|---|---|---|\n");
        for (std::size_t i = 0; i < m_attacks.size(); ++i) {
            auto tally = m_tallies[i];
            if (tally.rounds == 0)
                continue;
            std::sort(tally.latencies.begin(), tally.latencies.end());
            std::printf("| %s | %d | %.1f / %.1f / %.1f | %s | %s |\n", m_attacks[i].name,
                        tally.rounds, quantile(tally.latencies, 0.5),
                        quantile(tally.latencies, 0.99), quantile(tally.latencies, 1),
                        mebibytes(tally.peak).c_str(), tally.seen.c_str());
        }
    }

private:
    void lay(const Attack& attack, Tally& tally) {
        const auto walls = static_cast<std::size_t>(attack.walls);
        auto& ground = *m_grounds[walls];
        const auto started = Clock::now();
        ground.forgetPeak();
        ground.bystander().forget();
        Verdict verdict;
        try {
            attack.run(ground, verdict);
        } catch (const std::exception& failure) {
            verdict.expect(false, failure.what());
        }
        const auto bystander = ground.bystander().take();
        verdict.wrong += bystander.failures;
        verdict.expect(!bystander.latencies.empty(), "the bystander was not served");
        const auto peak = ground.peak();
        const auto limit = m_memory[walls] + Ground::kMemory + kWorking;
        verdict.expect(kSanitized || peak <= limit, "memory rose to " + mebibytes(peak));
        try {
            ground.disband();
            settle(ground, walls, verdict);
        } catch (const std::exception& failure) {
            verdict.expect(false, failure.what());
        }

        const std::chrono::duration<double> took = Clock::now() - started;
        std::printf("%-4s %-22s %5.1f s  %3zu items, p50 %.1f p99 %.1f max %.1f ms, peak %s, "
                    "after %s; %s%s%s\n",
                    verdict.wrong.empty() ? "ok" : "FAIL", attack.name, took.count(),
                    bystander.latencies.size(), quantile(bystander.latencies, 0.5),
                    quantile(bystander.latencies, 0.99), quantile(bystander.latencies, 1),
                    mebibytes(peak).c_str(), mebibytes(ground.resident()).c_str(),
                    verdict.seen.c_str(), verdict.wrong.empty() ? "" : " — ",
                    verdict.wrong.substr(0, 600).c_str());
        std::fflush(stdout);
        m_good = m_good && verdict.wrong.empty();
        ++tally.rounds;
        tally.failed += verdict.wrong.empty() ? 0 : 1;
        tally.latencies.insert(tally.latencies.end(), bystander.latencies.begin(),
                               bystander.latencies.end());
        tally.peak = std::max(tally.peak, peak);
        tally.seen = verdict.seen;
    }

    /// What the attack took has to come back.
    void settle(Ground& ground, std::size_t walls, Verdict& verdict) {
        const auto back = [&] {
            return ground.descriptors() <=
                       m_descriptors[walls] + 1 && // a newcomer of the bystander
                   (kSanitized || ground.resident() <= m_memory[walls] + kRest);
        };
        const auto deadline = Clock::now() + kPatience;
        bool isBack = back();
        for (; !isBack && Clock::now() < deadline; isBack = back())
            std::this_thread::sleep_for(20ms); // between two looks, as nothing tells
        verdict.expect(isBack, mebibytes(ground.resident()) + " and " +
                                   std::to_string(ground.descriptors()) +
                                   " descriptors did not come back");
    }

    std::array<std::unique_ptr<Ground>, 3> m_grounds;
    std::array<std::size_t, 3> m_memory{};
    std::array<std::size_t, 3> m_descriptors{};
    std::vector<Attack> m_attacks;
    std::vector<Tally> m_tallies;
    bool m_good = true;
};

} // namespace
} // namespace sorrelwind::relay::test

int main(int argc, char** argv) {
    using namespace sorrelwind::relay::test;
    bool full = false;
    int minutes = 10;
    std::string only;
    std::string hub = builtHub();
    CLI::App app("Lays siege to a hub that it starts itself, with a bystander served throughout.",
                 "relay_siege");
    app.add_flag("--full", full, "in large, again and again");
    app.add_option("--minutes", minutes, "for how long with --full")->capture_default_str();
    app.add_option("--hub", hub, "the program")->type_name("FILE")->capture_default_str();
    app.add_option("--only", only, "the attacks with this in their name")->type_name("TEXT");
    CLI11_PARSE(app, argc, argv);
#ifdef __SANITIZE_ADDRESS__
    ::setenv("ASAN_OPTIONS", "quarantine_size_mb=16", 0);
#endif

    rlimit files{};
    ::getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max; // each attacker's connection takes one
    ::setrlimit(RLIMIT_NOFILE, &files);

    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(full ? minutes : 0);
    Siege siege(full, hub);
    do
        siege.round(only);
    while (std::chrono::steady_clock::now() < end);
    siege.report();
    return siege.leave() ? 0 : 1;
}

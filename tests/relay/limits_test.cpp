// What depends on time alone.

#include "relay/heartbeat.h"
#include "relay/rate_limits.h"

#include <gtest/gtest.h>

namespace sorrelwind::relay {
namespace {

using namespace std::chrono_literals;

const Steady kStart = Steady() + 1000h;

TEST(TokenBuckets, allowABurstAndThenTheRate) {
    TokenBuckets buckets(10, 3);
    const auto taken = [&](const char* key, Steady at) {
        int count = 0;
        while (count < 100 && buckets.take(key, at))
            ++count;
        return count;
    };
    EXPECT_EQ(taken("a", kStart), 3);
    EXPECT_EQ(taken("b", kStart), 3);
    EXPECT_EQ(taken("a", kStart + 99ms), 0);
    EXPECT_EQ(taken("a", kStart + 200ms), 2);
    EXPECT_EQ(taken("a", kStart + 1h), 3);
    buckets.sweep(kStart + 1h + 200ms);
    EXPECT_EQ(taken("a", kStart + 1h + 200ms), 2) << "swept though it was not full";
    for (auto [rate, seconds] :
         {std::pair(10.0, 1), std::pair(1.0, 1), std::pair(0.4, 3), std::pair(1e-300, 86400)})
        EXPECT_EQ(TokenBuckets(rate, 1).refillTime(), seconds) << rate;
    for (auto [rate, burst] : {std::pair(0.0, 3.0), std::pair(10.0, 0.0)}) {
        TokenBuckets open(rate, burst);
        for (int i = 0; i < 100; ++i)
            EXPECT_TRUE(open.take("a", kStart));
    }
}

TEST(WindowLimit, letsInAgainWhenTheWindowIsOver) {
    WindowLimit limit(2, 60s);
    EXPECT_EQ(limit.waitFor("a", kStart), 0);
    limit.count("a", kStart);
    EXPECT_EQ(limit.waitFor("a", kStart + 1s), 0);
    limit.count("a", kStart + 10s);
    EXPECT_EQ(limit.waitFor("a", kStart + 10s), 50);
    EXPECT_EQ(limit.waitFor("a", kStart + 59500ms), 1);
    EXPECT_EQ(limit.waitFor("b", kStart + 10s), 0);
    EXPECT_EQ(limit.waitFor("a", kStart + 60s), 0);
    limit.count("a", kStart + 60s); // opens a new window
    EXPECT_EQ(limit.waitFor("a", kStart + 61s), 0);
    limit.sweep(kStart + 61s);
    limit.count("a", kStart + 62s);
    EXPECT_GT(limit.waitFor("a", kStart + 62s), 0) << "swept before its time";

    WindowLimit none(0, 60s);
    for (int i = 0; i < 100; ++i)
        none.count("a", kStart);
    EXPECT_EQ(none.waitFor("a", kStart), 0);
}

TEST(WindowLimit, isBoundedInKeys) {
    WindowLimit limit(1, 60s);
    for (std::size_t i = 0; i < WindowLimit::kMaxKeys; ++i)
        limit.count(std::to_string(i), kStart);
    EXPECT_EQ(limit.waitFor("new", kStart), 0);
    limit.count("new", kStart);
    EXPECT_GT(limit.waitFor("another", kStart), 0) << "newcomers beyond the bound share a count";
    EXPECT_GT(limit.waitFor("7", kStart), 0);
    limit.sweep(kStart + 60s);
    EXPECT_EQ(limit.waitFor("another", kStart + 60s), 0);
}

TEST(Heartbeat, pingsEvery25SecondsAndGivesUpAfter60OfSilence) {
    using Due = Heartbeat::Due;
    Heartbeat beat(kStart);
    const std::tuple<std::chrono::seconds, bool, Due, std::chrono::seconds> script[] = {
        {24s, false, Due::nothing, 25s}, {25s, false, Due::ping, 50s},
        {26s, true, Due::nothing, 50s},  {50s, false, Due::ping, 75s},
        {75s, false, Due::ping, 86s},    {85s, false, Due::nothing, 86s},
        {86s, false, Due::gone, 86s},
    };
    for (const auto& [at, hears, due, next] : script) {
        if (hears)
            beat.heard(kStart + at);
        EXPECT_EQ(beat.due(kStart + at), due) << at.count();
        EXPECT_EQ(beat.next(), kStart + next) << at.count();
    }
}

} // namespace
} // namespace sorrelwind::relay

// Who has to give way when memory or connections run short.

#include "relay/connections.h"
#include "relay/memory_budget.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>

namespace sorrelwind::relay {
namespace {

using namespace std::chrono_literals;

class Queue : public MemoryBudget::Holder {
public:
    Queue(MemoryBudget& budget, const std::string& owner) : charge(budget, owner, 0, this) {}
    [[nodiscard]] std::uint64_t weight() const override { return charge.bytes(); }
    void giveUp() override {
        charge.resize(0);
        ended = true;
    }

    MemoryBudget::Charge charge;
    bool ended = false;
};

TEST(MemoryBudget, theGreediestOwnerLosesItsHeaviest) {
    struct Case {
        const char* what;
        std::uint64_t limit;
        std::vector<std::pair<const char*, std::uint64_t>> growth; ///< "OWNER QUEUE", its size
        std::string ended;
        std::uint64_t total;
    };
    const Case cases[] = {
        {"it fits", 100, {{"a 1", 50}, {"b 1", 50}}, "", 100},
        {"no limit", 0, {{"a 1", 1000}, {"b 1", 1000}}, "", 2000},
        {"shrinking makes room", 100, {{"a 1", 90}, {"a 1", 10}, {"b 1", 90}}, "", 100},
        {"the newcomer is not the greediest", 100, {{"a 1", 90}, {"b 1", 20}}, "a 1 ", 20},
        {"the newcomer is the greediest", 100, {{"a 1", 20}, {"b 1", 90}}, "b 1 ", 20},
        {"the heaviest of the owner", 100, {{"a 1", 30}, {"a 2", 40}, {"b 1", 35}}, "a 2 ", 65},
        {"together they are greedy", 100, {{"a 1", 30}, {"a 2", 29}, {"b 1", 45}}, "a 1 ", 74},
        {"one after another",
         100,
         {{"a 1", 30}, {"a 2", 30}, {"a 3", 30}, {"b 1", 50}},
         "a 1 a 2 ",
         80},
        {"no more than it takes",
         100,
         {{"a 1", 40}, {"b 1", 45}, {"a 2", 10}, {"c 1", 30}},
         "a 1 ",
         85},
    };
    for (const auto& [what, limit, growth, ended, total] : cases) {
        SCOPED_TRACE(what);
        MemoryBudget budget(limit);
        std::map<std::string, std::unique_ptr<Queue>> queues;
        for (const auto& [name, size] : growth) {
            auto& queue = queues[name];
            if (!queue)
                queue = std::make_unique<Queue>(budget, std::string(name, 1));
            queue->charge.resize(size);
        }
        std::string gone;
        for (const auto& [name, queue] : queues)
            gone += queue->ended ? name + ' ' : "";
        EXPECT_EQ(gone, ended);
        EXPECT_EQ(budget.total(), total);
        queues.clear();
        EXPECT_EQ(budget.total(), 0u);
    }
}

TEST(MemoryBudget, whatNobodyCanGiveUpStays) {
    MemoryBudget budget(100);
    const MemoryBudget::Charge held(budget, "a", 150);
    Queue queue(budget, "b");
    queue.charge.resize(1);
    EXPECT_TRUE(queue.ended);
    EXPECT_EQ(budget.total(), 150u);
}

TEST(MemoryBudget, admitsWhatFitsOrWhatAGreedierOneMakesRoomFor) {
    MemoryBudget budget(100);
    Queue a(budget, "a");
    Queue b(budget, "b");
    a.charge.resize(60);
    b.charge.resize(30);
    EXPECT_TRUE(budget.admits("a", 10));
    EXPECT_FALSE(budget.admits("a", 11));
    EXPECT_TRUE(budget.admits("b", 29));
    EXPECT_FALSE(budget.admits("b", 30));
    EXPECT_TRUE(budget.admits("c", 59));
    EXPECT_FALSE(budget.admits("c", 60));
    b.charge = {};
    EXPECT_TRUE(budget.admits("a", 40)) << "a charge ends when another takes its place";
}

const Steady kStart = Steady() + 1000h;

/// Connections by names such as "a1", the first of address "a"; one that gives way goes.
class ConnectionsTest : public testing::Test {
protected:
    bool open(const std::string& name, bool idle = true) {
        if (!all.makeRoom(now))
            return false;
        auto place =
            std::make_unique<Connections::Place>(all, [this, name] { ended += name + ' '; });
        if (!place->moveTo(name.substr(0, 1), now))
            return false;
        if (idle)
            place->idle(kStart + std::chrono::seconds(++opened));
        places[name] = std::move(place);
        return true;
    }

    Connections all{8, 3};
    std::map<std::string, std::unique_ptr<Connections::Place>> places;
    std::string ended;
    int opened = 0;
    Steady now = kStart + 1h;
};

TEST_F(ConnectionsTest, anAddressThatHasManyMakesRoomByItsOwn) {
    for (const auto* name : {"b1", "a1", "a2", "a3"})
        EXPECT_TRUE(open(name, std::string_view(name) != "a1")) << name;
    EXPECT_TRUE(open("a4"));
    EXPECT_EQ(ended, "a2 ") << "the one that is idle for the longest time";
    EXPECT_TRUE(open("a5", false));
    EXPECT_TRUE(open("a6", false));
    EXPECT_EQ(ended, "a2 a3 a4 ");
    EXPECT_FALSE(open("a7")) << "those with work stay";
    places["a5"]->idle(now);
    EXPECT_FALSE(open("a7")) << "its request may be on the way";
    EXPECT_EQ(all.size(), 4u);
    places.erase("a5");
    EXPECT_TRUE(open("a7"));
}

TEST_F(ConnectionsTest, oneAddressNeverTakesAll) {
    Connections few(8, 256);
    std::vector<std::unique_ptr<Connections::Place>> taken;
    const auto take = [&](const char* address) {
        taken.push_back(std::make_unique<Connections::Place>(few, [] {}));
        return taken.back()->moveTo(address, now);
    };
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(take("a"));
    EXPECT_FALSE(take("a"));
    EXPECT_TRUE(take("b"));
}

TEST_F(ConnectionsTest, atTheLimitOfAllTheFullestAddressMakesRoom) {
    for (const auto* name : {"c1", "a1", "a2", "b1", "b2", "b3", "d1"})
        EXPECT_TRUE(open(name)) << name;
    EXPECT_TRUE(places["c1"]->crowded());
    EXPECT_TRUE(open("e1"));
    EXPECT_TRUE(open("f1"));
    EXPECT_EQ(ended, "b1 ");
    for (const auto& [name, place] : places)
        place->busy();
    EXPECT_FALSE(open("g1")) << "newcomers wait";
    places.erase("a1");
    EXPECT_TRUE(open("g1"));
    EXPECT_EQ(ended, "b1 ");
}

TEST_F(ConnectionsTest, aProxysConnectionCountsForItsVisitorWhileItWorks) {
    Connections::Place proxy(all, [this] { ended += "proxy "; });
    for (const auto* name : {"a1", "a2"})
        open(name, false);
    EXPECT_FALSE(proxy.crowded());
    EXPECT_TRUE(proxy.moveTo("a", now));
    EXPECT_TRUE(proxy.crowded());
    Connections::Place another(all, [] {});
    EXPECT_FALSE(another.moveTo("a", now));
    proxy.moveTo({}, now);
    EXPECT_TRUE(another.moveTo("a", now));
    EXPECT_EQ(all.size(), 4u);
}

} // namespace
} // namespace sorrelwind::relay

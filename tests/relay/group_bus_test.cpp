// The live half of a group, driven step by step with a clock of its own.

#include "relay/group_bus.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <map>

namespace sorrelwind::relay {
namespace {

using namespace std::chrono_literals;

std::string closing(Goodbye why) {
    return "close " + std::to_string(static_cast<int>(why));
}

/// Notes what it is sent as short words: "hello", "hello+A", "item A", "devices a*,b" (* = online),
/// "removed", "close 0".
class Recorder : public Outlet {
public:
    bool send(const Frame& frame) override {
        if (full)
            return false;
        const auto json = boost::json::parse(frame.text()).as_object();
        std::string word(json.at("type").as_string());
        if (word == "item")
            word += ' ' + idOf(json);
        if (word == "hello" && json.contains("item"))
            word += '+' + idOf(json);
        if (word == "devices")
            word += ' ' + devicesOf(json);
        said.push_back(word);
        last = json;
        return true;
    }
    void close(Goodbye why) override { said.push_back(closing(why)); }
    std::vector<std::string> take() { return std::exchange(said, {}); }

    static std::string idOf(const boost::json::object& frame) {
        return std::string(frame.at("item").at("id").as_string());
    }
    static std::string devicesOf(const boost::json::object& frame) {
        std::string text;
        for (const auto& device : frame.at("devices").as_array())
            text += (text.empty() ? "" : ",") + std::string(device.at("id").as_string()) +
                    (device.at("online").as_bool() ? "*" : "");
        return text;
    }

    std::vector<std::string> said;
    boost::json::object last;
    bool full = false;
};

using Said = std::vector<std::string>;

class GroupBusTest : public testing::Test {
protected:
    void pass(std::chrono::milliseconds time) {
        now = now.after(time);
        bus.tick(now);
    }
    int publish(const char* device, const std::string& id) {
        return bus.publish({"g", device}, {id, 1, "text/plain", "p"}, now);
    }
    static Member member(const char* device) { return {"g", device}; }
    void join(const char* device, Recorder& outlet) { bus.join(member(device), outlet, now); }
    void leave(const char* device, Recorder& outlet) { bus.leave(member(device), outlet, now); }
    /// What a socket that opens for the device is greeted with.
    Said greeting(const char* device, Recorder& outlet) {
        join(device, outlet);
        return outlet.take();
    }

    std::map<std::string, std::vector<DeviceRecord>> groups{
        {"g",
         {{"a", "Anna", "linux", 1, 2}, {"b", "Bert", "linux", 3, 4}, {"c", "C", "web", 5, 6}}},
        {"other", {{"x", "X", "linux", 1, 2}}}};
    MemoryBudget memory{0};
    GroupBus bus{[this](const std::string& group) { return groups[group]; }, 3600s, memory};
    Now now{Steady() + 1000h, 1'700'000'000'000};
    Recorder a, a2, b, c, x;
};

TEST_F(GroupBusTest, relaysToEveryOtherDeviceOfTheGroup) {
    join("a", a);
    join("a", a2);
    join("b", b);
    bus.join({"other", "x"}, x, now);
    for (auto* outlet : {&a, &a2, &b, &x})
        EXPECT_EQ(outlet->take(), Said{"hello"});

    EXPECT_EQ(publish("a", "1"), 1);
    EXPECT_EQ(publish("b", "2"), 1) << "a device counts once, whatever its sockets";
    EXPECT_EQ(a.take(), Said{"item 2"});
    EXPECT_EQ(a2.take(), Said{"item 2"});
    EXPECT_EQ(b.take(), Said{"item 1"});
    EXPECT_EQ(x.take(), Said{});
    EXPECT_EQ(b.last.at("item"), boost::json::parse(R"({"id":"1","ts":1,"mime":"text/plain",
        "payload":"p","from":"a","device":"Anna"})"));
}

TEST_F(GroupBusTest, holdsTheNewestItemUntilEveryoneHasIt) {
    join("a", a);
    EXPECT_EQ(publish("a", "1"), 0);
    EXPECT_EQ(publish("a", "2"), 0);
    join("b", b);
    leave("b", b);
    join("b", b);
    EXPECT_EQ(b.take(), (Said{"hello+2", "hello+2"})) << "until it has said that it got it";
    bus.received(member("b"), "1");
    bus.received(member("b"), "2");
    leave("b", b);
    EXPECT_EQ(greeting("b", b), Said{"hello"});

    EXPECT_EQ(greeting("a", a2), Said{"hello"}) << "the publisher has its own item";
    EXPECT_EQ(greeting("c", c), Said{"hello+2"});

    EXPECT_EQ(publish("b", "3"), 2);
    leave("a", a);
    leave("a", a2);
    a.take();
    EXPECT_EQ(greeting("a", a), Said{"hello+3"})
        << "the newer item waits for the earlier publisher too";
}

TEST_F(GroupBusTest, aDeviceThatJoinedLaterDoesNotGetAnEarlierItem) {
    groups["g"].pop_back();
    join("a", a);
    publish("a", "1");
    groups["g"].push_back({"c", "C", "web", 5, 6});
    EXPECT_EQ(greeting("c", c), Said{"hello"});
}

TEST_F(GroupBusTest, forgetsAnItemAfterItsTime) {
    join("a", a);
    publish("a", "1");
    now = now.after(3600s - 1ms);
    bus.sweep(now);
    EXPECT_EQ(greeting("b", b), Said{"hello+1"});
    now = now.after(1ms);
    EXPECT_EQ(greeting("c", c), Said{"hello"}) << "too old even before the next sweep";

    GroupBus forever([this](const std::string& group) { return groups[group]; }, 0s, memory);
    forever.publish(member("a"), {"1", 1, "t", "p"}, now);
    now = now.after(10000h);
    forever.sweep(now);
    forever.join(member("b"), b, now);
    EXPECT_EQ(b.take(), Said{"hello+1"});
}

TEST_F(GroupBusTest, recognisesARepeatedItem) {
    join("a", a);
    join("b", b);
    EXPECT_EQ(bus.repeated("g", "1", now), std::nullopt);
    publish("a", "1");
    leave("b", b);
    EXPECT_EQ(bus.repeated("g", "1", now), 1) << "the answer of that time";
    EXPECT_EQ(bus.repeated("other", "1", now), std::nullopt);
    for (int i = 0; i < 1000; ++i)
        publish("a", "n" + std::to_string(i));
    EXPECT_EQ(bus.repeated("g", "1", now), 1);
    for (int i = 1000; i < 1100; ++i)
        publish("a", "n" + std::to_string(i));
    EXPECT_EQ(bus.repeated("g", "1", now), std::nullopt) << "bounded in number";
    EXPECT_EQ(bus.repeated("g", "n1099", now.after(599s)), 0);
    EXPECT_EQ(bus.repeated("g", "n1099", now.after(601s)), std::nullopt);
}

TEST_F(GroupBusTest, tellsOfChangesOnceIn100Milliseconds) {
    join("a", a);
    const auto first = now.steady;
    EXPECT_EQ(bus.nextTick(), first + 100ms);
    pass(60ms);
    join("b", b);
    EXPECT_EQ(bus.nextTick(), first + 100ms);
    a.take();
    b.take();
    pass(39ms);
    EXPECT_EQ(a.take(), Said{});
    pass(1ms);
    EXPECT_EQ(a.take(), Said{"devices a*,b*,c"});
    EXPECT_EQ(b.take(), Said{"devices a*,b*,c"});
    EXPECT_EQ(bus.nextTick(), std::nullopt);

    join("a", a2);
    EXPECT_EQ(bus.nextTick(), std::nullopt) << "a second socket changes nothing";
    leave("a", a);
    EXPECT_EQ(bus.nextTick(), std::nullopt);
    leave("a", a2);
    leave("a", a2);
    pass(100ms);
    EXPECT_EQ(b.take(), Said{"devices a,b*,c"});
    bus.changed("g", now);
    bus.changed("nobody is online there", now);
    pass(100ms);
    EXPECT_EQ(b.take(), Said{"devices a,b*,c"});
    EXPECT_EQ(b.last.at("devices").at(0), boost::json::parse(R"({"id":"a","name":"Anna",
        "platform":"linux","createdAt":1,"lastSeen":2,"online":false})"));
}

TEST_F(GroupBusTest, aListThatCannotBeReadIsSentASecondLater) {
    std::string broken;
    GroupBus frail(
        [&](const std::string& group) {
            return group == broken ? throw std::runtime_error("no roster") : groups[group];
        },
        3600s, memory);
    frail.join(member("a"), a, now);
    frail.join({"other", "x"}, x, now);
    broken = "g";
    EXPECT_THROW(frail.join(member("b"), b, now), std::runtime_error);
    EXPECT_FALSE(frail.isOnline(member("b")));
    a.take();
    now = now.after(100ms);
    x.take();
    EXPECT_THROW(frail.tick(now), std::runtime_error);
    EXPECT_EQ(x.take(), Said{"devices x*"}) << "held up by another group";
    EXPECT_EQ(frail.nextTick(), now.steady + 1s);

    frail.changed("other", now); // due before what waits already
    EXPECT_EQ(frail.nextTick(), now.steady + 100ms);
    now = now.after(500ms);
    frail.tick(now);
    EXPECT_EQ(x.take(), Said{"devices x*"});
    broken.clear();
    frail.changed("g", now);
    now = now.after(500ms);
    frail.tick(now);
    EXPECT_EQ(a.take(), Said{"devices a*,b,c"});
    EXPECT_EQ(frail.nextTick(), std::nullopt) << "once is enough";
}

TEST_F(GroupBusTest, aDevicesFifthSocketClosesItsOldest) {
    Recorder sockets[5];
    join("b", b);
    for (auto& socket : sockets)
        join("a", socket);
    EXPECT_EQ(sockets[0].take(), (Said{"hello", closing(Goodbye::tooManySockets)}));
    EXPECT_EQ(sockets[1].take(), Said{"hello"});
    publish("b", "1");
    EXPECT_EQ(sockets[0].take(), Said{});
    EXPECT_EQ(sockets[4].take(), (Said{"hello", "item 1"}));
    leave("a", sockets[0]);
    EXPECT_TRUE(bus.isOnline(member("a")));
}

TEST_F(GroupBusTest, aRemovedDeviceIsToldAndForgotten) {
    join("a", a);
    join("b", b);
    publish("a", "1");
    bus.received(member("c"), "1");
    pass(100ms);
    a.take();
    b.take();
    groups["g"].erase(groups["g"].begin() + 1);
    bus.removed(member("b"), now);
    EXPECT_EQ(b.take(), (Said{"removed", closing(Goodbye::removed)}));
    EXPECT_EQ(publish("a", "2"), 0);
    pass(100ms);
    EXPECT_EQ(a.take(), Said{"devices a*,c"});
    leave("b", b);
    EXPECT_EQ(b.take(), Said{});
}

TEST_F(GroupBusTest, aDeviceThatWasRemovedBeforeItsSocketOpenedStaysOut) {
    join("a", a);
    groups["g"].erase(groups["g"].begin() + 1);
    bus.removed(member("b"), now);
    EXPECT_EQ(greeting("b", b), (Said{"removed", closing(Goodbye::removed)}));
    groups.erase("other");
    bus.forget("other");
    bus.join({"other", "x"}, x, now);
    EXPECT_EQ(x.take(), (Said{"removed", closing(Goodbye::removed)}));
    EXPECT_EQ(publish("a", "1"), 0);
    EXPECT_EQ(b.take(), Said{});
}

TEST_F(GroupBusTest, aReaderThatIsFullDoesNotCountAsReached) {
    join("a", a);
    join("b", b);
    b.full = true;
    EXPECT_EQ(publish("a", "1"), 0);
    b.full = false;
    leave("b", b);
    b.take();
    EXPECT_EQ(greeting("b", b), Said{"hello+1"});
}

} // namespace
} // namespace sorrelwind::relay

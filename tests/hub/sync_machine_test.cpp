#include "hub/sync_machine.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

namespace sorrelwind {
namespace {

using Machine = SyncMachine;

/// One action in words.
struct Describe {
    using Text = std::string;
    Text operator()(const Machine::OpenSocket& a) const {
        return "open " + std::to_string(a.connection);
    }
    Text operator()(const Machine::ReleaseSocket&) const { return "release"; }
    Text operator()(const Machine::CloseSocket&) const { return "close"; }
    Text operator()(const Machine::SendReceipt& a) const { return "receipt " + text(a.itemId); }
    Text operator()(const Machine::SendPublish& a) const { return "send " + text(a.item.id); }
    Text operator()(const Machine::SendPing&) const { return "ping"; }
    Text operator()(const Machine::StartCheckTimer& a) const {
        return "check " + std::to_string(a.check);
    }
    Text operator()(const Machine::StartHeartbeat&) const { return "heart on"; }
    Text operator()(const Machine::StopHeartbeat&) const { return "heart off"; }
    Text operator()(const Machine::Probe&) const { return "probe"; }
    Text operator()(const Machine::ScheduleReconnect& a) const {
        return "reconnect in " + std::to_string(a.delay.count());
    }
    Text operator()(const Machine::CancelReconnect&) const { return "no reconnect"; }
    Text operator()(const Machine::StartAckTimer& a) const {
        return (a.left ? "timer " : "patience ") + text(a.itemId);
    }
    Text operator()(const Machine::CancelAckTimer& a) const { return "untimer " + text(a.itemId); }
    Text operator()(const Machine::PostItem& a) const { return "post " + text(a.item.id); }
    Text operator()(const Machine::ReportLoss& a) const { return "loss: " + text(a.why); }
    Text operator()(const Machine::ReportState& a) const { return syncStateName(a.state); }
    Text operator()(const Machine::ReportDevices& a) const {
        return "devices " + std::to_string(a.devices.size());
    }
    Text operator()(const Machine::ReportItem& a) const { return "item " + text(a.item.id); }
    Text operator()(const Machine::Complete& a) const {
        return "complete " + text(a.itemId) + (a.status == 200 ? " yes " : " no ") +
               (a.recipients ? std::to_string(*a.recipients) : "-");
    }
    static Text text(const QString& s) { return s.toStdString(); }
};

/// An event: a word, and what it is about. The connection's number leads where there is one.
struct Step {
    std::string event;
    std::string actions;
};

Machine::Actions happen(Machine& machine, const std::string& event) {
    const QList<QByteArray> words = QByteArray::fromStdString(event).split(' ');
    const QByteArray& what = words[0];
    const QByteArray argument = words.value(1);
    const QString id = QString::fromLatin1(argument);
    const quint64 connection = argument.toULongLong();
    using Result = Machine::ProbeResult;
    if (what == "probed")
        return machine.probed(argument == "ok"    ? Result::accepted
                              : argument == "401" ? Result::unauthorized
                                                  : Result::otherFailure);
    const std::map<QByteArray, std::function<Machine::Actions()>> events{
        {"connect", [&] { return machine.connect(); }},
        {"nudge", [&] { return machine.nudge(); }},
        {"check", [&] { return machine.check(); }},
        {"unchecked", [&] { return machine.checkDue(connection); }},
        {"shutdown", [&] { return machine.shutdown(); }},
        {"opened", [&] { return machine.opened(connection); }},
        {"lost", [&] { return machine.lost(connection, u"x"_qs); }},
        {"too_far", [&] { return machine.overstepped(connection, u"x"_qs); }},
        {"tick", [&] { return machine.heartbeatDue(); }},
        {"heard", [&] { return machine.heard(connection); }},
        {"wrote", [&] { return machine.wrote(connection, words.value(2) == "more"); }},
        {"left", [&] { return machine.left(id); }},
        {"due", [&] { return machine.reconnectDue(); }},
        {"publish",
         [&] {
             return machine.publish({id, 1, u"p"_qs});
         }},
        {"late", [&] { return machine.fallBack(id); }},
        {"frame", [&] { return machine.received(connection, words.mid(2).join(' ')); }},
    };
    if (const auto found = events.find(what); found != events.end())
        return found->second();
    ADD_FAILURE() << "no such event: " << event;
    return {};
}

struct Story {
    const char* name;
    std::vector<Step> steps;
};

const Step kConnect{"connect", "connecting, open 1, heart on"};
const Step kOpened{"opened 1", "connected"};
const std::string kGone = ", release, heart off, disconnected, probe";
const std::string kLoss = "loss: x" + kGone;
const Step kLost{"lost 1", kLoss};
const Step kSilent{"tick", "loss: no sign of life" + kGone};
const std::string kItemA = R"({"id":"A","ts":1,"device":"n","mime":"text/plain","payload":"p"})";
const std::string kDevices =
    R"([{"id":"d","name":"n","platform":"macos","createdAt":1,"lastSeen":2,"online":true}])";
std::string many(const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}
const Step publish(const std::string& id) {
    return {"publish " + id, "patience " + id + ", send " + id};
}

const Story kStories[] = {
    {"ConnectsAndComesBack",
     {kConnect,
      kOpened,
      kLost,
      {"probed ok", "reconnect in 1000"},
      {"due", "connecting, open 2, heart on"},
      {"opened 2", "connected"}}},
    {"DelaysDoubleUpTo30SecondsAndAnOpenResetsThem",
     {kConnect,
      kLost,
      {"probed fail", "reconnect in 1000"},
      {"due", "connecting, open 2, heart on"},
      {"lost 2", kLoss},
      {"probed ok", "reconnect in 2000"},
      {"due", "connecting, open 3, heart on"},
      {"lost 3", kLoss},
      {"probed fail", "reconnect in 4000"},
      {"probed fail", "reconnect in 8000"},
      {"probed fail", "reconnect in 16000"},
      {"probed fail", "reconnect in 30000"},
      {"probed fail", "reconnect in 30000"},
      {"due", "connecting, open 4, heart on"},
      {"opened 4", "connected"},
      {"lost 4", kLoss},
      {"probed ok", "reconnect in 1000"}}},
    {"AProbeThatSays401Revokes",
     {kConnect,
      kLost,
      {"probed 401", "no reconnect, heart off, revoked"},
      {"probed ok", ""},
      {"due", ""},
      {"nudge", ""},
      {"publish A", "post A"}}},
    {"StaleConnectionsAreIgnored",
     {kConnect,
      {"connect", "open 2, heart on"}, // the state stays, so it is not told again
      {"opened 1", ""},
      {"frame 1 {\"type\":\"removed\"}", ""},
      {"lost 1", ""},
      {"opened 2", "connected"},
      {"tick", "ping"},
      {"heard 1", ""},
      kSilent,
      {"lost 2", ""},
      {"opened 2", ""},
      {"frame 2 {\"type\":\"removed\"}", ""},
      {"lost 99", ""}}},
    {"MissingPongIsALoss",
     {kConnect,
      kOpened,
      {"tick", "ping"},
      {"heard 1", ""},
      {"tick", "ping"},
      kSilent,
      {"tick", ""},
      {"probed ok", "reconnect in 1000"},
      {"due", "connecting, open 2, heart on"},
      {"opened 2", "connected"},
      {"tick", "ping"}}}, // the pong that never came was another connection's
    {"AConnectionThatNeverOpensIsALoss",
     {kConnect,
      {"tick", "loss: the connection did not come up in time" + kGone},
      {"opened 1", ""}}},
    {"NudgeReconnectsNowAndForgetsTheDelays",
     {{"nudge", "no reconnect, connecting, open 1, heart on"},
      {"nudge", "no reconnect, open 2, heart on"},
      {"lost 2", kLoss},
      {"probed fail", "reconnect in 1000"},
      {"probed fail", "reconnect in 2000"},
      {"nudge", "no reconnect, connecting, open 3, heart on"},
      {"lost 3", kLoss},
      {"probed fail", "reconnect in 1000"},
      {"due", "connecting, open 4, heart on"},
      {"opened 4", "connected"},
      {"nudge", ""}}},
    {"ACheckReplacesAConnectionThatGivesNoSignOfLife",
     {{"check", ""},
      kConnect,
      {"check", ""},
      kOpened,
      {"check", "ping, check 1"},
      {"heard 1", ""},
      {"unchecked 1", ""},
      {"check", "ping, check 2"},
      {"unchecked 1", ""}, // the time of an earlier check is not that of this one
      {"tick", "ping"},    // nor is its pong late for the heartbeat
      {"unchecked 2", "loss: no sign of life when asked for one, connecting, open 2, heart on"},
      {"unchecked 2", ""},
      {"opened 2", "connected"},
      {"tick", "ping"}, // what the old one owed is not asked of the new one
      {"check", "ping, check 3"},
      {"shutdown", "no reconnect, heart off, close"},
      {"unchecked 3", ""},
      {"check", ""}}},
    {"AnyByteIsASignOfLifeAndSoIsOneThatLeavesBeforeOthers",
     {kConnect,
      kOpened,
      {"tick", "ping"},
      {"heard 1", ""},
      {"tick", "ping"},
      {"wrote 1 more", ""}, // the ping waits behind them
      {"tick", "ping"},
      {"check", "ping, check 1"},
      {"wrote 1 more", ""},
      {"unchecked 1", ""},
      {"tick", "ping"},
      {"wrote 1 last", ""}, // the ping itself
      {"wrote 2 more", ""},
      kSilent}},
    {"AnAckIsAwaitedFromWhenTheFrameHasLeft",
     {kConnect,
      kOpened,
      publish("A"),
      publish("B"),
      {"wrote 1 more", "patience A, patience B"},
      {"left A", "timer A"},
      {"wrote 1 more", "patience B"},
      {"left A", ""},
      {"left C", ""},
      {"wrote 2 more", ""},
      {"late B", "untimer B, post B"},
      {"left B", ""}}},
    {"AHubThatGoesTooFarIsLeftForTheLongestDelay",
     {kConnect,
      kOpened,
      {"too_far 2", ""},
      {"too_far 1", "loss: left the hub, as it goes too far: x" + kGone},
      {"probed ok", "reconnect in 30000"},
      {"due", "connecting, open 2, heart on"},
      {"opened 2", "connected"},
      {"frame 2 {\"type\":\"devices\",\"devices\":[" + many("{},", 20'000) + "{}]}",
       "loss: left the hub, as it goes too far: more in one frame than a group can have" + kGone},
      {"probed ok", "reconnect in 30000"},
      {"due", "connecting, open 3, heart on"},
      {"opened 3", "connected"},
      {"lost 3", kLoss},
      {"probed ok", "reconnect in 1000"}}},
    {"AProbeThatEndsAfterANudgeStillReplacesTheConnection",
     {kConnect,
      kLost,
      {"nudge", "no reconnect, connecting, open 2, heart on"},
      {"opened 2", "connected"},
      {"probed ok", "reconnect in 1000"},
      {"due", "connecting, open 3, heart on"},
      {"lost 2", ""},
      {"opened 3", "connected"}}},
    {"ShutdownIsForGoodUntilConnect",
     {kConnect,
      kOpened,
      publish("A"),
      {"shutdown", "no reconnect, heart off, close, timer A"},
      {"lost 1", ""},
      {"frame 1 {\"type\":\"hello\",\"item\":" + kItemA + "}", ""},
      {"tick", ""},
      {"due", ""},
      {"nudge", ""},
      {"probed ok", ""},
      {"probed 401", ""},
      {"publish B", "post B"},
      {"late A", "untimer A, post A"},
      {"shutdown", "no reconnect, heart off"},
      {"connect", "connecting, open 2, heart on"},
      {"lost 2", kLoss}}},
    {"ShutdownWhileTheProbeRuns",
     {kConnect, kLost, {"shutdown", "no reconnect, heart off"}, {"probed ok", ""}}},
    {"RemovedRevokesForGood",
     {kConnect,
      kOpened,
      {"frame 1 {\"type\":\"removed\"}", "no reconnect, heart off, close, revoked"},
      {"frame 1 {\"type\":\"removed\"}", ""},
      {"lost 1", ""},
      {"nudge", ""},
      {"due", ""}}},
    {"DevicesComeBeforeTheItemAndTheReceiptBeforeItsDelivery",
     {kConnect,
      {"frame 1 {\"type\":\"hello\",\"item\":" + kItemA + ",\"devices\":" + kDevices + "}",
       "devices 1, receipt A, item A"},
      {"frame 1 {\"type\":\"item\",\"item\":" + kItemA + "}", "receipt A, item A"},
      {"frame 1 {\"type\":\"devices\",\"devices\":[]}", "devices 0"},
      {"frame 1 {\"type\":\"item\",\"devices\":" + kDevices + "}", "devices 1"},
      {"frame 1 {\"type\":\"hello\",\"item\":null,\"devices\":null}", ""}}},
    {"FramesThatSayNothingOrAreBroken",
     {kConnect,
      kOpened,
      publish("A"),
      {"frame 1 {\"type\":\"other\",\"item\":" + kItemA + ",\"devices\":" + kDevices + "}", ""},
      {"frame 1 {\"type\":\"Hello\",\"devices\":[]}", ""},
      {"frame 1 {\"type\":\"hello\",\"devices\":[],\"item\":{\"id\":\"A\"}}", ""},
      {"frame 1 {\"type\":\"devices\",\"devices\":[{}]}", ""},
      {"frame 1 {\"type\":\"ack\",\"status\":\"200\"}", ""},
      {"frame 1 {\"item\":" + kItemA + "}", ""},
      {"frame 1 rubbish", ""},
      {"frame 1 ", ""},
      {"frame 1 {\"type\":\"ack\",\"item\":" + kItemA + ",\"status\":200}",
       "untimer A, complete A yes -"}}},
    {"AcksFindTheirPublishElseTheOldest",
     {kConnect,
      kOpened,
      publish("A"),
      publish("B"),
      publish("C"),
      publish("D"),
      {"frame 1 {\"type\":\"ack\",\"ref\":\"B\",\"status\":200,\"recipients\":2}",
       "untimer B, complete B yes 2"},
      {"frame 1 {\"type\":\"ack\",\"ref\":\"B\",\"status\":413}", "untimer A, complete A no -"},
      {"frame 1 {\"type\":\"ack\",\"recipients\":3}", "untimer C, complete C no 3"},
      {"frame 1 {\"type\":\"ack\",\"status\":201,\"recipients\":0}", "untimer D, complete D no 0"},
      {"frame 1 {\"type\":\"ack\",\"ref\":\"A\",\"status\":200}", ""},
      {"late A", ""}}},
    {"ALateAckGoesToTheOldestOther",
     {kConnect,
      kOpened,
      publish("A"),
      publish("B"),
      {"late A", "untimer A, post A"},
      {"late A", ""},
      {"frame 1 {\"type\":\"ack\",\"ref\":\"A\",\"status\":200,\"recipients\":1}",
       "untimer B, complete B yes 1"},
      {"late B", ""}}},
    {"WithoutAConnectionPublishGoesOverRest",
     {{"publish A", "post A"},
      kConnect,
      {"publish B", "post B"},
      kOpened,
      publish("C"),
      {"lost 1", "loss: x, release, heart off, timer C, disconnected, probe"},
      {"publish D", "post D"},
      {"late C", "untimer C, post C"},
      {"late A", ""}}},
    {"PendingPublishesOutliveTheConnection",
     {kConnect,
      kOpened,
      publish("A"),
      {"lost 1", "loss: x, release, heart off, timer A, disconnected, probe"},
      {"nudge", "no reconnect, connecting, open 2, heart on"},
      {"opened 2", "connected"},
      {"frame 2 {\"type\":\"ack\",\"ref\":\"A\",\"status\":200}", "untimer A, complete A yes -"}}},
};

void play(const Story& story) {
    SCOPED_TRACE(story.name);
    SyncMachine machine;
    EXPECT_EQ(machine.state(), SyncState::disconnected);
    for (const Step& step : story.steps) {
        std::string actions;
        for (const auto& action : happen(machine, step.event))
            actions += (actions.empty() ? "" : ", ") + std::visit(Describe(), action);
        ASSERT_EQ(actions, step.actions) << "after " << step.event;
    }
}

TEST(SyncMachine, AnswersEachEvent) {
    for (const Story& story : kStories)
        play(story);
}

TEST(SyncMachine, DelaysStayBoundedForEver) {
    SyncMachine machine;
    (void)machine.connect();
    for (int i = 0; i < 100; ++i) {
        const auto actions = machine.probed(SyncMachine::ProbeResult::otherFailure);
        const auto delay = std::get<SyncMachine::ScheduleReconnect>(actions.at(0)).delay;
        EXPECT_TRUE(delay > SyncMachine::Milliseconds(0) &&
                    delay <= SyncMachine::kMaxReconnectDelay);
    }
}

} // namespace
} // namespace sorrelwind

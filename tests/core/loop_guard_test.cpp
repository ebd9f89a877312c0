#include "core/clock_jump.h"
#include "core/loop_guard.h"

#include <gtest/gtest.h>

#include <vector>

namespace sorrelwind {

namespace {

using namespace std::chrono_literals;

struct Event {
    std::chrono::milliseconds at;
    const char16_t* text;
    enum { fromHub, sent, held } what;
};

struct Story {
    const char* name;
    std::vector<Event> events;
};

// The text comes from the hub and turns up again as a local copy, `count` times.
std::vector<Event> bounces(int count, std::chrono::milliseconds step,
                           const char16_t* back = u"T\n") {
    std::vector<Event> events;
    for (int i = 0; i < count; ++i) {
        events.push_back({i * step, u"T", Event::fromHub});
        events.push_back({i * step, back, Event::sent});
    }
    return events;
}

std::vector<Event> with(std::vector<Event> events, const std::vector<Event>& more) {
    events.insert(events.end(), more.begin(), more.end());
    return events;
}

} // namespace

TEST(LoopGuard, StopsWhatBouncesAndNothingElse) {
    const Story kStories[] = {
        {"six bounces pass, the seventh does not",
         with(bounces(6, 100ms),
              {{600ms, u"T\r\n\r\n", Event::fromHub}, {600ms, u"T", Event::held}})},
        {"line ends inside count as line ends too",
         with(bounces(6, 100ms, u"\r\nT"),
              {{600ms, u"T", Event::fromHub}, {600ms, u"\nT", Event::held}})},
        {"slow bounces pass", with(bounces(20, 1700ms), {})},
        {"stays stopped however long it takes",
         with(bounces(6, 100ms), {{600ms, u"T", Event::fromHub},
                                  {600ms, u"T\n", Event::held},
                                  {60s, u"T", Event::held}})},
        {"another copy frees it, once the bounces are old",
         with(bounces(6, 100ms), {{600ms, u"T", Event::fromHub},
                                  {600ms, u"T\n", Event::held},
                                  {700ms, u"other", Event::sent},
                                  {800ms, u"T", Event::held},
                                  {900ms, u"another", Event::sent},
                                  {12s, u"T", Event::sent}})},
        {"a different text from the hub frees it as well",
         with(bounces(6, 100ms), {{600ms, u"T", Event::fromHub},
                                  {600ms, u"T\n", Event::held},
                                  {11s, u"other", Event::fromHub},
                                  {12s, u"T", Event::sent}})},
        {"two texts in turn are two loops",
         with(
             with(bounces(6, 100ms), {{600ms, u"U", Event::fromHub}, {600ms, u"U\n", Event::sent}}),
             {{700ms, u"T", Event::fromHub}, {700ms, u"T\n", Event::held}})},
        {"copies that grow by line ends are passed round the other way",
         {{0ms, u"T", Event::sent},
          {100ms, u"T\n", Event::sent},
          {200ms, u"T\n\n", Event::sent},
          {300ms, u"T\n\n\n", Event::sent},
          {400ms, u"T\n\n\n\n", Event::sent},
          {500ms, u"T\n", Event::sent},
          {600ms, u"T\r\n", Event::sent},
          {700ms, u"T\r\n\r\n", Event::held},
          {800ms, u"other", Event::sent}}},
        {"copies without anything from the hub are the user's own",
         std::vector<Event>(40, {100ms, u"T", Event::sent})},
        {"texts that differ in more are different",
         with(bounces(6, 100ms), {{600ms, u"T", Event::fromHub}, {600ms, u"T ", Event::sent}})},
    };
    for (const Story& story : kStories) {
        SCOPED_TRACE(story.name);
        LoopGuard guard;
        const LoopGuard::Clock::time_point start{1h};
        for (size_t i = 0; i < story.events.size(); ++i) {
            const Event& event = story.events[i];
            const QString text = QString::fromUtf16(event.text);
            if (event.what == Event::fromHub) {
                guard.received(text);
                continue;
            }
            EXPECT_EQ(guard.allows(text, start + event.at), event.what == Event::sent) << i;
            EXPECT_EQ(guard.stopped(), event.what == Event::held) << i;
        }
    }
}

TEST(ClockJump, SleepAndASetClockAreSeenOnceAndSlowTicksAreNot) {
    struct Row {
        std::chrono::milliseconds wall;
        std::chrono::milliseconds steady;
        bool seen;
    };
    const Row kRows[] = {
        {500ms, 500ms, false},  {501ms, 499ms, false}, {60s, 60s, false}, // a busy machine
        {8h, 500ms, true},      {500ms, 500ms, false}, {-1h, 500ms, true},
        {2400ms, 500ms, false}, {2600ms, 500ms, true},
    };
    ClockJump::Wall::time_point wall{1000h};
    ClockJump::Steady::time_point steady{1h};
    ClockJump jump(wall, steady);
    for (const Row& row : kRows) {
        wall += row.wall;
        steady += row.steady;
        EXPECT_EQ(jump.seen(wall, steady), row.seen) << row.wall.count();
    }
}

} // namespace sorrelwind

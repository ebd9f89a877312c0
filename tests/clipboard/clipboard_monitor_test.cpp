#include "clipboard/clipboard_monitor.h"
#include "clipboard/text_hash.h"
#include "tests/support/fake_pasteboard.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

namespace sorrelwind {

namespace {

using test::FakePasteboard;

TEST(Sha256Hex, IsTakenOfTheUtf8Bytes) {
    // printf %s … | sha256sum
    EXPECT_EQ(sha256Hex(QString()), QStringLiteral("e3b0c44298fc1c149afbf4c8996fb924"
                                                   "27ae41e4649b934ca495991b7852b855"));
    EXPECT_EQ(sha256Hex(QStringLiteral("剪贴板 📋")),
              QStringLiteral("a0feabfdfb0cf9e223ad6e56004793de73b9ae6c77650db7b60a09ff0f15ced7"));
}

/// One thing that happens to the clipboard; a poll follows each.
struct Step {
    enum Kind { copy, conceal, image, remote, secret, pause, resume, ownerExits } kind;
    QString text = {};
};

struct Story {
    const char* name;
    QString before; ///< on the clipboard before the monitor exists
    std::vector<Step> steps;
    QStringList sent;
    int writes = 0; ///< how often the monitor wrote the pasteboard
};

void PrintTo(const Story& story, std::ostream* out) {
    *out << story.name;
}

const QString a = QStringLiteral("a");
const QString b = QStringLiteral("b");
const QString poem = QStringLiteral("床前明月光 🌙\r\n");

const Story kStories[] = {
    {"OldContentIsNotSent", a, {{Step::copy, b}}, {b}},
    {"OldContentCopiedAfterStartIsSent", a, {{Step::copy, a}}, {a}},
    {"SameTextTwiceInARowIsSentOnce", {}, {{Step::copy, a}, {Step::copy, a}}, {a}},
    {"SameTextAfterAnotherIsSentAgain",
     {},
     {{Step::copy, a}, {Step::copy, b}, {Step::copy, a}},
     {a, b, a}},
    {"EveryCharacterArrives", {}, {{Step::copy, poem}}, {poem}},
    {"ConcealedTextIsNotSent", {}, {{Step::conceal, a}}, {}},
    {"ConcealedTextLeavesTheLastHashAlone",
     {},
     {{Step::copy, a}, {Step::conceal, b}, {Step::copy, a}},
     {a}},
    {"ImageAndEmptyTextAreNotSent", {}, {{Step::image}, {Step::copy, QString()}}, {}},
    {"OwnerExitIsNotACopy", {}, {{Step::copy, a}, {Step::ownerExits}, {Step::copy, a}}, {a}},
    {"CopiesWhilePausedAreNeverSent", {}, {{Step::pause}, {Step::copy, a}, {Step::resume}}, {}},
    {"CopyAfterResumeIsSent",
     {},
     {{Step::pause}, {Step::copy, a}, {Step::resume}, {Step::copy, a}},
     {a}},
    {"RemoteTextIsNotSentBack", {}, {{Step::remote, a}}, {}, 1},
    {"RemoteTextEqualToTheClipboardIsNotWritten", {}, {{Step::copy, a}, {Step::remote, a}}, {a}},
    {"EmptyRemoteTextIsNotWritten", a, {{Step::remote, QString()}}, {}},
    {"RemoteTextIsWrittenAgainAfterTheOwnerExits",
     {},
     {{Step::copy, a}, {Step::ownerExits}, {Step::remote, a}},
     {a},
     1},
    // The first later copy of a received text consumes its hash, the next one is sent.
    {"FirstCopyOfAReceivedTextIsNotSent",
     {},
     {{Step::remote, a}, {Step::copy, b}, {Step::copy, a}, {Step::copy, a}},
     {b, a},
     1},
    {"CopyOfTheReceivedTextAtOnceIsNotSent",
     {},
     {{Step::remote, a}, {Step::copy, a}, {Step::copy, a}},
     {},
     1},
    {"SecretIsNeverSentHoweverOftenOthersOfferItAgain",
     {},
     {{Step::secret, a},
      {Step::copy, a},
      {Step::copy, b},
      {Step::copy, a},
      {Step::copy, b},
      {Step::copy, a}},
     {b},
     1},
    {"RemoteTextWhileAnImageIsThereIsWritten", {}, {{Step::image}, {Step::remote, a}}, {}, 1},
    {"ConcealedCopyDoesNotConsumeTheHash",
     {},
     {{Step::remote, a}, {Step::conceal, a}, {Step::copy, a}, {Step::copy, b}},
     {b},
     1},
};

class MonitorStory : public testing::TestWithParam<Story> {};

TEST_P(MonitorStory, SendsExactly) {
    const Story& story = GetParam();
    FakePasteboard pasteboard;
    if (!story.before.isEmpty()) {
        pasteboard.copyText(story.before);
    }
    ClipboardMonitor monitor(pasteboard);
    QStringList sent;
    monitor.onLocalText = [&](const QString& text, const QString& hash) {
        EXPECT_EQ(hash, sha256Hex(text));
        sent.append(text);
    };
    monitor.poll();
    for (const Step& step : story.steps) {
        switch (step.kind) {
        case Step::copy:
            pasteboard.copyText(step.text);
            break;
        case Step::conceal:
            pasteboard.copyConcealed(step.text);
            break;
        case Step::image:
            pasteboard.copyImage();
            break;
        case Step::remote:
            monitor.writeRemote(step.text);
            break;
        case Step::secret:
            monitor.writeSecret(step.text);
            EXPECT_TRUE(pasteboard.types().contains(kConcealedType));
            break;
        case Step::pause:
            monitor.setPaused(true);
            break;
        case Step::resume:
            monitor.setPaused(false);
            break;
        case Step::ownerExits:
            pasteboard.clear();
            break;
        }
        // Between pause and resume nothing polls: what resume skips must not depend on it.
        if (!monitor.paused()) {
            monitor.poll();
        }
    }
    EXPECT_EQ(sent, story.sent);
    EXPECT_EQ(pasteboard.writes, story.writes);
}

INSTANTIATE_TEST_SUITE_P(All, MonitorStory, testing::ValuesIn(kStories),
                         [](const auto& story) { return std::string(story.param.name); });

TEST(ClipboardMonitor, DropsWhatIsCopiedWhilePausedAlsoWhenItPolls) {
    FakePasteboard pasteboard;
    ClipboardMonitor monitor(pasteboard);
    QStringList sent;
    monitor.onLocalText = [&](const QString& text, const QString&) { sent.append(text); };
    monitor.start();
    monitor.setPaused(true);
    pasteboard.copyText(a);
    monitor.setPaused(false);
    monitor.poll();
    EXPECT_EQ(sent, QStringList());
}

TEST(ClipboardMonitor, PollsAtOnceOnlyAfterStart) {
    FakePasteboard pasteboard;
    ClipboardMonitor monitor(pasteboard);
    QStringList sent;
    monitor.onLocalText = [&](const QString& text, const QString&) { sent.append(text); };
    pasteboard.copyText(a);
    EXPECT_EQ(sent, QStringList());
    monitor.start();
    pasteboard.copyText(b);
    EXPECT_EQ(sent, QStringList({b}));
}

TEST(ClipboardMonitor, TimerFindsAChangeThatNobodyAnnounced) {
    FakePasteboard pasteboard;
    ClipboardMonitor monitor(pasteboard);
    QStringList sent;
    monitor.onLocalText = [&](const QString& text, const QString&) { sent.append(text); };
    monitor.start();
    pasteboard.blockSignals(true);
    pasteboard.copyText(a);
    EXPECT_TRUE(test::waitFor([&] { return sent == QStringList({a}); }));
}

} // namespace
} // namespace sorrelwind

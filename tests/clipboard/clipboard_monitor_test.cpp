#include "clipboard/clipboard_monitor.h"
#include "clipboard/text_hash.h"
#include "tests/support/fake_pasteboard.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"

#include <gtest/gtest.h>

#include <vector>

namespace sorrelwind {

namespace {

using test::FakePasteboard;

TEST(Sha256Hex, IsTakenOfTheUtf8Bytes) {
    // printf %s … | sha256sum
    EXPECT_EQ(sha256Hex(QString()), QStringLiteral("e3b0c44298fc1c149afbf4c8996fb924"
                                                   "27ae41e4649b934ca495991b7852b855"));
    EXPECT_EQ(sha256Hex(u"剪贴板 📋"_qs),
              u"a0feabfdfb0cf9e223ad6e56004793de73b9ae6c77650db7b60a09ff0f15ced7"_qs);
}

/// One thing that happens to the clipboard; a poll follows each.
struct Step {
    enum Kind { copy, conceal, image, remote, secret, halt, resume, ownerExits } kind;
    QString text = {};
};
using enum Step::Kind;

struct Story {
    const char* name;
    QString before; ///< on the clipboard before the monitor exists
    std::vector<Step> steps;
    QStringList sent;
    int writes = 0; ///< how often the monitor wrote the pasteboard
};

const QString a = u"a"_qs;
const QString b = u"b"_qs;
const QString poem = u"床前明月光 🌙\r\n"_qs;

const Story kStories[] = {
    {"OldContentIsNotSent", a, {{copy, b}}, {b}},
    {"OldContentCopiedAfterStartIsSent", a, {{copy, a}}, {a}},
    {"SameTextTwiceInARowIsSentOnce", {}, {{copy, a}, {copy, a}}, {a}},
    {"SameTextAfterAnotherIsSentAgain", {}, {{copy, a}, {copy, b}, {copy, a}}, {a, b, a}},
    {"EveryCharacterArrives", {}, {{copy, poem}}, {poem}},
    {"ConcealedTextIsNotSent", {}, {{conceal, a}}, {}},
    {"ConcealedTextLeavesTheLastHashAlone", {}, {{copy, a}, {conceal, b}, {copy, a}}, {a}},
    {"ImageAndEmptyTextAreNotSent", {}, {{image}, {copy, QString()}}, {}},
    {"OwnerExitIsNotACopy", {}, {{copy, a}, {ownerExits}, {copy, a}}, {a}},
    {"CopiesWhilePausedAreNeverSent", {}, {{halt}, {copy, a}, {resume}}, {}},
    {"CopyAfterResumeIsSent", {}, {{halt}, {copy, a}, {resume}, {copy, a}}, {a}},
    {"RemoteTextIsNotSentBack", {}, {{remote, a}}, {}, 1},
    {"RemoteTextEqualToTheClipboardIsNotWritten", {}, {{copy, a}, {remote, a}}, {a}},
    {"EmptyRemoteTextIsNotWritten", a, {{remote, QString()}}, {}},
    {"RemoteTextIsWrittenAgainLater", {}, {{copy, a}, {ownerExits}, {remote, a}}, {a}, 1},
    // The first later copy of a received text consumes its hash, the next one is sent.
    {"FirstCopyOfAReceivedTextIsNotSent",
     {},
     {{remote, a}, {copy, b}, {copy, a}, {copy, a}},
     {b, a},
     1},
    {"CopyOfTheReceivedTextAtOnceIsNotSent", {}, {{remote, a}, {copy, a}, {copy, a}}, {}, 1},
    {"SecretIsNeverSentHoweverOftenOthersOfferItAgain",
     {},
     {{secret, a}, {copy, a}, {copy, b}, {copy, a}, {copy, b}, {copy, a}},
     {b},
     1},
    {"RemoteTextWhileAnImageIsThereIsWritten", {}, {{image}, {remote, a}}, {}, 1},
    {"ConcealedCopyDoesNotConsumeTheHash",
     {},
     {{remote, a}, {conceal, a}, {copy, a}, {copy, b}},
     {b},
     1},
};

void play(const Story& story) {
    SCOPED_TRACE(story.name);
    FakePasteboard pasteboard;
    if (!story.before.isEmpty())
        pasteboard.copyText(story.before);
    ClipboardMonitor monitor(pasteboard);
    QStringList sent;
    monitor.onLocalText = [&](const QString& text, const QString& hash) {
        EXPECT_EQ(hash, sha256Hex(text));
        sent.append(text);
    };
    monitor.poll();
    for (const auto& [kind, text] : story.steps) {
        if (kind == copy)
            pasteboard.copyText(text);
        else if (kind == conceal)
            pasteboard.copyConcealed(text);
        else if (kind == image)
            pasteboard.copyImage();
        else if (kind == remote)
            monitor.writeRemote(text);
        else if (kind == secret)
            monitor.writeSecret(text);
        else if (kind == ownerExits)
            pasteboard.clear();
        else
            monitor.setPaused(kind == halt);
        EXPECT_TRUE(kind != secret || pasteboard.types().contains(kConcealedType));
        // Between pause and resume nothing polls: what resume skips must not depend on it.
        if (!monitor.paused())
            monitor.poll();
    }
    EXPECT_EQ(sent, story.sent);
    EXPECT_EQ(pasteboard.writes, story.writes);
}

TEST(ClipboardMonitor, SendsExactlyWhatWasCopiedHere) {
    for (const Story& story : kStories)
        play(story);
}

class Monitor : public testing::Test {
protected:
    Monitor() {
        monitor.onLocalText = [&](const QString& text, auto) { sent.append(text); };
    }
    FakePasteboard pasteboard;
    ClipboardMonitor monitor{pasteboard};
    QStringList sent;
};

TEST_F(Monitor, DropsWhatIsCopiedWhilePausedAlsoWhenItPolls) {
    monitor.start();
    monitor.setPaused(true);
    pasteboard.copyText(a);
    monitor.setPaused(false);
    monitor.poll();
    EXPECT_EQ(sent, QStringList());
}

TEST_F(Monitor, PollsAtOnceOnlyAfterStart) {
    pasteboard.copyText(a);
    EXPECT_EQ(sent, QStringList());
    monitor.start();
    pasteboard.copyText(b);
    EXPECT_EQ(sent, QStringList({b}));
}

TEST_F(Monitor, RemembersManyReceivedTextsButNotAllForEver) {
    const auto text = [](qsizetype i) { return QString::number(i); };
    const qsizetype all = 2 * RecentHashes::kKept + 1;
    for (qsizetype i = 0; i < all; ++i)
        monitor.writeRemote(text(i));
    for (const qsizetype i : {all - 1, all - 2, all - RecentHashes::kKept, qsizetype{0}}) {
        pasteboard.copyText(text(i));
        monitor.poll();
    }
    EXPECT_EQ(sent, QStringList({text(0)}));
}

TEST_F(Monitor, TimerFindsAChangeThatNobodyAnnounced) {
    monitor.start();
    pasteboard.blockSignals(true);
    pasteboard.copyText(a);
    EXPECT_TRUE(test::waitFor([&] { return sent == QStringList({a}); }));
}

} // namespace
} // namespace sorrelwind

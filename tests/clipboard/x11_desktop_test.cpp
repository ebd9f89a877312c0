// With the clipboard programs that people use, and without an X server.

#include "clipboard/clipboard_monitor.h"
#include "clipboard/make_pasteboard.h"
#include "tests/clipboard/x11_fixture.h"
#include "tests/support/program.h"

#include <csignal>

namespace sorrelwind {
namespace {

using namespace std::chrono_literals;
using test::Program;
using test::waitFor;
using test::X11PasteboardTest;
using test::Xvfb;

const QString poem = QStringLiteral("床前明月光 🌙\r\n疑是地上霜\n");

struct Tool {
    const char* name;
    QString path;
    QStringList copy;
    QStringList paste;
};

void PrintTo(const Tool& tool, std::ostream* out) {
    *out << tool.name;
}

const Tool kTools[] = {
    {"xclip",
     QStringLiteral("xclip"),
     {QStringLiteral("-quiet"), QStringLiteral("-selection"), QStringLiteral("clipboard"),
      QStringLiteral("-in")},
     {QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-out"),
      QStringLiteral("-target"), QStringLiteral("UTF8_STRING")}},
    {"xsel",
     QStringLiteral("xsel"),
     {QStringLiteral("--nodetach"), QStringLiteral("--clipboard"), QStringLiteral("--input")},
     {QStringLiteral("--clipboard"), QStringLiteral("--output")}},
};

class DesktopTool : public X11PasteboardTest, public testing::WithParamInterface<Tool> {
protected:
    static std::unique_ptr<Program> copy(const QString& text, const Tool& tool = GetParam()) {
        return std::make_unique<Program>(tool.path, tool.copy, server().environment(),
                                         text.toUtf8());
    }
    /// What the tool prints when it pastes.
    static QString paste() {
        Program program(GetParam().path, GetParam().paste, server().environment());
        EXPECT_TRUE(waitFor([&] { return !program.running(); }));
        return QString::fromUtf8(program.output());
    }
};

INSTANTIATE_TEST_SUITE_P(All, DesktopTool, testing::ValuesIn(kTools),
                         [](const auto& tool) { return std::string(tool.param.name); });

TEST_P(DesktopTool, ExchangesTextsOfEverySize) {
    const QString texts[] = {QStringLiteral("a"), poem, poem.repeated(100'000)};
    for (const QString& text : texts) {
        const auto owner = copy(text);
        EXPECT_TRUE(holds(text)) << text.size();
        pasteboard->setString(text + u'!');
        ASSERT_TRUE(owned());
        EXPECT_TRUE(paste() == text + u'!') << text.size();
    }
    EXPECT_EQ(changes, 3);
}

TEST_P(DesktopTool, IsSentOnceAndNeverWhilePaused) {
    ClipboardMonitor monitor(*pasteboard);
    QStringList sent;
    monitor.onLocalText = [&](const QString& text, const QString&) { sent.append(text); };
    monitor.start();
    const auto first = copy(QStringLiteral("a"));
    ASSERT_TRUE(waitFor([&] { return changes == 1; }));
    const auto again = copy(QStringLiteral("a"));
    ASSERT_TRUE(waitFor([&] { return changes == 2; }));
    monitor.setPaused(true);
    const auto whilePaused = copy(QStringLiteral("b"));
    ASSERT_TRUE(waitFor([&] { return changes == 3; }));
    monitor.setPaused(false);
    monitor.writeRemote(QStringLiteral("c"));
    ASSERT_TRUE(owned());
    EXPECT_EQ(paste(), QStringLiteral("c"));
    const auto afterwards = copy(QStringLiteral("d"));
    ASSERT_TRUE(waitFor([&] { return changes == 4; }));
    EXPECT_EQ(sent, QStringList({QStringLiteral("a"), QStringLiteral("d")}));
}

TEST_P(DesktopTool, ThatHangsIsGivenUpAndForgotten) {
    const auto hung = copy(QStringLiteral("hung"));
    ASSERT_TRUE(holds(QStringLiteral("hung")));
    hung->signal(SIGSTOP);
    // A second start of ours meets the owner that hangs.
    open(300ms);
    pasteboard->setString(QStringLiteral("a"));
    ASSERT_TRUE(owned());
    const auto next = copy(QStringLiteral("b"));
    EXPECT_TRUE(holds(QStringLiteral("b")));
    hung->signal(SIGCONT);
    // It learns now that it lost the clipboard, and ends.
    EXPECT_TRUE(waitFor([&] { return !hung->running(); }));
    EXPECT_EQ(pasteboard->string(), QStringLiteral("b"));
    EXPECT_EQ(changes, 2);
}

TEST(MakePasteboard, WithoutAServerIsNotAvailableAndSaysWhy) {
    for (const QByteArray& display : {QByteArray(), QByteArray(":60000"), QByteArray("rubbish")}) {
        const auto pasteboard = makePasteboard(display);
        EXPECT_FALSE(pasteboard->available());
        EXPECT_FALSE(pasteboard->unavailableReason().isEmpty());
        pasteboard->setString(QStringLiteral("a"));
        EXPECT_EQ(pasteboard->string(), std::nullopt);
        pasteboard->handOver();
    }
}

TEST(MakePasteboard, OutlivesItsServer) {
    Xvfb server;
    ASSERT_TRUE(server.running());
    const auto pasteboard = makePasteboard(server.display());
    ASSERT_TRUE(pasteboard->available());
    pasteboard->setString(poem.repeated(100'000));
    int announced = 0;
    QObject::connect(pasteboard.get(), &Pasteboard::availabilityChanged, [&] { ++announced; });
    server.kill();
    EXPECT_TRUE(waitFor([&] { return !pasteboard->available(); }));
    EXPECT_EQ(announced, 1);
    EXPECT_FALSE(pasteboard->unavailableReason().isEmpty());
    const qint64 count = pasteboard->changeCount();
    pasteboard->setString(QStringLiteral("a"));
    EXPECT_EQ(pasteboard->changeCount(), count);
    pasteboard->handOver();
    EXPECT_EQ(announced, 1);
}

TEST(MakePasteboard, ServesSeveralServersAtOnce) {
    Xvfb first;
    Xvfb second;
    ASSERT_NE(first.display(), second.display());
    const auto a = makePasteboard(first.display());
    const auto b = makePasteboard(second.display());
    test::XOwner owner(first.display());
    owner.copyText("only here");
    EXPECT_TRUE(waitFor([&] { return a->string() == QStringLiteral("only here"); }));
    EXPECT_EQ(b->changeCount(), 0);
}

} // namespace
} // namespace sorrelwind

// One table of cases for every kind of desktop session, with the clipboard programs that people use
// there. docs/desktops.md shows its outcome (scripts/desktops).

#include "clipboard/clipboard_monitor.h"
#include "tests/clipboard/desktop_session.h"
#include "tests/clipboard/wl_owner.h"
#include "tests/clipboard/x_client.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"

#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <ostream>
#include <variant>

namespace sorrelwind {
namespace {

using namespace std::chrono_literals;
using test::DesktopSession;
using test::Program;
using test::waitFor;
using Kind = DesktopSession::Kind;

const QString poem = QStringLiteral("床前明月光 🌙\r\n疑是地上霜\n");

constexpr qsizetype kLongestArgument = 10'000; ///< the system takes longer ones

struct Tool {
    QString copyProgram;
    QStringList copy;
    QString pasteProgram;
    QStringList paste;
};

const Tool kXclip{QStringLiteral("xclip"),
                  {QStringLiteral("-quiet"), QStringLiteral("-selection"),
                   QStringLiteral("clipboard"), QStringLiteral("-in")},
                  QStringLiteral("xclip"),
                  {QStringLiteral("-selection"), QStringLiteral("clipboard"),
                   QStringLiteral("-out"), QStringLiteral("-target"),
                   QStringLiteral("UTF8_STRING")}};
const Tool kXsel{
    QStringLiteral("xsel"),
    {QStringLiteral("--nodetach"), QStringLiteral("--clipboard"), QStringLiteral("--input")},
    QStringLiteral("xsel"),
    {QStringLiteral("--clipboard"), QStringLiteral("--output")}};
const Tool kWlClipboard{
    QStringLiteral("wl-copy"),
    {QStringLiteral("--foreground"), QStringLiteral("--type"), QStringLiteral("text/plain")},
    QStringLiteral("wl-paste"),
    {QStringLiteral("--no-newline")}};

struct Session {
    const char* name;
    Kind kind;
    const char* backend;
    const Tool& tool;
};

void PrintTo(const Session& session, std::ostream* out) {
    *out << session.name;
}

const Session kSessions[] = {
    {"X11_xclip", Kind::x11, "x11", kXclip},
    {"X11_xsel", Kind::x11, "x11", kXsel},
    {"Sway_wl_clipboard", Kind::sway, "wayland", kWlClipboard},
    {"KWin_wl_clipboard", Kind::kwin, "wayland", kWlClipboard},
    {"Mutter_xclip", Kind::mutter, "x11", kXclip},
};

class DesktopSessions : public testing::TestWithParam<Session> {
protected:
    static void TearDownTestSuite() { s_desktops.clear(); }

    void SetUp() override {
        auto& started = s_desktops[GetParam().kind];
        if (!started) {
            started = std::make_unique<DesktopSession>(GetParam().kind);
        }
        desktop = started.get();
        ASSERT_TRUE(desktop->running()) << GetParam().name << " does not start";
        ASSERT_NO_FATAL_FAILURE(open(test::kPatience));
        // Some desktops copy what the last test left behind, now that its owner is gone.
        static int number = 0;
        before = QStringLiteral("test %1").arg(++number);
        m_ownerBefore = copy(before);
        ASSERT_TRUE(waitFor([&] { return pasteboard->string() == before; }));
        sent.clear();
        changes = 0;
    }

    /// An agent of its own, as far as the clipboard goes.
    void open(std::chrono::milliseconds patience) {
        monitor.reset();
        pasteboard = makePasteboard(ClipboardChoice::automatic, desktop->servers(), patience);
        ASSERT_EQ(pasteboard->backend(), QLatin1StringView(GetParam().backend))
            << pasteboard->unavailableReason().en.toStdString();
        QObject::connect(pasteboard.get(), &Pasteboard::changed, [this] { ++changes; });
        monitor = std::make_unique<ClipboardMonitor>(*pasteboard);
        monitor->onLocalText = [this](const QString& text, const QString&) { sent.append(text); };
        monitor->start();
    }

    [[nodiscard]] std::unique_ptr<Program> copy(const QString& text) const {
        const Tool& tool = GetParam().tool;
        // What wl-copy reads it keeps in a folder, which stays behind when it is killed.
        if (tool.copyProgram == QStringLiteral("wl-copy") && text.size() < kLongestArgument) {
            return std::make_unique<Program>(tool.copyProgram,
                                             tool.copy + QStringList{QStringLiteral("--"), text},
                                             desktop->environment());
        }
        return std::make_unique<Program>(tool.copyProgram, tool.copy, desktop->environment(),
                                         text.toUtf8());
    }
    /// Whether a program of the session comes to paste exactly this.
    [[nodiscard]] bool pastes(const QString& text) const {
        const Tool& tool = GetParam().tool;
        const QDeadlineTimer deadline(test::kPatience);
        while (!deadline.hasExpired()) {
            Program program(tool.pasteProgram, tool.paste, desktop->environment());
            // One that still asks the owner before may wait forever, as that one ends.
            if (waitFor([&] { return !program.running(); }, test::kPatience / 4) &&
                QString::fromUtf8(program.output()) == text) {
                return true;
            }
        }
        return false;
    }
    /// Whether the last copy that is sent comes to be this one.
    [[nodiscard]] bool sends(const QString& text) const {
        return waitFor([&] { return !sent.isEmpty() && sent.back() == text; });
    }
    /// A program copies something with the mark of a password manager.
    [[nodiscard]] auto copySecret() const {
        const ClipboardServers servers = desktop->servers();
        std::variant<std::unique_ptr<test::XOwner>, std::unique_ptr<test::WlOwner>> owner;
        if (pasteboard->backend() == QLatin1StringView("x11")) {
            auto x = std::make_unique<test::XOwner>(servers.display);
            x->copy({{"UTF8_STRING", "secret"}, {"x-kde-passwordManagerHint", "secret"}});
            owner = std::move(x);
        } else {
            owner = std::make_unique<test::WlOwner>(
                servers.waylandDisplay,
                QMap<QByteArray, QByteArray>{{"text/plain;charset=utf-8", "secret"},
                                             {"x-kde-passwordManagerHint", "secret"}});
        }
        return owner;
    }

    DesktopSession* desktop = nullptr;
    std::unique_ptr<Pasteboard> pasteboard;
    std::unique_ptr<ClipboardMonitor> monitor;
    QString before; ///< lies on the clipboard when the test begins
    int changes = 0;
    QStringList sent;

private:
    std::unique_ptr<Program> m_ownerBefore;
    static inline std::map<Kind, std::unique_ptr<DesktopSession>> s_desktops;
};

INSTANTIATE_TEST_SUITE_P(All, DesktopSessions, testing::ValuesIn(kSessions),
                         [](const auto& session) { return std::string(session.param.name); });

TEST_P(DesktopSessions, CopyIsSent) {
    const auto owner = copy(poem);
    EXPECT_TRUE(sends(poem));
}

TEST_P(DesktopSessions, ReceivedTextIsPasted) {
    monitor->writeRemote(poem);
    EXPECT_TRUE(pastes(poem));
}

TEST_P(DesktopSessions, FiveMegabytesBothWays) {
    const QString text = poem.repeated(5 * 1024 * 1024 / poem.toUtf8().size());
    std::unique_ptr<Program> owner;
    std::unique_ptr<test::XOwner> ownOwner;
    if (GetParam().kind == Kind::mutter) {
        // GNOME reads each copy itself, and xclip may hang when it serves two with large ones.
        ownOwner = std::make_unique<test::XOwner>(desktop->servers().display);
        ownOwner->copy({{"UTF8_STRING", text.toUtf8(), test::Answer::incremental}});
    } else {
        owner = copy(text);
    }
    EXPECT_TRUE(sends(text));
    monitor->writeRemote(text + u'!');
    EXPECT_TRUE(pastes(text + u'!'));
    // It lost the clipboard, so it ends, and tidies up.
    EXPECT_TRUE(!owner || waitFor([&] { return !owner->running(); }));
}

TEST_P(DesktopSessions, SameTextTwiceIsSentOnce) {
    const auto first = copy(QStringLiteral("a"));
    ASSERT_TRUE(sends(QStringLiteral("a")));
    const auto again = copy(QStringLiteral("a"));
    EXPECT_TRUE(waitFor([&] { return changes == 2; }));
    const auto next = copy(QStringLiteral("b"));
    EXPECT_TRUE(sends(QStringLiteral("b")));
    EXPECT_EQ(sent, QStringList({QStringLiteral("a"), QStringLiteral("b")}));
}

TEST_P(DesktopSessions, ReceivedTextIsNotSentBack) {
    const qint64 count = pasteboard->changeCount();
    monitor->writeRemote(poem);
    EXPECT_TRUE(pastes(poem));
    test::runFor(700ms); // longer than the monitor takes between two looks
    EXPECT_EQ(pasteboard->changeCount(), count + 1);
    EXPECT_EQ(changes, 0);
    EXPECT_TRUE(sent.isEmpty());
}

TEST_P(DesktopSessions, SecretIsNotSent) {
    const auto secret = copySecret();
    EXPECT_TRUE(waitFor([&] { return pasteboard->types().contains(kConcealedType); }));
    EXPECT_EQ(pasteboard->string(), std::nullopt);
    const auto next = copy(QStringLiteral("next"));
    EXPECT_TRUE(sends(QStringLiteral("next")));
    EXPECT_EQ(sent.size(), 1);
}

TEST_P(DesktopSessions, StoppedOwnerHoldsUpNothing) {
    const auto hung = copy(QStringLiteral("hung"));
    ASSERT_TRUE(sends(QStringLiteral("hung")));
    hung->signal(SIGSTOP);
    // A second start of ours meets the owner that hangs.
    ASSERT_NO_FATAL_FAILURE(open(300ms));
    monitor->writeRemote(QStringLiteral("a"));
    EXPECT_TRUE(pastes(QStringLiteral("a")));
    const auto next = copy(QStringLiteral("b"));
    EXPECT_TRUE(sends(QStringLiteral("b")));
    hung->signal(SIGCONT);
    // It learns now that it lost the clipboard, and ends.
    EXPECT_TRUE(waitFor([&] { return !hung->running(); }));
    EXPECT_EQ(pasteboard->string(), QStringLiteral("b"));
}

TEST_P(DesktopSessions, ClipboardThatIsEmptiedIsNoCopy) {
    auto owner = copy(poem);
    ASSERT_TRUE(sends(poem));
    owner.reset(); // killed, and its copy with it, unless the desktop keeps it
    const auto next = copy(QStringLiteral("next"));
    EXPECT_TRUE(sends(QStringLiteral("next")));
    // GNOME puts back the copy before, when an owner is gone before it could keep the newest.
    sent.removeAll(before);
    EXPECT_EQ(sent, QStringList({poem, QStringLiteral("next")}));
}

TEST_P(DesktopSessions, PauseIsNotSentAfterwards) {
    monitor->setPaused(true);
    const auto owner = copy(QStringLiteral("while paused"));
    ASSERT_TRUE(waitFor([&] { return changes == 1; }));
    monitor->setPaused(false);
    const auto next = copy(QStringLiteral("next"));
    EXPECT_TRUE(sends(QStringLiteral("next")));
    EXPECT_EQ(sent.size(), 1);
}

} // namespace
} // namespace sorrelwind

// The back-end for Wayland, on a compositor of the tests that speaks every form of data-control.

#include "clipboard/clipboard_monitor.h"
#include "clipboard/make_pasteboard.h"
#include "clipboard/pipe_writes.h"
#include "clipboard/wayland_pasteboard.h"
#include "tests/clipboard/test_compositor.h"
#include "tests/support/print_qt.h"
#include "tests/support/wait.h"

#include <QDir>
#include <QLocalServer>

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <ostream>

namespace sorrelwind {
namespace {

using namespace std::chrono_literals;
using test::Copied;
using test::TestCompositor;
using test::waitFor;
using Protocol = TestCompositor::Protocol;

const QByteArray kUtf8 = "text/plain;charset=utf-8";
const QByteArray kHint = "x-kde-passwordManagerHint";
const QString poem = QStringLiteral("床前明月光 🌙\r\n疑是地上霜");

/// Reads to the end what arrives without hurry.
std::optional<QByteArray> readAll(FileDescriptor pipe) {
    QByteArray bytes;
    bool ended = false;
    const bool inTime = waitFor([&] {
        std::array<char, 65536> piece;
        ssize_t size = 0;
        while ((size = ::read(pipe.get(), piece.data(), piece.size())) > 0) {
            bytes.append(piece.data(), size);
        }
        ended = size == 0;
        return ended;
    });
    return inTime ? std::optional(bytes) : std::nullopt;
}

int openDescriptors() {
    return static_cast<int>(QDir(QStringLiteral("/proc/self/fd")).count());
}

class WaylandPasteboardTest : public testing::Test {
protected:
    void open(TestCompositor& compositor, std::chrono::milliseconds patience = test::kPatience) {
        auto connection =
            WaylandConnection::open(compositor.display(), QDeadlineTimer(test::kPatience));
        ASSERT_TRUE(connection) << connection.error().en.toStdString();
        pasteboard = std::make_unique<WaylandPasteboard>(*std::move(connection),
                                                         compositor.display(), patience);
        QObject::connect(pasteboard.get(), &Pasteboard::changed, [this] { ++changes; });
        settle(compositor);
    }
    /// Everything that the compositor has said by now is heard.
    void settle(TestCompositor& compositor) {
        auto probe = WaylandConnection::open(compositor.display(), QDeadlineTimer(test::kPatience));
        ASSERT_TRUE(probe);
        test::runFor(20ms);
    }
    [[nodiscard]] bool holds(const QString& text) {
        return waitFor([&] { return pasteboard->string() == text; });
    }

    std::unique_ptr<WaylandPasteboard> pasteboard;
    int changes = 0;
};

struct CopyCase {
    const char* name;
    Copied copied;
    std::optional<QString> text;
    bool concealed = false;
    QByteArrayList asked = {kUtf8};
};

void PrintTo(const CopyCase& test, std::ostream* out) {
    *out << test.name;
}

QByteArrayList manyTypes(int count) {
    QByteArrayList types;
    for (int i = 0; i < count; ++i) {
        types.append("application/x-" + QByteArray::number(i));
    }
    return types;
}

const CopyCase kCopies[] = {
    {"ChineseAndEmoji", {{kUtf8}, poem.toUtf8()}, poem},
    {"BestTypeFirst", {{"STRING", "text/plain", kUtf8, "image/png"}, "a"}, QStringLiteral("a")},
    {"Latin1Only", {{"STRING"}, "Gr\xfc\xdf"}, QStringLiteral("Grüß"), false, {"STRING"}},
    {"MalformedUtf8", {{kUtf8}, "a\xff"}, QStringLiteral("a\ufffd")},
    {"Empty", {{kUtf8}, ""}, QString()},
    {"Files", {{kUtf8, "x-special/gnome-copied-files"}, "/a"}, std::nullopt, false, {}},
    {"LinkInABrowser", {{"text/uri-list", kUtf8}, "link"}, QStringLiteral("link")},
    {"Image", {{"image/png"}, "PNG"}, std::nullopt, false, {}},
    {"NoTypes", {{}, ""}, std::nullopt, false, {}},
    {"Secret", {{kUtf8, kHint}, "s", Copied::whole, "secret"}, std::nullopt, true, {kHint}},
    {"SecretWithoutAWord", {{kUtf8, kHint}, "s"}, std::nullopt, true, {kHint}},
    {"SecretAtLength",
     {{kUtf8, kHint}, "s", Copied::whole, QByteArray(5000, 'p')},
     std::nullopt,
     true,
     {kHint}},
    {"HintPublic",
     {{kUtf8, kHint}, "a", Copied::whole, "public"},
     QStringLiteral("a"),
     false,
     {kHint, kUtf8}},
    {"Concealed", {{kUtf8, "org.nspasteboard.ConcealedType"}, "s"}, std::nullopt, true, {}},
    {"Silence", {{kUtf8}, "", Copied::silence}, std::nullopt},
    {"Endless", {{kUtf8}, "", Copied::endless}, std::nullopt},
    {"ClosesAtOnce", {{kUtf8}, "", Copied::closes}, QString()},
    {"RubbishNames",
     {{"", " ", "\xff\xfe/\x01", QByteArray(3000, '/'), "text/plain;charset=utf-16", kUtf8}, "a"},
     QStringLiteral("a")},
    {"ThousandsOfTypes", {QByteArrayList{kUtf8} + manyTypes(5000), "a"}, QStringLiteral("a")},
    {"TextBehindThousandsOfTypes", {manyTypes(5000) + QByteArrayList{kUtf8}, "a"}, {}, false, {}},
};

class CopyInWayland : public WaylandPasteboardTest, public testing::WithParamInterface<CopyCase> {};

INSTANTIATE_TEST_SUITE_P(All, CopyInWayland, testing::ValuesIn(kCopies),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(CopyInWayland, EndsInOneChange) {
    const CopyCase& test = GetParam();
    TestCompositor compositor(Protocol::ext);
    open(compositor, test.copied.answer == Copied::silence ? 300ms : test::kPatience);
    compositor.copy({{kUtf8}, "old text"});
    ASSERT_TRUE(holds(QStringLiteral("old text")));
    const int descriptors = openDescriptors();
    compositor.copy(test.copied);
    ASSERT_TRUE(waitFor([&] { return changes == 2; }));
    EXPECT_EQ(pasteboard->changeCount(), 2);
    EXPECT_EQ(pasteboard->string(), test.text);
    EXPECT_EQ(pasteboard->tooLarge(), test.copied.answer == Copied::endless);
    EXPECT_EQ(pasteboard->types().contains(kConcealedType), test.concealed);
    EXPECT_LE(pasteboard->types().size(), 1024);
    for (const QString& type : pasteboard->types()) {
        EXPECT_LE(type.size(), kLongestTypeName);
    }
    EXPECT_EQ(compositor.asked(), test.asked);
    compositor.copy({{kUtf8}, "next text"});
    EXPECT_TRUE(holds(QStringLiteral("next text")));
    EXPECT_EQ(changes, 3);
    const int kept = test.copied.answer == Copied::silence ? 1 : 0; // by the other program
    EXPECT_TRUE(waitFor([&] { return openDescriptors() <= descriptors + kept; }));
}

TEST_F(WaylandPasteboardTest, OwnerThatDiesAmidItsTextIsNoCopy) {
    TestCompositor compositor(Protocol::ext);
    open(compositor);
    compositor.copy({{kUtf8}, "old text"});
    ASSERT_TRUE(holds(QStringLiteral("old text")));
    compositor.copy({{kUtf8}, "half of a te", Copied::diesAmid});
    EXPECT_TRUE(waitFor([&] { return pasteboard->types().isEmpty(); }));
    compositor.copy({{kUtf8}, "next text"});
    EXPECT_TRUE(holds(QStringLiteral("next text")));
    EXPECT_EQ(changes, 2);
}

TEST_F(WaylandPasteboardTest, KnowsWhatLayThereBeforeButDoesNotCountIt) {
    TestCompositor compositor(Protocol::ext);
    compositor.copy({{kUtf8}, "earlier"});
    open(compositor);
    EXPECT_TRUE(holds(QStringLiteral("earlier")));
    EXPECT_EQ(pasteboard->changeCount(), 0);
    compositor.copy({{kUtf8}, "earlier"});
    EXPECT_TRUE(waitFor([&] { return pasteboard->changeCount() == 1; }));
}

TEST_F(WaylandPasteboardTest, LeavesThePrimarySelectionAlone) {
    TestCompositor compositor(Protocol::ext);
    open(compositor);
    compositor.copy({{kUtf8}, "a"});
    ASSERT_TRUE(holds(QStringLiteral("a")));
    for (int i = 0; i < 100; ++i) {
        compositor.selectPrimary({{kUtf8}, "b"});
    }
    compositor.clear();
    EXPECT_TRUE(waitFor([&] { return !pasteboard->string(); }));
    EXPECT_EQ(compositor.asked(), QByteArrayList{kUtf8});
    EXPECT_EQ(changes, 1);
}

TEST_F(WaylandPasteboardTest, OverlookedChangeArrivesWithoutCounting) {
    TestCompositor compositor(Protocol::ext);
    open(compositor, 300ms);
    compositor.copy({{kUtf8}, "", Copied::silence});
    ASSERT_TRUE(waitFor([&] { return !compositor.asked().isEmpty(); }));
    pasteboard->overlookChangeUnderWay();
    test::runFor(500ms);
    EXPECT_EQ(pasteboard->changeCount(), 0);
    compositor.copy({{kUtf8}, "after resuming"});
    EXPECT_TRUE(waitFor([&] { return changes == 1; }));
}

class EveryProtocol : public WaylandPasteboardTest, public testing::WithParamInterface<Protocol> {};

INSTANTIATE_TEST_SUITE_P(All, EveryProtocol,
                         testing::Values(Protocol::ext, Protocol::wlr1, Protocol::wlr2,
                                         Protocol::both));

TEST_P(EveryProtocol, ServesOurTextAndKnowsItAgain) {
    TestCompositor compositor(GetParam());
    open(compositor);
    EXPECT_EQ(pasteboard->backend(), QStringLiteral("wayland"));
    compositor.copy({{kUtf8}, "theirs"});
    ASSERT_TRUE(holds(QStringLiteral("theirs")));

    const QString text = poem.repeated(50'000);
    pasteboard->setString(text);
    EXPECT_EQ(pasteboard->changeCount(), 2);
    ASSERT_TRUE(waitFor([&] { return compositor.copies() == 1; }));
    for (const char* type :
         {"text/plain;charset=utf-8", "UTF8_STRING", "text/plain", "STRING", "TEXT"}) {
        EXPECT_TRUE(compositor.offered().contains(type)) << type;
        EXPECT_TRUE(readAll(compositor.paste(type)) == text.toUtf8()) << type;
    }
    EXPECT_EQ(readAll(compositor.paste("image/png")), QByteArray());
    pasteboard->setString(QStringLiteral("Grüß"));
    ASSERT_TRUE(waitFor([&] { return compositor.copies() == 2; }));
    EXPECT_EQ(readAll(compositor.paste("STRING")), QByteArray("Gr\xfc\xdf"));
    EXPECT_FALSE(compositor.offered().contains("x-kde-passwordManagerHint"));
    EXPECT_EQ(pasteboard->changeCount(), 3);
    pasteboard->setSecret(QStringLiteral("words"));
    ASSERT_TRUE(waitFor([&] { return compositor.copies() == 3; }));
    EXPECT_EQ(readAll(compositor.paste("x-kde-passwordManagerHint")), QByteArray("secret"));
    EXPECT_TRUE(compositor.offered().contains("org.nspasteboard.ConcealedType"));
    EXPECT_EQ(changes, 1);

    compositor.copy({{kUtf8}, "theirs"});
    EXPECT_TRUE(holds(QStringLiteral("theirs")));
    EXPECT_EQ(changes, 2);
}

TEST_F(WaylandPasteboardTest, OurCopyKeptByAClipboardManagerIsACopyAgain) {
    TestCompositor compositor(Protocol::ext);
    open(compositor);
    pasteboard->setString(QStringLiteral("ours"));
    ASSERT_TRUE(waitFor([&] { return compositor.copies() == 1; }));
    const QByteArrayList types = compositor.offered();
    compositor.copy({{kUtf8}, "between"});
    ASSERT_TRUE(holds(QStringLiteral("between")));
    compositor.copy({types, "ours"});
    EXPECT_TRUE(holds(QStringLiteral("ours")));
    EXPECT_EQ(changes, 2);
}

TEST_F(WaylandPasteboardTest, TwoOfOursSeeEachOther) {
    TestCompositor compositor(Protocol::ext);
    open(compositor);
    const auto other =
        makePasteboard(ClipboardChoice::automatic, {compositor.display(), QByteArray()});
    other->setString(poem);
    EXPECT_TRUE(holds(poem));
    pasteboard->setString(QStringLiteral("back"));
    EXPECT_TRUE(waitFor([&] { return other->string() == QStringLiteral("back"); }));
    EXPECT_EQ(changes, 1);
}

TEST_F(WaylandPasteboardTest, CopyJustBeforeOursDoesNotReplaceIt) {
    TestCompositor compositor(Protocol::ext);
    open(compositor);
    for (int i = 0; i < 20; ++i) {
        compositor.copy({{kUtf8}, "theirs"}); // on its way while we write
        pasteboard->setString(QStringLiteral("ours"));
        ASSERT_TRUE(waitFor([&] { return compositor.copies() == i + 1; }));
    }
    settle(compositor);
    EXPECT_EQ(pasteboard->string(), QStringLiteral("ours"));
    EXPECT_EQ(changes, 0);
}

TEST_F(WaylandPasteboardTest, SlowReadersHoldUpNobody) {
    TestCompositor compositor(Protocol::ext);
    open(compositor, 50ms);
    const QByteArray text(3'000'000, 'x');
    pasteboard->setString(QString::fromLatin1(text));
    ASSERT_TRUE(waitFor([&] { return compositor.copies() == 1; }));
    const int descriptors = openDescriptors();
    std::vector<FileDescriptor> stalled;
    for (int i = 0; i < 10; ++i) {
        stalled.push_back(compositor.paste(kUtf8));
    }
    compositor.paste(kUtf8).reset(); // one that leaves
    EXPECT_TRUE(readAll(compositor.paste(kUtf8)) == text);
    // Those that never read are dropped in the end: only this side of their pipes stays open.
    EXPECT_TRUE(waitFor([&] { return openDescriptors() == descriptors + 10; }));
    const auto half = readAll(std::move(stalled.front()));
    ASSERT_TRUE(half);
    EXPECT_LT(half->size(), text.size());
}

TEST_F(WaylandPasteboardTest, PastesGoOnThroughTheNextCopy) {
    TestCompositor compositor(Protocol::ext);
    open(compositor);
    const QByteArray text(3'000'000, 'x');
    pasteboard->setString(QString::fromLatin1(text));
    ASSERT_TRUE(waitFor([&] { return compositor.copies() == 1; }));
    auto pasting = compositor.paste(kUtf8);
    settle(compositor);
    compositor.copy({{kUtf8}, "next"});
    ASSERT_TRUE(holds(QStringLiteral("next")));
    EXPECT_TRUE(readAll(std::move(pasting)) == text);
}

TEST_F(WaylandPasteboardTest, GoesOverToAnotherSeatAndWaitsForOne) {
    TestCompositor compositor(Protocol::ext, 2);
    open(compositor);
    compositor.removeFirstSeat();
    compositor.copy({{kUtf8}, "at the second seat"});
    EXPECT_TRUE(holds(QStringLiteral("at the second seat")));
    EXPECT_TRUE(pasteboard->available());
    compositor.removeFirstSeat();
    EXPECT_TRUE(waitFor([&] { return !pasteboard->available(); }));
    EXPECT_FALSE(pasteboard->unavailableReason().en.isEmpty());
    pasteboard->setString(QStringLiteral("nowhere"));
    compositor.addSeat();
    EXPECT_TRUE(waitFor([&] { return pasteboard->available(); }));
    compositor.copy({{kUtf8}, "at the third seat"});
    EXPECT_TRUE(holds(QStringLiteral("at the third seat")));
}

TEST_F(WaylandPasteboardTest, FindsACompositorThatCameBack) {
    auto compositor = std::make_unique<TestCompositor>(Protocol::ext);
    open(*compositor);
    pasteboard->setString(poem);
    int announced = 0;
    QObject::connect(pasteboard.get(), &Pasteboard::availabilityChanged, [&] { ++announced; });
    ASSERT_TRUE(waitFor([&] { return compositor->copies() == 1; }));
    settle(*compositor);
    compositor->complain(); // which ends the connection; the compositor goes on
    ASSERT_TRUE(waitFor([&] { return !pasteboard->available(); }));
    EXPECT_FALSE(pasteboard->unavailableReason().en.isEmpty());
    const qint64 count = pasteboard->changeCount();
    pasteboard->setString(QStringLiteral("a"));
    EXPECT_EQ(pasteboard->changeCount(), count);
    ASSERT_TRUE(waitFor([&] { return pasteboard->available(); }));
    EXPECT_EQ(announced, 2);
    compositor->copy({{kUtf8}, "again"});
    EXPECT_TRUE(holds(QStringLiteral("again")));
    EXPECT_EQ(pasteboard->changeCount(), count + 1);
    compositor.reset();
    EXPECT_TRUE(waitFor([&] { return !pasteboard->available(); }));
}

TEST(MakePasteboard, TakesWhatTheSessionOffersAndSaysWhyNot) {
    TestCompositor data(Protocol::ext);
    TestCompositor noData(Protocol::none);
    const auto made = [](ClipboardChoice choice, const QByteArray& wayland) {
        return makePasteboard(choice, {wayland, ":60000"});
    };
    EXPECT_EQ(made(ClipboardChoice::automatic, data.display())->backend(),
              QStringLiteral("wayland"));
    EXPECT_TRUE(made(ClipboardChoice::wayland, data.display())->available());
    const struct {
        ClipboardChoice choice;
        QByteArray wayland;
        const char* says;
        bool saysX11;
    } refused[] = {
        {ClipboardChoice::wayland, noData.display(), "no data-control", false},
        {ClipboardChoice::automatic, noData.display(), "no data-control", true},
        {ClipboardChoice::wayland, "", "WAYLAND_DISPLAY", false},
        {ClipboardChoice::wayland, "/nowhere", "no Wayland compositor", false},
        {ClipboardChoice::x11, data.display(), "X server", true},
    };
    for (const auto& one : refused) {
        const auto pasteboard = made(one.choice, one.wayland);
        EXPECT_FALSE(pasteboard->available());
        EXPECT_EQ(pasteboard->backend(), QStringLiteral("none"));
        const QString reason = pasteboard->unavailableReason().en;
        EXPECT_TRUE(reason.contains(QLatin1StringView(one.says))) << reason.toStdString();
        EXPECT_EQ(reason.contains(QStringLiteral("X server")), one.saysX11) << reason.toStdString();
    }
}

TEST(MakePasteboard, GivesUpACompositorThatHangs) {
    const QTemporaryDir folder;
    QLocalServer hung; // takes the connection and says nothing
    ASSERT_TRUE(hung.listen(folder.filePath(QStringLiteral("wayland"))));
    const auto connection =
        WaylandConnection::open(hung.fullServerName().toLocal8Bit(), QDeadlineTimer(200ms));
    ASSERT_FALSE(connection);
    EXPECT_TRUE(connection.error().en.contains(QStringLiteral("does not answer")));
}

} // namespace
} // namespace sorrelwind

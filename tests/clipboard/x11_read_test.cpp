// What the pasteboard makes of other programs' copies.

#include "tests/clipboard/x11_fixture.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace sorrelwind {
namespace {

using namespace std::chrono_literals;
using test::Answer;
using test::poem;
using test::waitFor;
using test::X11PasteboardTest;
using test::XOwner;

constexpr const char* kHint = "x-kde-passwordManagerHint";
constexpr const char* kGnomeFiles = "x-special/gnome-copied-files";
constexpr const char* kUtf8 = "UTF8_STRING";
constexpr const char* kPlain = "text/plain";
constexpr const char* kUtf8Mime = "text/plain;charset=utf-8";
const QString kLong = poem.repeated(20'000);
const QByteArray kLarge(100'000, 'p');
const QByteArray kTooLarge(kMaxClipboardBytes + 100, 'x');
const QByteArray kHalf(kMaxClipboardBytes / 2, '\xfc'); // in UTF-8 twice as long

struct CopyCase {
    const char* name;
    std::vector<Answer> answers;
    std::optional<QString> text;
    QByteArrayList asked; ///< once it has told its targets
    bool concealed = false;
};

void PrintTo(const CopyCase& test, std::ostream* out) {
    *out << test.name;
}

QByteArray atoms(const std::vector<xcb_atom_t>& list) {
    return {reinterpret_cast<const char*>(list.data()), qsizetype(list.size() * sizeof list[0])};
}
const QByteArray kManyAtoms = atoms({XCB_ATOM_STRING}).repeated(5000);

/// Every fetch that fails must fail within the deadline, leave no old text, and not spoil the next.
const CopyCase kCopies[] = {
    {"ChineseAndEmoji", {{kUtf8, poem.toUtf8()}}, poem, {kUtf8}},
    {"BestTypeFirst", {{"STRING", "3"}, {kPlain, "2"}, {kUtf8, "1"}}, u"1"_qs, {kUtf8}},
    {"BestTypeOfAll", {{kUtf8, "2"}, {kUtf8Mime, "1"}}, u"1"_qs, {kUtf8Mime}},
    {"Latin1Only", {{"STRING", "s\xfc\xdf"}}, u"süß"_qs, {"STRING"}},
    {"OneFinalNulIsNoText", {{kUtf8, QByteArray("a\0\0", 3)}}, u"a\0"_qs, {kUtf8}},
    {"ByteOrderMarkAndBadBytes", {{kUtf8, "\xef\xbb\xbfy\xffz"}}, u"\ufeffy\ufffdz"_qs, {kUtf8}},
    {"Empty", {{kUtf8, ""}}, QString(), {kUtf8}},
    {"Image", {{"image/png", "\x89PNG"}}, {}, {}},
    {"ImageAndText", {{"image/png", "\x89PNG"}, {kPlain, "alt"}}, u"alt"_qs, {kPlain}},
    {"Concealed", {{kUtf8, "it"}, {"org.nspasteboard.ConcealedType", ""}}, {}, {}, true},
    {"HintSecret", {{kUtf8, "it"}, {kHint, "secret"}}, {}, {kHint}, true},
    {"HintPublic", {{kUtf8, "open"}, {kHint, "public"}}, u"open"_qs, {kHint, kUtf8}},
    {"HintRefused", {{kUtf8, "it"}, {kHint, "", Answer::refusal}}, {}, {kHint}, true},
    {"HintUnanswered", {{kUtf8, "it"}, {kHint, "", Answer::silence}}, {}, {kHint}, true},
    {"HintTooLong", {{kUtf8, "it"}, {kHint, kLarge}}, {}, {kHint}, true},
    {"Increments", {{kUtf8, kLong.toUtf8(), Answer::incremental}}, kLong, {kUtf8}},
    {"IncrementsOfNothing", {{kUtf8, "", Answer::incremental}}, QString(), {kUtf8}},
    {"AnnouncedWrongly", {{kUtf8, "abc", Answer::incremental, {}, 8, 7}}, u"abc"_qs, {kUtf8}},
    {"IncrementsThatStall", {{kUtf8, kLarge, Answer::stalling}}, {}, {kUtf8}},
    {"TooLargeInOnePiece", {{kUtf8, kTooLarge}}, {}, {kUtf8}},
    {"TooLargeInIncrements", {{kUtf8, kTooLarge, Answer::incremental}}, {}, {kUtf8}},
    {"TooLargeAsUtf8", {{"STRING", kHalf + "\xfc"}}, {}, {"STRING"}},
    {"Files", {{kUtf8, "/a"}, {"text/uri-list", "file:///a"}, {kGnomeFiles, "copy"}}, {}, {}},
    {"FilesOfMate", {{kUtf8, "/a"}, {"x-special/mate-copied-files", "copy"}}, {}, {}},
    {"FilesOfNautilus", {{kUtf8, "/a"}, {"x-special/nautilus-clipboard", "copy"}}, {}, {}},
    {"FilesOfKde", {{kUtf8, "/a"}, {"application/x-kde4-urilist", "file:///a"}}, {}, {}},
    {"CutFilesOfKde", {{kUtf8, "/a"}, {"application/x-kde-cutselection", "1"}}, {}, {}},
    {"FilesOfAPortal", {{kUtf8, "/a"}, {"application/vnd.portal.filetransfer", "k"}}, {}, {}},
    {"LinkInABrowser",
     {{"text/x-moz-url", "l"}, {"text/uri-list", "l"}, {kUtf8, "link"}},
     u"link"_qs,
     {kUtf8}},
    {"NamesAtLength", {{QByteArray(60'000, 'n'), ""}, {kUtf8, "a"}}, u"a"_qs, {kUtf8}},
    {"TargetsRefused", {{"TARGETS", "", Answer::refusal}}, {}, {}},
    {"TargetsUnanswered", {{"TARGETS", "", Answer::silence}}, {}, {}},
    {"TargetsInAWrongFormat", {{"TARGETS", kUtf8, Answer::whole, "ATOM", 8}}, {}, {}},
    {"UnknownTargets", {{"TARGETS", atoms({0x1ffffff0, 0}), Answer::whole, "ATOM", 32}}, {}, {}},
    {"TooManyTargets", {{"TARGETS", kManyAtoms, Answer::whole, "ATOM", 32}}, {}, {}},
    {"TextAnnouncedEarly", {{kUtf8, "there", Answer::announcedEarly}}, u"there"_qs, {kUtf8}},
    {"TextRefused", {{kUtf8, "", Answer::refusal}}, {}, {kUtf8}},
    {"TextUnanswered", {{kUtf8, "", Answer::silence}}, {}, {kUtf8, kUtf8}},
    {"TextAnsweredTheSecondTime",
     {{kUtf8, "there", Answer::silentOnce}},
     u"there"_qs,
     {kUtf8, kUtf8}},
    {"TextInAWrongFormat", {{kUtf8, "abcd", Answer::whole, {}, 32}}, {}, {kUtf8}},
};

class CopyByAnother : public X11PasteboardTest, public testing::WithParamInterface<CopyCase> {};

TEST_P(CopyByAnother, EndsInOneChange) {
    const CopyCase& test = GetParam();
    const bool silent = std::ranges::any_of(test.answers, [](const Answer& answer) {
        return answer.kind == Answer::silence || answer.kind == Answer::silentOnce ||
               answer.kind == Answer::stalling;
    });
    if (silent)
        open(1s);
    XOwner before(display());
    before.copyText("old");
    ASSERT_TRUE(holds(u"old"_qs));
    const qint64 count = pasteboard->changeCount();

    XOwner owner(display());
    owner.copy(test.answers);
    ASSERT_TRUE(waitFor([&] { return changes == 2; }));
    EXPECT_EQ(pasteboard->changeCount(), count + 1);
    EXPECT_EQ(pasteboard->string(), test.text);
    EXPECT_EQ(pasteboard->tooLarge(), std::string_view(test.name).starts_with("TooLarge"));
    EXPECT_EQ(pasteboard->types().contains(kConcealedType), test.concealed);
    EXPECT_EQ(owner.asked, QByteArrayList{"TARGETS"} + test.asked);
    for (const QString& type : pasteboard->types())
        EXPECT_LE(type.size(), kLongestTypeName);

    before.copyText("next");
    EXPECT_TRUE(holds(u"next"_qs));
    EXPECT_EQ(changes, 3);
    EXPECT_TRUE(tidy());
}

INSTANTIATE_TEST_SUITE_P(All, CopyByAnother, testing::ValuesIn(kCopies),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(X11PasteboardTest, ListsTheTypesThatAreOffered) {
    XOwner owner(display());
    owner.copy({{"text/html", "<b>a</b>"}, {"UTF8_STRING", "a"}});
    ASSERT_TRUE(holds(u"a"_qs));
    EXPECT_EQ(pasteboard->types(), QStringList({u"text/html"_qs, u"UTF8_STRING"_qs}));
}

TEST_F(X11PasteboardTest, KnowsWhatLayThereBeforeButDoesNotCountIt) {
    XOwner owner(display());
    owner.copyText("earlier");
    open(test::kPatience);
    EXPECT_TRUE(holds(u"earlier"_qs));
    EXPECT_EQ(pasteboard->changeCount(), 0);
    owner.copyText("earlier");
    EXPECT_TRUE(waitFor([&] { return pasteboard->changeCount() == 1; }));
}

TEST_F(X11PasteboardTest, AnswersItsLoopWhileAnOwnerIsSilent) {
    XOwner owner(display());
    owner.copy({{"TARGETS", "", Answer::silence}});
    ASSERT_TRUE(waitFor([&] { return !owner.asked.empty(); }));
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ++ticks; });
    ticker.start(1ms);
    EXPECT_TRUE(waitFor([&] { return ticks == 20; }));
    EXPECT_EQ(changes, 0);
}

TEST_F(X11PasteboardTest, OwnerThatExitsLeavesNothingAndIsNoCopy) {
    auto owner = std::make_unique<XOwner>(display());
    owner->copyText("a");
    ASSERT_TRUE(holds(u"a"_qs));
    owner.reset();
    EXPECT_TRUE(waitFor([&] { return !pasteboard->string() && pasteboard->types().isEmpty(); }));
    EXPECT_EQ(changes, 1);
}

TEST_F(X11PasteboardTest, OwnerThatDiesBetweenTwoPiecesIsNoCopy) {
    open(500ms);
    XOwner before(display());
    before.copyText("old");
    ASSERT_TRUE(holds(u"old"_qs));
    XOwner owner(display());
    owner.onPiece = [&] { owner.die(); };
    owner.copy({{"UTF8_STRING", QByteArray(200'000, 'x'), Answer::incremental}});
    EXPECT_TRUE(waitFor([&] { return !pasteboard->string(); }));
    test::runFor(700ms); // past the deadline of the transfer that ended with it
    EXPECT_EQ(changes, 1);
    before.copyText("next");
    EXPECT_TRUE(holds(u"next"_qs));
}

TEST_F(X11PasteboardTest, NewerCopyEndsATransferUnderWay) {
    XOwner slow(display());
    XOwner fast(display());
    slow.onPiece = [&] {
        if (slow.piecesSent == 2)
            fast.copyText("newer");
    };
    slow.copy({{"UTF8_STRING", QByteArray(1'000'000, 'x'), Answer::incremental}});
    EXPECT_TRUE(holds(u"newer"_qs));
    EXPECT_EQ(changes, 1);
    // The first owner gets rid of the rest: 16 pieces and the empty one.
    EXPECT_TRUE(waitFor([&] { return slow.piecesSent == 17; }));
    EXPECT_EQ(pasteboard->string(), u"newer"_qs);
}

TEST_F(X11PasteboardTest, HearsNoMoreOfATextThatNeverEnds) {
    XOwner owner(display());
    owner.copy({{"UTF8_STRING", QByteArray(4096, 'x'), Answer::endless}});
    ASSERT_TRUE(waitFor([&] { return changes == 1; }));
    EXPECT_EQ(pasteboard->string(), std::nullopt);
    EXPECT_TRUE(waitFor([&] { return !owner.requestorExists(); }));
    owner.copyText("next");
    EXPECT_TRUE(holds(u"next"_qs));
}

TEST_F(X11PasteboardTest, WaitsForASlowOwnerAsLongAsItGetsOn) {
    open(2s);
    XOwner owner(display());
    owner.pieceTime = 400ms;
    const QByteArray text(300'000, 'x');
    owner.copy({{"UTF8_STRING", text, Answer::incremental}});
    EXPECT_TRUE(holds(QString::fromLatin1(text)));
    EXPECT_EQ(changes, 1);
}

struct LateAnswer {
    const char* name;
    Answer::Kind kind;
    bool amidText; ///< the next owner is sending its text, else it has yet to list its targets
};

void PrintTo(const LateAnswer& test, std::ostream* out) {
    *out << test.name;
}

class LateAnswerOfAHungOwner : public X11PasteboardTest,
                               public testing::WithParamInterface<LateAnswer> {};

INSTANTIATE_TEST_SUITE_P(All, LateAnswerOfAHungOwner,
                         testing::Values(LateAnswer{"Whole", Answer::whole, false},
                                         LateAnswer{"Refusal", Answer::refusal, false},
                                         LateAnswer{"Increments", Answer::incremental, false},
                                         LateAnswer{"AmidText", Answer::incremental, true}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(LateAnswerOfAHungOwner, IsNotTakenForTheNextCopy) {
    open(1s);
    const QByteArray text(300'000, 'x');
    XOwner hung(display());
    hung.hanging = true;
    hung.copy({{"UTF8_STRING", "late"}, {"TARGETS", QByteArray(100'000, '\1'), GetParam().kind}});
    ASSERT_TRUE(waitFor([&] { return changes == 1; }));

    XOwner next(display());
    next.hanging = !GetParam().amidText;
    next.onPiece = [&] {
        if (next.piecesSent == 2)
            hung.release();
    };
    next.copy({{"UTF8_STRING", text, Answer::incremental}});
    if (next.hanging) {
        ASSERT_TRUE(waitFor([&] { return !next.asked.empty(); }));
        hung.release();
        // Its answer is on the way before the next owner's.
        (void)hung.owner("CLIPBOARD");
        next.release();
    }
    ASSERT_TRUE(holds(QString::fromLatin1(text)));
    EXPECT_EQ(changes, 2);
    if (GetParam().kind == Answer::incremental) {
        // Nobody wants its pieces, and still it gets rid of them: two and the empty one.
        EXPECT_TRUE(waitFor([&] { return hung.piecesSent == 3; }));
    }
    EXPECT_TRUE(tidy());
}

TEST_F(X11PasteboardTest, QuickCopiesEndWithTheLast) {
    XOwner a(display());
    XOwner b(display());
    for (int i = 0; i < 50; ++i)
        (i % 2 == 0 ? a : b).copyText("copy " + QByteArray::number(i));
    EXPECT_TRUE(holds(u"copy 49"_qs));
    EXPECT_EQ(pasteboard->changeCount(), changes);
}

TEST_F(X11PasteboardTest, OverlookedChangeArrivesWithoutCounting) {
    XOwner owner(display());
    owner.onPiece = [&] {
        if (owner.piecesSent == 1)
            pasteboard->overlookChangeUnderWay();
    };
    owner.copy({{"UTF8_STRING", "while paused", Answer::incremental}});
    EXPECT_TRUE(holds(u"while paused"_qs));
    EXPECT_EQ(pasteboard->changeCount(), 0);
    EXPECT_EQ(changes, 0);
    owner.copyText("after resuming");
    EXPECT_TRUE(waitFor([&] { return changes == 1; }));
}

} // namespace
} // namespace sorrelwind

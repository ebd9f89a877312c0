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
using test::waitFor;
using test::X11PasteboardTest;
using test::XOwner;

struct CopyCase {
    const char* name;
    std::vector<Answer> answers;
    std::optional<QString> text;
    bool concealed = false;
    QByteArrayList asked;
};

void PrintTo(const CopyCase& test, std::ostream* out) {
    *out << test.name;
}

constexpr const char* kHint = "x-kde-passwordManagerHint";
constexpr const char* kUtf8Mime = "text/plain;charset=utf-8";

QByteArray atomBytes(xcb_atom_t atom) {
    return {reinterpret_cast<const char*>(&atom), sizeof atom};
}

const QString poem = QStringLiteral("床前明月光 🌙\r\n疑是地上霜");

/// Every fetch that fails must fail within the deadline, leave no old text, and not spoil the next.
const CopyCase kCopies[] = {
    {"ChineseAndEmoji", {{"UTF8_STRING", poem.toUtf8()}}, poem, false, {"TARGETS", "UTF8_STRING"}},
    {"BestTypeFirst",
     {{"STRING", "4"}, {"text/plain", "3"}, {"UTF8_STRING", "2"}, {kUtf8Mime, "1"}},
     QStringLiteral("1"),
     false,
     {"TARGETS", kUtf8Mime}},
    {"Latin1Only",
     {{"STRING", "Gr\xfc\xdf"
                 "e"}},
     QStringLiteral("Grüße"),
     false,
     {"TARGETS", "STRING"}},
    {"OneFinalNulIsNoText",
     {{"UTF8_STRING", QByteArray("a\0\0", 3)}},
     QString(QStringLiteral("a")) + QChar(u'\0'),
     false,
     {"TARGETS", "UTF8_STRING"}},
    {"ByteOrderMarkAndMalformedBytes",
     {{"UTF8_STRING", "\xef\xbb\xbf"
                      "a\xff"
                      "b"}},
     QStringLiteral("\ufeffa\ufffdb"),
     false,
     {"TARGETS", "UTF8_STRING"}},
    {"Empty", {{"UTF8_STRING", ""}}, QString(), false, {"TARGETS", "UTF8_STRING"}},
    {"Image", {{"image/png", "\x89PNG"}}, std::nullopt, false, {"TARGETS"}},
    {"ImageWithText",
     {{"image/png", "\x89PNG"}, {"text/plain", "alt"}},
     QStringLiteral("alt"),
     false,
     {"TARGETS", "text/plain"}},
    {"ConcealedTextIsNotFetched",
     {{"UTF8_STRING", "secret"}, {"org.nspasteboard.ConcealedType", ""}},
     std::nullopt,
     true,
     {"TARGETS"}},
    {"HintSecret",
     {{"UTF8_STRING", "secret"}, {kHint, "secret"}},
     std::nullopt,
     true,
     {"TARGETS", kHint}},
    {"HintPublic",
     {{"UTF8_STRING", "open"}, {kHint, "public"}},
     QStringLiteral("open"),
     false,
     {"TARGETS", kHint, "UTF8_STRING"}},
    {"HintRefused",
     {{"UTF8_STRING", "secret"}, {kHint, "", Answer::refusal}},
     std::nullopt,
     true,
     {"TARGETS", kHint}},
    {"HintUnanswered",
     {{"UTF8_STRING", "secret"}, {kHint, "", Answer::silence}},
     std::nullopt,
     true,
     {"TARGETS", kHint}},
    {"HintTooLong",
     {{"UTF8_STRING", "secret"}, {kHint, QByteArray(100'000, 'p')}},
     std::nullopt,
     true,
     {"TARGETS", kHint}},
    {"Increments",
     {{"UTF8_STRING", poem.toUtf8().repeated(20'000), Answer::incremental}},
     poem.repeated(20'000),
     false,
     {"TARGETS", "UTF8_STRING"}},
    {"IncrementsOfNothing",
     {{"UTF8_STRING", "", Answer::incremental}},
     QString(),
     false,
     {"TARGETS", "UTF8_STRING"}},
    {"IncrementsAnnouncedWrongly",
     {{"UTF8_STRING", "abc", Answer::incremental, {}, 8, 7}},
     QStringLiteral("abc"),
     false,
     {"TARGETS", "UTF8_STRING"}},
    {"IncrementsThatStall",
     {{"UTF8_STRING", QByteArray(100'000, 'x'), Answer::stalling}},
     std::nullopt,
     false,
     {"TARGETS", "UTF8_STRING"}},
    {"TooLargeInOnePiece",
     {{"UTF8_STRING", QByteArray(kMaxClipboardBytes + 100, 'x')}},
     std::nullopt,
     false,
     {"TARGETS", "UTF8_STRING"}},
    {"TooLargeInIncrements",
     {{"UTF8_STRING", QByteArray(kMaxClipboardBytes + 100, 'x'), Answer::incremental}},
     std::nullopt,
     false,
     {"TARGETS", "UTF8_STRING"}},
    {"TooLargeAsUtf8",
     {{"STRING", QByteArray(kMaxClipboardBytes / 2 + 1, '\xfc')}},
     std::nullopt,
     false,
     {"TARGETS", "STRING"}},
    {"TargetsRefused", {{"TARGETS", "", Answer::refusal}}, std::nullopt, false, {"TARGETS"}},
    {"TargetsUnanswered", {{"TARGETS", "", Answer::silence}}, std::nullopt, false, {"TARGETS"}},
    {"TargetsInAWrongFormat",
     {{"TARGETS", "UTF8_STRING", Answer::whole, "ATOM", 8}},
     std::nullopt,
     false,
     {"TARGETS"}},
    {"TargetsThatDoNotExist",
     {{"TARGETS", atomBytes(0x1ffffff0) + atomBytes(0), Answer::whole, "ATOM", 32}},
     std::nullopt,
     false,
     {"TARGETS"}},
    {"TooManyTargets",
     {{"TARGETS", atomBytes(XCB_ATOM_STRING).repeated(5000), Answer::whole, "ATOM", 32}},
     std::nullopt,
     false,
     {"TARGETS"}},
    {"TextAnnouncedEarly",
     {{"UTF8_STRING", "there", Answer::announcedEarly}},
     QStringLiteral("there"),
     false,
     {"TARGETS", "UTF8_STRING"}},
    {"TextRefused",
     {{"UTF8_STRING", "", Answer::refusal}},
     std::nullopt,
     false,
     {"TARGETS", "UTF8_STRING"}},
    {"TextUnanswered",
     {{"UTF8_STRING", "", Answer::silence}},
     std::nullopt,
     false,
     {"TARGETS", "UTF8_STRING", "UTF8_STRING"}},
    {"TextAnsweredTheSecondTime",
     {{"UTF8_STRING", "there", Answer::silentOnce}},
     QStringLiteral("there"),
     false,
     {"TARGETS", "UTF8_STRING", "UTF8_STRING"}},
    {"TextInAWrongFormat",
     {{"UTF8_STRING", "abcd", Answer::whole, {}, 32}},
     std::nullopt,
     false,
     {"TARGETS", "UTF8_STRING"}},
};

class CopyByAnother : public X11PasteboardTest, public testing::WithParamInterface<CopyCase> {};

TEST_P(CopyByAnother, EndsInOneChange) {
    const CopyCase& test = GetParam();
    const bool silent = std::ranges::any_of(test.answers, [](const Answer& answer) {
        return answer.kind == Answer::silence || answer.kind == Answer::silentOnce ||
               answer.kind == Answer::stalling;
    });
    if (silent) {
        open(1s);
    }
    XOwner before(display());
    before.copyText("old text");
    ASSERT_TRUE(holds(QStringLiteral("old text")));
    const qint64 count = pasteboard->changeCount();

    XOwner owner(display());
    owner.copy(test.answers);
    ASSERT_TRUE(waitFor([&] { return changes == 2; }));
    EXPECT_EQ(pasteboard->changeCount(), count + 1);
    EXPECT_EQ(pasteboard->string(), test.text);
    EXPECT_EQ(pasteboard->types().contains(kConcealedType), test.concealed);
    EXPECT_EQ(owner.asked, test.asked);

    before.copyText("next text");
    EXPECT_TRUE(holds(QStringLiteral("next text")));
    EXPECT_EQ(changes, 3);
    EXPECT_TRUE(tidy());
}

INSTANTIATE_TEST_SUITE_P(All, CopyByAnother, testing::ValuesIn(kCopies),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(X11PasteboardTest, ListsTheTypesThatAreOffered) {
    XOwner owner(display());
    owner.copy({{"text/html", "<b>a</b>"}, {"UTF8_STRING", "a"}});
    ASSERT_TRUE(holds(QStringLiteral("a")));
    EXPECT_EQ(pasteboard->types(),
              QStringList({QStringLiteral("text/html"), QStringLiteral("UTF8_STRING")}));
}

TEST_F(X11PasteboardTest, KnowsWhatLayThereBeforeButDoesNotCountIt) {
    XOwner owner(display());
    owner.copyText("earlier");
    open(test::kPatience);
    EXPECT_TRUE(holds(QStringLiteral("earlier")));
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
    ASSERT_TRUE(holds(QStringLiteral("a")));
    owner.reset();
    EXPECT_TRUE(waitFor([&] { return !pasteboard->string() && pasteboard->types().isEmpty(); }));
    EXPECT_EQ(changes, 1);
}

TEST_F(X11PasteboardTest, OwnerThatDiesBetweenTwoPiecesIsNoCopy) {
    open(500ms);
    XOwner before(display());
    before.copyText("old text");
    ASSERT_TRUE(holds(QStringLiteral("old text")));
    XOwner owner(display());
    owner.onPiece = [&] { owner.die(); };
    owner.copy({{"UTF8_STRING", QByteArray(200'000, 'x'), Answer::incremental}});
    EXPECT_TRUE(waitFor([&] { return !pasteboard->string(); }));
    test::runFor(700ms); // past the deadline of the transfer that ended with it
    EXPECT_EQ(changes, 1);
    before.copyText("next text");
    EXPECT_TRUE(holds(QStringLiteral("next text")));
}

TEST_F(X11PasteboardTest, NewerCopyEndsATransferUnderWay) {
    XOwner slow(display());
    XOwner fast(display());
    slow.onPiece = [&] {
        if (slow.piecesSent == 2) {
            fast.copyText("newer");
        }
    };
    slow.copy({{"UTF8_STRING", QByteArray(1'000'000, 'x'), Answer::incremental}});
    EXPECT_TRUE(holds(QStringLiteral("newer")));
    EXPECT_EQ(changes, 1);
    // The first owner gets rid of the rest: 16 pieces and the empty one.
    EXPECT_TRUE(waitFor([&] { return slow.piecesSent == 17; }));
    EXPECT_EQ(pasteboard->string(), QStringLiteral("newer"));
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
        if (next.piecesSent == 2) {
            hung.release();
        }
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
    for (int i = 0; i < 50; ++i) {
        (i % 2 == 0 ? a : b).copyText("copy " + QByteArray::number(i));
    }
    EXPECT_TRUE(holds(QStringLiteral("copy 49")));
    EXPECT_EQ(pasteboard->changeCount(), changes);
}

TEST_F(X11PasteboardTest, OverlookedChangeArrivesWithoutCounting) {
    XOwner owner(display());
    owner.onPiece = [&] {
        if (owner.piecesSent == 1) {
            pasteboard->overlookChangeUnderWay();
        }
    };
    owner.copy({{"UTF8_STRING", "while paused", Answer::incremental}});
    EXPECT_TRUE(holds(QStringLiteral("while paused")));
    EXPECT_EQ(pasteboard->changeCount(), 0);
    EXPECT_EQ(changes, 0);
    owner.copyText("after resuming");
    EXPECT_TRUE(waitFor([&] { return changes == 1; }));
}

} // namespace
} // namespace sorrelwind

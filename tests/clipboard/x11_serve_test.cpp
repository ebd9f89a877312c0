// How our own text is served, and to whom.

#include "clipboard/clipboard_monitor.h"
#include "clipboard/clipboard_text.h"
#include "clipboard/make_pasteboard.h"
#include "tests/clipboard/x11_fixture.h"

#include <string>
#include <vector>

namespace sorrelwind {
namespace {

using namespace std::chrono_literals;
using test::poem;
using test::waitFor;
using test::X11PasteboardTest;
using test::XClipboardManager;
using test::XOwner;
using test::XRequestor;

const QString kLong = poem.repeated(50'000);

TEST_F(X11PasteboardTest, ServesItsTextAsEachTypeOfText) {
    const QString large = poem.repeated(200'000);
    const std::tuple<QString, QByteArray, QByteArray> cases[] = {
        {poem, "UTF8_STRING", poem.toUtf8()},
        {poem, "text/plain;charset=utf-8", poem.toUtf8()},
        {poem, "text/plain", poem.toUtf8()},
        {u"süß"_qs, "STRING", "s\xfc\xdf"},
        {poem, "STRING", poem.toUtf8()}, // beyond Latin-1
        {large, "UTF8_STRING", large.toUtf8()},
        {QString(700'000, u'ü'), "STRING", QByteArray(700'000, '\xfc')},
    };
    qint64 count = 0;
    for (const auto& [text, target, bytes] : cases) {
        SCOPED_TRACE(target.toStdString() + ' ' + std::to_string(text.size()));
        pasteboard->setString(text);
        EXPECT_EQ(pasteboard->changeCount(), ++count);
        ASSERT_TRUE(owned());
        const auto pasted = paste(target);
        ASSERT_TRUE(pasted);
        EXPECT_EQ(pasted->type, target);
        EXPECT_TRUE(pasted->bytes == bytes) << pasted->bytes.size() << " bytes";
        EXPECT_EQ(pasteboard->changeCount(), count);
    }
    EXPECT_EQ(changes, 0);
}

TEST_F(X11PasteboardTest, ServesTheTargetsThatTheProtocolAsksFor) {
    pasteboard->setString(u"a"_qs);
    ASSERT_TRUE(owned());
    XRequestor requestor(display());
    requestor.attach();

    const auto targets = paste("TARGETS").value();
    EXPECT_EQ(targets.type, "ATOM");
    for (const char* target : {"TARGETS", "TIMESTAMP", "MULTIPLE", "SAVE_TARGETS", "UTF8_STRING",
                               "text/plain;charset=utf-8", "text/plain", "STRING"}) {
        const xcb_atom_t atom = requestor.atom(target);
        const QByteArray bytes(reinterpret_cast<const char*>(&atom), sizeof atom);
        EXPECT_TRUE(targets.bytes.contains(bytes)) << target;
    }
    const auto timestamp = paste("TIMESTAMP").value();
    EXPECT_EQ(timestamp.type, "INTEGER");
    EXPECT_EQ(timestamp.bytes.size(), 4);
    EXPECT_NE(timestamp.bytes, QByteArray(4, '\0'));
    EXPECT_TRUE(paste("image/png")->refused);
    EXPECT_TRUE(paste("MULTIPLE")->refused) << "without its list";

    requestor.askMultiple({"UTF8_STRING", "image/png", "STRING"});
    ASSERT_TRUE(waitFor([&] { return requestor.result.has_value(); }));
    const auto* pairs = reinterpret_cast<const xcb_atom_t*>(requestor.result->bytes.constData());
    ASSERT_EQ(requestor.result->bytes.size(), 6 * qsizetype(sizeof(xcb_atom_t)));
    EXPECT_NE(pairs[1], XCB_NONE);
    EXPECT_EQ(pairs[3], XCB_NONE);
    EXPECT_EQ(requestor.converted("UTF8_STRING"), "a");
    EXPECT_EQ(requestor.converted("STRING"), "a");
}

TEST_F(X11PasteboardTest, ServesManyAtOnceAndDropsThoseThatStallOrDie) {
    open(1s);
    pasteboard->setString(kLong);
    ASSERT_TRUE(owned());
    std::vector<std::unique_ptr<XRequestor>> requestors;
    for (int i = 0; i < 12; ++i) {
        requestors.push_back(std::make_unique<XRequestor>(display()));
        requestors.back()->attach();
        requestors.back()->ask("UTF8_STRING");
    }
    XRequestor& stalling = *requestors[3];
    stalling.stallAfter = 1;
    XRequestor& dying = *requestors[5];
    dying.onPiece = [&] { dying.die(); };
    for (const auto& one : requestors) {
        if (one.get() != &stalling && one.get() != &dying) {
            ASSERT_TRUE(waitFor([&] { return one->result.has_value(); }));
            EXPECT_TRUE(one->result->bytes == kLong.toUtf8());
        }
    }
    EXPECT_EQ(dying.piecesTaken, 1);

    ASSERT_TRUE(waitFor([&] { return stalling.piecesTaken == 1 && !stalling.watched(); }));
    stalling.takePiece();
    ASSERT_TRUE(paste("UTF8_STRING"));
    EXPECT_EQ(stalling.piecesTaken, 2); // which was there already
    EXPECT_FALSE(stalling.result);
}

TEST_F(X11PasteboardTest, WaitsForASlowRequestorAsLongAsItGetsOn) {
    open(2s);
    pasteboard->setString(kLong);
    ASSERT_TRUE(owned());
    XRequestor slow(display());
    slow.attach();
    slow.stallAfter = 0;
    slow.ask("UTF8_STRING");
    QTimer pace;
    QObject::connect(&pace, &QTimer::timeout, [&] { slow.takePiece(); });
    pace.start(300ms);
    ASSERT_TRUE(waitFor([&] { return slow.result.has_value(); }));
    EXPECT_TRUE(slow.result->bytes == kLong.toUtf8());
}

TEST_F(X11PasteboardTest, FinishesATransferAfterAnotherCopy) {
    pasteboard->setString(kLong);
    ASSERT_TRUE(owned());
    XOwner other(display());
    XRequestor requestor(display());
    requestor.attach();
    requestor.onPiece = [&] {
        if (requestor.piecesTaken == 1)
            other.copyText("b");
    };
    requestor.ask("UTF8_STRING");
    ASSERT_TRUE(waitFor([&] { return requestor.result.has_value(); }));
    EXPECT_TRUE(requestor.result->bytes == kLong.toUtf8());
    EXPECT_TRUE(holds(u"b"_qs));
    EXPECT_EQ(pasteboard->changeCount(), 2);
}

TEST_F(X11PasteboardTest, RefusesATextBeyondTheLimit) {
    pasteboard->setString(QString(kMaxClipboardBytes + 1, u'x'));
    EXPECT_EQ(pasteboard->changeCount(), 0);
    EXPECT_EQ(pasteboard->string(), std::nullopt);
    pasteboard->setString(QString(kMaxClipboardBytes, u'x'));
    ASSERT_TRUE(owned());
    EXPECT_EQ(paste("UTF8_STRING")->bytes.size(), kMaxClipboardBytes);
}

// However our writes and foreign copies overtake each other: what we take for the clipboard's text
// is what a program pastes, and every write and copy that lasts is counted.
TEST_F(X11PasteboardTest, AgreesWithTheServerAfterEveryRace) {
    XOwner other(display());
    for (int i = 0; i < 200; ++i) {
        const QByteArray foreign = "foreign " + QByteArray::number(i);
        const QByteArray own = "own " + QByteArray::number(i);
        const int before = changes;
        // The binary digits of i choose one of the orders, with and without a turn of the loop.
        for (int step = 0; step < 3; ++step) {
            if (((i >> step) & 1) != 0)
                other.copyText(foreign);
            else
                pasteboard->setString(QString::fromLatin1(own));
            if (((i >> (step + 3)) & 1) != 0)
                QCoreApplication::processEvents();
        }
        ASSERT_TRUE(waitFor([&] {
            const auto pasted = paste("UTF8_STRING");
            return pasted && QString::fromUtf8(pasted->bytes) == pasteboard->string();
        })) << i;
        // A copy in the same millisecond as a write before it may go under, never the reverse.
        const bool endsWithWrite = ((i >> 2) & 1) == 0;
        if (!endsWithWrite && pasteboard->string() == QString::fromLatin1(foreign))
            EXPECT_GT(changes, before) << i;
        else
            EXPECT_EQ(pasteboard->string(), QString::fromLatin1(own)) << i;
    }
}

TEST_F(X11PasteboardTest, TwoProgramsExchangeTextsWithoutAnEcho) {
    const auto second = makePasteboard(ClipboardChoice::x11, {{}, display()});
    ClipboardMonitor monitor(*pasteboard);
    ClipboardMonitor secondMonitor(*second);
    QStringList sent;
    QStringList secondSent;
    monitor.onLocalText = [&](const QString& text, auto) { sent.append(text); };
    secondMonitor.onLocalText = [&](const QString& text, auto) { secondSent.append(text); };
    monitor.start();
    secondMonitor.start();

    monitor.writeRemote(kLong);
    ASSERT_TRUE(waitFor([&] { return second->string() == kLong; }));
    EXPECT_EQ(secondSent, QStringList{kLong});
    EXPECT_EQ(sent, QStringList());

    secondMonitor.writeRemote(u"b"_qs);
    ASSERT_TRUE(holds(u"b"_qs));
    EXPECT_EQ(sent, QStringList{u"b"_qs});
    EXPECT_EQ(secondSent.size(), 1);
}

TEST_F(X11PasteboardTest, SecretIsPastedButMarkedAndNeitherTakenNorHandedOver) {
    const auto second = makePasteboard(ClipboardChoice::x11, {{}, display()});
    const qint64 before = second->changeCount();
    XClipboardManager manager(display(), false);
    pasteboard->setSecret(u"words"_qs);
    ASSERT_TRUE(owned());
    EXPECT_EQ(paste("UTF8_STRING")->bytes, "words");
    EXPECT_EQ(paste(kPasswordHintType.latin1())->bytes, "secret");
    ASSERT_TRUE(waitFor([&] { return second->changeCount() > before; }));
    EXPECT_TRUE(second->types().contains(kConcealedType));
    EXPECT_EQ(second->string(), std::nullopt);
    pasteboard->handOver();
    EXPECT_EQ(manager.stop(), std::nullopt);

    pasteboard->setString(u"a"_qs); // the mark goes with its text
    EXPECT_TRUE(waitFor([&] { return second->string() == u"a"_qs; }));
}

TEST_F(X11PasteboardTest, HandsItsTextOverToAClipboardManager) {
    for (const QString& text : {u"a"_qs, kLong}) {
        XClipboardManager manager(display(), false);
        pasteboard->setString(text); // not yet acknowledged by the server
        pasteboard->handOver();
        EXPECT_EQ(manager.stop(), text.toUtf8());
    }
}

TEST_F(X11PasteboardTest, HandsOverOnlyItsOwnTextAndOnlyToAManager) {
    pasteboard->setString(u"a"_qs);
    ASSERT_TRUE(owned());
    pasteboard->handOver(); // nobody is there
    {
        XClipboardManager deaf(display(), true);
        pasteboard->handOver(); // does not answer
    }
    XOwner other(display());
    other.copyText("b");
    ASSERT_TRUE(holds(u"b"_qs));
    XClipboardManager manager(display(), false);
    pasteboard->handOver();
    EXPECT_EQ(manager.stop(), std::nullopt);
}

} // namespace
} // namespace sorrelwind

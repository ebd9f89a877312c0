// Without an X server, with one that dies, with several.

#include "clipboard/make_pasteboard.h"
#include "tests/clipboard/x11_fixture.h"

namespace sorrelwind {
namespace {

using test::waitFor;
using test::Xvfb;

TEST(MakePasteboard, WithoutAServerIsNotAvailableAndSaysWhy) {
    for (const QByteArray& display : {QByteArray(), QByteArray(":60000"), QByteArray("rubbish")}) {
        const auto pasteboard = makePasteboard(ClipboardChoice::automatic, {{}, display});
        EXPECT_FALSE(pasteboard->available());
        EXPECT_FALSE(pasteboard->unavailableReason().en.isEmpty());
        pasteboard->setString(u"a"_qs);
        EXPECT_EQ(pasteboard->string(), std::nullopt);
        pasteboard->handOver();
    }
}

TEST(MakePasteboard, OutlivesItsServer) {
    Xvfb server;
    ASSERT_TRUE(server.running());
    const auto pasteboard = makePasteboard(ClipboardChoice::x11, {{}, server.display()});
    ASSERT_TRUE(pasteboard->available());
    pasteboard->setString(test::poem.repeated(100'000));
    int announced = 0;
    QObject::connect(pasteboard.get(), &Pasteboard::availabilityChanged, [&] { ++announced; });
    server.kill();
    EXPECT_TRUE(waitFor([&] { return !pasteboard->available(); }));
    EXPECT_EQ(announced, 1);
    EXPECT_FALSE(pasteboard->unavailableReason().en.isEmpty());
    const qint64 count = pasteboard->changeCount();
    pasteboard->setString(u"a"_qs);
    EXPECT_EQ(pasteboard->changeCount(), count);
    pasteboard->handOver();
    EXPECT_EQ(announced, 1);
}

TEST(MakePasteboard, ServesSeveralServersAtOnce) {
    Xvfb first;
    Xvfb second;
    ASSERT_NE(first.display(), second.display());
    const auto a = makePasteboard(ClipboardChoice::x11, {{}, first.display()});
    const auto b = makePasteboard(ClipboardChoice::x11, {{}, second.display()});
    test::XOwner owner(first.display());
    owner.copyText("only here");
    EXPECT_TRUE(waitFor([&] { return a->string() == u"only here"_qs; }));
    EXPECT_EQ(b->changeCount(), 0);
}

} // namespace
} // namespace sorrelwind

#include "tests/support/print_qt.h"
#include "tests/support/wait.h"
#include "ui/bubble_timeline.h"
#include "ui/sync_bubble.h"

#include <QApplication>
#include <QWidget>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

using namespace std::chrono_literals;

QList<QWidget*> bubbles() {
    QList<QWidget*> found;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->windowType() == Qt::ToolTip && window->isVisible())
            found.append(window);
    }
    return found;
}

} // namespace

TEST(BubbleTimeline, FadesInStaysAndFadesOut) {
    BubbleTimeline timeline(1800ms);
    EXPECT_FALSE(timeline.visible(0ms));
    EXPECT_EQ(timeline.steadyFor(0ms), std::nullopt);
    timeline.show(1000ms);
    struct Case {
        BubbleTimeline::Time at;
        double opacity;
        std::optional<BubbleTimeline::Time> steady;
    };
    for (const Case& c : {Case{1000ms, 0, 0ms}, Case{1080ms, 0.5, 0ms}, Case{1160ms, 1, 1640ms},
                          Case{2799ms, 1, 1ms}, Case{2800ms, 1, 0ms}, Case{2950ms, 0.5, 0ms},
                          Case{3099ms, 1.0 / 300, 0ms}, Case{3100ms, 0, std::nullopt}}) {
        SCOPED_TRACE(c.at.count());
        EXPECT_NEAR(timeline.opacity(c.at), c.opacity, 1e-9);
        EXPECT_EQ(timeline.steadyFor(c.at), c.steady);
        EXPECT_EQ(timeline.visible(c.at), c.steady.has_value());
    }
}

TEST(BubbleTimeline, AShowStartsTheCountAnewFromTheOpacityOfTheMoment) {
    struct Case {
        const char* what;
        BubbleTimeline::Time again;
        double from;
        BubbleTimeline::Time full; // after the second show
    };
    for (const Case& c :
         {Case{"while it stays", 1000ms, 1, 0ms}, Case{"in the fade-in", 80ms, 0.5, 100ms},
          Case{"in the fade-out", 1950ms, 0.5, 100ms}, Case{"after the end", 2100ms, 0, 160ms}}) {
        SCOPED_TRACE(c.what);
        BubbleTimeline timeline(1800ms);
        timeline.show(0ms);
        timeline.show(c.again);
        EXPECT_NEAR(timeline.opacity(c.again), c.from, 1e-9);
        EXPECT_EQ(timeline.opacity(c.again + c.full), 1);
        // The end of the first show passes without effect.
        EXPECT_EQ(timeline.opacity(c.again + 1800ms), 1);
        EXPECT_TRUE(timeline.visible(c.again + 2099ms));
        EXPECT_FALSE(timeline.visible(c.again + 2100ms));
    }
}

TEST(SyncBubble, OneWindowShowsTheLastTextAndGoesByItself) {
    SyncBubble bubble(500ms);
    EXPECT_FALSE(bubble.isVisible());
    const QRect icon(300, 0, 24, 24);
    bubble.show(QStringLiteral("first"), BubbleKind::failure, icon);
    bubble.show(QStringLiteral("the second text"), BubbleKind::success, icon);
    const QList<QWidget*> shown = bubbles();
    ASSERT_EQ(shown.size(), 1);
    EXPECT_TRUE(bubble.isVisible());
    const QList<QWidget*> content = shown[0]->findChildren<QWidget*>();
    ASSERT_EQ(content.size(), 1);
    EXPECT_EQ(content[0]->accessibleName(), QStringLiteral("the second text"));

    const QRect capsule(content[0]->mapToGlobal(QPoint()), content[0]->size());
    EXPECT_EQ(capsule.height(), 32);
    EXPECT_EQ(capsule.top(), icon.bottom() + 1 + 6);
    EXPECT_NEAR(capsule.center().x(), icon.center().x(), 1);
    EXPECT_TRUE(shown[0]->testAttribute(Qt::WA_ShowWithoutActivating));
    EXPECT_TRUE(shown[0]->testAttribute(Qt::WA_TransparentForMouseEvents));
    EXPECT_TRUE(shown[0]->windowFlags().testFlags(Qt::WindowTransparentForInput |
                                                  Qt::WindowDoesNotAcceptFocus));
    EXPECT_NE(QApplication::activeWindow(), shown[0]);
    EXPECT_TRUE(waitFor([&] { return shown[0]->windowOpacity() == 1; }));
    EXPECT_TRUE(waitFor([&] { return !bubble.isVisible(); }));
}

} // namespace sorrelwind::test

#include "tests/support/print_qt.h"
#include "ui/placement.h"

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

// A main screen with a panel of 30 at the top, and a second one at its right without any.
const ScreenGeometry kMain{{0, 0, 1920, 1080}, {0, 30, 1920, 1050}};
const ScreenGeometry kRight{{1920, 0, 1280, 1024}, {1920, 0, 1280, 1024}};
// A panel of 40 at the bottom that says so, and one that does not.
const ScreenGeometry kBottom{{0, 0, 1920, 1080}, {0, 0, 1920, 1040}};
const ScreenGeometry kBare{{0, 0, 1920, 1080}, {0, 0, 1920, 1080}};

TEST(PlacementTest, FrameUnderTheIcon) {
    struct Case {
        const char* what;
        QSize size;
        std::optional<QRect> anchor;
        QList<ScreenGeometry> screens;
        QRect frame;
    };
    const QSize panel(340, 420);
    const Case cases[] = {
        {"centred below", panel, QRect(1000, 4, 22, 22), {kMain}, {841, 31, 340, 420}},
        {"odd sizes", {341, 419}, QRect(1000, 4, 22, 22), {kMain}, {841, 31, 341, 419}},
        {"right edge", panel, QRect(1890, 4, 22, 22), {kMain}, {1572, 31, 340, 420}},
        {"left edge", panel, QRect(4, 4, 22, 22), {kMain}, {8, 31, 340, 420}},
        {"second screen", panel, QRect(3170, 0, 22, 22), {kMain, kRight}, {2852, 27, 340, 420}},
        {"second screen, its left edge",
         panel,
         QRect(1922, 0, 22, 22),
         {kMain, kRight},
         {1928, 27, 340, 420}},
        {"icon of no screen", panel, QRect(5000, 4, 22, 22), {kMain}, {1572, 31, 340, 420}},
        {"panel at the bottom", panel, QRect(1000, 1049, 22, 22), {kBottom}, {841, 612, 340, 420}},
        {"silent panel at the bottom",
         panel,
         QRect(1000, 1049, 22, 22),
         {kBare},
         {841, 624, 340, 420}},
        {"panel at the side", panel, QRect(9, 500, 22, 22), {kMain}, {8, 527, 340, 420}},
        {"wider than the screen", {2000, 300}, QRect(1000, 4, 22, 22), {kMain}, {8, 31, 2000, 300}},
        {"as wide as fits", {1904, 300}, QRect(1000, 4, 22, 22), {kMain}, {8, 31, 1904, 300}},
        {"higher than the screen",
         {340, 1200},
         QRect(1000, 4, 22, 22),
         {kMain},
         {841, 30, 340, 1200}},
        {"no icon", panel, std::nullopt, {kMain, kRight}, {1380, 30, 340, 420}},
        {"no icon, no panel at the top", panel, std::nullopt, {kBare}, {1380, 24, 340, 420}},
        {"no icon, wide", {1800, 300}, std::nullopt, {kMain}, {8, 30, 1800, 300}},
        {"no icon, main screen is not the left one",
         panel,
         std::nullopt,
         {kRight, kMain},
         {2660, 24, 340, 420}},
        {"no screen", panel, QRect(1000, 4, 22, 22), {}, {0, 0, 340, 420}},
    };
    for (const Case& each : cases)
        EXPECT_EQ(frameUnder(each.size, each.anchor, each.screens, 5), each.frame) << each.what;
}

TEST(PlacementTest, WhateverFitsIsWholeAndBesideTheIcon) {
    const QRect frame(0, 0, 1024, 600);
    const std::tuple<const char*, QRect, QRect> bars[] = {
        // Where the bar's icons are, and what it leaves free.
        {"top", {0, 0, 1024, 40}, {0, 40, 1024, 560}},
        {"bottom", {0, 560, 1024, 40}, {0, 0, 1024, 560}},
        {"left", {0, 0, 40, 600}, {40, 0, 984, 600}},
        {"right", {984, 0, 40, 600}, {0, 0, 984, 600}},
        {"silent top", {0, 0, 1024, 40}, frame},
        {"silent bottom", {0, 560, 1024, 40}, frame},
    };
    for (const auto& [what, bar, visible] : bars) {
        const QList<ScreenGeometry> screens{{frame, visible}};
        for (int at = 0; at <= 10; ++at) {
            const QPoint corner(bar.x() + 9 + (bar.width() - 40) * at / 10,
                                bar.y() + 9 + (bar.height() - 40) * at / 10);
            const QRect icon(corner, QSize(22, 22));
            const int tallest = tallestUnder(icon, screens, 5);
            EXPECT_GE(tallest, 500) << what << at;
            for (const int height : {32, 300, tallest}) {
                const QRect card = frameUnder(QSize(340, height), icon, screens, 5);
                EXPECT_TRUE(visible.contains(card)) << what << at;
                EXPECT_FALSE(card.intersects(icon)) << what << at;
            }
        }
    }
}

} // namespace

} // namespace sorrelwind::test

#include "tests/ui/looks.h"
#include "ui/palette.h"

#include <cmath>
#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

template <class Family>
QList<QColor> stepsOf() {
    return {Family::s50(),  Family::s100(), Family::s200(), Family::s300(), Family::s400(),
            Family::s500(), Family::s600(), Family::s700(), Family::s800(), Family::s900()};
}

TEST(PaletteTest, StepsDarken) {
    using P = Palette;
    using N = Palette::Neutral;
    const QList<QList<QColor>> families = {{N::s0(), N::s25(), N::s50(), N::s100(), N::s200(),
                                            N::s300(), N::s400(), N::s500(), N::s600(), N::s700(),
                                            N::s800(), N::s900(), N::s950(), N::s975(), N::s1000()},
                                           stepsOf<P::Red>(),
                                           stepsOf<P::Orange>(),
                                           stepsOf<P::Amber>(),
                                           stepsOf<P::Green>(),
                                           stepsOf<P::Teal>(),
                                           stepsOf<P::Cyan>(),
                                           stepsOf<P::Blue>(),
                                           stepsOf<P::Indigo>(),
                                           stepsOf<P::Violet>(),
                                           stepsOf<P::Pink>()};
    for (const QList<QColor>& family : families) {
        for (int i = 1; i < family.size(); ++i)
            EXPECT_LT(luminance(family.at(i)), luminance(family.at(i - 1)))
                << qPrintable(family.at(i).name());
    }
}

TEST(PaletteTest, TextIsReadableWhereItStands) {
    struct Named {
        const char* name;
        QColor colour;
    };
    for (const bool dark : {false, true}) {
        const Look look(dark);
        using R = Palette::Role;
        ASSERT_EQ(Palette::isDark(), dark);
        const Named grounds[] = {{"bg", R::bg()},           {"bgAlt", R::bgAlt()},
                                 {"surface", R::surface()}, {"surfaceRaised", R::surfaceRaised()},
                                 {"nav", R::nav()},         {"fill", R::fill()}};
        const Named texts[] = {{"text", R::text()},
                               {"textSecondary", R::textSecondary()},
                               {"textTertiary", R::textTertiary()},
                               {"success", R::success()},
                               {"warning", R::warning()},
                               {"danger", R::danger()},
                               {"accentText", Brand::accentText()}};
        for (const Named& ground : grounds) {
            for (const Named& text : texts)
                EXPECT_GE(contrast(text.colour, ground.colour), 4.5)
                    << text.name << " on " << ground.name << " dark " << dark;
            // What shows a control rather than a text needs 3 : 1 (WCAG 2.1, 1.4.11).
            EXPECT_GE(contrast(R::focus(), ground.colour), 3) << ground.name << " dark " << dark;
        }
        EXPECT_GE(contrast(R::onInk(), R::ink()), 4.5);
        EXPECT_GE(contrast(R::text(), R::fillStrong()), 4.5);
        EXPECT_GE(contrast(R::textSecondary(), R::fillStrong()), 4.5);
    }
}

TEST(PaletteTest, EveryAccentIsReadable) {
    using P = Palette;
    for (const bool dark : {false, true}) {
        const Look look(dark);
        const P::Accent accents[] = {P::redAccent(),   P::orangeAccent(), P::amberAccent(),
                                     P::greenAccent(), P::tealAccent(),   P::cyanAccent(),
                                     P::blueAccent(),  P::indigoAccent(), P::violetAccent(),
                                     P::pinkAccent()};
        for (const P::Accent& accent : accents) {
            const std::string of = accent.accent.name().toStdString();
            EXPECT_GE(contrast(accent.onAccent, accent.accent), 4.5) << of;
            EXPECT_GE(contrast(accent.onAccent, accent.accentStrong), 4.5) << of;
            EXPECT_GE(contrast(accent.accentText, accent.accentSoft), 4.5) << of;
            EXPECT_GE(contrast(accent.accentText, P::Role::bg()), 4.5) << of;
        }
        EXPECT_EQ(P::Product::sorrelwind().accent, P::tealAccent().accent);
    }
}

} // namespace

} // namespace sorrelwind::test

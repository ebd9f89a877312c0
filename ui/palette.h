#pragma once

#include <QColor>

namespace sorrelwind {

/// The ten steps of a hue, light to dark, as 0xRRGGBB.
struct HueSteps {
    QRgb s50, s100, s200, s300, s400, s500, s600, s700, s800, s900;
};

/// A hue family: fixed colours, named by their step.
template <HueSteps steps>
struct Hue {
    static QColor s50() { return QColor::fromRgb(steps.s50); }
    static QColor s100() { return QColor::fromRgb(steps.s100); }
    static QColor s200() { return QColor::fromRgb(steps.s200); }
    static QColor s300() { return QColor::fromRgb(steps.s300); }
    static QColor s400() { return QColor::fromRgb(steps.s400); }
    static QColor s500() { return QColor::fromRgb(steps.s500); }
    static QColor s600() { return QColor::fromRgb(steps.s600); }
    static QColor s700() { return QColor::fromRgb(steps.s700); }
    static QColor s800() { return QColor::fromRgb(steps.s800); }
    static QColor s900() { return QColor::fromRgb(steps.s900); }
};

/// The vocabulary of every screen: colours, spacings, corner radii and text sizes, all in logical
/// pixels. Nothing here is an object. The hue and neutral steps are fixed; accents and roles are
/// worked out at each call for the light or dark appearance in force, so whoever paints with them
/// follows a switch by painting again.
struct Palette {
    struct Neutral {
        static QColor s0() { return QColor::fromRgb(0xffffff); }
        static QColor s25() { return QColor::fromRgb(0xf7fcfd); }
        static QColor s50() { return QColor::fromRgb(0xf2f8f8); }
        static QColor s100() { return QColor::fromRgb(0xecf1f2); }
        static QColor s200() { return QColor::fromRgb(0xdfe4e4); }
        static QColor s300() { return QColor::fromRgb(0xcdd2d2); }
        static QColor s400() { return QColor::fromRgb(0xa7acac); }
        static QColor s500() { return QColor::fromRgb(0x676c6c); }
        static QColor s600() { return QColor::fromRgb(0x5a5f5f); }
        static QColor s700() { return QColor::fromRgb(0x474b4c); }
        static QColor s800() { return QColor::fromRgb(0x2d3131); }
        static QColor s900() { return QColor::fromRgb(0x1b1f1f); }
        static QColor s950() { return QColor::fromRgb(0x121616); }
        static QColor s975() { return QColor::fromRgb(0x0a0e0e); }
        static QColor s1000() { return QColor::fromRgb(0x040606); }
    };

    using Red = Hue<HueSteps{0xfff4f3, 0xffe6e4, 0xffcfca, 0xffada6, 0xff817a, 0xf7494a, 0xcf212b,
                             0xaa0a1c, 0x860714, 0x61060d}>;
    using Orange = Hue<HueSteps{0xfff4ef, 0xffe7db, 0xffd1b9, 0xffb185, 0xfc8941, 0xe16900,
                                0xb25200, 0x8f4000, 0x713100, 0x522200}>;
    using Amber = Hue<HueSteps{0xfdf6eb, 0xfceacf, 0xf8d7a5, 0xeebd6e, 0xde9f26, 0xbe8400, 0x966800,
                               0x785200, 0x5e4000, 0x442d00}>;
    using Green = Hue<HueSteps{0xeffaf1, 0xdaf5de, 0xb9ebc2, 0x8ddb9e, 0x5cc678, 0x21ac54, 0x00893d,
                               0x006d2f, 0x005624, 0x003d17}>;
    using Teal = Hue<HueSteps{0xeefaf7, 0xd7f4ee, 0xb4e9df, 0x84d8ca, 0x4ac3b2, 0x00a896, 0x008476,
                              0x00695e, 0x005249, 0x003b34}>;
    using Cyan = Hue<HueSteps{0xeef9fc, 0xd5f3fb, 0xb1e7f5, 0x7ed5ea, 0x3fbed9, 0x00a2bd, 0x007f95,
                              0x006677, 0x004f5e, 0x003843}>;
    using Blue = Hue<HueSteps{0xf2f7ff, 0xe1eeff, 0xc6dfff, 0x9fc9ff, 0x70afff, 0x3690fb, 0x0b6fd5,
                              0x0058ae, 0x00458a, 0x003065}>;
    using Indigo = Hue<HueSteps{0xf4f6ff, 0xe8ecff, 0xd3daff, 0xb7c1ff, 0x98a4ff, 0x7780ff,
                                0x5b5fdb, 0x4749b5, 0x37388f, 0x262768}>;
    using Violet = Hue<HueSteps{0xf8f5ff, 0xf0e9ff, 0xe2d4ff, 0xd0b7ff, 0xbc94ff, 0xa56cf6,
                                0x854cd0, 0x6c38ac, 0x542b88, 0x3c1e62}>;
    using Pink = Hue<HueSteps{0xfff3f8, 0xffe4f0, 0xffcbe2, 0xffa6d0, 0xfb78bc, 0xe450a2, 0xbe2d81,
                              0x9b1b68, 0x7b1351, 0x590d3a}>;

    /// The colours that together theme one product.
    struct Accent {
        QColor accent;       // the main fill
        QColor accentStrong; // the fill while pressed
        QColor onAccent;     // text and glyphs on the fill
        QColor accentText;   // accent-coloured text on neutral backgrounds
        QColor accentSoft;   // a tint behind badges and chosen things
        QColor tintFrom, tintTo;
        QColor iconTop, iconBottom; // vertical gradient of the app icon, the same in dark
    };
    static Accent redAccent();
    static Accent orangeAccent();
    static Accent amberAccent();
    static Accent greenAccent();
    static Accent tealAccent();
    static Accent cyanAccent();
    static Accent blueAccent();
    static Accent indigoAccent();
    static Accent violetAccent();
    static Accent pinkAccent();

    struct Product {
        static Accent sorrelwind() { return tealAccent(); }
    };

    /// Whether the appearance in force is a dark one.
    static bool isDark();

    struct Role {
        static QColor bg();
        static QColor bgAlt();
        static QColor surface();
        static QColor surfaceRaised();
        static QColor ink();
        static QColor onInk();
        static QColor nav();
        static QColor text();
        static QColor textSecondary();
        static QColor textTertiary();
        static QColor fill();
        static QColor fillStrong();
        static QColor separator();
        static QColor separatorStrong();
        static QColor focus();
        static QColor success();
        static QColor warning();
        static QColor danger();
    };

    struct Space {
        static constexpr int s0 = 0, s1 = 4, s2 = 8, s3 = 12, s4 = 16, s5 = 20, s6 = 24, s8 = 32,
                             s10 = 40, s12 = 48, s16 = 64, s20 = 80, s24 = 96, s32 = 128;
    };
    struct Radius {
        static constexpr int xs = 6, sm = 10, md = 14, lg = 20, xl = 28;
        static constexpr int pill = 999; // rounds a control of any height into a capsule
    };
    struct TextSize {
        static constexpr int hero = 80, display = 56, title1 = 40, title2 = 28, title3 = 22,
                             headline = 19, body = 17, callout = 15, footnote = 13, caption = 12;
    };
};

/// The product's short cuts over the palette.
struct Brand {
    static QColor accent() { return Palette::Product::sorrelwind().accent; }
    static QColor accentSoft() { return Palette::Product::sorrelwind().accentSoft; }
    static QColor accentText() { return Palette::Product::sorrelwind().accentText; }
    static QColor onAccent() { return Palette::Product::sorrelwind().onAccent; }
    static QColor fieldTop(); // vertical gradient of input fields
    static QColor fieldBottom();
    static QColor knock() { return Palette::Teal::s600(); } // the bars of the logo
};

/// `over` laid on `under` with the opacity `amount`, 0 to 1; the result is opaque when `under` is.
[[nodiscard]] QColor mixed(const QColor& under, const QColor& over, qreal amount);

} // namespace sorrelwind

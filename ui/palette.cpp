#include "ui/palette.h"

#include <QGuiApplication>
#include <QPalette>

namespace sorrelwind {

namespace {

/// Light: white on a deep fill. Dark: near-black on a brighter fill, so that both stay readable.
template <class Family>
Palette::Accent accentOf() {
    const bool dark = Palette::isDark();
    return {
        .accent = dark ? Family::s500() : Family::s600(),
        .accentStrong = dark ? Family::s400() : Family::s700(),
        .onAccent = dark ? Palette::Neutral::s975() : Palette::Neutral::s0(),
        .accentText = dark ? Family::s300() : Family::s700(),
        .accentSoft = dark ? Family::s900() : Family::s100(),
        .tintFrom = dark ? Family::s400() : Family::s500(),
        .tintTo = dark ? Family::s600() : Family::s700(),
        .iconTop = Family::s400(),
        .iconBottom = Family::s600(),
    };
}

QColor adaptive(const QColor& light, const QColor& dark) {
    return Palette::isDark() ? dark : light;
}

} // namespace

Palette::Accent Palette::redAccent() {
    return accentOf<Red>();
}
Palette::Accent Palette::orangeAccent() {
    return accentOf<Orange>();
}
Palette::Accent Palette::amberAccent() {
    return accentOf<Amber>();
}
Palette::Accent Palette::greenAccent() {
    return accentOf<Green>();
}
Palette::Accent Palette::tealAccent() {
    return accentOf<Teal>();
}
Palette::Accent Palette::cyanAccent() {
    return accentOf<Cyan>();
}
Palette::Accent Palette::blueAccent() {
    return accentOf<Blue>();
}
Palette::Accent Palette::indigoAccent() {
    return accentOf<Indigo>();
}
Palette::Accent Palette::violetAccent() {
    return accentOf<Violet>();
}
Palette::Accent Palette::pinkAccent() {
    return accentOf<Pink>();
}

bool Palette::isDark() {
    return QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
}

QColor Palette::Role::bg() {
    return adaptive(Neutral::s50(), Neutral::s975());
}
QColor Palette::Role::bgAlt() {
    return adaptive(Neutral::s100(), Neutral::s1000());
}
QColor Palette::Role::surface() {
    return adaptive(Neutral::s0(), Neutral::s950());
}
QColor Palette::Role::surfaceRaised() {
    return adaptive(Neutral::s0(), Neutral::s900());
}
QColor Palette::Role::ink() {
    return adaptive(Neutral::s900(), Neutral::s50());
}
QColor Palette::Role::onInk() {
    return adaptive(Neutral::s0(), Neutral::s975());
}
QColor Palette::Role::nav() {
    return adaptive(Neutral::s25(), Neutral::s950());
}
QColor Palette::Role::text() {
    return adaptive(Neutral::s900(), Neutral::s50());
}
QColor Palette::Role::textSecondary() {
    return adaptive(Neutral::s600(), Neutral::s300());
}
QColor Palette::Role::textTertiary() {
    return adaptive(Neutral::s500(), Neutral::s400());
}
QColor Palette::Role::fill() {
    return adaptive(Neutral::s100(), Neutral::s900());
}
QColor Palette::Role::fillStrong() {
    return adaptive(Neutral::s200(), Neutral::s800());
}
QColor Palette::Role::separator() {
    return adaptive(Neutral::s200(), Neutral::s800());
}
QColor Palette::Role::separatorStrong() {
    return adaptive(Neutral::s300(), Neutral::s700());
}
QColor Palette::Role::focus() {
    return adaptive(Teal::s600(), Teal::s400());
}
QColor Palette::Role::success() {
    return adaptive(Green::s700(), Green::s400());
}
QColor Palette::Role::warning() {
    return adaptive(Orange::s700(), Orange::s400());
}
QColor Palette::Role::danger() {
    return adaptive(Red::s600(), Red::s400());
}

QColor Brand::fieldTop() {
    return adaptive(Palette::Neutral::s0(), Palette::Neutral::s950());
}
QColor Brand::fieldBottom() {
    return adaptive(Palette::Neutral::s25(), Palette::Neutral::s950());
}

QColor mixed(const QColor& under, const QColor& over, qreal amount) {
    const auto channel = [amount](int from, int to) { return qRound(from + (to - from) * amount); };
    return QColor(channel(under.red(), over.red()), channel(under.green(), over.green()),
                  channel(under.blue(), over.blue()), under.alpha());
}

} // namespace sorrelwind

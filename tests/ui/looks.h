#pragma once

#include "ui/appearance.h"

#include <QColor>
#include <QCoreApplication>

#include <cmath>

namespace sorrelwind::test {

/// The application in one appearance, for as long as this lives.
struct Look {
    explicit Look(bool dark) : appearance(std::nullopt) {
        appearance.apply(dark ? Prefs::Appearance::dark : Prefs::Appearance::light);
        QCoreApplication::processEvents(); // the widgets learn of it by an event
    }
    Appearance appearance;
};

/// Relative luminance, WCAG 2.1.
inline double luminance(const QColor& colour) {
    const auto linear = [](double channel) {
        return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

/// Contrast ratio of two opaque colours, 1 to 21, WCAG 2.1.
inline double contrast(const QColor& a, const QColor& b) {
    const double light = std::max(luminance(a), luminance(b));
    const double dark = std::min(luminance(a), luminance(b));
    return (light + 0.05) / (dark + 0.05);
}

} // namespace sorrelwind::test

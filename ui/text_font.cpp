#include "ui/text_font.h"

#include <QFontDatabase>
#include <QStringList>

namespace sorrelwind {

namespace {

QFont fontOf(QStringList families, QFontDatabase::SystemFont fallback, int pixelSize,
             QFont::Weight weight) {
    families.append(QFontDatabase::systemFont(fallback).family());
    QFont font;
    font.setFamilies(families);
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    return font;
}

} // namespace

QFont textFont(int pixelSize, QFont::Weight weight) {
    return fontOf({QStringLiteral("Inter"), QStringLiteral("Noto Sans CJK SC"),
                   QStringLiteral("Noto Sans SC")},
                  QFontDatabase::GeneralFont, pixelSize, weight);
}

QFont codeFont(int pixelSize, QFont::Weight weight) {
    return fontOf({QStringLiteral("DejaVu Sans Mono"), QStringLiteral("Noto Sans Mono CJK SC")},
                  QFontDatabase::FixedFont, pixelSize, weight);
}

} // namespace sorrelwind

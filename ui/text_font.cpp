#include "ui/text_font.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QStringList>

namespace sorrelwind {

namespace {

/// The first one that is there sets the Latin letters and quotation marks. In Chinese fonts those
/// are made for Chinese, so these come last; the desktop's own may be one of them.
QStringList ordered(QStringList latin, const QStringList& chinese,
                    QFontDatabase::SystemFont desktop) {
    const QString own = QFontInfo(QFontDatabase::systemFont(desktop)).family(); // no alias
    if (!QFontDatabase::writingSystems(own).contains(QFontDatabase::SimplifiedChinese))
        latin.insert(1, own);
    return latin + chinese + QStringList(own);
}

QFont fontOf(const QStringList& families, int pixelSize, QFont::Weight weight) {
    QFont font;
    font.setFamilies(families);
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    return font;
}

} // namespace

QFont textFont(int pixelSize, QFont::Weight weight) {
    static const QStringList families =
        ordered({QStringLiteral("Inter"), QStringLiteral("Noto Sans"),
                 QStringLiteral("DejaVu Sans"), QStringLiteral("Liberation Sans")},
                {QStringLiteral("Noto Sans CJK SC"), QStringLiteral("Noto Sans SC")},
                QFontDatabase::GeneralFont);
    return fontOf(families, pixelSize, weight);
}

QFont codeFont(int pixelSize, QFont::Weight weight) {
    static const QStringList families =
        ordered({QStringLiteral("DejaVu Sans Mono"), QStringLiteral("Noto Sans Mono"),
                 QStringLiteral("Liberation Mono")},
                {QStringLiteral("Noto Sans Mono CJK SC")}, QFontDatabase::FixedFont);
    return fontOf(families, pixelSize, weight);
}

} // namespace sorrelwind

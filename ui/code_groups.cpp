#include "ui/code_groups.h"

#include "ui/palette.h"
#include "ui/text_font.h"

#include <QPainter>

namespace sorrelwind {

namespace {

constexpr int kHeight = 40;
constexpr int kPadding = 13;
constexpr int kGap = Palette::Space::s2;

} // namespace

CodeGroups::CodeGroups(QWidget* parent) : QWidget(parent) {
    QFont font = codeFont(20, QFont::DemiBold);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 1.5);
    setFont(font);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setCode({});
}

void CodeGroups::setCode(const QString& code) {
    m_groups = code.isEmpty() ? QStringList{QStringLiteral("    "), QStringLiteral("    ")}
                              : code.split(u'-', Qt::SkipEmptyParts);
    setAccessibleName(code);
    updateGeometry();
    update();
}

int CodeGroups::boxWidth(const QString& group) const {
    return 2 * kPadding + fontMetrics().horizontalAdvance(group);
}

QSize CodeGroups::sizeHint() const {
    int width = -kGap;
    for (const QString& group : m_groups)
        width += kGap + boxWidth(group);
    return {std::max(0, width), kHeight};
}

void CodeGroups::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    int x = 0;
    for (const QString& group : m_groups) {
        const QRect box(x, 0, boxWidth(group), kHeight);
        painter.setPen(QPen(Palette::Role::separator(), 1));
        painter.setBrush(Palette::Role::surface());
        painter.drawRoundedRect(QRectF(box).adjusted(0.5, 0.5, -0.5, -0.5), Palette::Radius::sm,
                                Palette::Radius::sm);
        painter.setPen(Palette::Role::text());
        painter.drawText(box.adjusted(1, 0, 0, 0), Qt::AlignCenter, group);
        x += box.width() + kGap;
    }
}

} // namespace sorrelwind

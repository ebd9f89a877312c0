#include "ui/empty_devices.h"

#include "ui/palette.h"
#include "ui/symbol.h"
#include "ui/text_font.h"

#include <QPainter>

namespace sorrelwind {

namespace {

using Space = Palette::Space;

constexpr int kHeight = 64;
constexpr int kBadge = 36;
constexpr int kChevron = 14;

} // namespace

EmptyDevices::EmptyDevices(QWidget* parent) : Control(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void EmptyDevices::render(Lang lang) {
    m_line = pick(lang, u"用相机扫一下二维码就好", u"Just scan a QR code with its camera");
    setText(pick(lang, u"添加你的平板或手机", u"Add your tablet or phone"));
    setAccessibleDescription(m_line);
    update();
}

QSize EmptyDevices::sizeHint() const {
    return {0, kHeight};
}

void EmptyDevices::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Palette::Role::separator(), 1));
    painter.setBrush(isDown()    ? Palette::Role::fillStrong()
                     : hovered() ? Palette::Role::fill()
                                 : Palette::Role::surface());
    const QRectF edge = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.drawRoundedRect(edge, Palette::Radius::md, Palette::Radius::md);

    const QRectF badge(Space::s3, (height() - kBadge) / 2.0, kBadge, kBadge);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Brand::accentSoft());
    painter.drawRoundedRect(badge, Palette::Radius::sm, Palette::Radius::sm);
    paintSymbol(painter, QStringLiteral("qrcode.viewfinder"), badge.adjusted(8, 8, -8, -8),
                Brand::accentText());

    const QRect texts =
        rect().adjusted(2 * Space::s3 + kBadge, 13, -(2 * Space::s3 + kChevron), -13);
    const auto line = [&](const QString& text, int size, QFont::Weight weight, const QColor& colour,
                          Qt::Alignment alignment) {
        painter.setFont(textFont(size, weight));
        painter.setPen(colour);
        painter.drawText(texts, alignment | Qt::AlignLeft,
                         painter.fontMetrics().elidedText(text, Qt::ElideRight, texts.width()));
    };
    line(text(), Palette::TextSize::footnote, QFont::DemiBold, Palette::Role::text(), Qt::AlignTop);
    line(m_line, Palette::TextSize::caption, QFont::Normal, Palette::Role::textSecondary(),
         Qt::AlignBottom);
    paintSymbol(
        painter, QStringLiteral("chevron.right"),
        QRectF(width() - Space::s3 - kChevron, (height() - kChevron) / 2.0, kChevron, kChevron),
        Palette::Role::textTertiary());
    if (showsFocus(*this))
        paintFocusRing(painter, rect(), Palette::Radius::md, Palette::Role::focus());
}

} // namespace sorrelwind

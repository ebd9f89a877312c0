#include "ui/controls/text_field.h"

#include "ui/palette.h"
#include "ui/text_font.h"

#include <QEvent>
#include <QFocusEvent>
#include <QPainter>

namespace sorrelwind {

namespace {

constexpr int kHeight = 36;
constexpr int kPadding = 10;
constexpr int kWidth = 200;

} // namespace

TextField::TextField(const QString& text, QWidget* parent) : QLineEdit(text, parent) {
    setFrame(false);
    setFont(textFont(Palette::TextSize::footnote));
    setFixedHeight(kHeight);
    setRightInset(0);
    recolour();
    home(false);
    connect(this, &QLineEdit::textChanged, this, [this] {
        if (!isModified()) // not typed
            home(false);
    });
}

void TextField::setFaulty(bool faulty) {
    m_faulty = faulty;
    update();
}

void TextField::setRightInset(int width) {
    setTextMargins(kPadding, 0, kPadding + width, 0);
}

QSize TextField::sizeHint() const {
    return {kWidth, kHeight};
}

void TextField::recolour() {
    // The base class paints the text alone: the field behind it is ours.
    QPalette own;
    own.setColor(QPalette::Base, Qt::transparent);
    own.setColor(QPalette::Text, Palette::Role::text());
    own.setColor(QPalette::Disabled, QPalette::Text, Palette::Role::textTertiary());
    own.setColor(QPalette::PlaceholderText, Palette::Role::textTertiary());
    own.setColor(QPalette::Highlight, Brand::accent());
    own.setColor(QPalette::HighlightedText, Brand::onAccent());
    // Comparing first ends the round that setting a palette starts.
    if (palette().color(QPalette::Active, QPalette::Text) !=
            own.color(QPalette::Active, QPalette::Text) ||
        palette().color(QPalette::Base) != QColor(Qt::transparent))
        setPalette(own);
}

void TextField::changeEvent(QEvent* event) {
    QLineEdit::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        recolour();
}

void TextField::focusInEvent(QFocusEvent* event) {
    QLineEdit::focusInEvent(event);
    if (event->reason() == Qt::OtherFocusReason)
        end(false); // to be gone on with
}

void TextField::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    // Not when it will have the focus again just as it was.
    if (event->reason() != Qt::PopupFocusReason && event->reason() != Qt::ActiveWindowFocusReason)
        home(false);
}

void TextField::paintEvent(QPaintEvent* event) {
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const bool focused = hasFocus();
        QLinearGradient field(0, 0, 0, height());
        field.setColorAt(0, Brand::fieldTop());
        field.setColorAt(1, Brand::fieldBottom());
        QColor border = focused ? Palette::Role::focus() : Palette::Role::separatorStrong();
        if (m_faulty)
            border = Palette::Role::danger();
        const qreal width = focused ? 2 : 1;
        painter.setPen(QPen(border, width));
        painter.setBrush(field);
        painter.setOpacity(isEnabled() ? 1 : 0.5);
        const qreal inset = width / 2;
        painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset),
                                Palette::Radius::sm - inset, Palette::Radius::sm - inset);
    }
    QLineEdit::paintEvent(event);
}

} // namespace sorrelwind

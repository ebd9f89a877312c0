#include "ui/controls/text_label.h"

#include "ui/plain_tool_tip.h"
#include "ui/text_font.h"

#include <QEvent>
#include <QPainter>

namespace sorrelwind {

TextLabel::TextLabel(const QString& text, int size, QFont::Weight weight, TextRole role,
                     QWidget* parent)
    : QLabel(parent), m_role(role) {
    setTextFormat(Qt::PlainText);
    setFont(textFont(size, weight));
    setWordWrap(true);
    setText(text);
    recolour();
}

void TextLabel::setRole(TextRole role) {
    m_role = role;
    recolour();
}

void TextLabel::setElided(bool elided) {
    m_elided = elided;
    setWordWrap(!elided);
    updateGeometry();
}

void TextLabel::recolour() {
    // Comparing first ends the round that setting a palette starts.
    const QColor colour = textColour(m_role);
    if (palette().color(QPalette::WindowText) == colour)
        return;
    QPalette own;
    own.setColor(QPalette::WindowText, colour);
    setPalette(own);
}

QSize TextLabel::sizeHint() const {
    if (!m_elided)
        return QLabel::sizeHint();
    return {fontMetrics().horizontalAdvance(text()) + 1, QLabel::sizeHint().height()};
}

QSize TextLabel::minimumSizeHint() const {
    if (!m_elided)
        return QLabel::minimumSizeHint();
    return {qMin(sizeHint().width(), fontMetrics().averageCharWidth() * 4),
            QLabel::minimumSizeHint().height()};
}

bool TextLabel::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip && m_elided)
        setToolTip(fontMetrics().horizontalAdvance(text()) > width() ? plainToolTip(text())
                                                                     : QString());
    return QLabel::event(event);
}

void TextLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        recolour();
}

void TextLabel::paintEvent(QPaintEvent* event) {
    if (!m_elided) {
        QLabel::paintEvent(event);
        return;
    }
    QPainter painter(this);
    painter.setPen(textColour(m_role));
    painter.drawText(contentsRect(), static_cast<int>(alignment()) | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), Qt::ElideRight, contentsRect().width()));
}

} // namespace sorrelwind

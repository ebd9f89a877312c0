#include "ui/symbol_view.h"

#include "ui/symbol.h"

#include <QEvent>
#include <QPainter>

namespace sorrelwind {

namespace {
constexpr int kTurnMs = 1600;
}

SymbolView::SymbolView(int size, TextRole role, const QString& name, QWidget* parent)
    : QWidget(parent), m_name(name), m_role(role) {
    setFixedSize(size, size);
    m_turn.setDuration(kTurnMs);
    m_turn.setStartValue(0.0);
    m_turn.setEndValue(360.0);
    m_turn.setLoopCount(-1);
    connect(&m_turn, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

void SymbolView::setSymbol(const QString& name, TextRole role) {
    m_name = name;
    m_role = role;
    update();
}

void SymbolView::setTurning(bool turning) {
    m_turning = turning;
    settle();
}

void SymbolView::settle() {
    if (m_turning == (m_turn.state() == QVariantAnimation::Running) && isVisible())
        return;
    m_turning&& isVisible() ? m_turn.start() : m_turn.stop();
    update();
}

void SymbolView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (m_turn.state() == QVariantAnimation::Running) {
        const QPointF middle = QRectF(rect()).center();
        painter.translate(middle);
        painter.rotate(m_turn.currentValue().toReal());
        painter.translate(-middle);
    }
    paintSymbol(painter, m_name, rect(), textColour(m_role)); // its cut-outs show the ground
}

void SymbolView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        update();
}

void SymbolView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    settle();
}

void SymbolView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    m_turn.stop();
}

} // namespace sorrelwind

#include "ui/controls/choice_control.h"

#include "ui/controls/control.h"
#include "ui/palette.h"
#include "ui/text_font.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

namespace sorrelwind {

namespace {

constexpr int kHeight = 30;
constexpr int kInset = 2;
constexpr int kPadding = Palette::Space::s3;
constexpr qreal kDisabledOpacity = 0.45;

// Widths are those of the chosen look, so that nothing moves when another one is chosen.
QFont chosenFont() {
    return textFont(Palette::TextSize::footnote, QFont::DemiBold);
}

} // namespace

ChoiceControl::ChoiceControl(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::TabFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void ChoiceControl::setChoices(const QStringList& choices) {
    if (m_choices == choices)
        return;
    m_choices = choices;
    setAccessibleDescription(m_choices.value(m_current));
    updateGeometry();
    update();
}

void ChoiceControl::setCurrent(int index) {
    if (m_current == index)
        return;
    m_current = index;
    setAccessibleDescription(m_choices.value(m_current));
    update();
}

void ChoiceControl::choose(int index) {
    if (index < 0 || index >= m_choices.size() || index == m_current)
        return;
    setCurrent(index);
    if (onChosen)
        onChosen(index);
}

int ChoiceControl::choiceWidth(int index) const {
    return QFontMetrics(chosenFont()).horizontalAdvance(m_choices.at(index)) + 2 * kPadding;
}

QRect ChoiceControl::choiceBox(int index) const {
    int x = kInset;
    for (int i = 0; i < index; ++i)
        x += choiceWidth(i);
    return {x, kInset, choiceWidth(index), height() - 2 * kInset};
}

int ChoiceControl::choiceAt(QPoint position) const {
    for (int i = 0; i < m_choices.size(); ++i) {
        if (choiceBox(i).contains(position))
            return i;
    }
    return -1;
}

QSize ChoiceControl::sizeHint() const {
    int width = 2 * kInset;
    for (int i = 0; i < m_choices.size(); ++i)
        width += choiceWidth(i);
    return {width, kHeight};
}

void ChoiceControl::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::EnabledChange)
        update();
}

void ChoiceControl::mousePressEvent(QMouseEvent* event) {
    event->accept();
}

void ChoiceControl::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        choose(choiceAt(event->pos()));
}

void ChoiceControl::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Left || event->key() == Qt::Key_Up)
        choose(m_current - 1);
    else if (event->key() == Qt::Key_Right || event->key() == Qt::Key_Down)
        choose(m_current + 1);
    else
        QWidget::keyPressEvent(event);
}

void ChoiceControl::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled())
        painter.setOpacity(kDisabledOpacity);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Palette::Role::fillStrong());
    painter.drawRoundedRect(rect(), Palette::Radius::sm, Palette::Radius::sm);
    constexpr qreal kRadius = Palette::Radius::sm - kInset;
    for (int i = 0; i < m_choices.size(); ++i) {
        const QRect box = choiceBox(i);
        const bool chosen = i == m_current;
        if (chosen) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(QColor(0, 0, 0, 30));
            painter.drawRoundedRect(QRectF(box).translated(0, 1), kRadius, kRadius);
            painter.setBrush(Palette::Role::surface());
            painter.drawRoundedRect(box, kRadius, kRadius);
        }
        painter.setFont(chosen ? chosenFont() : textFont(Palette::TextSize::footnote));
        painter.setPen(Palette::Role::text());
        painter.drawText(box, Qt::AlignCenter | Qt::TextSingleLine, m_choices.at(i));
        if (chosen && showsFocus(*this))
            paintFocusRing(painter, box, kRadius, Palette::Role::focus());
    }
}

} // namespace sorrelwind

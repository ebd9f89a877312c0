#include "ui/onboarding/choice_card.h"

#include "ui/controls/symbol_badge.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"

#include <QPainter>
#include <QVBoxLayout>

namespace sorrelwind {

ChoiceCard::ChoiceCard(const QString& symbol, QWidget* parent)
    : Control(parent), m_title(new TextLabel({}, Palette::TextSize::callout, QFont::DemiBold)),
      m_description(
          new TextLabel({}, Palette::TextSize::footnote, QFont::Normal, TextRole::secondary)) {
    setCursor(Qt::PointingHandCursor);
    setFixedSize(ChoiceCard::sizeHint());
    auto* badge = new SymbolBadge(symbol, 40);
    for (QWidget* part : {static_cast<QWidget*>(badge), static_cast<QWidget*>(m_title),
                          static_cast<QWidget*>(m_description)})
        part->setAttribute(Qt::WA_TransparentForMouseEvents);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(18, 18, 18, 14);
    column->setSpacing(0);
    column->addWidget(badge);
    column->addSpacing(Palette::Space::s2);
    column->addWidget(m_title);
    column->addSpacing(Palette::Space::s1);
    column->addWidget(m_description);
    column->addStretch();
}

void ChoiceCard::setTexts(const QString& title, const QString& description) {
    m_title->setText(title);
    m_description->setText(description);
    setAccessibleName(title);
    setAccessibleDescription(description);
}

void ChoiceCard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool lit = hovered() || hasFocus();
    painter.setBrush(isDown() ? Palette::Role::fill() : Palette::Role::surface());
    painter.setPen(QPen(lit ? Brand::accent() : Palette::Role::separator(), lit ? 2 : 1));
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), Palette::Radius::md,
                            Palette::Radius::md);
}

} // namespace sorrelwind

#include "ui/onboarding/choose_page.h"

#include "ui/controls/brand_button.h"
#include "ui/controls/text_label.h"
#include "ui/onboarding/choice_card.h"
#include "ui/palette.h"

#include <QHBoxLayout>

namespace sorrelwind {

ChoosePage::ChoosePage(const L10n& l10n)
    : m_l10n(l10n), m_title(new TextLabel({}, Palette::TextSize::title2, QFont::Bold)),
      m_text(new TextLabel({}, Palette::TextSize::callout, QFont::Normal, TextRole::secondary)),
      m_create(new ChoiceCard(QStringLiteral("plus"))),
      m_join(new ChoiceCard(QStringLiteral("link"))),
      m_back(new BrandButton(BrandButton::Kind::secondary)) {
    m_title->setAlignment(Qt::AlignCenter);
    m_text->setAlignment(Qt::AlignCenter);
    connect(m_create, &ChoiceCard::clicked, this, [this] { onCreate(); });
    connect(m_join, &ChoiceCard::clicked, this, [this] { onJoin(); });
    connect(m_back, &BrandButton::clicked, this, [this] { onBack(); });

    auto* cards = new QHBoxLayout;
    cards->setSpacing(Palette::Space::s4);
    cards->addStretch();
    cards->addWidget(m_create);
    cards->addWidget(m_join);
    cards->addStretch();

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(64, 0, 64, 24);
    column->setSpacing(0);
    column->addStretch(5);
    column->addWidget(m_title);
    column->addSpacing(Palette::Space::s3);
    column->addWidget(m_text);
    column->addSpacing(Palette::Space::s6);
    column->addLayout(cards);
    column->addStretch(6);
    column->addWidget(m_back, 0, Qt::AlignLeft);
}

void ChoosePage::render() {
    m_title->setText(m_l10n.text(u"设置这台设备", u"Set up this device"));
    m_text->setText(m_l10n.text(u"这是你的第一台设备，还是已经有设备组了？",
                                u"Is this your first device, or do you already have a group?"));
    m_create->setTexts(m_l10n.text(u"新建设备组", u"Create a group"),
                       m_l10n.text(u"这是我的第一台设备，\n稍后再添加其他设备。",
                                   u"This is my first device. I’ll add the others next."));
    m_join->setTexts(m_l10n.text(u"加入设备组", u"Join a group"),
                     m_l10n.text(u"我有另一台设备上的配对链接或配对码。",
                                 u"I have a pairing link or code from another device."));
    m_back->setText(m_l10n.text(u"返回", u"Back"));
}

QWidget* ChoosePage::firstFocus() {
    return m_create;
}

} // namespace sorrelwind

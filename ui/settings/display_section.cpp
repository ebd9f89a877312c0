#include "ui/settings/display_section.h"

#include "base/l10n.h"
#include "base/prefs.h"
#include "core/app_model.h"
#include "ui/controls/brand_switch.h"
#include "ui/controls/card.h"
#include "ui/controls/choice_control.h"
#include "ui/controls/text_label.h"
#include "ui/settings/settings_row.h"
#include "ui/settings/settings_view.h"

namespace sorrelwind {

DisplaySection::DisplaySection(AppModel& model, const SettingsServices& services)
    : m_model(model), m_services(services), m_header(newSettingsHeader()),
      m_appearance(new ChoiceControl), m_bubble(new BrandSwitch), m_language(new ChoiceControl) {
    m_appearance->setObjectName(QStringLiteral("appearance"));
    m_appearance->onChosen = [this](int index) {
        m_services.prefs.setAppearance(static_cast<Prefs::Appearance>(index));
    };
    m_bubble->setObjectName(QStringLiteral("bubble"));
    connect(m_bubble, &BrandSwitch::clicked, this,
            [this](bool on) { m_services.prefs.setShowSyncBubble(on); });
    m_language->setObjectName(QStringLiteral("language"));
    m_language->setChoices({QStringLiteral("中文"), QStringLiteral("English")});
    m_language->onChosen = [this](int index) {
        if (static_cast<Lang>(index) == m_services.l10n.lang())
            return;
        m_services.l10n.toggle();
        m_model.languageChanged();
    };

    m_appearanceRow = new SettingsRow(m_appearance);
    m_bubbleRow = new SettingsRow(m_bubble);
    m_languageRow = new SettingsRow(m_language);
    auto* card = new Card;
    for (SettingsRow* row : {m_appearanceRow, m_bubbleRow, m_languageRow})
        card->addRow(row);
    fillSettingsSection(*this, m_header, card);
    render();
}

void DisplaySection::render() {
    const L10n& l10n = m_services.l10n;
    m_header->setText(l10n.text(u"显示", u"Display"));
    m_appearanceRow->setLabel(l10n.text(u"外观", u"Appearance"));
    m_appearance->setChoices({l10n.text(u"跟随系统", u"System"), l10n.text(u"浅色", u"Light"),
                              l10n.text(u"深色", u"Dark")});
    m_appearance->setCurrent(static_cast<int>(m_services.prefs.appearance()));
    m_bubbleRow->setLabel(l10n.text(u"复制后显示提示气泡", u"Show a bubble after each copy"));
    m_bubble->setChecked(m_services.prefs.showSyncBubble());
    m_languageRow->setLabel(l10n.text(u"语言", u"Language"));
    m_language->setCurrent(static_cast<int>(l10n.lang()));
}

} // namespace sorrelwind

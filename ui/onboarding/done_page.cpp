#include "ui/onboarding/done_page.h"

#include "base/machine_words.h"
#include "core/app_model.h"
#include "crypto/group_setup.h"
#include "ui/controls/brand_button.h"
#include "ui/controls/brand_switch.h"
#include "ui/controls/card.h"
#include "ui/controls/text_label.h"
#include "ui/launch_at_login.h"
#include "ui/palette.h"
#include "ui/symbol_view.h"

#include <QHBoxLayout>

namespace sorrelwind {

DonePage::DonePage(const AppModel& model, const L10n& l10n, LaunchAtLogin& launchAtLogin,
                   std::function<bool()> showsIcon)
    : m_model(model), m_l10n(l10n), m_launchAtLogin(launchAtLogin),
      m_showsIcon(std::move(showsIcon)),
      m_title(new TextLabel({}, Palette::TextSize::title2, QFont::Bold)),
      m_text(new TextLabel({}, Palette::TextSize::callout, QFont::Normal, TextRole::secondary)),
      m_keyNote(new TextLabel({}, Palette::TextSize::footnote)),
      m_launchLabel(new TextLabel({}, Palette::TextSize::footnote)), m_launch(new BrandSwitch),
      m_launchNote(new TextLabel({}, Palette::TextSize::caption, QFont::Normal, TextRole::danger)),
      m_done(new BrandButton(BrandButton::Kind::secondary)),
      m_addDevice(new BrandButton(BrandButton::Kind::primary, true)) {
    for (TextLabel* label : {m_title, m_text, m_keyNote, m_launchNote})
        label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    m_keyNote->setContentsMargins(0, Palette::Space::s2, 0, 0);
    m_launchLabel->setElided(true);
    m_launch->setObjectName(QStringLiteral("launchAtLogin"));
    m_addDevice->setFixedWidth(180);
    m_addDevice->setSymbol(QStringLiteral("plus"));
    connect(m_launch, &BrandSwitch::clicked, this, [this](bool on) { flipLaunch(on); });
    connect(m_done, &BrandButton::clicked, this, [this] { onDone(); });
    connect(m_addDevice, &BrandButton::clicked, this, [this] { onAddDevice(); });

    auto* row = new QWidget;
    auto* rowLine = new QHBoxLayout(row);
    rowLine->setContentsMargins(16, 9, 16, 9);
    rowLine->setSpacing(Palette::Space::s8);
    rowLine->addWidget(m_launchLabel, 1);
    rowLine->addWidget(m_launch);
    auto* card = new Card;
    card->addRow(row);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(Palette::Space::s3);
    buttons->addStretch();
    buttons->addWidget(m_done);
    buttons->addWidget(m_addDevice);
    buttons->addStretch();

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(64, 0, 64, 40);
    column->setSpacing(0);
    column->addStretch();
    column->addWidget(
        new SymbolView(72, TextRole::success, QStringLiteral("checkmark.circle.fill")), 0,
        Qt::AlignHCenter);
    column->addSpacing(Palette::Space::s5);
    column->addWidget(m_title);
    column->addSpacing(Palette::Space::s3);
    column->addWidget(m_text);
    column->addWidget(m_keyNote);
    column->addSpacing(Palette::Space::s5);
    column->addWidget(card, 0, Qt::AlignHCenter);
    column->addWidget(m_launchNote);
    column->addSpacing(Palette::Space::s5);
    column->addLayout(buttons);
    column->addStretch();
}

void DonePage::flipLaunch(bool on) {
    const auto set = m_launchAtLogin.setEnabled(on);
    m_launchError = set ? std::nullopt : std::optional(set.error());
    render();
}

void DonePage::renderKey() {
    const bool member = m_model.account().has_value();
    QString says;
    TextRole role = TextRole::warning;
    if (member && m_model.crypto() == AppModel::CryptoStatus::plaintext) {
        says = m_l10n.text(u"这个设备组没有加密密钥，内容不会加密。",
                           u"This group has no encryption key: what is copied is not encrypted.");
    } else if (member && m_model.wantsPassphrase()) {
        says = m_l10n.text(u"收到的内容无法用本机的密钥解密。请在设置中输入设备组口令。",
                           u"A text arrived that can't be opened with the key here — enter the "
                           u"group's passphrase in Settings.");
    } else if (member && m_joinedByPassphrase && m_model.keyFit() == AppModel::KeyFit::unknown) {
        says = passphraseUnproven().in(m_l10n.lang());
        role = TextRole::secondary;
    }
    m_keyNote->setVisible(!says.isEmpty());
    m_keyNote->setRole(role);
    m_keyNote->setText(says);
}

void DonePage::render() {
    m_title->setText(m_l10n.text(u"一切就绪", u"You’re all set"));
    const QString whatFor = m_l10n.text(u"在这台设备上复制，到其他设备上粘贴。\n",
                                        u"Copy on this device and paste on your other devices.\n");
    m_text->setText(
        whatFor +
        (m_showsIcon()
             ? m_l10n.text(u"Sorrelwind 就在" TRAY_ZH u"里。",
                           u"Sorrelwind lives in the " TRAY_EN u".")
             : m_l10n.text(u"这个桌面不显示状态图标：再次启动 Sorrelwind 即可打开它。",
                           u"Your desktop shows no icon: start Sorrelwind again to open it.")));
    renderKey();
    m_launchLabel->setText(m_l10n.text(u"登录时启动", u"Open at login"));
    m_launch->setAccessibleName(m_launchLabel->text());
    m_launch->setChecked(m_launchAtLogin.enabled());
    m_launchNote->setVisible(m_launchError.has_value());
    m_launchNote->setText(m_launchError ? m_launchError->in(m_l10n.lang()) : QString());
    m_done->setText(m_l10n.text(u"完成", u"Done"));
    m_addDevice->setText(m_l10n.text(u"添加设备", u"Add a Device"));
}

QWidget* DonePage::firstFocus() {
    return m_addDevice;
}

} // namespace sorrelwind

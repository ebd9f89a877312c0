#include "ui/settings/device_section.h"

#include "clipboard/pasteboard.h"
#include "core/app_model.h"
#include "core/membership_flow.h"
#include "ui/controls/brand_switch.h"
#include "ui/controls/card.h"
#include "ui/controls/text_field.h"
#include "ui/controls/text_label.h"
#include "ui/launch_at_login.h"
#include "ui/palette.h"
#include "ui/settings/passphrase_row.h"
#include "ui/settings/settings_row.h"
#include "ui/settings/settings_view.h"

namespace sorrelwind {

DeviceSection::DeviceSection(AppModel& model, const SettingsServices& services)
    : m_model(model), m_services(services), m_header(newSettingsHeader()), m_name(new TextField),
      m_passphrase(new PassphraseRow(model, services)), m_launch(new BrandSwitch),
      m_clipboard(
          new TextLabel({}, Palette::TextSize::footnote, QFont::Normal, TextRole::secondary)) {
    m_name->setObjectName(QStringLiteral("deviceName"));
    m_name->setFixedWidth(200);
    m_name->setMaxLength(MembershipFlow::kMaxDeviceName);
    m_launch->setObjectName(QStringLiteral("launchAtLogin"));

    m_nameRow = new SettingsRow(m_name);
    m_launchRow = new SettingsRow(m_launch);
    m_clipboard->setObjectName(QStringLiteral("clipboard"));
    m_clipboardRow = new SettingsRow(m_clipboard);
    auto* card = new Card;
    for (QWidget* row :
         std::initializer_list<QWidget*>{m_nameRow, m_passphrase, m_launchRow, m_clipboardRow})
        card->addRow(row);
    fillSettingsSection(*this, m_header, card);

    connect(m_name, &TextField::editingFinished, this, &DeviceSection::saveName);
    connect(m_launch, &BrandSwitch::clicked, this, [this](bool on) { flipLaunch(on); });
    render();
}

void DeviceSection::leave() {
    saveName();
    m_passphrase->leave();
}

QWidget* DeviceSection::wantedField() const {
    return m_passphrase->field();
}

void DeviceSection::saveName() {
    const QString name = m_name->text().trimmed();
    if (!m_model.account() || name == m_model.account()->deviceName || name.isEmpty()) {
        m_shownName.reset();
        renderName();
        return;
    }
    if (!m_name->isModified()) // it is on its way already
        return;
    m_name->setModified(false);
    m_tasks.start(rename(name));
}

Task<> DeviceSection::rename(QString name) {
    m_nameError = co_await m_model.renameThisMac(name);
    m_shownName.reset();
    renderName();
}

void DeviceSection::flipLaunch(bool on) {
    const auto set = m_services.launchAtLogin.setEnabled(on);
    m_launchError = set ? std::nullopt : std::optional(set.error());
    render();
}

void DeviceSection::renderName() {
    // What a person is typing stays, whatever else of the model changes.
    const QString name = m_model.account() ? m_model.account()->deviceName : QString();
    if (m_shownName != name) {
        m_shownName = name;
        m_name->setText(name);
    }
    m_name->setFaulty(m_nameError.has_value());
    m_nameRow->setNote(m_nameError ? m_nameError->message(m_services.l10n.lang()) : QString(),
                       TextRole::danger);
}

void DeviceSection::renderClipboard() {
    const L10n& l10n = m_services.l10n;
    const Pasteboard& pasteboard = m_model.pasteboard();
    m_clipboardRow->setLabel(l10n.text(u"剪贴板", u"Clipboard"));
    m_clipboard->setText(!pasteboard.available() ? l10n.text(u"不可用", u"Not available")
                         : pasteboard.backend() == QLatin1StringView("wayland")
                             ? QStringLiteral("Wayland")
                             : QStringLiteral("X11"));
    m_clipboardRow->setNote(
        pasteboard.available()
            ? QString()
            : l10n.text(u"复制的内容不会同步；仍可接收，也可用命令行收发。原因：%1",
                        u"Copies aren't synced. Receiving and the command line still work. "
                        u"Reason: %1")
                  .arg(pasteboard.unavailableReason().in(l10n.lang())),
        TextRole::warning);
}

void DeviceSection::render() {
    const L10n& l10n = m_services.l10n;
    m_header->setText(l10n.text(u"这台设备", u"This device"));
    m_nameRow->setLabel(l10n.text(u"设备名称", u"Device name"));
    renderName();
    m_passphrase->render();
    m_launchRow->setLabel(l10n.text(u"登录时启动", u"Open at login"));
    m_launch->setChecked(m_services.launchAtLogin.enabled());
    m_launchRow->setNote(m_launchError ? m_launchError->in(l10n.lang()) : QString(),
                         TextRole::danger);
    renderClipboard();
}

} // namespace sorrelwind

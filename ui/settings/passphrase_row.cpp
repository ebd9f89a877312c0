#include "ui/settings/passphrase_row.h"

#include "base/machine_words.h"
#include "crypto/group_setup.h"
#include "ui/controls/brand_button.h"
#include "ui/controls/icon_button.h"
#include "ui/controls/text_field.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"
#include "ui/settings/settings_row.h"
#include "ui/text_font.h"

#include <QHBoxLayout>
#include <QTimer>

#include <chrono>

namespace sorrelwind {

namespace {

using namespace std::chrono_literals;

constexpr auto kCopiedFor = 1500ms;
const QString kDots = QStringLiteral("•••••-•••••-•••••-•••••"); // tells nothing of its length

} // namespace

PassphraseRow::PassphraseRow(AppModel& model, const SettingsServices& services)
    : m_model(model), m_services(services),
      m_stored(new TextLabel({}, Palette::TextSize::footnote)),
      m_reveal(new IconButton(QStringLiteral("eye"), {},
                              [this] {
                                  m_revealed = !m_revealed;
                                  render();
                              })),
      m_copy(new IconButton(QStringLiteral("doc.on.doc"), {}, [this] { copy(); })),
      m_row(new SettingsRow(m_stored)), m_form(new QWidget), m_field(new TextField),
      m_use(new BrandButton(BrandButton::Kind::primary)),
      m_cancel(new BrandButton(BrandButton::Kind::secondary)),
      m_said(new TextLabel({}, Palette::TextSize::caption)) {
    m_stored->setObjectName(QStringLiteral("passphrase"));
    m_stored->setFont(codeFont(Palette::TextSize::footnote));
    m_stored->setElided(true);
    m_reveal->setObjectName(QStringLiteral("reveal"));
    m_copy->setObjectName(QStringLiteral("copy"));
    m_row->addControl(m_reveal);
    m_row->addControl(m_copy);
    m_field->setObjectName(QStringLiteral("enterPassphrase"));
    m_field->setFont(codeFont(Palette::TextSize::footnote));

    auto* line = new QHBoxLayout;
    line->setSpacing(Palette::Space::s2);
    line->addWidget(m_field, 1);
    line->addWidget(m_cancel);
    line->addWidget(m_use);
    auto* form = new QVBoxLayout(m_form);
    form->setContentsMargins(14, 0, 14, 10);
    form->setSpacing(Palette::Space::s2);
    form->addLayout(line);
    form->addWidget(m_said);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(m_row);
    column->addWidget(m_form);

    connect(m_field, &TextField::textEdited, this, [this] {
        m_error.reset();
        renderForm();
    });
    connect(m_field, &TextField::returnPressed, this, &PassphraseRow::submit);
    connect(m_use, &BrandButton::clicked, this, &PassphraseRow::submit);
    connect(m_cancel, &BrandButton::clicked, this, &PassphraseRow::cancel);
    render();
}

QWidget* PassphraseRow::field() const {
    return m_form->isHidden() ? nullptr : m_field;
}

void PassphraseRow::leave() {
    m_revealed = false;
    m_entered = false;
    m_error.reset();
    m_field->clear();
    cancel();
}

void PassphraseRow::copy() {
    if (!m_model.account() || !m_model.account()->passphrase)
        return;
    m_services.copyText(*m_model.account()->passphrase);
    m_copy->setSymbol(QStringLiteral("checkmark"));
    QTimer::singleShot(kCopiedFor, m_copy,
                       [this] { m_copy->setSymbol(QStringLiteral("doc.on.doc")); });
}

void PassphraseRow::submit() {
    if (busy() || m_field->text().isEmpty())
        return;
    m_error.reset();
    m_field->setFocus(Qt::OtherFocusReason);
    m_tasks.start(enter(m_field->text()));
}

void PassphraseRow::cancel() {
    m_tasks.cancel();
    m_progress.reset();
    render();
}

Task<> PassphraseRow::enter(QString passphrase) {
    const auto progress = [this](const Sentence& sentence) {
        m_progress = sentence;
        renderForm();
    };
    auto entering = m_model.enterPassphrase(passphrase, progress);
    const auto entered = co_await std::move(entering);
    m_progress.reset();
    m_entered = entered.has_value();
    if (entered) {
        m_field->clear();
        window()->setFocus(Qt::OtherFocusReason);
    } else {
        m_error = entered.error();
    }
    render();
}

QString PassphraseRow::storedNote() const {
    const L10n& l10n = m_services.l10n;
    const auto& account = m_model.account();
    if (!account || (!account->passphrase && !account->key))
        return account
                   ? l10n.text(u"这个设备组没有加密密钥。", u"This group has no encryption key.")
                   : QString();
    if (!account->passphrase)
        return l10n.text(
            u"这台" COMPUTER_ZH u"是通过配对链接加入的，因此只保存了密钥，没有保存口令。",
            u"This " COMPUTER_EN u" joined with a pairing link, so only the key is stored — not "
            u"the passphrase.");
    if (!m_entered)
        return {};
    return m_model.keyFit() == AppModel::KeyFit::fits
               ? l10n.text(u"口令正确。", u"The passphrase fits.")
               : passphraseUnproven().in(l10n.lang());
}

void PassphraseRow::renderStored() {
    const L10n& l10n = m_services.l10n;
    const auto& account = m_model.account();
    const bool has = account && account->passphrase;
    m_revealed = m_revealed && has;
    m_row->setLabel(l10n.text(u"设备组口令", u"Group passphrase"));
    m_stored->setVisible(has);
    m_reveal->setVisible(has);
    m_copy->setVisible(has);
    m_stored->setText(!has ? QString() : m_revealed ? *account->passphrase : kDots);
    m_stored->setAccessibleName(m_revealed ? *account->passphrase
                                           : l10n.text(u"口令已隐藏", u"Passphrase, hidden"));
    m_reveal->setSymbol(m_revealed ? QStringLiteral("eye.slash") : QStringLiteral("eye"));
    m_reveal->setHelp(m_revealed ? l10n.text(u"隐藏口令", u"Hide the passphrase")
                                 : l10n.text(u"显示口令", u"Show the passphrase"));
    m_copy->setHelp(l10n.text(u"复制口令", u"Copy the passphrase"));
    if (m_model.wantsPassphrase())
        m_row->setNote(m_model.warning().value_or(QString()), TextRole::warning);
    else
        m_row->setNote(storedNote());
}

void PassphraseRow::renderForm() {
    const L10n& l10n = m_services.l10n;
    m_form->setVisible(m_model.wantsPassphrase() || busy());
    m_field->setReadOnly(busy()); // disabled it would pass the focus on
    m_field->setPlaceholderText(
        l10n.text(u"其他设备的设置中可以看到", u"As your other devices’ settings show it"));
    m_field->setAccessibleName(l10n.text(u"重新输入口令", u"Enter the passphrase again"));
    m_field->setFaulty(m_error.has_value());
    m_cancel->setText(l10n.text(u"取消", u"Cancel"));
    m_cancel->setVisible(busy());
    m_use->setText(l10n.text(u"使用", u"Use"));
    m_use->setEnabled(!busy() && !m_field->text().isEmpty());
    const std::optional<Sentence>& said = busy() ? m_progress : m_error;
    m_said->setRole(busy() ? TextRole::accent : TextRole::danger);
    m_said->setText(said ? said->in(l10n.lang()) : QString());
    m_said->setVisible(said.has_value());
}

void PassphraseRow::render() {
    renderStored();
    renderForm();
}

} // namespace sorrelwind

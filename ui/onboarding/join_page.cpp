#include "ui/onboarding/join_page.h"

#include "account/server_defaults.h"
#include "core/membership_flow.h"
#include "ui/controls/text_field.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"
#include "ui/text_font.h"

#include <QUrl>

namespace sorrelwind {

namespace {

// Host and port, as a person would say the address.
QString shortAddress(const QString& server) {
    return server.mid(server.indexOf(QLatin1StringView("://")) + 3);
}

} // namespace

JoinPage::JoinPage(const L10n& l10n, const QString& deviceName, const QString& server)
    : FormPage(l10n), m_entryLabel(newLabel()), m_entry(new TextField), m_entryNote(newNote()),
      m_passphraseLabel(newLabel()), m_passphrase(new TextField), m_serverLabel(newLabel()),
      m_server(new TextField(server)), m_nameLabel(newLabel()), m_name(new TextField(deviceName)) {
    m_entry->setObjectName(QStringLiteral("invitation"));
    m_passphrase->setObjectName(QStringLiteral("passphrase"));
    m_passphrase->setFont(codeFont(Palette::TextSize::footnote));
    m_server->setObjectName(QStringLiteral("server"));
    m_name->setObjectName(QStringLiteral("deviceName"));
    m_name->setMaxLength(MembershipFlow::kMaxDeviceName);

    addBlock(m_entryLabel, m_entry, m_entryNote);
    m_passphraseBlock = addBlock(m_passphraseLabel, m_passphrase);
    m_serverBlock = addBlock(m_serverLabel, m_server);
    addBlock(m_nameLabel, m_name);
    for (TextField* field : {m_entry, m_passphrase, m_server, m_name}) {
        submitsByEnter(field);
        connect(field, &TextField::textEdited, this, [this] { typed(); });
    }
    JoinPage::render();
}

Invitation JoinPage::invitation() const {
    return Invitation::read(m_entry->text());
}

QString JoinPage::passphrase() const {
    return m_passphrase->text();
}

QString JoinPage::deviceName() const {
    return m_name->text().trimmed();
}

std::optional<QString> JoinPage::server() const {
    return ServerDefaults::normalize(m_server->text());
}

bool JoinPage::complete() const {
    const Invitation what = invitation();
    return what.usable() && !deviceName().isEmpty() &&
           (!what.needsPassphrase() || !passphrase().isEmpty()) &&
           (!what.needsServer() || server());
}

QWidget* JoinPage::firstFocus() {
    return m_entry;
}

void JoinPage::typed() {
    showNothing();
    renderEntry();
    updateSubmit();
}

void JoinPage::renderEntry() {
    using Kind = Invitation::Kind;
    const Invitation what = invitation();
    TextRole role = TextRole::success;
    QString note;
    switch (what.kind) {
    case Kind::empty:
        role = TextRole::tertiary;
        note = text(u"在另一台设备上点“添加设备”，即可得到链接和配对码。",
                    u"On your other device, choose “Add Device” to get a link and a code.");
        break;
    case Kind::unknown:
        role = TextRole::warning;
        note = text(u"还不是配对链接，也不是配对码（形如 XXXX-XXXX）。",
                    u"Neither a pairing link nor a pairing code yet (it looks like XXXX-XXXX).");
        break;
    case Kind::link:
        note = text(u"配对链接 · %1 · 还需要设备组口令",
                    u"Pairing link — %1. It needs the group’s passphrase as well.")
                   .arg(shortAddress(what.link->server));
        break;
    case Kind::linkWithKey:
        note = text(u"配对链接 · %1 · 已含加密密钥",
                    u"Pairing link — %1. It carries the encryption key.")
                   .arg(shortAddress(what.link->server));
        break;
    case Kind::code:
        note = text(u"配对码 · 还需要设备组口令和服务器地址",
                    u"Pairing code. It needs the group’s passphrase and hub address as well.");
        break;
    }
    m_entryNote->setRole(role);
    m_entryNote->setText(note);
    m_passphraseBlock->setVisible(what.needsPassphrase());
    m_serverBlock->setVisible(what.needsServer());
    m_server->setFaulty(!m_server->text().trimmed().isEmpty() && !server());
}

void JoinPage::render() {
    FormPage::render();
    setTitle(text(u"加入设备组", u"Join your group"));
    setSubmitText(text(u"加入", u"Join Group"));
    m_entryLabel->setText(text(u"配对链接或配对码", u"Pairing link or code"));
    m_entry->setAccessibleName(m_entryLabel->text());
    m_entry->setPlaceholderText(
        text(u"粘贴链接，或输入 XXXX-XXXX", u"Paste the link, or type XXXX-XXXX"));
    m_passphraseLabel->setText(text(u"设备组口令", u"Group passphrase"));
    m_passphrase->setAccessibleName(m_passphraseLabel->text());
    m_serverLabel->setText(text(u"服务器地址", u"Hub address"));
    m_server->setAccessibleName(m_serverLabel->text());
    m_server->setPlaceholderText(QStringLiteral("https://hub.example"));
    m_nameLabel->setText(text(u"设备名称", u"Device name"));
    m_name->setAccessibleName(m_nameLabel->text());
    renderEntry();
    updateSubmit();
}

} // namespace sorrelwind

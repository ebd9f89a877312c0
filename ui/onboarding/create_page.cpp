#include "ui/onboarding/create_page.h"

#include "account/server_defaults.h"
#include "core/membership_flow.h"
#include "crypto/clipboard_crypto.h"
#include "hosting/local_address.h"
#include "ui/controls/choice_control.h"
#include "ui/controls/icon_button.h"
#include "ui/controls/text_field.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"
#include "ui/text_font.h"

#include <QHBoxLayout>
#include <QTimer>

#include <chrono>

namespace sorrelwind {

namespace {

using namespace std::chrono_literals;

constexpr auto kCopiedFor = 1500ms;
const QString kCopySymbol = QStringLiteral("doc.on.doc");
const QString kCopiedSymbol = QStringLiteral("checkmark");

} // namespace

CreatePage::CreatePage(const L10n& l10n, const Prefill& prefill,
                       std::function<void(const QString&)> copyText)
    : FormPage(l10n), m_copyText(std::move(copyText)), m_nameLabel(newLabel()),
      m_name(new TextField(prefill.deviceName)), m_passphraseLabel(newLabel()),
      m_passphrase(new TextField(prefill.passphrase)),
      m_regenerate(new IconButton(QStringLiteral("arrow.clockwise"), {}, [this] { regenerate(); })),
      m_copy(new IconButton(kCopySymbol, {}, [this] { copyPassphrase(); })),
      m_passphraseNote(newNote()), m_hubLabel(newLabel()), m_hubChoice(new ChoiceControl),
      m_server(new TextField(prefill.server)), m_hubNote(newNote()) {
    m_name->setObjectName(QStringLiteral("deviceName"));
    m_name->setMaxLength(MembershipFlow::kMaxDeviceName);
    m_passphrase->setObjectName(QStringLiteral("passphrase"));
    m_passphrase->setFont(codeFont(Palette::TextSize::footnote));
    m_passphrase->setRightInset(60);
    m_server->setObjectName(QStringLiteral("server"));
    m_hubChoice->setObjectName(QStringLiteral("hubChoice"));
    m_hubChoice->setCurrent(prefill.hosts ? 1 : 0);
    m_hubChoice->onChosen = [this](int) { hubTyped(); };

    auto* inField = new QHBoxLayout(m_passphrase);
    inField->setContentsMargins(0, 0, 4, 0);
    inField->setSpacing(0);
    inField->addStretch();
    for (IconButton* button : {m_regenerate, m_copy}) {
        button->setCursor(Qt::ArrowCursor);
        inField->addWidget(button);
    }

    auto* hub = new QWidget;
    auto* hubColumn = new QVBoxLayout(hub);
    hubColumn->setContentsMargins(0, 0, 0, 0);
    hubColumn->setSpacing(Palette::Space::s2);
    hubColumn->addWidget(m_hubChoice, 0, Qt::AlignLeft);
    hubColumn->addWidget(m_server);

    addBlock(m_nameLabel, m_name);
    addBlock(m_passphraseLabel, m_passphrase, m_passphraseNote);
    addBlock(m_hubLabel, hub, m_hubNote);
    for (TextField* field : {m_name, m_passphrase, m_server}) {
        submitsByEnter(field);
        connect(field, &TextField::textEdited, this,
                [this, field] { field == m_server ? hubTyped() : typed(); });
    }
    CreatePage::render();
}

QString CreatePage::deviceName() const {
    return m_name->text().trimmed();
}

QString CreatePage::passphrase() const {
    return m_passphrase->text();
}

bool CreatePage::hosts() const {
    return m_hubChoice->current() == 1;
}

std::optional<QString> CreatePage::server() const {
    return ServerDefaults::normalize(m_server->text());
}

bool CreatePage::complete() const {
    return !deviceName().isEmpty() && !passphrase().isEmpty() && (hosts() || server());
}

QWidget* CreatePage::firstFocus() {
    return m_name;
}

void CreatePage::regenerate() {
    m_passphrase->setText(Crypto::randomPassphrase());
    typed();
}

void CreatePage::copyPassphrase() {
    m_copyText(passphrase());
    m_copy->setSymbol(kCopiedSymbol);
    QTimer::singleShot(kCopiedFor, m_copy, [this] { m_copy->setSymbol(kCopySymbol); });
}

void CreatePage::typed() {
    showNothing();
    renderHub();
    updateSubmit();
}

void CreatePage::hubTyped() {
    m_hubTyped = true;
    typed();
}

void CreatePage::offerHub(const QString& server) {
    if (m_hubTyped || busy())
        return;
    m_server->setText(server);
    m_hubChoice->setCurrent(0);
    renderHub();
    updateSubmit();
}

void CreatePage::renderHub() {
    const bool empty = m_server->text().trimmed().isEmpty();
    m_server->setVisible(!hosts());
    m_server->setFaulty(!hosts() && !empty && !server());
    m_hubNote->setRole(TextRole::tertiary);
    if (hosts()) {
        m_hubNote->setText(
            text(u"服务器程序将在这台电脑上运行，供同一网络中的设备使用。\n"
                 u"这台电脑关机或离线时，其他设备无法同步。",
                 u"The hub will run on this computer for devices on the same network. While this "
                 u"computer is off or away, they do not sync."));
    } else if (empty) {
        m_hubNote->setText(text(u"请填写服务器地址。", u"Give the hub’s address."));
    } else if (const auto address = server(); address && isLoopback(*address)) {
        m_hubNote->setText(text(u"将连接 %1。手机和其他电脑无法访问这个地址；要添加它们，"
                                u"请选择“在这台电脑上运行服务器”。",
                                u"Connects to %1. Phones and other computers can’t reach that "
                                u"address; to add them, choose “Host the hub on this computer”.")
                               .arg(*address));
    } else if (address) {
        m_hubNote->setText(text(u"将连接 %1", u"Connects to %1").arg(*address));
    } else {
        m_hubNote->setRole(TextRole::danger);
        m_hubNote->setText(text(u"这不是服务器地址，例如 https://hub.example",
                                u"That is not a hub’s address, such as https://hub.example"));
    }
}

void CreatePage::render() {
    FormPage::render();
    setTitle(text(u"新建设备组", u"Create your group"));
    setSubmitText(text(u"新建", u"Create Group"));
    m_nameLabel->setText(text(u"设备名称", u"Device name"));
    m_name->setAccessibleName(m_nameLabel->text());
    m_passphraseLabel->setText(text(u"设备组口令", u"Group passphrase"));
    m_passphrase->setAccessibleName(m_passphraseLabel->text());
    m_regenerate->setHelp(text(u"换一个口令", u"Make another passphrase"));
    m_copy->setHelp(text(u"复制口令", u"Copy the passphrase"));
    m_passphraseNote->setText(
        text(u"你的设备用这个口令生成加密密钥。请妥善保管——服务器从不知道它。",
             u"Your devices derive the encryption key from this passphrase. Keep it somewhere safe "
             u"— the hub never sees it."));
    m_hubLabel->setText(text(u"服务器", u"Hub"));
    m_hubChoice->setChoices({text(u"填写地址", u"Use a hub address"),
                             text(u"在这台电脑上运行服务器", u"Host the hub on this computer")});
    m_hubChoice->setAccessibleName(m_hubLabel->text());
    m_server->setAccessibleName(text(u"服务器地址", u"Hub address"));
    m_server->setPlaceholderText(QStringLiteral("https://hub.example"));
    renderHub();
    updateSubmit();
}

} // namespace sorrelwind

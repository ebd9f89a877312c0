#include "ui/settings/group_section.h"

#include "base/printable.h"
#include "core/app_model.h"
#include "hosting/hub_host.h"
#include "ui/controls/brand_button.h"
#include "ui/controls/card.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"
#include "ui/settings/settings_row.h"
#include "ui/settings/settings_view.h"

#include <QPointer>

namespace sorrelwind {

using Kind = BrandButton::Kind;

GroupSection::GroupSection(AppModel& model, const SettingsServices& services)
    : m_model(model), m_services(services), m_header(newSettingsHeader()),
      m_hub(new TextLabel({}, Palette::TextSize::footnote, QFont::Normal, TextRole::secondary)),
      m_hostCancel(new BrandButton(Kind::secondary)), m_host(new BrandButton(Kind::secondary)),
      m_leaveCancel(new BrandButton(Kind::secondary)), m_leave(new BrandButton(Kind::destructive)) {
    m_hub->setElided(true);
    m_hub->setObjectName(QStringLiteral("hubAddress"));
    m_host->setObjectName(QStringLiteral("host"));
    m_leave->setObjectName(QStringLiteral("leave"));
    m_leaveCancel->setObjectName(QStringLiteral("leaveCancel"));
    m_hubRow = new SettingsRow(m_hub);
    m_hubRow->addControl(m_hostCancel);
    m_hubRow->addControl(m_host);
    m_leaveRow = new SettingsRow;
    m_leaveRow->addControl(m_leaveCancel);
    m_leaveRow->addControl(m_leave);
    auto* card = new Card;
    for (SettingsRow* row : {m_hubRow, m_leaveRow})
        card->addRow(row);
    fillSettingsSection(*this, m_header, card);

    connect(m_host, &BrandButton::clicked, this, &GroupSection::switchHub);
    connect(m_hostCancel, &BrandButton::clicked, this, [this] { ask(Question::none); });
    connect(m_leaveCancel, &BrandButton::clicked, this, [this] { ask(Question::none); });
    connect(m_leave, &BrandButton::clicked, this, [this] {
        if (m_question != Question::leaveGroup)
            ask(Question::leaveGroup);
        else if (!m_leaving)
            m_tasks.start(leaveGroup());
    });
    connect(&m_services.hubHost, &HubHost::changed, this, &GroupSection::render);
    render();
}

bool GroupSection::dropQuestion() {
    const bool asked = m_question != Question::none && !m_leaving;
    ask(Question::none);
    return asked;
}

void GroupSection::ask(Question question) {
    m_question = question;
    render();
    if (question == Question::leaveGroup) // Enter must not mean yes by accident
        m_leaveCancel->setFocus(Qt::OtherFocusReason);
    else if (question == Question::stopHub)
        m_hostCancel->setFocus(Qt::OtherFocusReason);
    if (question != Question::none && onAsked)
        onAsked();
}

void GroupSection::switchHub() {
    HubHost& hubHost = m_services.hubHost;
    if (m_switching)
        return;
    if (hubHost.hosts() && m_question != Question::stopHub) {
        ask(Question::stopHub);
        return;
    }
    m_switching = true;
    m_hostError.reset();
    m_question = Question::none;
    const auto ended = [self = QPointer(this)](const std::optional<Sentence>& error) {
        if (!self)
            return;
        self->m_switching = false;
        self->m_hostError = error;
        self->render();
    };
    if (hubHost.hosts()) {
        hubHost.stop(ended);
    } else {
        hubHost.start([ended](const Result<QString, Sentence>& started) {
            ended(started ? std::nullopt : std::optional(started.error()));
        });
    }
    render();
}

// A hub that served this device alone is of no use without it.
bool GroupSection::hubGoesWithGroup() const {
    return m_services.hubHost.hosts() && m_model.account() &&
           m_services.hubHost.isHere(m_model.account()->server) && m_model.devices().size() == 1;
}

Task<> GroupSection::leaveGroup() {
    m_leaving = true;
    render();
    const bool stopHub = hubGoesWithGroup();
    co_await m_model.leaveGroup();
    if (stopHub) {
        m_services.hubHost.stop();
        m_switching = false; // a start under way is not told of its end
    }
    m_leaving = false;
    m_question = Question::none;
    render();
}

void GroupSection::renderHub() {
    const L10n& l10n = m_services.l10n;
    const HubHost& hubHost = m_services.hubHost;
    const QString server = m_model.account() ? m_model.account()->server : QString();
    const bool groupHere = m_model.account() && hubHost.isHere(server);
    const bool asking = m_question == Question::stopHub;
    m_hubRow->setLabel(l10n.text(u"服务器", u"Hub"));
    m_hub->setText(
        printable(server.startsWith(QLatin1StringView("https://")) ? server.mid(8) : server));
    m_hostCancel->setVisible(asking);
    m_hostCancel->setText(l10n.text(u"取消", u"Cancel"));
    m_host->setVisible(hubHost.hosts() || groupHere);
    m_host->setEnabled(!m_switching);
    m_host->setText(!hubHost.hosts() ? l10n.text(u"启动", u"Start")
                    : asking         ? l10n.text(u"停止服务器", u"Stop Hub")
                                     : l10n.text(u"停止…", u"Stop…"));
    if (m_hostError) {
        m_hubRow->setNote(m_hostError->in(l10n.lang()), TextRole::danger);
    } else if (m_switching) {
        m_hubRow->setNote(l10n.text(u"请稍候…", u"One moment…"));
    } else if (asking) {
        m_hubRow->setNote(
            l10n.text(u"停止后，设备组里的所有设备都无法同步，直到你在这里重新启动它。设备组和口令"
                      u"会保留。",
                      u"Until you start it again here, no device of the group can sync. The group "
                      u"and its passphrase stay."),
            TextRole::warning);
    } else if (groupHere && !hubHost.hosts()) {
        m_hubRow->setNote(
            l10n.text(u"这台电脑上的服务器已停止，设备组现在无法同步。",
                      u"The hub on this computer is stopped, so the group cannot sync."),
            TextRole::warning);
    } else if (hubHost.hosts() && !hubHost.running()) {
        m_hubRow->setNote(l10n.text(u"这台电脑上的服务器没有响应。",
                                    u"The hub on this computer does not answer."),
                          TextRole::warning);
    } else if (!hubHost.hosts()) {
        m_hubRow->setNote({});
    } else if (!groupHere) {
        m_hubRow->setNote(l10n.text(u"这台电脑上还运行着一个供其他设备使用的服务器",
                                    u"A hub for other devices runs on this computer"));
    } else {
        m_hubRow->setNote(
            hubHost.isService()
                ? l10n.text(u"在这台电脑上作为系统服务运行，登录期间一直有效",
                            u"Runs on this computer as a service, for as long as you are logged in")
                : l10n.text(u"在这台电脑上运行，随 Sorrelwind 启动和退出",
                            u"Runs on this computer, starts and ends with Sorrelwind"));
    }
}

void GroupSection::renderLeave() {
    const L10n& l10n = m_services.l10n;
    const bool asking = m_question == Question::leaveGroup;
    QString label = l10n.text(u"要离开设备组吗？", u"Leave the group?");
    if (!asking) {
        const auto count = m_model.devices().size();
        const bool encrypted = m_model.crypto() == AppModel::CryptoStatus::encrypted;
        label = count == 1 ? l10n.text(u"1 台设备", u"1 device")
                           : l10n.text(u"%1 台设备", u"%1 devices").arg(count);
        label += encrypted ? l10n.text(u" · 端到端加密", u" · end-to-end encrypted")
                           : l10n.text(u" · 未加密", u" · not encrypted");
    }
    m_leaveRow->setLabel(label);
    QString note;
    if (asking) {
        note = l10n.text(u"这台设备将停止同步，并删除本机保存的密钥和口令。要回来，需要重新配对。",
                         u"This device stops syncing and forgets the key and passphrase. To come "
                         u"back, pair it again.");
        if (hubGoesWithGroup()) {
            note += l10n.text(u"组里没有其他设备，本机的服务器也会停止。",
                              u" No other device is in the group, so the hub here stops as well.");
        } else if (m_services.hubHost.hosts()) {
            note += l10n.text(u"本机的服务器会继续为其他设备运行。",
                              u" The hub here goes on for the other devices.");
        }
    }
    m_leaveRow->setNote(note, TextRole::secondary);
    m_leaveCancel->setVisible(asking);
    m_leaveCancel->setEnabled(!m_leaving);
    m_leaveCancel->setText(l10n.text(u"取消", u"Cancel"));
    m_leave->setEnabled(!m_leaving);
    m_leave->setText(m_leaving ? l10n.text(u"正在离开…", u"Leaving…")
                     : asking  ? l10n.text(u"离开设备组", u"Leave Group")
                               : l10n.text(u"离开设备组…", u"Leave Group…"));
}

void GroupSection::render() {
    const L10n& l10n = m_services.l10n;
    m_header->setText(l10n.text(u"设备组", u"Group"));
    renderHub();
    renderLeave();
}

} // namespace sorrelwind

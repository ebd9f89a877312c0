#include "ui/pairing_state.h"

#include "account/pairing_link.h"
#include "account/server_defaults.h"

#include <QHostAddress>
#include <QUrl>

namespace sorrelwind {

namespace {

QSet<QString> idsOf(const QList<DeviceInfo>& devices) {
    QSet<QString> ids;
    for (const DeviceInfo& device : devices)
        ids.insert(device.id);
    return ids;
}

} // namespace

bool isLoopbackServer(const QString& server) {
    const QString host = QUrl(server).host();
    return host == QLatin1StringView("localhost") ||
           host.endsWith(QLatin1StringView(".localhost")) || QHostAddress(host).isLoopback();
}

PairingState::PairingState(AppModel& model, QObject* parent) : QObject(parent), m_model(model) {
    m_timer.setInterval(std::chrono::seconds(1));
    connect(&m_timer, &QTimer::timeout, this, [this] { tick(QDateTime::currentDateTimeUtc()); });
}

bool PairingState::linkHoldsKey() const {
    const auto link = PairingLink::parse(m_pairing.url);
    return link && link->keyB64;
}

QString PairingState::server() const {
    return m_model.account() ? m_model.account()->server : QString();
}

bool PairingState::serverIsLoopback() const {
    return isLoopbackServer(server());
}

bool PairingState::opensPage() const {
    return !ServerDefaults::isBuiltIn(server());
}

std::optional<Sentence> PairingState::typingNeeds() const {
    const auto& account = m_model.account();
    if (m_model.crypto() == AppModel::CryptoStatus::plaintext)
        return std::nullopt;
    if (account && account->passphrase)
        return Sentence::of(u"手动输入还需要设备组口令，可在“设置”中查看",
                            u"Typing also takes the group’s passphrase: see Settings");
    if (account)
        return Sentence::of(u"手动输入还需要设备组口令，可在创建设备组的那台设备上查看",
                            u"Typing also takes the group’s passphrase: see the settings of the "
                            u"device that made the group");
    return std::nullopt;
}

void PairingState::generate() {
    m_tasks.cancel();
    m_pairing = {};
    m_linkCopied = false;
    m_known = idsOf(m_model.devices());
    m_key = m_model.account() ? m_model.account()->key : std::nullopt;
    m_phase = Loading();
    Q_EMIT changed();
    m_tasks.start(request());
}

Task<> PairingState::request() {
    const auto pairing = co_await m_model.createPairing();
    if (!pairing) {
        setPhase(Failed{pairing.error()});
        co_return;
    }
    m_pairing = *pairing;
    setPhase(Ready());
    watch();
}

void PairingState::watch() {
    disconnect(m_devices);
    m_devices = connect(&m_model, &AppModel::changed, this, &PairingState::modelChanged);
    m_timer.start();
    lookForNewDevice();
}

void PairingState::modelChanged() {
    // A link made with the key of a wrong passphrase would hand that key on.
    if (std::holds_alternative<Ready>(m_phase) && m_model.account() &&
        m_model.account()->key != m_key)
        generate();
    lookForNewDevice();
}

void PairingState::lookForNewDevice() {
    if (!std::holds_alternative<Ready>(m_phase))
        return;
    const QList<DeviceInfo>& devices = m_model.devices();
    // The list always holds this device, so an empty one had not come from the hub yet.
    if (m_known.isEmpty())
        m_known = idsOf(devices);
    const auto joined = std::find_if(devices.rbegin(), devices.rend(), [this](const auto& device) {
        return !m_known.contains(device.id);
    });
    if (joined != devices.rend())
        setPhase(Joined{joined->name});
}

void PairingState::setLinkCopied() {
    m_linkCopied = true;
    Q_EMIT changed();
}

void PairingState::tick(const QDateTime& now) {
    if (std::holds_alternative<Ready>(m_phase) && now >= m_pairing.expiresAt)
        m_phase = Expired();
    Q_EMIT changed();
}

void PairingState::stop() {
    m_timer.stop();
    disconnect(m_devices);
    m_tasks.cancel();
}

void PairingState::setPhase(Phase phase) {
    m_phase = std::move(phase);
    Q_EMIT changed();
}

} // namespace sorrelwind

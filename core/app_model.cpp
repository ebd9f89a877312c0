#include "core/app_model.h"

#include "account/account_store.h"
#include "account/pairing_link.h"
#include "base/machine_words.h"
#include "base/prefs.h"
#include "clipboard/pasteboard.h"
#include "crypto/clipboard_crypto.h"
#include "crypto/group_setup.h"
#include "hub/hub_api.h"

#include <QScopeGuard>

namespace sorrelwind {

namespace {

HubAPI apiFor(const Network& network, const Account& account) {
    return {&network, account.server, account.token};
}

// Of text: sealed, it makes up the 8 MiB that a hub takes unless its owner says otherwise.
constexpr qsizetype kUsualItemBytes = 6 * 1024 * 1024 - 1024;

// Statuses of the hub.
constexpr int kAccepted = 200;
constexpr int kTooLarge = 413;

Sentence removalNotice() {
    return Sentence::of(
        u"这台" COMPUTER_ZH u"已被移出设备组。重新创建或加入一个设备组即可继续使用。",
        u"This " COMPUTER_EN u" was removed from its group. Create or join a group to continue.");
}

} // namespace

AppModel::AppModel(Services services) : m_services(services), m_monitor(services.pasteboard) {
    m_account = m_services.store.load();
    m_phase = m_account ? Phase::running : Phase::onboarding;
    m_monitor.onLocalText = [this](const QString& text, const QString&) { handleLocal(text); };
    m_monitor.onTooLarge = [this] { handleTooLarge(); };
    m_monitor.onTick = [this] {
        if (m_clockJump.seen(ClockJump::Wall::now(), ClockJump::Steady::now()))
            nudge();
    };
    m_monitor.start();
    connect(&m_services.pasteboard, &Pasteboard::availabilityChanged, this, &AppModel::changed);
    if (m_account)
        startSync(Account(*m_account));
}

AppModel::~AppModel() {
    // Nothing of the client's may call back into a model that is going.
    delete m_client.release();
}

std::optional<QString> AppModel::selfId() const {
    return m_account ? std::optional(m_account->deviceId) : std::nullopt;
}

void AppModel::copyHere(const QString& text) {
    m_monitor.writeSecret(text);
}

void AppModel::startSync(const Account& account) {
    dropKeyTasks();
    if (m_client)
        m_client->shutdown();
    set(m_account, account);
    set(m_phase, Phase::running);
    set(m_devices, QList<DeviceInfo>());
    set(m_decryptFailed, false);
    m_unopened.reset();
    set(m_keyProven, false);
    set(m_copiedTooLarge, false);
    set(m_receivedTooLarge, false);
    m_key = account.key ? SymmetricKey::fromBase64(*account.key) : std::nullopt;
    set(m_crypto, m_key ? CryptoStatus::encrypted : CryptoStatus::unknown);

    m_client.reset(new SyncClient(m_services.network, account));
    m_client->onState = [this](SyncState state) { handleState(state); };
    m_client->onItem = [this](const CloudItem& item) { handleRemote(item); };
    m_client->onDevices = [this](const QList<DeviceInfo>& devices) { set(m_devices, devices); };
    m_client->connect();
    if (!m_key)
        m_keyTasks.start(resolveKey(account));
}

// What came of a membership does not outlive it.
void AppModel::forgetGroup() {
    set(m_account, std::nullopt);
    set(m_devices, QList<DeviceInfo>());
    m_key.reset();
    set(m_crypto, CryptoStatus::unknown);
    set(m_lastSent, std::nullopt);
    set(m_lastReceived, std::nullopt);
    m_lastReceivedText.reset();
    m_lastAppliedId.reset();
    m_unopened.reset();
    set(m_copiedTooLarge, false);
    set(m_receivedTooLarge, false);
    m_loopGuard = LoopGuard();
    set(m_loopStopped, false);
}

void AppModel::handleLocal(const QString& text) {
    if (!m_client || m_phase != Phase::running)
        return;
    const bool allowed = m_loopGuard.allows(text, LoopGuard::Clock::now());
    noteLoop();
    if (!allowed)
        return;
    publish(text, [](int, std::optional<qint64>) {});
}

void AppModel::handleTooLarge() {
    if (m_client && m_phase == Phase::running)
        published(kTooLarge, std::nullopt);
}

void AppModel::noteLoop() {
    if (m_loopGuard.stopped() && !m_loopStopped)
        qWarning("the same text keeps coming back from another program: it is not sent any more");
    set(m_loopStopped, m_loopGuard.stopped());
}

void AppModel::publish(const QString& text, SyncClient::Completion done) {
    QString payload = text;
    if (m_key) {
        auto sealed = Crypto::encryptText(text, *m_key);
        if (!sealed) {
            done(0, std::nullopt);
            return;
        }
        payload = *std::move(sealed);
    } else if (m_crypto != CryptoStatus::plaintext) {
        published(0, std::nullopt);
        done(0, std::nullopt);
        return;
    }
    m_client->publish(payload, [this, done](int status, std::optional<qint64> recipients) {
        published(status, recipients);
        done(status, recipients);
    });
}

void AppModel::send(const QString& text, std::function<void(Sent)> done) {
    if (m_paused || !m_client) {
        done(failure(m_paused ? Sentence::of(u"同步已暂停，请先运行 sorrelwind resume",
                                             u"Syncing is paused — run: sorrelwind resume")
                              : HubError{HubError::Kind::status, 401, {}}.sentence()));
        return;
    }
    const bool large = text.toUtf8().size() > kUsualItemBytes;
    publish(text, [done, large](int status, std::optional<qint64> recipients) {
        if (status == kAccepted)
            done(recipients);
        else if (status == kTooLarge || large)
            done(failure(Sentence::of(u"未能发送。这段文字可能太大，服务器不接受，请分段发送",
                                      u"Couldn't send — the text is probably larger than the hub "
                                      u"takes, so send it in parts")));
        else
            done(failure(Sentence::of(u"未能发送，请用 sorrelwind status 查看连接状态后重试",
                                      u"Couldn't send — see how things stand with: sorrelwind "
                                      u"status, and try again")));
    });
}

void AppModel::published(int status, std::optional<qint64> recipients) {
    using Direction = Activity::Direction;
    const bool ok = status == kAccepted;
    set(m_copiedTooLarge, status == kTooLarge);
    set(m_lastSent, Activity{ok ? Direction::sent : Direction::failed,
                             QDateTime::currentDateTimeUtc(), std::nullopt, recipients});
    bubble(ok, recipients);
}

void AppModel::handleRemote(const CloudItem& item) {
    if (item.from == selfId() || item.mime != QLatin1StringView("text/plain"))
        return;
    QString text = item.payload;
    const bool sealed = text.startsWith(kWirePrefix);
    if (sealed) {
        auto opened =
            m_key ? Crypto::decryptText(item.payload, *m_key) : failure(CryptoError::cipher);
        if (!opened) {
            cannotOpen(item, opened.error());
            return;
        }
        text = *std::move(opened);
        set(m_keyProven, true);
    }
    m_unopened.reset();
    set(m_decryptFailed, false);
    if (item.id == m_lastAppliedId)
        return;
    m_lastAppliedId = item.id;
    const bool tooLarge = text.size() > kMaxClipboardBytes / 3 && // of UTF-8 at most
                          text.toUtf8().size() > kMaxClipboardBytes;
    set(m_receivedTooLarge, tooLarge);
    if (tooLarge)
        return;
    const bool unsealed =
        !sealed && m_crypto != CryptoStatus::plaintext && m_crypto != CryptoStatus::unknown;
    set(m_lastReceived, Activity{Activity::Direction::received, QDateTime::currentDateTimeUtc(),
                                 item.device, std::nullopt, unsealed});
    if (m_paused)
        return;
    m_loopGuard.received(text);
    noteLoop();
    m_monitor.writeRemote(text);
    m_lastReceivedText = ReceivedText{text, unsealed};
    Q_EMIT textReceived(*m_lastReceivedText);
}

void AppModel::handleState(SyncState state) {
    // A device that leaves is told by the hub that it was removed; that is no news.
    if (state == SyncState::revoked && m_leaving)
        return;
    if (m_connection == SyncState::connected)
        m_lostAt = QDateTime::currentMSecsSinceEpoch();
    set(m_connection, state);
    if (state != SyncState::revoked)
        return;
    dropKeyTasks();
    m_client.reset();
    m_services.store.clear();
    forgetGroup();
    set(m_notice, removalNotice());
    set(m_phase, Phase::onboarding);
    if (onNeedsOnboarding)
        onNeedsOnboarding();
}

void AppModel::bubble(bool ok, std::optional<qint64> recipients) {
    if (!m_services.prefs.showSyncBubble() || !showBubble)
        return;
    const L10n& l10n = m_services.l10n;
    if (m_copiedTooLarge) {
        showBubble(l10n.text(u"文字太大，未能同步", u"Too large to sync"), BubbleKind::failure);
    } else if (!ok) {
        showBubble(l10n.text(u"未能同步，稍后会自动重试连接",
                             u"Couldn't sync — will reconnect automatically"),
                   BubbleKind::failure);
    } else if (recipients == 0) {
        showBubble(l10n.text(u"还没有其他设备 · 点" TRAY_ZH u"图标添加",
                             u"No other devices yet — add one from the " TRAY_EN),
                   BubbleKind::info);
    } else {
        showBubble(l10n.text(u"已同步到其他设备", u"Synced to your other devices"),
                   BubbleKind::success);
    }
}

void AppModel::setPaused(bool paused) {
    if (paused == m_paused)
        return; // resuming without a pause would overlook a copy under way
    set(m_paused, paused);
    m_monitor.setPaused(paused);
}

void AppModel::clearNotice() {
    set(m_notice, std::nullopt);
}

void AppModel::languageChanged() {
    set(m_languageEpoch, m_languageEpoch + 1);
}

void AppModel::nudge() {
    if (!m_client)
        return;
    m_client->nudge();
    m_client->check();
}

void AppModel::shutdown() {
    if (m_client)
        m_client->shutdown();
}

Task<Result<AppModel::Pairing, HubError>> AppModel::createPairing() {
    if (!m_account)
        co_return failure(HubError{HubError::Kind::status, 401, {}});
    const QString server = m_account->server;
    const HubAPI api = apiFor(m_services.network, *m_account);
    const auto reply = co_await api.createPairing();
    if (!reply)
        co_return failure(reply.error());
    const PairingLink link{server, reply->code,
                           m_key ? std::optional(Crypto::base64(*m_key)) : std::nullopt};
    co_return Pairing{reply->code, link.toString(),
                      QDateTime::fromMSecsSinceEpoch(reply->expiresAt, Qt::UTC)};
}

Task<std::optional<Sentence>> AppModel::removeDevice(QString id) {
    const Sentence failed = Sentence::of(u"移除失败：%1", u"Couldn't remove: %1");
    if (!m_account)
        co_return failed.arg(QString());
    const HubAPI api = apiFor(m_services.network, *m_account);
    const auto reply = co_await api.deleteDevice(id);
    if (!reply)
        co_return failed.arg(reply.error().sentence());
    co_return std::nullopt;
}

Task<std::optional<HubError>> AppModel::renameThisMac(QString name) {
    if (!m_account || name.isEmpty() || name == m_account->deviceName)
        co_return std::nullopt;
    const HubAPI api = apiFor(m_services.network, *m_account);
    const auto reply = co_await api.renameDevice(m_account->deviceId, name);
    if (!reply)
        co_return reply.error();
    // The group may have been left, or another one joined, in the meantime.
    if (m_account && m_account->token == *api.token) {
        Account renamed = *m_account;
        renamed.deviceName = name;
        (void)m_services.store.save(renamed); // the hub knows the new name in any case
        set(m_account, renamed);
    }
    co_return std::nullopt;
}

Task<> AppModel::leaveGroup() {
    if (m_leaving)
        co_return;
    // Until this flow ends the device stays in its group, so nothing can be joined meanwhile.
    m_leaving = true;
    const auto left = qScopeGuard([this] { m_leaving = false; });
    if (m_account && m_client) {
        const HubAPI api = apiFor(m_services.network, *m_account);
        const QString self = m_account->deviceId;
        (void)co_await api.deleteDevice(self);
    }
    dropKeyTasks();
    if (m_client)
        m_client->shutdown();
    m_client.reset();
    m_services.store.clear();
    forgetGroup();
    set(m_connection, SyncState::disconnected);
    set(m_phase, Phase::onboarding);
    if (onNeedsOnboarding)
        onNeedsOnboarding();
}

} // namespace sorrelwind

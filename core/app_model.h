#pragma once

#include "account/account.h"
#include "base/bubble_kind.h"
#include "base/l10n.h"
#include "base/result.h"
#include "base/task.h"
#include "clipboard/clipboard_monitor.h"
#include "core/activity.h"
#include "core/clock_jump.h"
#include "core/loop_guard.h"
#include "crypto/clipboard_crypto.h"
#include "crypto/symmetric_key.h"
#include "hub/hub_error.h"
#include "hub/sync_client.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>

namespace sorrelwind {

class Network;
class AccountStore;
class Pasteboard;
class Prefs;

/// The one truth about the running program, and the pipeline from clipboard through crypto to the
/// hub and back. Views read it and are told of each change; a write that changes nothing tells
/// nobody. Owned by main, lives on the main thread; every flow it returns must end before it does.
class AppModel final : public QObject {
    Q_OBJECT
public:
    enum class Phase { onboarding, running };
    enum class CryptoStatus {
        unknown,
        deriving,   // the key is being derived from the passphrase
        encrypted,  // a key is in hand
        plaintext,  // the group does not encrypt
        missingKey, // the group encrypts, but this device has neither key nor passphrase
        failed,     // the derivation failed
    };
    /// What texts of other devices have shown of the key in hand.
    enum class KeyFit {
        unknown,    // none has arrived since it is in hand
        fits,       // it has opened one
        doesNotFit, // it does not open the newest
    };
    enum class StatusColor { secondary, orange, green, red };

    /// The outside things; they outlive the model.
    struct Services {
        const AccountStore& store;
        Pasteboard& pasteboard;
        const Network& network;
        const L10n& l10n;
        const Prefs& prefs;
    };

    struct Pairing {
        QString code;
        QString url; // carries the key when there is one
        QDateTime expiresAt;
    };

    /// Loads the account, begins to watch the clipboard, and syncs when there is an account.
    explicit AppModel(Services services);
    ~AppModel() override;

    [[nodiscard]] Phase phase() const { return m_phase; }
    [[nodiscard]] const std::optional<Account>& account() const { return m_account; }
    [[nodiscard]] SyncState connection() const { return m_connection; }
    [[nodiscard]] CryptoStatus crypto() const { return m_crypto; }
    [[nodiscard]] const QList<DeviceInfo>& devices() const { return m_devices; }
    [[nodiscard]] const std::optional<Activity>& lastSent() const { return m_lastSent; }
    [[nodiscard]] const std::optional<Activity>& lastReceived() const { return m_lastReceived; }
    /// The newest text that came from the hub and was put on the clipboard, if there is one.
    [[nodiscard]] const std::optional<ReceivedText>& lastReceivedText() const {
        return m_lastReceivedText;
    }
    /// The iterations of a derivation of the key that takes long, as the hub asks for them.
    [[nodiscard]] std::optional<qint64> longDerivation() const { return m_longDerivation; }
    [[nodiscard]] bool decryptFailed() const { return m_decryptFailed; }
    [[nodiscard]] KeyFit keyFit() const;
    /// Whether to offer that the passphrase be entered again.
    [[nodiscard]] bool wantsPassphrase() const;
    [[nodiscard]] bool paused() const { return m_paused; }
    /// Texts of this model are in the language in force, unless another one is asked for.
    [[nodiscard]] std::optional<QString> notice(std::optional<Lang> lang = {}) const;
    [[nodiscard]] int languageEpoch() const { return m_languageEpoch; }

    [[nodiscard]] std::optional<QString> selfId() const;
    /// The devices as they can be shown: those of another connection may be anywhere, so none is
    /// online while this device is not.
    [[nodiscard]] QList<DeviceInfo> shownDevices() const;
    /// One line for the panel, the colour of its dot, what becomes of copies, and a warning about
    /// the key or the clipboard if there is one.
    [[nodiscard]] QString statusText(std::optional<Lang> lang = {}) const;
    [[nodiscard]] StatusColor statusColor() const;
    [[nodiscard]] QString caption(std::optional<Lang> lang = {}) const;
    [[nodiscard]] std::optional<QString> warning(std::optional<Lang> lang = {}) const;
    /// The desktop's clipboard, for its name and whether it can be reached.
    [[nodiscard]] const Pasteboard& pasteboard() const { return m_services.pasteboard; }

    /// What is copied during a pause is not sent afterwards; what arrives is not put on the
    /// clipboard.
    void setPaused(bool paused);
    void clearNotice();
    /// After the language was toggled: every view draws itself again.
    void languageChanged();

    using Sent = Result<std::optional<qint64>, Sentence>;
    /// Sends a text that is not on the clipboard. `done` is called once: with the number of devices
    /// that it reached, where the hub says so, or with a sentence; not at all when the device
    /// leaves its group meanwhile.
    void send(const QString& text, std::function<void(Sent)> done);

    /// Puts a secret of this program on the clipboard, concealed and not sent to other devices.
    void copyHere(const QString& text);

    /// Ends a derivation of the key as failed; the next start begins it again.
    void cancelDerivation();

    /// What has become of another passphrase. A text that could not be opened must open with its
    /// key, else all stays as it was; without such a text it is taken as it is, unproven.
    using Rekeyed = Result<KeyFit, Sentence>;
    [[nodiscard]] Task<Rekeyed> enterPassphrase(QString passphrase,
                                                std::function<void(const Sentence&)> progress);
    /// The same with a key that was derived elsewhere: this account with its passphrase, salt, key.
    Rekeyed adoptKey(const Account& rekeyed);

    /// (Re)builds the connection for an account, new or changed.
    void startSync(const Account& account);
    /// The computer woke or the network came back: connect now, or make sure that the connection
    /// still stands.
    void nudge();
    /// The program ends: the hub sees a clean close.
    void shutdown();

    [[nodiscard]] Task<Result<Pairing, HubError>> createPairing();
    /// None on success, else a sentence. The list itself is renewed by the hub.
    [[nodiscard]] Task<std::optional<Sentence>> removeDevice(QString id);
    /// None on success, else a sentence, and the old name stays.
    [[nodiscard]] Task<std::optional<HubError>> renameThisMac(QString name);
    /// Always succeeds here, whatever the hub says.
    [[nodiscard]] Task<> leaveGroup();

    // Installed by the coordinator.
    std::function<void(const QString& text, BubbleKind kind)> showBubble;
    std::function<void()> onNeedsOnboarding;

Q_SIGNALS:
    void changed();
    /// A text came from the hub and was put on the clipboard; not raised during a pause.
    void textReceived(const sorrelwind::ReceivedText& received);

private:
    struct DiscardClient {
        void operator()(SyncClient* client) const { client->deleteLater(); }
    };

    template <class T, class V>
    void set(T& field, V&& value) {
        if (field == value)
            return;
        field = std::forward<V>(value);
        Q_EMIT changed();
    }

    Task<> resolveKey(Account account);
    void dropKeyTasks();
    void cannotOpen(const CloudItem& item, CryptoError error);
    void openHeld();
    void forgetGroup();
    [[nodiscard]] Lang langOr(std::optional<Lang> lang) const;
    [[nodiscard]] std::optional<QString> groupWarning(Lang in) const;
    void handleLocal(const QString& text);
    void handleTooLarge();
    void publish(const QString& text, SyncClient::Completion done);
    void noteLoop();
    void handleRemote(const CloudItem& item);
    void handleState(SyncState state);
    void published(int status, std::optional<qint64> recipients);
    void bubble(bool ok, std::optional<qint64> recipients);

    Services m_services;
    ClipboardMonitor m_monitor;

    Phase m_phase = Phase::onboarding;
    std::optional<Account> m_account;
    SyncState m_connection = SyncState::disconnected;
    CryptoStatus m_crypto = CryptoStatus::unknown;
    QList<DeviceInfo> m_devices;
    qint64 m_lostAt = 0; // milliseconds since the epoch: when the connection was last lost
    std::optional<Activity> m_lastSent;
    std::optional<Activity> m_lastReceived;
    std::optional<ReceivedText> m_lastReceivedText;
    std::optional<qint64> m_longDerivation;
    bool m_decryptFailed = false;
    bool m_keyProven = false;
    bool m_copiedTooLarge = false; // the last copy
    bool m_receivedTooLarge = false;
    bool m_loopStopped = false;
    bool m_paused = false;
    std::optional<Sentence> m_notice;
    int m_languageEpoch = 0;

    // A client may be let go from inside its own callback.
    std::unique_ptr<SyncClient, DiscardClient> m_client;
    std::optional<SymmetricKey> m_key;
    std::optional<CloudItem> m_unopened; // the newest that another key may open
    std::optional<QString> m_lastAppliedId;
    LoopGuard m_loopGuard;
    ClockJump m_clockJump{ClockJump::Wall::now(), ClockJump::Steady::now()};
    bool m_leaving = false;
    TaskScope m_keyTasks;
};

} // namespace sorrelwind

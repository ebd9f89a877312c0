#pragma once

#include "core/app_model.h"

#include <QSet>
#include <QTimer>

#include <variant>

namespace sorrelwind {

/// One invitation into the group, from the request for a code to the device that joined by it. The
/// pairing window owns it and draws it on each `changed`; it watches the model's device list until
/// `stop`.
class PairingState final : public QObject {
    Q_OBJECT
public:
    struct Loading {
        bool operator==(const Loading&) const = default;
    };
    struct Ready {
        bool operator==(const Ready&) const = default;
    };
    struct Expired {
        bool operator==(const Expired&) const = default;
    };
    struct Joined {
        QString name; // of the device
        bool operator==(const Joined&) const = default;
    };
    struct Failed {
        HubError error;
        bool operator==(const Failed&) const = default;
    };
    using Phase = std::variant<Loading, Ready, Expired, Joined, Failed>;

    explicit PairingState(AppModel& model, QObject* parent = nullptr);

    [[nodiscard]] const Phase& phase() const { return m_phase; }
    [[nodiscard]] const QString& code() const { return m_pairing.code; }
    [[nodiscard]] const QString& url() const { return m_pairing.url; }
    [[nodiscard]] const QDateTime& expiresAt() const { return m_pairing.expiresAt; }
    [[nodiscard]] bool linkCopied() const { return m_linkCopied; }
    /// The link gives the group's key to whoever has it.
    [[nodiscard]] bool linkHoldsKey() const;
    /// Where a code is typed.
    [[nodiscard]] QString server() const;
    /// The hub's address means something on this computer only.
    [[nodiscard]] bool serverIsLoopback() const;
    /// What the link opens is the hub's page: an app can lay claim to the built-in address alone.
    [[nodiscard]] bool opensPage() const;
    /// What a typed code asks for besides, and where that stands; none in a group without a key.
    [[nodiscard]] std::optional<Sentence> typingNeeds() const;

    /// Asks the hub for a fresh code, whatever the phase.
    void generate();
    void setLinkCopied();
    /// The code expires, if its time has come; views redraw the countdown in any case.
    void tick(const QDateTime& now);
    /// The window closes: no more ticks, no more watching; a waiting request is given up.
    void stop();

Q_SIGNALS:
    void changed();

private:
    Task<> request();
    void watch();
    void modelChanged();
    void lookForNewDevice();
    void setPhase(Phase phase);

    AppModel& m_model;
    Phase m_phase = Loading();
    AppModel::Pairing m_pairing;
    bool m_linkCopied = false;
    QSet<QString> m_known;        // ids when the code was asked for
    std::optional<QString> m_key; // the account's at that time
    QTimer m_timer;
    QMetaObject::Connection m_devices;
    TaskScope m_tasks;
};

/// Whether a hub's address is a loopback one, which no other device can reach.
[[nodiscard]] bool isLoopbackServer(const QString& server);

} // namespace sorrelwind

#pragma once

#include "account/account_store.h"
#include "account/file_lock.h"
#include "base/l10n.h"
#include "crypto/group_setup.h"

#include <QObject>

#include <functional>

namespace sorrelwind {

/// Carries the wish to create or join a group to a saved membership, or to none at all: one that
/// cannot be kept, or that nobody waits for any more, is given back to the hub. One wish an object;
/// while it lives, no other process makes a membership for this config directory. Its owner lets
/// it go by deleteLater once onEnd was called, or by abandon.
class MembershipFlow final : public QObject {
    Q_OBJECT
public:
    struct Services {
        const AccountStore& store;
        const Network& network;
    };
    struct Wish {
        bool joins = false;
        QString server; // canonical; a link's own server counts
        QString deviceName;
        QString passphrase;
        std::optional<PairingLink> link; // joins only, else the typed code
        QString code;
    };
    using Outcome = Result<Account, Sentence>;

    /// The host's name, fit for a device name: never empty, at most kMaxDeviceName characters.
    [[nodiscard]] static QString hostDeviceName();
    static constexpr int kMaxDeviceName = 64;

    explicit MembershipFlow(Services services) : m_services(services) {}

    /// Says whether a membership may be made here now, else why not.
    [[nodiscard]] Result<void, Sentence> prepare();
    /// After a prepare that succeeded, and with onEnd set, which is called once.
    void start(const Wish& wish);
    /// The user went away: a derivation ends at once, what has come of it is given back, then the
    /// object deletes itself, at the latest with `keeper`.
    void abandon(QObject* keeper);

    GroupSetup::Progress onProgress;
    std::function<void(const Outcome&)> onEnd;

private:
    Task<> run(Wish wish);
    void end(const Outcome& outcome);

    Services m_services;
    std::optional<FileLock> m_lock;
    std::stop_source m_stop;
    bool m_started = false;
    bool m_abandoned = false;
    TaskScope m_tasks;
};

} // namespace sorrelwind

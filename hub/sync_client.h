#pragma once

#include "account/account.h"
#include "base/task.h"
#include "hub/sync_machine.h"

#include <QHash>
#include <QObject>
#include <QTimer>
#include <QUrl>

#include <deque>
#include <functional>
#include <memory>

namespace sorrelwind {

class Network;
class WebSocket;

/// How long the hub is given to answer; only a test is less patient.
struct SyncIntervals {
    std::chrono::milliseconds heartbeat = SyncMachine::kHeartbeat;
    std::chrono::milliseconds ackTimeout = SyncMachine::kAckTimeout;
    std::chrono::milliseconds stallTimeout = SyncMachine::kStallTimeout; // of REST as well
    std::chrono::milliseconds checkTimeout = SyncMachine::kCheckTimeout;
};

/// Keeps one WebSocket to the hub open for one account: delivers items and device lists, publishes
/// with an acknowledgement or else over REST, reconnects by itself, notices that the device was
/// removed. Drives SyncMachine. Owned by the model; its callbacks come on the main thread, never
/// from inside the owner's own call into it but for the state.
class SyncClient : public QObject {
    Q_OBJECT
public:
    using State = SyncState;
    /// The hub's status, exactly 200 when it took the text, 0 without an answer.
    using Completion = std::function<void(int status, std::optional<qint64> recipients)>;

    SyncClient(const Network& network, Account account, SyncIntervals intervals = {});
    ~SyncClient() override;

    // Set by the owner before connect().
    std::function<void(State)> onState;
    std::function<void(const CloudItem&)> onItem;
    std::function<void(const QList<DeviceInfo>&)> onDevices; // the complete list

    [[nodiscard]] State state() const { return m_machine.state(); }

    void connect();
    /// `payload` is "sw1." text, or plain text in a group without encryption. The completion is
    /// called exactly once while this client lives.
    void publish(const QString& payload, Completion completion);
    /// Reconnects now, without waiting for the back-off.
    void nudge();
    /// Asks the hub for a sign of life, and reconnects at once when none comes; does nothing unless
    /// connected.
    void check();
    /// Closes for good with code 1000; publishes under way still complete over REST.
    void shutdown();

    /// The WebSocket's address for a server address: its path and query replaced.
    [[nodiscard]] static QUrl socketUrl(const QString& server, const QString& token);

private:
    void run(SyncMachine::Actions actions);

    void perform(const SyncMachine::OpenSocket& action);
    void perform(const SyncMachine::ReleaseSocket& action);
    void perform(const SyncMachine::CloseSocket& action);
    void perform(const SyncMachine::SendReceipt& action);
    void perform(const SyncMachine::SendPublish& action);
    void perform(const SyncMachine::SendPing& action);
    void perform(const SyncMachine::StartCheckTimer& action);
    void perform(const SyncMachine::StartHeartbeat& action);
    void perform(const SyncMachine::StopHeartbeat& action);
    void perform(const SyncMachine::Probe& action);
    void perform(const SyncMachine::ScheduleReconnect& action);
    void perform(const SyncMachine::CancelReconnect& action);
    void perform(const SyncMachine::StartAckTimer& action);
    void perform(const SyncMachine::CancelAckTimer& action);
    void perform(const SyncMachine::PostItem& action);
    void perform(const SyncMachine::ReportLoss& action);
    void perform(const SyncMachine::ReportState& action);
    void perform(const SyncMachine::ReportDevices& action);
    void perform(const SyncMachine::ReportItem& action);
    void perform(const SyncMachine::Complete& action);

    void wrote(quint64 connection);
    Task<> probe();
    Task<> restPublish(OutgoingItem item);

    struct DeleteLater {
        void operator()(QObject* object) const;
    };

    const Network& m_network;
    const Account m_account;
    const SyncIntervals m_intervals;
    SyncMachine m_machine;
    SyncMachine::Actions m_queue; // actions not yet carried out, while one of them runs
    bool m_running = false;
    std::unique_ptr<WebSocket, DeleteLater> m_socket;
    struct Leaving {
        QString itemId;
        qint64 end; // its frame has left when the socket has sent this far
    };
    std::deque<Leaving> m_leaving;
    QTimer m_heartbeat;
    QTimer m_reconnect;
    QHash<QString, Completion> m_completions; // by item id
    std::map<QString, std::unique_ptr<QTimer>> m_ackTimers;
    TaskScope m_tasks;
};

} // namespace sorrelwind

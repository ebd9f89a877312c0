#pragma once

#include "hub/wire_records.h"

#include <chrono>
#include <variant>
#include <vector>

namespace sorrelwind {

enum class SyncState { disconnected, connecting, connected, revoked };
[[nodiscard]] const char* syncStateName(SyncState state);

/// The rules of keeping one connection to the hub, without any input or output: events go in, the
/// actions to carry out come back, in order. Owned and driven by SyncClient. A connection is named
/// by the number in its OpenSocket; events of any other connection are stale and do nothing.
class SyncMachine {
public:
    using Milliseconds = std::chrono::milliseconds;
    static constexpr Milliseconds kHeartbeat{20'000};
    static constexpr Milliseconds kAckTimeout{4'000};    // once the frame has left
    static constexpr Milliseconds kStallTimeout{15'000}; // while nothing of what waits leaves
    static constexpr Milliseconds kCheckTimeout{1'000};
    static constexpr Milliseconds kMaxReconnectDelay{30'000};

    // What the driver is to do.
    struct OpenSocket {
        quint64 connection;
    };                       // replaces a previous one
    struct ReleaseSocket {}; // let go of it without a word
    struct CloseSocket {};   // close code 1000
    struct SendReceipt {
        QString itemId;
    };
    struct SendPublish {
        OutgoingItem item;
    };
    struct SendPing {};
    struct StartCheckTimer {
        quint64 check;
    };                        // then answer with checkDue()
    struct StartHeartbeat {}; // tick every kHeartbeat, from now
    struct StopHeartbeat {};
    struct Probe {}; // fetch the crypto record, answer with probed()
    struct ScheduleReconnect {
        Milliseconds delay;
    }; // replaces a previous one
    struct CancelReconnect {};
    struct StartAckTimer {
        QString itemId;
        bool left;
    }; // of kAckTimeout if it has left, else kStallTimeout; replaces its previous one
    struct CancelAckTimer {
        QString itemId;
    };
    struct PostItem {
        OutgoingItem item;
    }; // over REST; its outcome completes the publish
    struct ReportLoss {
        QString why;
    }; // in English, for the log
    struct ReportState {
        SyncState state;
    };
    struct ReportDevices {
        QList<DeviceInfo> devices;
    };
    struct ReportItem {
        CloudItem item;
    };
    struct Complete {
        QString itemId;
        int status; // the hub's; 0 without an answer
        std::optional<qint64> recipients;
    };
    using Action =
        std::variant<OpenSocket, ReleaseSocket, CloseSocket, SendReceipt, SendPublish, SendPing,
                     StartCheckTimer, StartHeartbeat, StopHeartbeat, Probe, ScheduleReconnect,
                     CancelReconnect, StartAckTimer, CancelAckTimer, PostItem, ReportLoss,
                     ReportState, ReportDevices, ReportItem, Complete>;
    using Actions = std::vector<Action>;
    enum class ProbeResult { accepted, unauthorized, otherFailure };

    [[nodiscard]] SyncState state() const { return m_state; }

    // What the owner asks for.
    [[nodiscard]] Actions connect();
    [[nodiscard]] Actions publish(OutgoingItem item);
    [[nodiscard]] Actions nudge();
    /// Asks the peer of an open connection for a sign of life; without one it is replaced.
    [[nodiscard]] Actions check();
    [[nodiscard]] Actions shutdown();

    // What happened.
    [[nodiscard]] Actions opened(quint64 connection);
    [[nodiscard]] Actions lost(quint64 connection,
                               const QString& why); // closed, failed, or never came up
    /// The hub made this side hold more than any honest one does: left for the longest delay.
    [[nodiscard]] Actions overstepped(quint64 connection, const QString& what);
    [[nodiscard]] Actions received(quint64 connection, const QByteArray& utf8);
    [[nodiscard]] Actions heard(quint64 connection); // any byte: a sign of life
    /// Bytes left for the hub. As long as others wait behind them, that is a sign of life as well.
    [[nodiscard]] Actions wrote(quint64 connection, bool moreWaits);
    [[nodiscard]] Actions left(const QString& itemId); // the whole frame
    [[nodiscard]] Actions heartbeatDue();
    [[nodiscard]] Actions checkDue(quint64 check);
    [[nodiscard]] Actions probed(ProbeResult result);
    [[nodiscard]] Actions reconnectDue();
    [[nodiscard]] Actions
    fallBack(const QString& itemId); // no ack in time, or it could not be sent

private:
    void setState(SyncState state, Actions& actions);
    void close(Actions& actions);
    void drop(const QString& why, Actions& actions);
    void signOfLife();
    void giveUpSending(Actions& actions);
    void resolveAck(const Envelope& ack, Actions& actions);
    struct Pending {
        OutgoingItem item;
        bool left = false; // for the hub, or lost with its connection
    };
    [[nodiscard]] std::vector<Pending>::iterator find(const QString& itemId);

    SyncState m_state = SyncState::disconnected;
    std::optional<quint64> m_connection;
    quint64 m_lastConnection = 0;
    int m_attempts = 0; // reconnects since the last successful open
    bool m_closed = false;
    bool m_awaitingLife = false;    // asked for by the heartbeat
    std::optional<quint64> m_check; // not answered yet
    quint64 m_lastCheck = 0;
    std::vector<Pending> m_pending; // published, not yet acknowledged, oldest first
};

} // namespace sorrelwind

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
    static constexpr Milliseconds kAckTimeout{4'000};
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
    };
    struct CancelAckTimer {
        QString itemId;
    };
    struct PostItem {
        OutgoingItem item;
    }; // over REST; its outcome completes the publish
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
        bool accepted;
        std::optional<qint64> recipients;
    };
    using Action = std::variant<OpenSocket, ReleaseSocket, CloseSocket, SendReceipt, SendPublish,
                                SendPing, StartCheckTimer, StartHeartbeat, StopHeartbeat, Probe,
                                ScheduleReconnect, CancelReconnect, StartAckTimer, CancelAckTimer,
                                PostItem, ReportState, ReportDevices, ReportItem, Complete>;
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
    [[nodiscard]] Actions lost(quint64 connection); // closed, failed, or never came up
    [[nodiscard]] Actions received(quint64 connection, const QByteArray& utf8);
    [[nodiscard]] Actions heartbeatDue();
    [[nodiscard]] Actions checkDue(quint64 check);
    [[nodiscard]] Actions ponged(quint64 connection);
    [[nodiscard]] Actions probed(ProbeResult result);
    [[nodiscard]] Actions reconnectDue();
    [[nodiscard]] Actions
    fallBack(const QString& itemId); // no ack in time, or it could not be sent

private:
    void setState(SyncState state, Actions& actions);
    void close(Actions& actions);
    void drop(Actions& actions);
    void resolveAck(const Envelope& ack, Actions& actions);

    SyncState m_state = SyncState::disconnected;
    std::optional<quint64> m_connection;
    quint64 m_lastConnection = 0;
    int m_attempts = 0; // reconnects since the last successful open
    bool m_closed = false;
    bool m_awaitingPong = false;    // of the heartbeat
    std::optional<quint64> m_check; // not answered yet
    quint64 m_lastCheck = 0;
    std::vector<OutgoingItem> m_pending; // published, not yet acknowledged, oldest first
};

} // namespace sorrelwind

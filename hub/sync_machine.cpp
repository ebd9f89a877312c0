#include "hub/sync_machine.h"

#include <algorithm>

namespace sorrelwind {

namespace {

constexpr int kLongestDelay = 6; // attempts after which the delay grows no more

} // namespace

const char* syncStateName(SyncState state) {
    switch (state) {
    case SyncState::disconnected:
        return "disconnected";
    case SyncState::connecting:
        return "connecting";
    case SyncState::connected:
        return "connected";
    case SyncState::revoked:
        return "revoked";
    }
    return "";
}

void SyncMachine::setState(SyncState state, Actions& actions) {
    if (m_state == state)
        return;
    m_state = state;
    actions.push_back(ReportState{state});
}

SyncMachine::Actions SyncMachine::connect() {
    Actions actions;
    m_closed = false;
    giveUpSending(actions);
    setState(SyncState::connecting, actions);
    m_connection = ++m_lastConnection;
    signOfLife();
    actions.push_back(OpenSocket{*m_connection});
    actions.push_back(StartHeartbeat{});
    return actions;
}

SyncMachine::Actions SyncMachine::publish(OutgoingItem item) {
    if (m_state != SyncState::connected || !m_connection)
        return {PostItem{std::move(item)}};
    m_pending.push_back({item});
    const QString id = item.id;
    return {StartAckTimer{id, false}, SendPublish{std::move(item)}};
}

SyncMachine::Actions SyncMachine::nudge() {
    if (m_closed || m_state == SyncState::connected)
        return {};
    m_attempts = 0;
    Actions actions{CancelReconnect{}};
    std::ranges::move(connect(), std::back_inserter(actions));
    return actions;
}

SyncMachine::Actions SyncMachine::check() {
    if (m_closed || m_state != SyncState::connected || !m_connection)
        return {};
    m_check = ++m_lastCheck; // an earlier one has no say any more
    return {SendPing{}, StartCheckTimer{m_lastCheck}};
}

SyncMachine::Actions SyncMachine::checkDue(quint64 check) {
    if (check != m_check || !m_connection)
        return {};
    Actions actions{ReportLoss{QStringLiteral("no sign of life when asked for one")}};
    std::ranges::move(connect(), std::back_inserter(actions));
    return actions;
}

void SyncMachine::close(Actions& actions) {
    m_closed = true;
    actions.push_back(CancelReconnect{});
    actions.push_back(StopHeartbeat{});
    if (m_connection)
        actions.push_back(CloseSocket{});
    m_connection.reset();
    giveUpSending(actions);
}

SyncMachine::Actions SyncMachine::shutdown() {
    Actions actions;
    close(actions);
    return actions;
}

SyncMachine::Actions SyncMachine::opened(quint64 connection) {
    Actions actions;
    if (connection != m_connection)
        return actions;
    m_attempts = 0;
    setState(SyncState::connected, actions);
    return actions;
}

void SyncMachine::drop(const QString& why, Actions& actions) {
    if (m_closed)
        return;
    m_connection.reset();
    actions.push_back(ReportLoss{why});
    actions.push_back(ReleaseSocket{});
    actions.push_back(StopHeartbeat{});
    giveUpSending(actions);
    setState(SyncState::disconnected, actions);
    actions.push_back(Probe{});
}

// What had not left goes with its connection; the hub may have it all the same.
void SyncMachine::giveUpSending(Actions& actions) {
    for (Pending& pending : m_pending) {
        if (!std::exchange(pending.left, true))
            actions.push_back(StartAckTimer{pending.item.id, true});
    }
}

SyncMachine::Actions SyncMachine::lost(quint64 connection, const QString& why) {
    Actions actions;
    if (connection == m_connection)
        drop(why, actions);
    return actions;
}

SyncMachine::Actions SyncMachine::overstepped(quint64 connection, const QString& what) {
    if (connection != m_connection)
        return {};
    Actions actions;
    drop(QStringLiteral("left the hub, as it goes too far: ") + what, actions);
    m_attempts = kLongestDelay;
    return actions;
}

SyncMachine::Actions SyncMachine::heartbeatDue() {
    Actions actions;
    if (!m_connection)
        return actions;
    if (m_state != SyncState::connected) {
        drop(QStringLiteral("the connection did not come up in time"), actions);
        return actions;
    }
    if (m_awaitingLife) {
        drop(QStringLiteral("no sign of life"), actions);
        return actions;
    }
    m_awaitingLife = true;
    actions.push_back(SendPing{});
    return actions;
}

void SyncMachine::signOfLife() {
    m_awaitingLife = false;
    m_check.reset();
}

SyncMachine::Actions SyncMachine::heard(quint64 connection) {
    if (connection == m_connection)
        signOfLife();
    return {};
}

SyncMachine::Actions SyncMachine::wrote(quint64 connection, bool moreWaits) {
    Actions actions;
    if (connection != m_connection)
        return actions;
    if (moreWaits)
        signOfLife();
    for (const Pending& pending : m_pending) {
        if (!pending.left)
            actions.push_back(StartAckTimer{pending.item.id, false});
    }
    return actions;
}

SyncMachine::Actions SyncMachine::left(const QString& itemId) {
    const auto found = find(itemId);
    if (found == m_pending.end() || found->left)
        return {};
    found->left = true;
    return {StartAckTimer{itemId, true}};
}

SyncMachine::Actions SyncMachine::probed(ProbeResult result) {
    Actions actions;
    if (m_closed)
        return actions;
    if (result == ProbeResult::unauthorized) {
        close(actions);
        setState(SyncState::revoked, actions);
        return actions;
    }
    ++m_attempts;
    // 1, 2, 4, 8, 16 seconds, then 30 for every further attempt.
    const auto delay = Milliseconds(500) * (1 << std::min(m_attempts, kLongestDelay));
    actions.push_back(ScheduleReconnect{std::min(delay, kMaxReconnectDelay)});
    return actions;
}

SyncMachine::Actions SyncMachine::reconnectDue() {
    return m_closed ? Actions{} : connect();
}

std::vector<SyncMachine::Pending>::iterator SyncMachine::find(const QString& itemId) {
    return std::ranges::find(m_pending, itemId,
                             [](const Pending& pending) { return pending.item.id; });
}

SyncMachine::Actions SyncMachine::fallBack(const QString& itemId) {
    const auto found = find(itemId);
    if (found == m_pending.end())
        return {};
    Actions actions{CancelAckTimer{itemId}, PostItem{std::move(found->item)}};
    m_pending.erase(found);
    return actions;
}

void SyncMachine::resolveAck(const Envelope& ack, Actions& actions) {
    auto found = m_pending.end();
    if (ack.ref)
        found = find(*ack.ref);
    // Acknowledgements come in the order of the publishes, so one that names none of ours speaks of
    // the oldest.
    if (found == m_pending.end())
        found = m_pending.begin();
    if (found == m_pending.end())
        return;
    actions.push_back(CancelAckTimer{found->item.id});
    actions.push_back(
        Complete{found->item.id, static_cast<int>(ack.status.value_or(0)), ack.recipients});
    m_pending.erase(found);
}

SyncMachine::Actions SyncMachine::received(quint64 connection, const QByteArray& utf8) {
    Actions actions;
    if (connection != m_connection)
        return actions;
    auto envelope = Envelope::fromText(utf8);
    if (!envelope && envelope.error() == EnvelopeFault::excessive)
        return overstepped(connection, QStringLiteral("more in one frame than a group can have"));
    if (!envelope)
        return actions;
    const QString& type = envelope->type;
    if (type == QLatin1StringView("hello") || type == QLatin1StringView("item") ||
        type == QLatin1StringView("devices")) {
        if (envelope->devices)
            actions.push_back(ReportDevices{*std::move(envelope->devices)});
        if (envelope->item) {
            actions.push_back(SendReceipt{envelope->item->id});
            actions.push_back(ReportItem{*std::move(envelope->item)});
        }
    } else if (type == QLatin1StringView("ack")) {
        resolveAck(*envelope, actions);
    } else if (type == QLatin1StringView("removed")) {
        close(actions);
        setState(SyncState::revoked, actions);
    }
    return actions;
}

} // namespace sorrelwind

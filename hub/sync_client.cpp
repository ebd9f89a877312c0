#include "hub/sync_client.h"

#include "hub/http.h"
#include "hub/hub_api.h"
#include "hub/web_socket.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QUrlQuery>
#include <QUuid>

namespace sorrelwind {

namespace {

QByteArray textOf(const QJsonObject& frame) {
    return QJsonDocument(frame).toJson(QJsonDocument::Compact);
}

} // namespace

void SyncClient::DeleteLater::operator()(QObject* object) const {
    object->disconnect();
    object->deleteLater();
}

SyncClient::SyncClient(const Network& network, Account account, SyncIntervals intervals)
    : m_network(network), m_account(std::move(account)), m_intervals(intervals) {
    m_heartbeat.setInterval(intervals.heartbeat);
    m_reconnect.setSingleShot(true);
    m_reconnect.setTimerType(Qt::PreciseTimer); // coarse ones may fire 5 % too early
    QObject::connect(&m_heartbeat, &QTimer::timeout, this,
                     [this] { run(m_machine.heartbeatDue()); });
    QObject::connect(&m_reconnect, &QTimer::timeout, this,
                     [this] { run(m_machine.reconnectDue()); });
}

SyncClient::~SyncClient() = default;

void SyncClient::connect() {
    run(m_machine.connect());
}
void SyncClient::nudge() {
    run(m_machine.nudge());
}
void SyncClient::check() {
    run(m_machine.check());
}
void SyncClient::shutdown() {
    run(m_machine.shutdown());
}

void SyncClient::publish(const QString& payload, Completion completion) {
    const OutgoingItem item{QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(),
                            QDateTime::currentMSecsSinceEpoch(), payload};
    m_completions.insert(item.id, std::move(completion));
    run(m_machine.publish(item));
}

QUrl SyncClient::socketUrl(const QString& server, const QString& token) {
    QUrl url(server);
    url.setScheme(url.scheme() == QLatin1StringView("http") ? QStringLiteral("ws")
                                                            : QStringLiteral("wss"));
    url.setPath(QStringLiteral("/ws"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("token"),
                       QString::fromLatin1(QUrl::toPercentEncoding(token)));
    url.setQuery(query);
    url.setFragment(QString());
    return url;
}

// An action may call back into the owner, who may call us again: what that adds waits its turn.
void SyncClient::run(SyncMachine::Actions actions) {
    std::ranges::move(actions, std::back_inserter(m_queue));
    if (m_running)
        return;
    m_running = true;
    for (size_t i = 0; i < m_queue.size(); ++i) {
        const auto action = std::move(m_queue[i]);
        std::visit([this](const auto& a) { perform(a); }, action);
    }
    m_queue.clear();
    m_running = false;
}

void SyncClient::perform(const SyncMachine::OpenSocket& action) {
    m_leaving.clear();
    m_socket.reset(new WebSocket(m_network, socketUrl(m_account.server, m_account.token)));
    const WebSocket* socket = m_socket.get();
    const quint64 id = action.connection;
    QObject::connect(socket, &WebSocket::opened, this, [this, id] { run(m_machine.opened(id)); });
    QObject::connect(socket, &WebSocket::heard, this, [this, id] { run(m_machine.heard(id)); });
    QObject::connect(socket, &WebSocket::wrote, this, [this, id] { wrote(id); });
    QObject::connect(socket, &WebSocket::received, this, [this, id](const QByteArray& message) {
        run(m_machine.received(id, message));
    });
    QObject::connect(socket, &WebSocket::lost, this,
                     [this, id](const QString& why) { run(m_machine.lost(id, why)); });
    QObject::connect(socket, &WebSocket::overstepped, this,
                     [this, id](const QString& what) { run(m_machine.overstepped(id, what)); });
    m_socket->open();
}

void SyncClient::perform(const SyncMachine::ReleaseSocket&) {
    m_socket.reset();
}

void SyncClient::perform(const SyncMachine::CloseSocket&) {
    if (!m_socket)
        return;
    m_socket->close();
    m_socket.reset();
}

void SyncClient::wrote(quint64 connection) {
    const qint64 left = m_socket->left();
    run(m_machine.wrote(connection, left < m_socket->sent()));
    while (!m_leaving.empty() && m_leaving.front().end <= left) {
        const QString id = m_leaving.front().itemId;
        m_leaving.pop_front();
        run(m_machine.left(id));
    }
}

void SyncClient::perform(const SyncMachine::SendReceipt& action) {
    if (m_socket)
        m_socket->answer(textOf({{QStringLiteral("type"), QStringLiteral("received")},
                                 {QStringLiteral("id"), action.itemId}}));
}

void SyncClient::perform(const SyncMachine::SendPublish& action) {
    if (!m_socket) {
        run(m_machine.fallBack(action.item.id));
        return;
    }
    m_socket->sendText(textOf({{QStringLiteral("type"), QStringLiteral("publish")},
                               {QStringLiteral("item"), action.item.toJson()}}));
    m_leaving.push_back({action.item.id, m_socket->sent()});
}

void SyncClient::perform(const SyncMachine::SendPing&) {
    if (m_socket)
        m_socket->ping();
}

void SyncClient::perform(const SyncMachine::StartCheckTimer& action) {
    QTimer::singleShot(m_intervals.checkTimeout, Qt::PreciseTimer, this,
                       [this, id = action.check] { run(m_machine.checkDue(id)); });
}

void SyncClient::perform(const SyncMachine::StartHeartbeat&) {
    m_heartbeat.start();
}
void SyncClient::perform(const SyncMachine::StopHeartbeat&) {
    m_heartbeat.stop();
}

void SyncClient::perform(const SyncMachine::Probe&) {
    m_tasks.start(probe());
}

Task<> SyncClient::probe() {
    const HubAPI api{&m_network, m_account.server, m_account.token};
    const auto reply = co_await api.fetchCrypto();
    using Result = SyncMachine::ProbeResult;
    Result result = Result::accepted;
    if (!reply) {
        const bool unauthorized =
            reply.error().kind == HubError::Kind::status && reply.error().code == 401;
        result = unauthorized ? Result::unauthorized : Result::otherFailure;
    }
    run(m_machine.probed(result));
}

void SyncClient::perform(const SyncMachine::ScheduleReconnect& action) {
    m_reconnect.start(action.delay);
}

void SyncClient::perform(const SyncMachine::CancelReconnect&) {
    m_reconnect.stop();
}

void SyncClient::perform(const SyncMachine::StartAckTimer& action) {
    auto& timer = m_ackTimers[action.itemId];
    if (!timer) {
        timer = std::make_unique<QTimer>();
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
        QObject::connect(timer.get(), &QTimer::timeout, this,
                         [this, id = action.itemId] { run(m_machine.fallBack(id)); });
    }
    timer->start(action.left ? m_intervals.ackTimeout : m_intervals.stallTimeout);
}

void SyncClient::perform(const SyncMachine::CancelAckTimer& action) {
    // It may be this very timer that has just fired.
    if (auto node = m_ackTimers.extract(action.itemId))
        node.mapped().release()->deleteLater();
}

void SyncClient::perform(const SyncMachine::PostItem& action) {
    m_tasks.start(restPublish(action.item));
}

Task<> SyncClient::restPublish(OutgoingItem item) {
    HttpRequest request;
    request.method = "POST";
    request.url = hubUrl(m_account.server, QStringLiteral("items"));
    request.token = m_account.token.toUtf8();
    request.body = QJsonDocument(item.toJson()).toJson(QJsonDocument::Compact);
    request.timeout = m_intervals.stallTimeout;
    HttpExchange exchange(m_network, request);
    const HttpReply reply = co_await exchange;
    const auto body = PublishReply::fromJson(QJsonDocument::fromJson(reply.body).object());
    run({SyncMachine::Complete{item.id, reply.trouble ? 0 : reply.status,
                               body ? body->recipients : std::nullopt}});
}

void SyncClient::perform(const SyncMachine::ReportLoss& action) {
    qWarning("receive failed: %s", qUtf8Printable(action.why));
}

void SyncClient::perform(const SyncMachine::ReportState& action) {
    qInfo("state -> %s", syncStateName(action.state));
    if (onState)
        onState(action.state);
}

void SyncClient::perform(const SyncMachine::ReportDevices& action) {
    if (onDevices)
        onDevices(action.devices);
}

void SyncClient::perform(const SyncMachine::ReportItem& action) {
    if (onItem)
        onItem(action.item);
}

void SyncClient::perform(const SyncMachine::Complete& action) {
    if (const auto completion = m_completions.take(action.itemId))
        completion(action.status, action.recipients);
}

} // namespace sorrelwind

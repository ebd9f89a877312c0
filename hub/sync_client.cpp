#include "hub/sync_client.h"

#include "hub/http.h"
#include "hub/hub_api.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QStringDecoder>
#include <QUrlQuery>
#include <QUuid>
#include <QWebSocket>

namespace sorrelwind {

namespace {

// Above the largest item that a hub relays (8 MiB unless its owner allows more).
constexpr quint64 kMaxFrameBytes = 64ULL * 1024 * 1024;
constexpr std::chrono::milliseconds kRestPublishTimeout{15'000};

} // namespace

void SyncClient::DeleteLater::operator()(QObject* object) const {
    object->disconnect();
    object->deleteLater();
}

SyncClient::SyncClient(QNetworkAccessManager& network, Account account, SyncIntervals intervals)
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
    m_socket.reset(new QWebSocket);
    QWebSocket* socket = m_socket.get();
    socket->setMaxAllowedIncomingMessageSize(kMaxFrameBytes);
    socket->setMaxAllowedIncomingFrameSize(kMaxFrameBytes);
    const quint64 id = action.connection;
    QObject::connect(socket, &QWebSocket::connected, this,
                     [this, id] { run(m_machine.opened(id)); });
    QObject::connect(socket, &QWebSocket::disconnected, this,
                     [this, id] { run(m_machine.lost(id)); });
    QObject::connect(socket, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), this,
                     [this, id, socket] {
                         qWarning("receive failed: %s", qPrintable(socket->errorString()));
                         run(m_machine.lost(id));
                     });
    QObject::connect(socket, &QWebSocket::pong, this, [this, id] { run(m_machine.ponged(id)); });
    QObject::connect(
        socket, &QWebSocket::textMessageReceived, this,
        [this, id](const QString& text) { run(m_machine.received(id, text.toUtf8())); });
    QObject::connect(socket, &QWebSocket::binaryMessageReceived, this,
                     [this, id](const QByteArray& bytes) { run(m_machine.received(id, bytes)); });
    socket->open(socketUrl(m_account.server, m_account.token));
}

void SyncClient::perform(const SyncMachine::ReleaseSocket&) {
    m_socket.reset();
}

void SyncClient::perform(const SyncMachine::CloseSocket&) {
    if (!m_socket)
        return;
    m_socket->close(QWebSocketProtocol::CloseCodeNormal);
    m_socket.reset();
}

bool SyncClient::send(const QJsonObject& frame) {
    if (!m_socket)
        return false;
    const QByteArray text = QJsonDocument(frame).toJson(QJsonDocument::Compact);
    return m_socket->sendTextMessage(QString::fromUtf8(text)) > 0;
}

void SyncClient::perform(const SyncMachine::SendReceipt& action) {
    send({{QStringLiteral("type"), QStringLiteral("received")},
          {QStringLiteral("id"), action.itemId}});
}

void SyncClient::perform(const SyncMachine::SendPublish& action) {
    if (!send({{QStringLiteral("type"), QStringLiteral("publish")},
               {QStringLiteral("item"), action.item.toJson()}}))
        run(m_machine.fallBack(action.item.id));
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
    timer = std::make_unique<QTimer>();
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer.get(), &QTimer::timeout, this,
                     [this, id = action.itemId] { run(m_machine.fallBack(id)); });
    timer->start(m_intervals.ackTimeout);
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
    request.timeout = kRestPublishTimeout;
    HttpExchange exchange(m_network, request);
    const HttpReply reply = co_await exchange;
    const auto body = PublishReply::fromJson(QJsonDocument::fromJson(reply.body).object());
    run({SyncMachine::Complete{item.id, reply.completed && reply.status == 200,
                               body ? body->recipients : std::nullopt}});
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
        completion(action.accepted, action.recipients);
}

} // namespace sorrelwind

#include "app/control_server.h"

#include "account/account_store.h"
#include "app/command_line.h"
#include "base/l10n.h"
#include "core/app_model.h"
#include "hosting/hub_host.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QLocalSocket>
#include <QTimer>

namespace sorrelwind {

namespace {

using std::chrono_literals::operator""s;

ControlReply done() {
    return {};
}

ControlReply outcome(const std::optional<QString>& error) {
    return {{}, error};
}

ControlReply textReply(const ReceivedText& received) {
    return {
        {{QStringLiteral("text"), received.text}, {QStringLiteral("unsealed"), received.unsealed}},
        {}};
}

void finish(QLocalSocket& socket, const ControlReply& reply) {
    socket.write(reply.toLine());
    socket.flush(); // the loop may end here
    socket.disconnectFromServer();
}

QString phaseName(AppModel::Phase phase) {
    return phase == AppModel::Phase::running ? QStringLiteral("running")
                                             : QStringLiteral("onboarding");
}

QString cryptoName(AppModel::CryptoStatus crypto) {
    switch (crypto) {
    case AppModel::CryptoStatus::unknown:
        return QStringLiteral("unknown");
    case AppModel::CryptoStatus::deriving:
        return QStringLiteral("deriving");
    case AppModel::CryptoStatus::encrypted:
        return QStringLiteral("encrypted");
    case AppModel::CryptoStatus::plaintext:
        return QStringLiteral("plaintext");
    case AppModel::CryptoStatus::missingKey:
        return QStringLiteral("missingKey");
    case AppModel::CryptoStatus::failed:
        return QStringLiteral("failed");
    }
    return {};
}

QJsonValue fitJson(AppModel::KeyFit fit) {
    return fit == AppModel::KeyFit::unknown ? QJsonValue() : fit == AppModel::KeyFit::fits;
}

QJsonValue textOrNull(const std::optional<QString>& text) {
    return text ? QJsonValue(*text) : QJsonValue();
}

QJsonValue activityJson(const std::optional<Activity>& activity) {
    if (!activity)
        return {};
    QJsonObject json{
        {QStringLiteral("ok"), activity->direction != Activity::Direction::failed},
        {QStringLiteral("at"), activity->date.toMSecsSinceEpoch()},
    };
    if (activity->direction == Activity::Direction::received)
        json.insert(QStringLiteral("unsealed"), activity->unsealed);
    if (activity->device)
        json.insert(QStringLiteral("device"), *activity->device);
    if (activity->recipients)
        json.insert(QStringLiteral("recipients"), *activity->recipients);
    return json;
}

} // namespace

ControlServer::ControlServer(AppModel& model, const AccountStore& store, HubHost& hubHost,
                             const L10n& l10n)
    : m_model(model), m_store(store), m_hubHost(hubHost), m_l10n(l10n) {
    connect(&m_server, &QLocalServer::newConnection, this, &ControlServer::accept);
}

bool ControlServer::listen(const QString& path) {
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    return m_server.listen(path) &&
           QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
}

void ControlServer::accept() {
    while (QLocalSocket* socket = m_server.nextPendingConnection()) {
        socket->setReadBufferSize(kMaxControlLine);
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { read(socket); });
        // A request is one line; the answer may take as long as the hub does.
        QTimer::singleShot(5s, socket, [socket] {
            if (!socket->property("asked").toBool())
                socket->abort();
        });
    }
}

void ControlServer::read(QLocalSocket* socket) {
    if (socket->property("asked").toBool())
        return;
    if (!socket->canReadLine()) {
        if (socket->bytesAvailable() >= kMaxControlLine)
            socket->abort();
        return;
    }
    socket->setProperty("asked", true);
    const auto request = ControlRequest::fromLine(socket->readLine(kMaxControlLine));
    if (!request) {
        socket->abort();
        return;
    }
    const bool inGroup = m_model.phase() == AppModel::Phase::running;
    if (inGroup && request->command == QLatin1StringView("send"))
        send(socket, request->argument);
    else if (inGroup && request->command == QLatin1StringView("receive"))
        receive(socket, request->argument == QLatin1StringView("follow"));
    else if (!inGroup && request->command == QLatin1StringView("host"))
        host(socket, request->argument == QLatin1StringView("stop"));
    else
        m_tasks.start(serve(socket, *request));
}

void ControlServer::send(QLocalSocket* socket, const QString& text) {
    // With the group goes whatever was on its way.
    connect(&m_model, &AppModel::changed, socket, [this, socket] {
        if (m_model.phase() == AppModel::Phase::running)
            return;
        m_model.disconnect(socket);
        finish(*socket, inNoGroup());
    });
    m_model.send(text, [this, socket = QPointer(socket)](const AppModel::Sent& sent) {
        if (!socket)
            return;
        m_model.disconnect(socket);
        ControlReply reply;
        if (!sent)
            reply.error = sent.error();
        else if (*sent)
            reply.result.insert(QStringLiteral("recipients"), **sent);
        finish(*socket, reply);
    });
}

void ControlServer::receive(QLocalSocket* socket, bool follow) {
    const auto& newest = m_model.lastReceivedText();
    if (!follow) {
        if (newest)
            finish(*socket, textReply(*newest));
        else
            finish(*socket, outcome(m_model.wantsPassphrase()
                                        ? passphraseHint()
                                        : m_l10n.text(u"还没有收到任何内容",
                                                      u"Nothing has been received yet")));
        return;
    }
    if (newest)
        socket->write(textReply(*newest).toLine());
    // Whoever waits for texts hears why none come.
    auto hint = [this, socket, hinted = false]() mutable {
        if (std::exchange(hinted, m_model.wantsPassphrase()) || !hinted)
            return;
        socket->write(ControlReply{{{QStringLiteral("warning"), passphraseHint()}}, {}}.toLine());
    };
    hint();
    connect(&m_model, &AppModel::textReceived, socket, [socket](const ReceivedText& received) {
        // Whoever does not read is not waited for.
        if (socket->bytesToWrite() > kMaxControlLine)
            socket->abort();
        else
            socket->write(textReply(received).toLine());
    });
    connect(&m_model, &AppModel::changed, socket, [this, socket, hint = std::move(hint)]() mutable {
        if (m_model.phase() != AppModel::Phase::running)
            socket->disconnectFromServer();
        else
            hint();
    });
}

// For a group that the command line is about to make, or that did not come about.
void ControlServer::host(QLocalSocket* socket, bool stop) {
    const auto answer = [socket = QPointer(socket)](const ControlReply& reply) {
        if (socket)
            finish(*socket, reply);
    };
    if (stop) {
        m_hubHost.stop([answer](const std::optional<Sentence>&) { answer(done()); });
        return;
    }
    const bool hosted = m_hubHost.hosts();
    m_hubHost.start([this, answer, hosted](const Result<QString, Sentence>& address) {
        if (!address) {
            answer(outcome(address.error().in(m_l10n.lang())));
            return;
        }
        answer({{{QStringLiteral("server"), *address},
                 {QStringLiteral("started"), !hosted},
                 {QStringLiteral("service"), m_hubHost.isService()}},
                {}});
    });
}

Task<> ControlServer::serve(QPointer<QLocalSocket> socket, ControlRequest request) {
    const ControlReply reply = co_await answer(request);
    if (socket)
        finish(*socket, reply);
    if (request.command == QLatin1StringView("quit"))
        QCoreApplication::quit();
}

Task<ControlReply> ControlServer::answer(ControlRequest request) {
    const QString& command = request.command;
    if (command == QLatin1StringView("status"))
        co_return ControlReply{status(), {}};
    if (command == QLatin1StringView("quit"))
        co_return done();
    if (command == QLatin1StringView("show"))
        co_return show();
    if (command == QLatin1StringView("reload"))
        co_return takeUpAccount();
    if (m_model.phase() != AppModel::Phase::running) {
        co_return inNoGroup();
    }
    if (command == QLatin1StringView("devices"))
        co_return ControlReply{devices(), {}};
    if (command == QLatin1StringView("pair"))
        co_return co_await pair();
    if (command == QLatin1StringView("remove")) {
        if (request.argument == m_model.selfId()) {
            co_return outcome(m_l10n
                                  .text(u"这是本机。要离开设备组，请运行：%1",
                                        u"That is this device — to leave, run: %1")
                                  .arg(commandLine(m_store.dir(), QStringLiteral("leave"))));
        }
        const auto error = co_await m_model.removeDevice(request.argument);
        co_return error ? outcome(error->in(m_l10n.lang())) : done();
    }
    if (command == QLatin1StringView("rename")) {
        const QString name = request.argument.trimmed();
        if (name.isEmpty())
            co_return outcome(m_l10n.text(u"名称不能为空", u"A name must not be empty"));
        const auto error = co_await m_model.renameThisMac(name);
        co_return error ? outcome(error->message(m_l10n.lang())) : done();
    }
    if (command == QLatin1StringView("pause") || command == QLatin1StringView("resume")) {
        m_model.setPaused(command == QLatin1StringView("pause"));
        co_return done();
    }
    if (command == QLatin1StringView("passphrase"))
        co_return adoptKey(request.argument);
    if (command == QLatin1StringView("leave")) {
        co_await m_model.leaveGroup();
        co_return done();
    }
    co_return outcome(
        m_l10n.text(u"正在运行的 Sorrelwind 不认识这个命令，请重新启动它",
                    u"The running Sorrelwind does not know this command — restart it"));
}

Task<ControlReply> ControlServer::pair() {
    const auto pairing = co_await m_model.createPairing();
    if (!pairing)
        co_return outcome(pairing.error().explained(m_l10n.lang()));
    QJsonObject json{{QStringLiteral("code"), pairing->code},
                     {QStringLiteral("link"), pairing->url},
                     {QStringLiteral("expiresAt"), pairing->expiresAt.toMSecsSinceEpoch()}};
    if (const auto& account = m_model.account()) {
        json.insert(QStringLiteral("server"), account->server);
        json.insert(QStringLiteral("passphrase"),
                    m_model.crypto() == AppModel::CryptoStatus::plaintext ? QStringLiteral("none")
                    : account->passphrase                                 ? QStringLiteral("here")
                                          : QStringLiteral("elsewhere"));
    }
    co_return ControlReply{json, {}};
}

QString ControlServer::passphraseHint() const {
    return m_l10n.text(u"%1（命令：%2）", u"%1 (The command: %2)")
        .arg(m_model.warning().value_or(QString()),
             commandLine(m_store.dir(), QStringLiteral("passphrase")));
}

ControlReply ControlServer::inNoGroup() const {
    return outcome(sorrelwind::inNoGroup(m_store.dir()).in(m_l10n.lang()));
}

ControlReply ControlServer::show() {
    if (!onShow)
        return outcome(m_l10n.text(u"正在运行的 Sorrelwind 没有窗口",
                                   u"The running Sorrelwind has no windows"));
    onShow();
    return done();
}

ControlReply ControlServer::takeUpAccount() {
    if (m_model.phase() == AppModel::Phase::running)
        return outcome(m_l10n.text(u"正在运行的 Sorrelwind 已在设备组中",
                                   u"The running Sorrelwind is in a group already"));
    const auto account = m_store.load();
    if (!account)
        return outcome(m_l10n.text(u"账户文件无法读取", u"The account file cannot be read"));
    m_model.clearNotice();
    m_model.startSync(*account);
    return done();
}

ControlReply ControlServer::adoptKey(const QString& argument) {
    const auto rekeyed = Account::fromJson(argument.toUtf8());
    const auto adopted = m_model.adoptKey(rekeyed.value_or(Account()));
    if (!adopted)
        return outcome(adopted.error().in(m_l10n.lang()));
    return {{{QStringLiteral("keyFits"), fitJson(*adopted)}}, {}};
}

QJsonObject ControlServer::status() const {
    const Pasteboard& pasteboard = m_model.pasteboard();
    QJsonObject json{
        {QStringLiteral("version"), QStringLiteral(SORRELWIND_VERSION)},
        {QStringLiteral("pid"), QCoreApplication::applicationPid()},
        {QStringLiteral("phase"), phaseName(m_model.phase())},
        {QStringLiteral("connection"),
         QLatin1StringView(syncStateName(m_model.connection())).toString()},
        {QStringLiteral("crypto"), cryptoName(m_model.crypto())},
        {QStringLiteral("keyFits"), fitJson(m_model.keyFit())},
        {QStringLiteral("wantsPassphrase"), m_model.wantsPassphrase()},
        {QStringLiteral("paused"), m_model.paused()},
        {QStringLiteral("statusText"), m_model.statusText()},
        {QStringLiteral("warning"), textOrNull(m_model.warning())},
        {QStringLiteral("notice"), textOrNull(m_model.notice())},
        {QStringLiteral("clipboard"), pasteboard.backend()},
        {QStringLiteral("clipboardAvailable"), pasteboard.available()},
        {QStringLiteral("clipboardReason"), pasteboard.unavailableReason().in(m_l10n.lang())},
        {QStringLiteral("deviceCount"), m_model.devices().size()},
        {QStringLiteral("lastSent"), activityJson(m_model.lastSent())},
        {QStringLiteral("lastReceived"), activityJson(m_model.lastReceived())},
    };
    if (const auto& account = m_model.account()) {
        json.insert(QStringLiteral("server"), account->server);
        json.insert(QStringLiteral("groupId"), account->groupId);
        json.insert(QStringLiteral("deviceId"), account->deviceId);
        json.insert(QStringLiteral("deviceName"), account->deviceName);
    }
    return json;
}

QJsonObject ControlServer::devices() const {
    QJsonArray list;
    for (const DeviceInfo& device : m_model.devices()) {
        list.append(QJsonObject{{QStringLiteral("id"), device.id},
                                {QStringLiteral("name"), device.name},
                                {QStringLiteral("platform"), device.platform},
                                {QStringLiteral("createdAt"), device.createdAt},
                                {QStringLiteral("lastSeen"), device.lastSeen},
                                {QStringLiteral("online"), device.online},
                                {QStringLiteral("self"), device.id == m_model.selfId()}});
    }
    return {{QStringLiteral("devices"), list}};
}

} // namespace sorrelwind

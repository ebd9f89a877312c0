#include "app/control_server.h"

#include "account/account_store.h"
#include "app/command_line.h"
#include "base/l10n.h"
#include "core/app_model.h"
#include "hosting/awaited.h"
#include "hosting/hub_host.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QLocalSocket>
#include <QTimer>

#include <algorithm>

namespace sorrelwind {

namespace {

using std::chrono_literals::operator""s;

// The hub tells of a change of the list a moment after it has answered.
constexpr auto kListPatience = 2s;

const QString kSentence = QStringLiteral("text"); // for a person, in the language of who asks

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

QJsonValue activityJson(const std::optional<Activity>& activity, Lang lang) {
    if (!activity)
        return {};
    QJsonObject json{
        {QStringLiteral("ok"), activity->direction != Activity::Direction::failed},
        {QStringLiteral("at"), activity->date.toMSecsSinceEpoch()},
        {kSentence, activityText(*activity, lang)},
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

Lang ControlServer::langOf(const ControlRequest& request) const {
    return request.lang.value_or(m_l10n.lang());
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
        send(socket, *request);
    else if (inGroup && request->command == QLatin1StringView("receive"))
        receive(socket, *request);
    else if (!inGroup && request->command == QLatin1StringView("host"))
        host(socket, *request);
    else
        m_tasks.start(serve(socket, *request));
}

void ControlServer::send(QLocalSocket* socket, const ControlRequest& request) {
    const Lang lang = langOf(request);
    // With the group goes whatever was on its way.
    connect(&m_model, &AppModel::changed, socket, [this, socket, lang] {
        if (m_model.phase() == AppModel::Phase::running)
            return;
        m_model.disconnect(socket);
        finish(*socket, inNoGroup(lang));
    });
    m_model.send(request.argument, [this, socket = QPointer(socket), lang](const auto& sent) {
        if (!socket)
            return;
        m_model.disconnect(socket);
        ControlReply reply;
        if (sent)
            reply.result = {{kSentence, sentText(*sent, m_model.devices().size(), lang)}};
        else
            reply.error = sent.error().in(lang);
        finish(*socket, reply);
    });
}

void ControlServer::receive(QLocalSocket* socket, const ControlRequest& request) {
    const auto& newest = m_model.lastReceivedText();
    if (request.argument != QLatin1StringView("follow")) {
        const Lang lang = langOf(request);
        if (newest)
            finish(*socket, textReply(*newest));
        else
            finish(*socket,
                   outcome(m_model.wantsPassphrase() ? passphraseHint(lang)
                                                     : pick(lang, u"还没有收到任何内容",
                                                            u"Nothing has been received yet")));
        return;
    }
    if (newest)
        socket->write(textReply(*newest).toLine());
    // Whoever waits for texts hears why none come.
    const Lang lang = langOf(request);
    auto hint = [this, socket, lang, hinted = false]() mutable {
        if (std::exchange(hinted, m_model.wantsPassphrase()) || !hinted)
            return;
        socket->write(
            ControlReply{{{QStringLiteral("warning"), passphraseHint(lang)}}, {}}.toLine());
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
void ControlServer::host(QLocalSocket* socket, const ControlRequest& request) {
    const auto answer = [socket = QPointer(socket)](const ControlReply& reply) {
        if (socket)
            finish(*socket, reply);
    };
    if (request.argument == QLatin1StringView("stop")) {
        m_hubHost.stop([answer](const std::optional<Sentence>&) { answer(done()); });
        return;
    }
    const bool hosted = m_hubHost.hosts();
    const Lang lang = langOf(request);
    m_hubHost.start([this, answer, hosted, lang](const Result<QString, Sentence>& address) {
        if (!address) {
            answer(outcome(address.error().in(lang)));
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
    const Lang lang = langOf(request);
    if (command == QLatin1StringView("status"))
        co_return ControlReply{status(lang), {}};
    if (command == QLatin1StringView("quit"))
        co_return done();
    if (command == QLatin1StringView("show"))
        co_return show(lang);
    if (command == QLatin1StringView("reload"))
        co_return takeUpAccount(lang);
    if (m_model.phase() != AppModel::Phase::running)
        co_return inNoGroup(lang);
    if (command == QLatin1StringView("devices"))
        co_return ControlReply{devices(), {}};
    if (command == QLatin1StringView("pair"))
        co_return co_await pair(lang);
    if (command == QLatin1StringView("remove"))
        co_return co_await remove(request.argument, lang);
    if (command == QLatin1StringView("rename"))
        co_return co_await rename(request.argument.trimmed(), lang);
    if (command == QLatin1StringView("pause") || command == QLatin1StringView("resume")) {
        m_model.setPaused(command == QLatin1StringView("pause"));
        co_return done();
    }
    if (command == QLatin1StringView("passphrase"))
        co_return adoptKey(request);
    if (command == QLatin1StringView("leave")) {
        co_await m_model.leaveGroup();
        co_return done();
    }
    co_return outcome(pick(lang, u"正在运行的 Sorrelwind 不认识这个命令，请重新启动它",
                           u"The running Sorrelwind does not know this command — restart it"));
}

Task<ControlReply> ControlServer::pair(Lang lang) {
    const auto pairing = co_await m_model.createPairing();
    if (!pairing)
        co_return outcome(pairing.error().explained(lang));
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

QString ControlServer::passphraseHint(Lang lang) const {
    return pick(lang, u"%1（命令：%2）", u"%1 (The command: %2)")
        .arg(m_model.warning(lang).value_or(QString()),
             commandLine(m_store.dir(), QStringLiteral("passphrase")));
}

ControlReply ControlServer::inNoGroup(Lang lang) const {
    return outcome(sorrelwind::inNoGroup(m_store.dir()).in(lang));
}

// Waits a moment until the hub's list `shows` a change, so that the next "devices" does.
Task<> ControlServer::listed(std::function<bool()> shows) {
    const Awaited<bool>::Begin begin = [this, shows](QObject& context, const auto& done) {
        connect(&m_model, &AppModel::changed, &context, [shows, done] {
            if (shows())
                done(true);
        });
        QTimer::singleShot(kListPatience, &context, [done] { done(false); });
    };
    Awaited<bool> list(begin);
    if (!shows())
        (void)co_await list;
}

Task<ControlReply> ControlServer::remove(QString id, Lang lang) {
    if (id == m_model.selfId())
        co_return outcome(pick(lang, u"这是本机。要离开设备组，请运行：%1",
                               u"That is this device — to leave, run: %1")
                              .arg(commandLine(m_store.dir(), QStringLiteral("leave"))));
    const auto error = co_await m_model.removeDevice(id);
    if (error)
        co_return outcome(error->in(lang));
    const auto gone = [this, id] {
        return std::ranges::none_of(m_model.devices(),
                                    [&](const auto& one) { return one.id == id; });
    };
    auto waiting = listed(gone);
    co_await std::move(waiting);
    co_return done();
}

Task<ControlReply> ControlServer::rename(QString name, Lang lang) {
    if (name.isEmpty())
        co_return outcome(pick(lang, u"名称不能为空", u"A name must not be empty"));
    const auto error = co_await m_model.renameThisMac(name);
    if (error)
        co_return outcome(error->message(lang));
    const auto renamed = [this, name] {
        return std::ranges::none_of(m_model.devices(), [&](const auto& one) {
            return one.id == m_model.selfId() && one.name != name;
        });
    };
    auto waiting = listed(renamed);
    co_await std::move(waiting);
    co_return done();
}

ControlReply ControlServer::show(Lang lang) {
    if (!onShow)
        return outcome(pick(lang, u"正在运行的 Sorrelwind 没有窗口",
                            u"The running Sorrelwind has no windows"));
    onShow();
    return done();
}

ControlReply ControlServer::takeUpAccount(Lang lang) {
    if (m_model.phase() == AppModel::Phase::running)
        return outcome(pick(lang, u"正在运行的 Sorrelwind 已在设备组中",
                            u"The running Sorrelwind is in a group already"));
    const auto account = m_store.load();
    if (!account)
        return outcome(pick(lang, u"账户文件无法读取", u"The account file cannot be read"));
    m_model.clearNotice();
    m_model.startSync(*account);
    return done();
}

ControlReply ControlServer::adoptKey(const ControlRequest& request) {
    const auto rekeyed = Account::fromJson(request.argument.toUtf8());
    const auto adopted = m_model.adoptKey(rekeyed.value_or(Account()));
    if (!adopted)
        return outcome(adopted.error().in(langOf(request)));
    return {{{QStringLiteral("keyFits"), fitJson(*adopted)}}, {}};
}

QJsonObject ControlServer::status(Lang lang) const {
    const Pasteboard& pasteboard = m_model.pasteboard();
    const auto ofAccount = [this](QString Account::*field) {
        return m_model.account() ? QJsonValue(*m_model.account().*field) : QJsonValue();
    };
    return {
        {QStringLiteral("version"), QStringLiteral(SORRELWIND_VERSION)},
        {QStringLiteral("pid"), QCoreApplication::applicationPid()},
        {QStringLiteral("phase"), phaseName(m_model.phase())},
        {QStringLiteral("connection"),
         QLatin1StringView(syncStateName(m_model.connection())).toString()},
        {QStringLiteral("crypto"), cryptoName(m_model.crypto())},
        {QStringLiteral("keyFits"), fitJson(m_model.keyFit())},
        {QStringLiteral("wantsPassphrase"), m_model.wantsPassphrase()},
        {QStringLiteral("paused"), m_model.paused()},
        {QStringLiteral("statusText"), m_model.statusText(lang)},
        {QStringLiteral("warning"), textOrNull(m_model.warning(lang))},
        {QStringLiteral("notice"), textOrNull(m_model.notice(lang))},
        {QStringLiteral("server"), ofAccount(&Account::server)},
        {QStringLiteral("groupId"), ofAccount(&Account::groupId)},
        {QStringLiteral("deviceId"), ofAccount(&Account::deviceId)},
        {QStringLiteral("deviceName"), ofAccount(&Account::deviceName)},
        {QStringLiteral("deviceCount"), m_model.devices().size()},
        {QStringLiteral("clipboard"), pasteboard.backend()},
        {QStringLiteral("clipboardAvailable"), pasteboard.available()},
        {QStringLiteral("clipboardReason"),
         pasteboard.available() ? QJsonValue()
                                : QJsonValue(pasteboard.unavailableReason().in(lang))},
        {QStringLiteral("lastSent"), activityJson(m_model.lastSent(), lang)},
        {QStringLiteral("lastReceived"), activityJson(m_model.lastReceived(), lang)},
    };
}

QJsonObject ControlServer::devices() const {
    QJsonArray list;
    for (const DeviceInfo& device : m_model.shownDevices()) {
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

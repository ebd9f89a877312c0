#include "app/control_client.h"

#include "app/display.h"

#include <QDeadlineTimer>
#include <QLocalSocket>

namespace sorrelwind {

namespace {

Result<void, ControlFailure> ask(QLocalSocket& socket, const QString& configDir,
                                 const ControlRequest& request) {
    socket.connectToServer(controlSocketPath(configDir));
    if (!socket.waitForConnected(5'000)) {
        return failure(socket.error() == QLocalSocket::SocketAccessError
                           ? ControlFailure::forbidden
                           : ControlFailure::notRunning);
    }
    socket.write(request.toLine());
    return {};
}

std::optional<ControlReply> nextReply(QLocalSocket& socket, QDeadlineTimer deadline) {
    while (!socket.canReadLine() && socket.bytesAvailable() <= kMaxControlLine) {
        if (!socket.waitForReadyRead(static_cast<int>(deadline.remainingTime())))
            break;
    }
    return ControlReply::fromLine(socket.readLine(kMaxControlLine));
}

} // namespace

QString sentence(ControlFailure reason, const QString& configDir, Lang lang) {
    if (reason == ControlFailure::notRunning)
        return pick(lang, u"Sorrelwind 没有在运行，请先启动：%1",
                    u"Sorrelwind is not running — start it with: %1")
            .arg(startLine(configDir));
    if (reason == ControlFailure::forbidden)
        return pick(lang, u"Sorrelwind 由另一个用户运行，请以那个用户的身份执行此命令",
                    u"Sorrelwind is another user's here — run this command as that user");
    return pick(lang, u"正在运行的 Sorrelwind 没有回答，请重新启动它",
                u"The running Sorrelwind does not answer — restart it");
}

Result<ControlReply, ControlFailure> askAgent(const QString& configDir,
                                              const ControlRequest& request) {
    QLocalSocket socket;
    if (const auto asked = ask(socket, configDir, request); !asked)
        return failure(asked.error());
    // A request to a hub that dribbles takes two minutes to fail.
    auto reply = nextReply(socket, QDeadlineTimer(130'000));
    if (!reply)
        return failure(ControlFailure::noAnswer);
    return *std::move(reply);
}

ControlFailure followAgent(const QString& configDir, const ControlRequest& request,
                           const std::function<bool(const ControlReply&)>& onReply) {
    QLocalSocket socket;
    if (const auto asked = ask(socket, configDir, request); !asked)
        return asked.error();
    for (;;) {
        const auto reply = nextReply(socket, QDeadlineTimer(QDeadlineTimer::Forever));
        if (!reply || !onReply(*reply))
            break;
    }
    return ControlFailure::noAnswer;
}

} // namespace sorrelwind

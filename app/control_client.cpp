#include "app/control_client.h"

#include <QDeadlineTimer>
#include <QLocalSocket>

namespace sorrelwind {

namespace {

bool ask(QLocalSocket& socket, const QString& configDir, const ControlRequest& request) {
    socket.connectToServer(controlSocketPath(configDir));
    if (!socket.waitForConnected(5'000))
        return false;
    socket.write(request.toLine());
    return true;
}

std::optional<ControlReply> nextReply(QLocalSocket& socket, QDeadlineTimer deadline) {
    while (!socket.canReadLine() && socket.bytesAvailable() <= kMaxControlLine) {
        if (!socket.waitForReadyRead(static_cast<int>(deadline.remainingTime())))
            break;
    }
    return ControlReply::fromLine(socket.readLine(kMaxControlLine));
}

} // namespace

Result<ControlReply, ControlFailure> askAgent(const QString& configDir,
                                              const ControlRequest& request) {
    QLocalSocket socket;
    if (!ask(socket, configDir, request))
        return failure(ControlFailure::notRunning);
    // A request to a hub that dribbles takes two minutes to fail.
    auto reply = nextReply(socket, QDeadlineTimer(130'000));
    if (!reply)
        return failure(ControlFailure::noAnswer);
    return *std::move(reply);
}

ControlFailure followAgent(const QString& configDir, const ControlRequest& request,
                           const std::function<void(const ControlReply&)>& onReply) {
    QLocalSocket socket;
    if (!ask(socket, configDir, request))
        return ControlFailure::notRunning;
    while (const auto reply = nextReply(socket, QDeadlineTimer(QDeadlineTimer::Forever)))
        onReply(*reply);
    return ControlFailure::noAnswer;
}

} // namespace sorrelwind

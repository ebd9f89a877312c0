#include "app/control_client.h"

#include <QDeadlineTimer>
#include <QLocalSocket>

namespace sorrelwind {

Result<ControlReply, ControlFailure> askAgent(const QString& configDir,
                                              const ControlRequest& request) {
    QDeadlineTimer deadline(130'000); // a request to a hub that dribbles takes two minutes to fail
    QLocalSocket socket;
    socket.connectToServer(controlSocketPath(configDir));
    if (!socket.waitForConnected(5'000))
        return failure(ControlFailure::notRunning);
    socket.write(request.toLine());
    while (!socket.canReadLine() && socket.bytesAvailable() <= kMaxControlReply) {
        if (!socket.waitForReadyRead(static_cast<int>(deadline.remainingTime())))
            break;
    }
    auto reply = ControlReply::fromLine(socket.readLine(kMaxControlReply));
    if (!reply)
        return failure(ControlFailure::noAnswer);
    return *std::move(reply);
}

} // namespace sorrelwind

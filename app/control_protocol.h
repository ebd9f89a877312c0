#pragma once

#include "base/l10n.h"
#include "clipboard/pasteboard.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace sorrelwind {

// What the command line and the running agent say to each other over the local socket control.sock
// in the config directory (mode 0600): one line of JSON each way, then the connection closes. The
// one exception is "receive" with the argument "follow": a reply for each text, until either
// leaves.

/// The largest request or reply, in bytes: a text of kMaxClipboardBytes, each of which JSON may
/// write as six.
inline constexpr qint64 kMaxControlLine = 6 * kMaxClipboardBytes + 4096;

struct ControlRequest {
    QString command;
    QString argument;
    std::optional<Lang> lang = {}; // of who asks, for the sentences of the reply

    bool operator==(const ControlRequest&) const = default;
    [[nodiscard]] QByteArray toLine() const;
    /// None unless `line` is a JSON object with a text "command".
    [[nodiscard]] static std::optional<ControlRequest> fromLine(const QByteArray& line);
};

struct ControlReply {
    QJsonObject result;
    std::optional<QString> error; // a sentence for the user

    [[nodiscard]] QByteArray toLine() const;
    [[nodiscard]] static std::optional<ControlReply> fromLine(const QByteArray& line);
};

[[nodiscard]] QString controlSocketPath(const QString& configDir);

} // namespace sorrelwind

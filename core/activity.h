#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

namespace sorrelwind {

/// What became of the last copy in one direction.
struct Activity {
    enum class Direction { sent, received, failed };

    Direction direction = Direction::sent;
    QDateTime date;
    std::optional<QString> device;    // received only: the sender's name
    std::optional<qint64> recipients; // sent only: devices reached, when the hub says
    bool unsealed = false;            // received only: in the clear, though the group encrypts

    bool operator==(const Activity&) const = default;
};

/// A text that came from the hub and was put on the clipboard.
struct ReceivedText {
    QString text;
    bool unsealed = false; // as above
};

} // namespace sorrelwind

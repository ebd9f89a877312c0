#pragma once

#include "base/l10n.h"

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

/// "Sent to 2 devices", "Received from Pad", "Last copy wasn't sent".
[[nodiscard]] QString activityText(const Activity& activity, Lang lang);

/// What became of a text that a command sent in a group of so many `devices`, 0 where they are not
/// known yet. The hub keeps it where others are away.
[[nodiscard]] QString sentText(std::optional<qint64> recipients, qsizetype devices, Lang lang);

/// A text that came from the hub and was put on the clipboard.
struct ReceivedText {
    QString text;
    bool unsealed = false; // as above
};

} // namespace sorrelwind

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

    bool operator==(const Activity&) const = default;
};

} // namespace sorrelwind

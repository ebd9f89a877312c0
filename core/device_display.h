#pragma once

#include "base/l10n.h"
#include "hub/wire_records.h"

#include <QDateTime>
#include <QString>

namespace sorrelwind {

/// What kind of device this is, in words: "Computer", "Browser", or the hub's own word.
[[nodiscard]] QString kindLabel(const DeviceInfo& device, Lang lang);

/// Whether the device is there: "Online", "seen 2 min. ago", "This computer · Offline".
[[nodiscard]] QString presence(const DeviceInfo& device, bool isSelf, const QDateTime& now,
                               Lang lang);

/// The name of the symbol drawn for the device.
[[nodiscard]] QString symbolName(const DeviceInfo& device);

/// "just now" within 45 seconds, else a short form such as "2 min. ago" (Unicode CLDR).
[[nodiscard]] QString relativeTime(const QDateTime& date, const QDateTime& now, Lang lang);

} // namespace sorrelwind

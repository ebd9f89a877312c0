#include "core/activity.h"

#include "base/printable.h"

namespace sorrelwind {

namespace {

QString reached(qint64 recipients, Lang lang) {
    return recipients == 1
               ? pick(lang, u"已发送到 1 台设备", u"Sent to 1 device")
               : pick(lang, u"已发送到 %1 台设备", u"Sent to %1 devices").arg(recipients);
}

} // namespace

QString activityText(const Activity& activity, Lang lang) {
    switch (activity.direction) {
    case Activity::Direction::sent:
        if (!activity.recipients)
            return pick(lang, u"已发送", u"Sent");
        if (*activity.recipients == 0)
            return pick(lang, u"已复制，但还没有其他设备", u"Copied, but no other devices yet");
        return reached(*activity.recipients, lang);
    case Activity::Direction::received: {
        const QString device = activity.device.value_or(QString());
        return (activity.unsealed
                    ? pick(lang, u"收到未加密的内容，来自 ", u"Received unencrypted from ")
                    : pick(lang, u"收到来自 ", u"Received from ")) +
               (device.isEmpty() ? QStringLiteral("?") : isolated(device));
    }
    case Activity::Direction::failed:
        break;
    }
    return pick(lang, u"上次复制未能发送", u"Last copy wasn't sent");
}

QString sentText(std::optional<qint64> recipients, qsizetype devices, Lang lang) {
    if (!recipients)
        return pick(lang, u"已发送", u"Sent");
    if (*recipients > 0)
        return reached(*recipients, lang);
    if (devices == 1)
        return pick(lang, u"已发送，但还没有其他设备", u"Sent, but there are no other devices yet");
    return devices > 1 ? pick(lang, u"已发送；现在没有其他设备在线，服务器会暂时保留它",
                              u"Sent — no other device is online now; the hub keeps it for a while")
                       : pick(lang, u"已发送；现在没有其他设备在线",
                              u"Sent — no other device is online now");
}

} // namespace sorrelwind

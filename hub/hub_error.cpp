#include "hub/hub_error.h"

#include "base/machine_words.h"
#include "base/printable.h"

namespace sorrelwind {

QString HubError::message(Lang lang) const {
    switch (kind) {
    case Kind::network:
        return pick(lang, u"无法连接服务器，请检查网络",
                    u"Can't reach the server — check your connection");
    case Kind::decode:
        return pick(lang, u"服务器返回了无法识别的数据", u"Unexpected response from the server");
    case Kind::status:
        break;
    }
    switch (code) {
    case 401:
        return pick(lang, u"本机已不在设备组中",
                    u"This " COMPUTER_EN u" is no longer in the group");
    case 403:
        return pick(lang, u"配对码无效或已过期", u"Invalid or expired pairing code");
    case 429:
        return pick(lang, u"尝试次数过多，请稍后再试", u"Too many attempts — try again later");
    default:
        if (hubMessage)
            return printable(*hubMessage);
        return pick(lang, u"服务器错误（%1）", u"Server error (%1)").arg(code);
    }
}

QString HubError::explained(Lang lang) const {
    const QString first = message(lang);
    if (!reason && movedTo.isEmpty())
        return first;
    const QString second =
        reason ? reason->sentence().in(lang)
               : pick(lang, u"请改用地址 %1", u"Use the address %1 instead").arg(movedTo);
    return pick(lang, u"%1。%2。", u"%1. %2.").arg(first, second);
}

} // namespace sorrelwind

#include "hub/hub_error.h"

#include "base/machine_words.h"
#include "base/printable.h"

namespace sorrelwind {

namespace {

// What the hub's own sentences mean, which are English: the status and how they begin, in a 400
// with the field. Another program's words stand as they are.
QString inChinese(int code, const QString& words) {
    struct Meaning {
        int code;
        const char* begins;
        const char16_t* zh;
    };
    static constexpr Meaning kMeanings[] = {
        {400, "name must be", u"名称须为 1 至 64 个字符，不能含控制字符或不可见的字符"},
        {404, "the group has no such device", u"设备组中没有这台设备"},
        {409, "the group is full", u"设备组已满，请先移除一台设备"},
        {413, "the payload is larger", u"内容太大，服务器不接收"},
        {503, "the hub is stopping", u"服务器正在停止，请稍后再试"},
        {503, "the hub's store", u"服务器的数据库暂时不可用，请稍后再试"},
        {503, "the hub's memory", u"服务器的内存已满，请稍后再试"},
    };
    for (const auto& [status, begins, zh] : kMeanings) {
        if (status == code && words.startsWith(QLatin1StringView(begins)))
            return QString::fromUtf16(zh);
    }
    return words;
}

} // namespace

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
        if (hubMessage) {
            const QString words = printable(*hubMessage);
            return lang == Lang::zh ? inChinese(code, words) : words;
        }
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

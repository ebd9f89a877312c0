#include "core/device_display.h"

#include "base/machine_words.h"
#include "base/printable.h"

#include <unicode/reldatefmt.h>

namespace sorrelwind {

QString kindLabel(const DeviceInfo& device, Lang lang) {
    if (device.platform == QLatin1StringView("macos"))
        return pick(lang, COMPUTER_ZH, COMPUTER_KIND_EN).trimmed();
    if (device.platform == QLatin1StringView("windows"))
        return QStringLiteral("Windows");
    if (device.platform == QLatin1StringView("web"))
        return pick(lang, u"浏览器", u"Browser");
    if (device.platform == QLatin1StringView("android"))
        return QStringLiteral("Android");
    if (device.platform == QLatin1StringView("ios"))
        return QStringLiteral("iOS");
    return printable(device.platform);
}

QString presence(const DeviceInfo& device, bool isSelf, const QDateTime& now, Lang lang) {
    const QString online = pick(lang, u"在线", u"Online");
    const QString offline = pick(lang, u"离线", u"Offline");
    if (isSelf)
        return pick(lang, u"这台" COMPUTER_ZH, u"This " COMPUTER_EN).trimmed() +
               QStringLiteral(" · ") + (device.online ? online : offline);
    if (device.online)
        return online;
    if (device.lastSeen <= 0)
        return offline;
    return pick(lang, u"%1在线", u"seen %1")
        .arg(relativeTime(QDateTime::fromMSecsSinceEpoch(device.lastSeen), now, lang));
}

QString symbolName(const DeviceInfo& device) {
    const QString name = device.name.toLower();
    const bool tablet = name.contains(QLatin1StringView("pad")) ||
                        name.contains(QLatin1StringView("tab")) || name.contains(u"平板");
    if (device.platform == QLatin1StringView("macos"))
        return QStringLiteral("laptopcomputer");
    if (device.platform == QLatin1StringView("windows"))
        return QStringLiteral("desktopcomputer");
    if (device.platform == QLatin1StringView("android") ||
        device.platform == QLatin1StringView("ios"))
        return tablet ? QStringLiteral("ipad") : QStringLiteral("iphone");
    if (name.contains(QLatin1StringView("phone")) || name.contains(u"手机"))
        return QStringLiteral("iphone");
    return tablet ? QStringLiteral("ipad") : QStringLiteral("globe");
}

QString relativeTime(const QDateTime& date, const QDateTime& now, Lang lang) {
    const qint64 seconds = date.secsTo(now);
    if (seconds < 45)
        return pick(lang, u"刚刚", u"just now");

    struct Unit {
        qint64 seconds;
        URelativeDateTimeUnit unit;
    };
    static constexpr Unit kUnits[] = {
        {365 * 86400, UDAT_REL_UNIT_YEAR}, {30 * 86400, UDAT_REL_UNIT_MONTH},
        {7 * 86400, UDAT_REL_UNIT_WEEK},   {86400, UDAT_REL_UNIT_DAY},
        {3600, UDAT_REL_UNIT_HOUR},        {60, UDAT_REL_UNIT_MINUTE},
        {1, UDAT_REL_UNIT_SECOND},
    };
    const Unit* unit = kUnits;
    while (seconds < unit->seconds)
        ++unit;

    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale locale(lang == Lang::zh ? "zh_CN" : "en_US");
    const icu::RelativeDateTimeFormatter formatter(locale, nullptr, UDAT_STYLE_SHORT,
                                                   UDISPCTX_CAPITALIZATION_NONE, status);
    icu::UnicodeString text;
    formatter.formatNumeric(-static_cast<double>(seconds / unit->seconds), unit->unit, text,
                            status);
    return QString::fromUtf16(text.getBuffer(), text.length());
}

} // namespace sorrelwind

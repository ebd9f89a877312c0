#include "core/device_display.h"

#include "tests/support/print_qt.h"

#include <gtest/gtest.h>

namespace sorrelwind {

TEST(DeviceDisplay, KindAndSymbol) {
    const std::tuple<QString, QString, QString, QString> kTable[] = {
        {"macos", "iPad", "laptopcomputer", "Computer"},
        {"windows", "PC", "desktopcomputer", "Windows"},
        {"android", "Pixel", "iphone", "Android"},
        {"android", "Galaxy TAB", "ipad", "Android"},
        {"ios", "小米平板", "ipad", "iOS"},
        {"web", "My Phone", "iphone", "Browser"},
        {"web", "iPad Phone", "iphone", "Browser"},
        {"web", "ThinkPad", "ipad", "Browser"},
        {"web", "Firefox", "globe", "Browser"},
        {"plan9", "手机", "iphone", "plan9"},
    };
    for (const auto& [platform, name, symbol, kind] : kTable) {
        DeviceInfo device;
        device.platform = platform;
        device.name = name;
        EXPECT_EQ(symbolName(device), symbol) << name.toStdString();
        EXPECT_EQ(kindLabel(device, Lang::en), kind);
    }
    for (const auto& [platform, kind] :
         {std::pair(u"web"_qs, u"浏览器"_qs), {u"macos"_qs, u"电脑"_qs}}) {
        DeviceInfo device;
        device.platform = platform;
        EXPECT_EQ(kindLabel(device, Lang::zh), kind);
    }
}

TEST(DeviceDisplay, Presence) {
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000);
    const qint64 ms = now.toMSecsSinceEpoch();
    const std::tuple<bool, bool, qint64, QString, QString> kTable[] = {
        {true, true, ms, "This computer · Online", "这台电脑 · 在线"},
        {true, false, ms, "This computer · Offline", "这台电脑 · 离线"},
        {false, true, 1, "Online", "在线"},
        {false, false, 0, "Offline", "离线"},
        {false, false, ms - 10'000, "seen just now", "刚刚在线"},
        {false, false, ms - 3 * 3'600'000, "seen 3 hr. ago", "3小时前在线"},
    };
    for (const auto& [isSelf, online, lastSeen, en, zh] : kTable) {
        const DeviceInfo device{{}, {}, {}, 0, lastSeen, online};
        EXPECT_EQ(presence(device, isSelf, now, Lang::en), en);
        EXPECT_EQ(presence(device, isSelf, now, Lang::zh), zh);
    }
}

TEST(DeviceDisplay, RelativeTime) {
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000);
    const std::tuple<qint64, QString, QString> kTable[] = {
        {-5, "just now", "刚刚"},
        {44, "just now", "刚刚"},
        {45, "45 sec. ago", "45秒前"},
        {125, "2 min. ago", "2分钟前"},
        {11'000, "3 hr. ago", "3小时前"},
        {86'400, "1 day ago", "1天前"},
        {400 * 86'400, "1 yr. ago", "1年前"},
    };
    for (const auto& [seconds, en, zh] : kTable) {
        EXPECT_EQ(relativeTime(now.addSecs(-seconds), now, Lang::en), en);
        EXPECT_EQ(relativeTime(now.addSecs(-seconds), now, Lang::zh), zh);
    }
}

} // namespace sorrelwind

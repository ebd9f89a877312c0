#include "core/device_display.h"

#include "tests/support/print_qt.h"

#include <gtest/gtest.h>

namespace sorrelwind {

TEST(DeviceDisplay, KindAndSymbol) {
    struct Case {
        const char* platform;
        const char* name;
        const char* symbol;
        const char* kind;
    };
    for (const Case& c : {
             Case{"macos", "iPad", "laptopcomputer", "Mac"},
             Case{"windows", "PC", "desktopcomputer", "Windows"},
             Case{"android", "Pixel", "iphone", "Android"},
             Case{"android", "Galaxy TAB", "ipad", "Android"},
             Case{"ios", "小米平板", "ipad", "iOS"},
             Case{"web", "My Phone", "iphone", "Browser"},
             Case{"web", "iPad Phone", "iphone", "Browser"},
             Case{"web", "ThinkPad", "ipad", "Browser"},
             Case{"web", "Firefox", "globe", "Browser"},
             Case{"plan9", "手机", "iphone", "plan9"},
         }) {
        DeviceInfo device;
        device.platform = QString::fromUtf8(c.platform);
        device.name = QString::fromUtf8(c.name);
        EXPECT_EQ(symbolName(device), QString::fromUtf8(c.symbol)) << c.name;
        EXPECT_EQ(kindLabel(device, Lang::en), QString::fromUtf8(c.kind)) << c.platform;
    }
    DeviceInfo web;
    web.platform = QStringLiteral("web");
    EXPECT_EQ(kindLabel(web, Lang::zh), QStringLiteral("浏览器"));
}

TEST(DeviceDisplay, RelativeTime) {
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000);
    struct Case {
        qint64 seconds;
        const char* en;
        const char* zh;
    };
    for (const Case& c : {
             Case{-5, "just now", "刚刚"},
             Case{44, "just now", "刚刚"},
             Case{45, "45 sec. ago", "45秒前"},
             Case{125, "2 min. ago", "2分钟前"},
             Case{3 * 3600 + 100, "3 hr. ago", "3小时前"},
             Case{86400, "1 day ago", "1天前"},
             Case{400 * 86400, "1 yr. ago", "1年前"},
         }) {
        EXPECT_EQ(relativeTime(now.addSecs(-c.seconds), now, Lang::en), QString::fromUtf8(c.en));
        EXPECT_EQ(relativeTime(now.addSecs(-c.seconds), now, Lang::zh), QString::fromUtf8(c.zh));
    }
}

} // namespace sorrelwind

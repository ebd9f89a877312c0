#include "ui/launch_at_login.h"

#include "tests/support/print_qt.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

TEST(LaunchAtLogin, ExecIsQuotedForTheDesktop) {
    const struct {
        QStringList command;
        const char16_t* expected;
    } kTable[] = {
        {{u"/usr/bin/sorrelwind"_qs}, u"/usr/bin/sorrelwind"},
        {{u"/opt/my apps/sorrelwind"_qs}, u"\"/opt/my apps/sorrelwind\""},
        {{u"/a"_qs, u"--config-dir"_qs, u"/x y"_qs}, u"/a --config-dir \"/x y\""},
        {{u"/100%/a"_qs}, u"/100%%/a"},
        // A quoted word escapes these four, and the value as a whole escapes the backslash again.
        {{u"/a$b`c\"d"_qs}, uR"("/a\\$b\\`c\\"d")"},
        {{u"/a\\b"_qs}, uR"("/a\\\\b")"},
        {{u"/a'b;c&d"_qs}, u"\"/a'b;c&d\""},
        {{u"/a\nb"_qs}, uR"("/a\nb")"},
        {{u"/设备/a"_qs}, u"/设备/a"},
        {{u"/a"_qs, u""_qs}, u"/a \"\""},
    };
    for (const auto& [command, expected] : kTable)
        EXPECT_EQ(LaunchAtLogin::execValue(command), QString::fromUtf16(expected));
}

TEST(LaunchAtLogin, OnlyWhatADesktopStartsCounts) {
    const QByteArray whole = LaunchAtLogin::desktopEntry({u"/a"_qs});
    const std::pair<QByteArray, bool> kTable[] = {
        {whole, true},
        {"", false},
        {"[Desktop Entry]\nType=Application\n", false},
        {whole + "Hidden=true\n", false},
        {whole + "Hidden=false\n", true},
        {QByteArray(whole).replace("enabled=true", "enabled=false"), false},
        {whole + "[Desktop Action x]\nHidden=true\n", true}, // of another group
        {"Exec=/a\n", false},
    };
    for (const auto& [content, expected] : kTable)
        EXPECT_EQ(LaunchAtLogin::starts(content), expected) << content.toStdString();
}

TEST(LaunchAtLogin, OneFileIsTheTruth) {
    const QTemporaryDir dir;
    const LaunchAtLogin launch({u"/opt/a b/sorrelwind"_qs}, dir.filePath(u"new/autostart"_qs));
    EXPECT_FALSE(launch.enabled());
    EXPECT_TRUE(launch.setEnabled(false)); // nothing to take away
    EXPECT_TRUE(launch.setEnabled(true));
    EXPECT_TRUE(launch.enabled());
    QFile file(launch.filePath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray content = file.readAll();
    EXPECT_TRUE(content.contains("\nExec=\"/opt/a b/sorrelwind\"\nTryExec=/opt/a b/sorrelwind\n"))
        << content.toStdString();
    EXPECT_TRUE(launch.setEnabled(false));
    EXPECT_FALSE(QFile::exists(launch.filePath()));

    QFile blocker(dir.filePath(u"file"_qs));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    const LaunchAtLogin blocked({u"/a"_qs}, dir.filePath(u"file/autostart"_qs));
    const auto refused = blocked.setEnabled(true);
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().en.startsWith(u"Opening at login can't be changed: "_qs));
}

TEST(LaunchAtLogin, FolderIsTheDesktops) {
    const bool wasSet = qEnvironmentVariableIsSet("XDG_CONFIG_HOME");
    const QByteArray before = qgetenv("XDG_CONFIG_HOME");
    qputenv("XDG_CONFIG_HOME", "/somewhere/else");
    EXPECT_EQ(LaunchAtLogin::defaultDir(), u"/somewhere/else/autostart"_qs);
    if (wasSet)
        qputenv("XDG_CONFIG_HOME", before);
    else
        qunsetenv("XDG_CONFIG_HOME");
}

} // namespace

} // namespace sorrelwind::test

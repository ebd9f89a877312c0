#include "ui/launch_at_login.h"

#include "base/system_reason.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>
#include <cerrno>

namespace sorrelwind {

namespace {

constexpr qint64 kMaxFileBytes = 64 * 1024;

// The escapes of every value of the type string.
QString stringValue(QString text) {
    text.replace(u'\\', QLatin1StringView("\\\\"));
    text.replace(u'\n', QLatin1StringView("\\n"));
    text.replace(u'\t', QLatin1StringView("\\t"));
    text.replace(u'\r', QLatin1StringView("\\r"));
    return text;
}

// One argument as a shell-like word. What is a field code to a launcher is doubled.
QString quoted(const QString& argument) {
    const bool plain =
        !argument.isEmpty() && std::all_of(argument.begin(), argument.end(), [](QChar c) {
            return c.isLetterOrNumber() || QStringView(u"/._-+:@%,=").contains(c);
        });
    QString word = argument;
    word.replace(u'%', QLatin1StringView("%%"));
    if (plain)
        return word;
    for (const char16_t special : {u'\\', u'"', u'`', u'$'})
        word.replace(QChar(special), QStringLiteral("\\") + QChar(special));
    return u'"' + word + u'"';
}

} // namespace

LaunchAtLogin::LaunchAtLogin(QStringList command, QString autostartDir)
    : m_command(std::move(command)), m_dir(std::move(autostartDir)) {}

QStringList LaunchAtLogin::thisProgram() {
    return {QCoreApplication::applicationFilePath()};
}

QString LaunchAtLogin::defaultDir() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/autostart");
}

QString LaunchAtLogin::filePath() const {
    return m_dir + QStringLiteral("/sorrelwind.desktop");
}

QString LaunchAtLogin::execValue(const QStringList& command) {
    QStringList words;
    for (const QString& argument : command)
        words << quoted(argument);
    return stringValue(words.join(u' '));
}

QByteArray LaunchAtLogin::desktopEntry(const QStringList& command) {
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Sorrelwind\n"
                          "Comment=Keeps the clipboards of your devices in step\n"
                          "Comment[zh_CN]=让你的各台设备共用剪贴板\n"
                          "Exec=%1\n"
                          "TryExec=%2\n"
                          "Icon=sorrelwind\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(execValue(command), stringValue(command.value(0)))
        .toUtf8();
}

bool LaunchAtLogin::starts(const QByteArray& content) {
    bool inEntry = false;
    bool hasExec = false;
    for (const QByteArray& raw : content.split('\n')) {
        const QByteArray line = raw.trimmed();
        if (line.startsWith('[')) {
            inEntry = line == "[Desktop Entry]";
            continue;
        }
        const qsizetype equals = line.indexOf('=');
        if (!inEntry || equals < 0)
            continue;
        const QByteArray key = line.first(equals).trimmed();
        const QByteArray value = line.mid(equals + 1).trimmed();
        if ((key == "Hidden" && value == "true") ||
            (key == "X-GNOME-Autostart-enabled" && value == "false"))
            return false;
        hasExec = hasExec || (key == "Exec" && !value.isEmpty());
    }
    return hasExec;
}

bool LaunchAtLogin::enabled() const {
    QFile file(filePath());
    return file.open(QIODevice::ReadOnly) && starts(file.read(kMaxFileBytes));
}

Result<void, Sentence> LaunchAtLogin::setEnabled(bool enabled) const {
    int error = 0;
    if (enabled) {
        QDir().mkpath(m_dir);
        QSaveFile file(filePath());
        if (file.open(QIODevice::WriteOnly) && file.write(desktopEntry(m_command)) >= 0 &&
            file.flush() && file.commit())
            return {};
        error = errno;
    } else {
        QFile file(filePath());
        if (!file.exists() || file.remove())
            return {};
        error = errno;
    }
    return failure(
        Sentence::of(u"无法更改登录时启动：%1。", u"Opening at login can't be changed: %1.")
            .arg(systemReason(error)));
}

} // namespace sorrelwind

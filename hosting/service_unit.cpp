#include "hosting/service_unit.h"

#include <QStandardPaths>

namespace sorrelwind {

namespace {

// One word of a command line: quoted, and safe from specifiers.
QString word(QString text) {
    text.replace(u'\\', QLatin1StringView("\\\\"));
    text.replace(u'"', QLatin1StringView("\\\""));
    text.replace(u'\n', QLatin1StringView("\\n"));
    text.replace(u'%', QLatin1StringView("%%"));
    return u'"' + text + u'"';
}

} // namespace

QString hubUnitPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/systemd/user/") + kHubUnit;
}

QByteArray hubUnit(const QString& program, const QStringList& arguments) {
    QString command = word(program);
    for (QString argument : arguments) // variables are not replaced in the program's path
        command += u' ' + word(argument.replace(u'$', QLatin1StringView("$$")));
    return QStringLiteral("[Unit]\n"
                          "Description=Sorrelwind hub\n"
                          "StartLimitIntervalSec=0\n"
                          "\n"
                          "[Service]\n"
                          "Type=notify\n"
                          "ExecStart=%1\n"
                          "Restart=on-failure\n"
                          "RestartSec=5\n"
                          "RestartPreventExitStatus=2\n"
                          "TimeoutStartSec=15\n"
                          "LimitNOFILE=16384\n"
                          "MemoryHigh=768M\n"
                          "MemoryMax=1G\n"
                          "TasksMax=16\n"
                          "NoNewPrivileges=yes\n"
                          "\n"
                          "[Install]\n"
                          "WantedBy=default.target\n")
        .arg(command)
        .toUtf8();
}

} // namespace sorrelwind

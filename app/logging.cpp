#include "app/logging.h"

#include "base/printable.h"

#include <QString>
#include <QtGlobal>

#include <cstdio>
#include <syslog.h>
#include <unistd.h>

namespace sorrelwind {

namespace {

bool g_toStderr = false;

int priorityOf(QtMsgType type) {
    switch (type) {
    case QtInfoMsg:
        return LOG_INFO;
    case QtWarningMsg:
        return LOG_WARNING;
    default:
        return LOG_ERR;
    }
}

void write(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type == QtDebugMsg)
        return;
    const QByteArray line = printable(message).toUtf8();
    syslog(priorityOf(type), "%s", line.constData());
    if (g_toStderr)
        std::fprintf(stderr, "sorrelwind: %s\n", line.constData());
}

} // namespace

void installLogging() {
    openlog("sorrelwind", 0, LOG_USER);
    g_toStderr = isatty(STDERR_FILENO) != 0 || access("/dev/log", F_OK) != 0;
    qInstallMessageHandler(write);
}

} // namespace sorrelwind

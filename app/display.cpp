#include "app/display.h"

#include "app/command_line.h"

#include <QFile>
#include <QLibraryInfo>

#include <xcb/xcb.h>

namespace sorrelwind {

namespace {

bool x11Answers() {
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const bool answers = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return answers;
}

} // namespace

bool chooseDisplay() {
    if (!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        return true; // the user's own choice
    if (x11Answers()) {
        qputenv("QT_QPA_PLATFORM", "xcb");
        return true;
    }
    if (qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return false;
    qputenv("QT_QPA_PLATFORM", "wayland");
    return QFile::exists(QLibraryInfo::path(QLibraryInfo::PluginsPath) +
                         QStringLiteral("/platforms/libqwayland-generic.so"));
}

QString startLine(const QString& configDir) {
    return commandLine(configDir,
                       chooseDisplay() ? QStringLiteral("&") : QStringLiteral("--headless &"));
}

} // namespace sorrelwind

#include "ui/compositor.h"

#include <QByteArray>
#include <QGuiApplication>

#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

namespace sorrelwind {

bool isComposited() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    // Platforms other than X11 may answer too, without a connection.
    xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
    if (!connection)
        return true;
    // EWMH, "_NET_WM_CM_Sn Manager Selection": a compositor owns it.
    int display = 0;
    int screen = 0;
    char* host = nullptr;
    if (xcb_parse_display(nullptr, &host, &display, &screen) != 0)
        std::free(host);
    const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(screen);

    struct Free {
        void operator()(void* reply) const { std::free(reply); }
    };
    const std::unique_ptr<xcb_intern_atom_reply_t, Free> atom(xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.constData()),
        nullptr));
    if (!atom)
        return false;
    const std::unique_ptr<xcb_get_selection_owner_reply_t, Free> owner(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom),
                                      nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

bool desktopPlacesWindows() {
    return QGuiApplication::platformName().startsWith(QLatin1StringView("wayland"));
}

} // namespace sorrelwind

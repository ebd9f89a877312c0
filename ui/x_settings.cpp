#include "ui/x_settings.h"

#include <QGuiApplication>
#include <QRegularExpression>
#include <QtEndian>

#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

namespace sorrelwind {

namespace {

constexpr uint32_t kMostWords = 16 * 1024; // of a property: daemons write a few hundred

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
template <class T>
using Reply = std::unique_ptr<T, Free>;

xcb_connection_t* connection() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

uint32_t atom(xcb_connection_t* x, const QByteArray& name) {
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        x, xcb_intern_atom(x, 0, static_cast<uint16_t>(name.size()), name.constData()), nullptr));
    return reply ? reply->atom : uint32_t(XCB_ATOM_NONE);
}

/// Takes a value apart from its start; all that is read past the end is zero.
class Cursor {
public:
    explicit Cursor(QByteArrayView bytes) : m_rest(bytes) {
        m_bigEndian = !take(4).startsWith('\0');
    }

    QByteArrayView take(qsizetype bytes) {
        if (bytes > m_rest.size()) {
            m_whole = false;
            m_rest = {};
            return {};
        }
        const QByteArrayView taken = m_rest.first(bytes);
        m_rest = m_rest.sliced(bytes);
        return taken;
    }
    template <class T>
    T number() {
        const QByteArrayView bytes = take(sizeof(T));
        if (bytes.isEmpty())
            return 0;
        return m_bigEndian ? qFromBigEndian<T>(bytes.data()) : qFromLittleEndian<T>(bytes.data());
    }
    QByteArrayView padded(qsizetype bytes) {
        const QByteArrayView text = take(bytes);
        take((4 - bytes % 4) % 4);
        return text;
    }
    [[nodiscard]] bool whole() const { return m_whole; }

private:
    QByteArrayView m_rest;
    bool m_bigEndian = false;
    bool m_whole = true;
};

} // namespace

std::optional<bool> GtkTheme::dark() const {
    if (prefersDark.value_or(false))
        return true;
    if (name.isEmpty())
        return prefersDark;
    // "Adwaita-dark", "Mint-Y-Dark-Aqua"; not "Arc-Darker", which is light.
    static const QRegularExpression kDark(QStringLiteral("\\bdark\\b"),
                                          QRegularExpression::CaseInsensitiveOption);
    return name.contains(kDark);
}

std::optional<GtkTheme> gtkThemeIn(QByteArrayView property) {
    enum Type : uint8_t { integer, string, colour };
    Cursor cursor(property);
    cursor.number<uint32_t>(); // a serial number
    GtkTheme theme;
    for (uint32_t left = cursor.number<uint32_t>(); left > 0 && cursor.whole(); --left) {
        const auto type = cursor.number<uint8_t>();
        cursor.take(1);
        const QByteArrayView name = cursor.padded(cursor.number<uint16_t>());
        cursor.number<uint32_t>(); // another one
        if (type == integer) {
            const auto value = cursor.number<uint32_t>();
            if (name == "Gtk/ApplicationPreferDarkTheme")
                theme.prefersDark = value != 0;
        } else if (type == string) {
            const QByteArrayView value = cursor.padded(cursor.number<uint32_t>());
            if (name == "Net/ThemeName")
                theme.name = QString::fromUtf8(value);
        } else if (type == colour) {
            cursor.take(8);
        } else {
            return std::nullopt;
        }
    }
    return cursor.whole() ? std::optional(theme) : std::nullopt;
}

XSettings::XSettings() {
    xcb_connection_t* x = connection();
    if (!x)
        return;
    int screen = 0;
    int display = 0;
    char* host = nullptr;
    if (xcb_parse_display(nullptr, &host, &display, &screen) != 0)
        std::free(host);
    m_selection = atom(x, "_XSETTINGS_S" + QByteArray::number(screen));
    m_property = atom(x, "_XSETTINGS_SETTINGS");
    m_manager = atom(x, "MANAGER");
    qApp->installNativeEventFilter(this);
    look();
}

XSettings::~XSettings() = default;

// Qt has the events of the root window, where a new daemon makes itself known.
bool XSettings::nativeEventFilter(const QByteArray&, void* message, qintptr*) {
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    bool concerned = false;
    switch (event->response_type & 0x7f) {
    case XCB_PROPERTY_NOTIFY: {
        const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(event);
        concerned = change->window == m_owner && change->atom == m_property;
        break;
    }
    case XCB_DESTROY_NOTIFY:
        concerned = reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window == m_owner;
        break;
    case XCB_CLIENT_MESSAGE: {
        const auto* news = reinterpret_cast<const xcb_client_message_event_t*>(event);
        concerned = news->type == m_manager && news->data.data32[1] == m_selection;
        break;
    }
    default:
        break;
    }
    if (concerned)
        QMetaObject::invokeMethod(this, &XSettings::look, Qt::QueuedConnection);
    return false;
}

void XSettings::look() {
    xcb_connection_t* x = connection();
    const Reply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(x, xcb_get_selection_owner(x, m_selection), nullptr));
    m_owner = owner ? owner->owner : uint32_t(XCB_WINDOW_NONE);
    std::optional<GtkTheme> theme;
    if (m_owner != XCB_WINDOW_NONE) {
        // The same that Qt asks for, which has settings of its own there.
        const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(x, m_owner, XCB_CW_EVENT_MASK, &events);
        const Reply<xcb_get_property_reply_t> value(xcb_get_property_reply(
            x, xcb_get_property(x, 0, m_owner, m_property, m_property, 0, kMostWords), nullptr));
        if (value)
            theme = gtkThemeIn({static_cast<const char*>(xcb_get_property_value(value.get())),
                                xcb_get_property_value_length(value.get())});
    }
    const bool news =
        theme.has_value() != m_theme.has_value() || (theme && theme->dark() != m_theme->dark());
    m_theme = theme;
    if (news)
        Q_EMIT changed();
}

} // namespace sorrelwind

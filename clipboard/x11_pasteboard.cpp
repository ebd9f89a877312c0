#include "clipboard/x11_pasteboard.h"

#include "clipboard/clipboard_text.h"

#include <QtGlobal>

#include <utility>

namespace sorrelwind {
namespace {

template <class Event>
const Event& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const Event&>(event);
}

QStringList ownTypes() {
    return {kTextTypes.begin(), kTextTypes.end()};
}

} // namespace

X11Pasteboard::X11Pasteboard(std::unique_ptr<X11Connection> connection,
                             std::chrono::milliseconds patience)
    : m_connection(std::move(connection)), m_fetch(*m_connection, patience),
      m_offer(*m_connection, patience) {
    connect(m_connection.get(), &X11Connection::received, this, &X11Pasteboard::handle);
    connect(m_connection.get(), &X11Connection::lost, this, &X11Pasteboard::connectionLost);
    connect(&m_fetch, &X11Fetch::finished, this, &X11Pasteboard::fetched);
    // What lies there now belongs into the snapshot, but it is not a change.
    m_fetch.start(XCB_CURRENT_TIME);
}

void X11Pasteboard::offer(const QString& text, bool secret) {
    const QByteArray utf8 = text.toUtf8();
    if (!m_available || utf8.size() > kMaxClipboardBytes) {
        return;
    }
    m_fetch.cancel();
    m_snapshot = {ownTypes(), text};
    if (secret) {
        m_snapshot.types.append(kConcealedType);
    }
    ++m_count;
    m_offer.offer(utf8, secret);
}

void X11Pasteboard::handOver() {
    if (m_available) {
        m_offer.handOver();
    }
}

Sentence X11Pasteboard::unavailableReason() const {
    return m_available ? Sentence()
                       : Sentence::of(u"与 X 服务器的连接已断开",
                                      u"the connection to the X server is lost");
}

void X11Pasteboard::handle(const xcb_generic_event_t& event) {
    const int code = event.response_type & 0x7f; // without the mark of events sent by programs
    if (code == m_connection->selectionEvent()) {
        ownerChanged(as<xcb_xfixes_selection_notify_event_t>(event));
        return;
    }
    switch (code) {
    case XCB_SELECTION_REQUEST:
        m_offer.answer(as<xcb_selection_request_event_t>(event));
        break;
    case XCB_SELECTION_NOTIFY:
        if (const auto& notify = as<xcb_selection_notify_event_t>(event);
            notify.selection == m_connection->atoms().clipboardManager) {
            m_offer.clipboardManagerAnswered();
        } else {
            m_fetch.handle(notify);
        }
        break;
    case XCB_PROPERTY_NOTIFY:
        propertyChanged(as<xcb_property_notify_event_t>(event));
        break;
    case XCB_DESTROY_NOTIFY:
        m_offer.requestorGone(as<xcb_destroy_notify_event_t>(event).window);
        break;
    case 0:
        // Mostly a requestor that vanished between its request and our answer.
        if (const auto& error = as<xcb_value_error_t>(event); error.error_code == XCB_WINDOW) {
            m_offer.requestorGone(error.bad_value);
        }
        break;
    default:
        break;
    }
}

void X11Pasteboard::ownerChanged(const xcb_xfixes_selection_notify_event_t& event) {
    if (event.owner == m_connection->window()) {
        m_offer.owned(event.selection_timestamp);
        return;
    }
    if (!m_offer.replaced(event.selection_timestamp)) {
        return;
    }
    if (event.owner == XCB_NONE) {
        // The owner exited or cleared the clipboard, which is not a copy.
        m_fetch.cancel();
        m_snapshot = {};
        return;
    }
    m_overlook = false;
    m_fetch.start(event.timestamp);
}

void X11Pasteboard::propertyChanged(const xcb_property_notify_event_t& event) {
    if (event.window == m_connection->window()) {
        if (event.atom == m_connection->atoms().stamp) {
            m_offer.stamped(event.time);
        }
    } else if (event.state == XCB_PROPERTY_DELETE) {
        m_offer.propertyDeleted(event.window, event.atom);
    } else {
        m_fetch.handle(event);
    }
}

void X11Pasteboard::fetched(const ClipboardSnapshot& snapshot, const QString& problem) {
    // Also when it failed: an old text must not be shown as the present one.
    m_snapshot = snapshot;
    if (m_overlook) {
        return;
    }
    if (!problem.isEmpty()) {
        qWarning("clipboard: a copy cannot be read: %s", qUtf8Printable(problem));
    }
    ++m_count;
    Q_EMIT changed();
}

void X11Pasteboard::connectionLost() {
    m_available = false;
    qWarning("clipboard: %s", qUtf8Printable(unavailableReason().en));
    m_fetch.cancel();
    m_offer.withdraw();
    m_snapshot = {};
    Q_EMIT availabilityChanged();
    Q_EMIT ended();
}

} // namespace sorrelwind

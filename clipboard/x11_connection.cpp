#include "clipboard/x11_connection.h"

#include "clipboard/clipboard_text.h"
#include "clipboard/pasteboard.h"

#include <QDeadlineTimer>
#include <QSocketNotifier>

#include <xcb/xfixes.h>

#include <algorithm>
#include <csignal>
#include <poll.h>
#include <vector>

namespace sorrelwind {
namespace {

/// Names kept at most; programs of a desktop use a few hundred.
constexpr qsizetype kMaxNames = 4096;
/// Names asked for before an answer is read: each may be as long as 64 KiB.
constexpr size_t kNamesAtOnce = 16;
/// Events dispatched before the rest of the program gets its turn.
constexpr int kMaxEventsAtOnce = 256;

xcb_screen_t* screenOf(xcb_connection_t* xcb, int number) {
    xcb_screen_iterator_t screen = xcb_setup_roots_iterator(xcb_get_setup(xcb));
    for (; number > 0 && screen.rem > 1; --number) {
        xcb_screen_next(&screen);
    }
    return screen.rem > 0 ? screen.data : nullptr;
}

} // namespace

Result<std::unique_ptr<X11Connection>, Sentence> X11Connection::open(const QByteArray& display) {
    if (display.isEmpty()) {
        return failure(Sentence::of(u"没有设置 DISPLAY", u"DISPLAY is not set"));
    }
    // As Qt's own sockets do: a server that dies must be an error of a write, not our end.
    std::signal(SIGPIPE, SIG_IGN);
    int screen = 0;
    std::unique_ptr<X11Connection> connection(
        new X11Connection(xcb_connect(display.constData(), &screen)));
    if (const auto problem = connection->setUp(screen)) {
        return failure(*problem);
    }
    return connection;
}

X11Connection::X11Connection(xcb_connection_t* xcb) : m_xcb(xcb) {}

X11Connection::~X11Connection() {
    m_notifier.reset();
    xcb_disconnect(m_xcb);
}

std::optional<Sentence> X11Connection::setUp(int screenNumber) {
    if (xcb_connection_has_error(m_xcb) != 0) {
        return Sentence::of(u"X 服务器不接受连接", u"the X server does not accept the connection");
    }
    xcb_prefetch_extension_data(m_xcb, &xcb_xfixes_id);
    const xcb_screen_t* screen = screenOf(m_xcb, screenNumber);
    if (screen == nullptr || !internAtoms()) {
        return Sentence::of(u"X 服务器没有屏幕或原子", u"the X server gives no screen or atoms");
    }
    const xcb_query_extension_reply_t* xfixes = xcb_get_extension_data(m_xcb, &xcb_xfixes_id);
    if (xfixes == nullptr || xfixes->present == 0) {
        return Sentence::of(u"X 服务器没有 XFixes", u"the X server has no XFixes");
    }
    m_selectionEvent = static_cast<uint8_t>(xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
    // The server answers XFixes requests only after a version was agreed on.
    const auto version = xcb_xfixes_query_version(m_xcb, 5, 0);

    m_root = screen->root;
    m_window = makeWindow();
    xcb_xfixes_select_selection_input(m_xcb, m_window, m_atoms.clipboard,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    if (!XcbPtr<xcb_xfixes_query_version_reply_t>(
            xcb_xfixes_query_version_reply(m_xcb, version, nullptr))) {
        return Sentence::of(u"X 服务器拒绝 XFixes", u"the X server refuses XFixes");
    }

    m_notifier =
        std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_xcb), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &X11Connection::dispatch);
    flush();
    return std::nullopt;
}

bool X11Connection::internAtoms() {
    struct Wanted {
        xcb_atom_t* atom;
        QByteArray name;
    };
    std::vector<Wanted> wanted{
        {&m_atoms.clipboard, "CLIPBOARD"},
        {&m_atoms.clipboardManager, "CLIPBOARD_MANAGER"},
        {&m_atoms.targets, "TARGETS"},
        {&m_atoms.timestamp, "TIMESTAMP"},
        {&m_atoms.multiple, "MULTIPLE"},
        {&m_atoms.saveTargets, "SAVE_TARGETS"},
        {&m_atoms.atomPair, "ATOM_PAIR"},
        {&m_atoms.incr, "INCR"},
        {&m_atoms.null, "NULL"},
        {&m_atoms.stamp, "SORRELWIND_STAMP"},
        {&m_atoms.handOver, "SORRELWIND_HAND_OVER"},
        {&m_atoms.transfer, "SORRELWIND_TRANSFER"},
        {&m_atoms.concealed, QByteArray(kConcealedType.data(), kConcealedType.size())},
        {&m_atoms.passwordHint, QByteArray(kPasswordHintType.data(), kPasswordHintType.size())},
    };
    static_assert(kTextTypes.size() == std::tuple_size_v<decltype(X11Atoms::text)>);
    for (size_t i = 0; i < kTextTypes.size(); ++i) {
        wanted.push_back(
            {&m_atoms.text[i], QByteArray(kTextTypes[i].data(), kTextTypes[i].size())});
    }

    // All questions first, then all answers: one round trip to the server.
    std::vector<xcb_intern_atom_cookie_t> cookies;
    cookies.reserve(wanted.size());
    for (const Wanted& one : wanted) {
        cookies.push_back(xcb_intern_atom(m_xcb, 0, static_cast<uint16_t>(one.name.size()),
                                          one.name.constData()));
    }
    bool all = true;
    for (size_t i = 0; i < wanted.size(); ++i) {
        const XcbPtr<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(m_xcb, cookies[i], nullptr));
        all = all && reply;
        if (reply) {
            *wanted[i].atom = reply->atom;
            m_names.insert(reply->atom, QString::fromLatin1(wanted[i].name));
        }
    }
    return all;
}

QStringList X11Connection::names(std::span<const xcb_atom_t> atoms) {
    QHash<xcb_atom_t, QString> fresh;
    for (size_t i = 0; i < atoms.size(); i += kNamesAtOnce) {
        const auto some = atoms.subspan(i, std::min(kNamesAtOnce, atoms.size() - i));
        std::vector<std::pair<xcb_atom_t, xcb_get_atom_name_cookie_t>> questions;
        for (const xcb_atom_t atom : some) {
            if (!m_names.contains(atom) && !fresh.contains(atom)) {
                questions.emplace_back(atom, xcb_get_atom_name(m_xcb, atom));
            }
        }
        for (const auto& [atom, cookie] : questions) {
            const XcbPtr<xcb_get_atom_name_reply_t> reply(
                xcb_get_atom_name_reply(m_xcb, cookie, nullptr));
            if (reply) {
                const int size = xcb_get_atom_name_name_length(reply.get());
                const char* const name = xcb_get_atom_name_name(reply.get());
                fresh.insert(atom,
                             size > kLongestTypeName ? QString() : QString::fromLatin1(name, size));
            }
        }
    }
    QStringList names;
    names.reserve(static_cast<qsizetype>(atoms.size()));
    for (const xcb_atom_t atom : atoms) {
        names.append(m_names.value(atom, fresh.value(atom)));
    }
    if (m_names.size() + fresh.size() <= kMaxNames) {
        m_names.insert(fresh);
    }
    return names;
}

xcb_window_t X11Connection::makeWindow() {
    const xcb_window_t window = xcb_generate_id(m_xcb);
    const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(m_xcb, 0, window, m_root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    return window;
}

bool X11Connection::owns(xcb_window_t window) const {
    const xcb_setup_t* setup = xcb_get_setup(m_xcb);
    return (window & ~setup->resource_id_mask) == setup->resource_id_base;
}

void X11Connection::flush() {
    xcb_flush(m_xcb);
    // Writing and waiting for replies both read events into xcb's queue, and then the socket has
    // nothing left to announce.
    dispatchSoon();
}

void X11Connection::dispatchSoon() {
    if (!m_dispatchPosted && !m_lost) {
        m_dispatchPosted = true;
        QMetaObject::invokeMethod(this, &X11Connection::dispatch, Qt::QueuedConnection);
    }
}

void X11Connection::dispatch() {
    m_dispatchPosted = false;
    if (m_lost) {
        return;
    }
    int count = 0;
    while (XcbPtr<xcb_generic_event_t> next{xcb_poll_for_event(m_xcb)}) {
        Q_EMIT received(*next);
        // What an answer wrote must leave before we wait, and may have brought more events.
        xcb_flush(m_xcb);
        // The socket says nothing of events that are read already, hence by way of the main loop.
        if (++count == kMaxEventsAtOnce) {
            dispatchSoon();
            break;
        }
    }
    if (xcb_connection_has_error(m_xcb) != 0) {
        m_lost = true;
        m_notifier->setEnabled(false);
        Q_EMIT lost();
    }
}

void X11Connection::pumpUntil(const std::function<bool()>& done, const QDeadlineTimer& deadline) {
    xcb_flush(m_xcb);
    for (dispatch(); !done() && !m_lost && !deadline.hasExpired(); dispatch()) {
        pollfd socket{xcb_get_file_descriptor(m_xcb), POLLIN, 0};
        // A dispatch that stopped at its limit has left events in the queue: do not wait then.
        poll(&socket, 1, m_dispatchPosted ? 0 : static_cast<int>(deadline.remainingTime()));
    }
}

} // namespace sorrelwind

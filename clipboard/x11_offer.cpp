#include "clipboard/x11_offer.h"

#include "clipboard/clipboard_text.h"

#include <QDeadlineTimer>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <vector>

namespace sorrelwind {
namespace {

using namespace std::chrono_literals;

constexpr auto kHandOverTime = 500ms;
/// Conversions in one MULTIPLE request; programs ask for a handful.
constexpr uint32_t kMaxPairs = 64;
constexpr std::string_view kSecretHint = "secret"; // the value of kPasswordHintType

/// Server times wrap around every 49.7 days.
bool isLater(xcb_timestamp_t a, xcb_timestamp_t b) {
    return static_cast<int32_t>(a - b) > 0;
}

} // namespace

X11Offer::X11Offer(X11Connection& connection, std::chrono::milliseconds patience)
    : m_connection(connection), m_send(connection, patience) {}

void X11Offer::offer(const QByteArray& utf8, bool secret) {
    m_utf8 = utf8;
    m_secret = secret;
    ++m_stampsDue;
    // Appending nothing changes nothing, and yet the event about it carries the time.
    xcb_change_property(m_connection.xcb(), XCB_PROP_MODE_APPEND, m_connection.window(),
                        m_connection.atoms().stamp, XCB_ATOM_STRING, 8, 0, nullptr);
    m_connection.flush();
}

void X11Offer::stamped(xcb_timestamp_t time) {
    if (m_stampsDue == 0 || --m_stampsDue > 0) {
        return;
    }
    m_time = time;
    m_announceDue = true;
    xcb_set_selection_owner(m_connection.xcb(), m_connection.window(),
                            m_connection.atoms().clipboard, time);
}

void X11Offer::owned(xcb_timestamp_t time) {
    m_owned = true;
    if (time == m_time) {
        m_announceDue = false;
    }
}

bool X11Offer::replaced(xcb_timestamp_t time) {
    // The server gives the selection to the latest time, whatever the order of the requests. So
    // only a later time than ours can have made it ignore us.
    if (m_stampsDue > 0 || (m_announceDue && !isLater(time, m_time))) {
        return false;
    }
    withdraw();
    return true;
}

void X11Offer::withdraw() {
    m_stampsDue = 0;
    m_announceDue = false;
    m_owned = false;
    m_utf8.clear();
}

void X11Offer::answer(const xcb_selection_request_event_t& request) {
    const X11Atoms& atoms = m_connection.atoms();
    // Programs of the time before the ICCCM name no property and mean the target's name.
    const xcb_atom_t property = request.property != XCB_NONE ? request.property : request.target;
    bool done = false;
    // A request from before our time is answered as well: whoever pastes while a text from
    // elsewhere arrives wants that text rather than nothing.
    // Any program may name one of our windows as the requestor, whose event mask is not to be
    // changed.
    if (m_owned && request.selection == atoms.clipboard && !m_connection.owns(request.requestor)) {
        done = request.target == atoms.multiple
                   ? convertMultiple(request.requestor, property)
                   : convert(request.requestor, request.target, property);
    }
    // xcb sends 32 bytes of an event whatever its own size.
    union {
        xcb_selection_notify_event_t notify;
        std::array<char, 32> bytes;
    } event{.bytes = {}};
    event.notify = {};
    event.notify.response_type = XCB_SELECTION_NOTIFY;
    event.notify.time = request.time;
    event.notify.requestor = request.requestor;
    event.notify.selection = request.selection;
    event.notify.target = request.target;
    event.notify.property = done ? property : static_cast<xcb_atom_t>(XCB_NONE);
    xcb_send_event(m_connection.xcb(), 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                   event.bytes.data());
}

bool X11Offer::convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property) {
    const X11Atoms& atoms = m_connection.atoms();
    xcb_connection_t* xcb = m_connection.xcb();
    if (target == atoms.targets) {
        std::vector<xcb_atom_t> offered{atoms.targets, atoms.timestamp, atoms.multiple,
                                        atoms.saveTargets};
        offered.insert(offered.end(), atoms.text.begin(), atoms.text.end());
        if (m_secret) {
            offered.insert(offered.end(), {atoms.concealed, atoms.passwordHint});
        }
        putAtoms(requestor, property, offered);
        return true;
    }
    if (target == atoms.timestamp) {
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, requestor, property, XCB_ATOM_INTEGER, 32,
                            1, &m_time);
        return true;
    }
    if (target == atoms.saveTargets) {
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, requestor, property, atoms.null, 32, 0,
                            nullptr);
        return true;
    }
    if (m_secret && (target == atoms.concealed || target == atoms.passwordHint)) {
        xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, requestor, property, target, 8,
                            kSecretHint.size(), kSecretHint.data());
        return true;
    }
    const auto type = std::ranges::find(atoms.text, target);
    if (type == atoms.text.end()) {
        return false;
    }
    const QByteArray bytes =
        encodeText(kTextTypes[static_cast<size_t>(type - atoms.text.begin())], m_utf8);
    if (m_send.needed(bytes.size())) {
        return m_send.begin(requestor, property, target, bytes);
    }
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, requestor, property, target, 8,
                        static_cast<uint32_t>(bytes.size()), bytes.constData());
    return true;
}

/// The property lists pairs of target and property (ICCCM 2.6.2); a failed one gets no property.
bool X11Offer::convertMultiple(xcb_window_t requestor, xcb_atom_t property) {
    xcb_connection_t* xcb = m_connection.xcb();
    const auto cookie =
        xcb_get_property(xcb, 0, requestor, property, XCB_GET_PROPERTY_TYPE_ANY, 0, kMaxPairs * 2);
    const XcbPtr<xcb_get_property_reply_t> reply(xcb_get_property_reply(xcb, cookie, nullptr));
    if (!reply || reply->format != 32 || reply->bytes_after > 0) {
        return false;
    }
    const auto size = static_cast<size_t>(xcb_get_property_value_length(reply.get()));
    std::vector<xcb_atom_t> pairs(size / sizeof(xcb_atom_t) / 2 * 2);
    std::memcpy(pairs.data(), xcb_get_property_value(reply.get()),
                pairs.size() * sizeof(xcb_atom_t));
    for (size_t i = 0; i < pairs.size(); i += 2) {
        const bool isProperty = pairs[i + 1] != XCB_NONE && pairs[i + 1] != property;
        if (!isProperty || !convert(requestor, pairs[i], pairs[i + 1])) {
            pairs[i + 1] = XCB_NONE;
        }
    }
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, requestor, property,
                        m_connection.atoms().atomPair, 32, static_cast<uint32_t>(pairs.size()),
                        pairs.data());
    return true;
}

void X11Offer::putAtoms(xcb_window_t requestor, xcb_atom_t property,
                        std::span<const xcb_atom_t> atoms) {
    xcb_change_property(m_connection.xcb(), XCB_PROP_MODE_REPLACE, requestor, property,
                        XCB_ATOM_ATOM, 32, static_cast<uint32_t>(atoms.size()), atoms.data());
}

void X11Offer::propertyDeleted(xcb_window_t requestor, xcb_atom_t property) {
    m_send.propertyDeleted(requestor, property);
}

void X11Offer::requestorGone(xcb_window_t requestor) {
    m_send.requestorGone(requestor);
}

void X11Offer::handOver() {
    const QDeadlineTimer deadline(kHandOverTime, Qt::PreciseTimer);
    const X11Atoms& atoms = m_connection.atoms();
    xcb_connection_t* xcb = m_connection.xcb();
    // A text of this very moment is not ours yet.
    m_connection.pumpUntil([this] { return m_stampsDue == 0 && !m_announceDue; }, deadline);
    if (!m_owned || m_secret) {
        return;
    }
    const XcbPtr<xcb_get_selection_owner_reply_t> manager(xcb_get_selection_owner_reply(
        xcb, xcb_get_selection_owner(xcb, atoms.clipboardManager), nullptr));
    if (!manager || manager->owner == XCB_NONE) {
        return;
    }
    // The manager reads from here what to save, and asks us for each before it answers.
    putAtoms(m_connection.window(), atoms.handOver, atoms.text);
    xcb_convert_selection(xcb, m_connection.window(), atoms.clipboardManager, atoms.saveTargets,
                          atoms.handOver, m_time);
    m_managerAnswered = false;
    m_connection.pumpUntil([this] { return m_managerAnswered || !m_owned; }, deadline);
}

} // namespace sorrelwind

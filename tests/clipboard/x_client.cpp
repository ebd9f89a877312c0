#include "tests/clipboard/x_client.h"

#include <QTimer>

#include <algorithm>
#include <array>
#include <cstring>
#include <poll.h>
#include <utility>

namespace sorrelwind::test {
namespace {

constexpr qsizetype kPiece = 64 * 1024;

template <class Event>
const Event& as(const xcb_generic_event_t& event) {
    return reinterpret_cast<const Event&>(event);
}

int codeOf(const xcb_generic_event_t& event) {
    return event.response_type & 0x7f;
}

} // namespace

XClient::XClient(const QByteArray& display) : m_xcb(xcb_connect(display.constData(), nullptr)) {
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_xcb)).data;
    m_window = xcb_generate_id(m_xcb);
    const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(m_xcb, 0, m_window, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    xcb_flush(m_xcb);
}

XClient::~XClient() {
    die();
}

void XClient::attach() {
    m_notifier =
        std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_xcb), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { process(); });
}

void XClient::process() {
    while (m_xcb != nullptr) {
        const XcbPtr<xcb_generic_event_t> event(xcb_poll_for_event(m_xcb));
        if (!event)
            break;
        handle(*event);
        if (m_xcb != nullptr)
            xcb_flush(m_xcb);
    }
}

void XClient::die() {
    if (m_notifier) {
        // This may run in a slot of the notifier.
        m_notifier->setEnabled(false);
        m_notifier.release()->deleteLater();
    }
    if (m_xcb != nullptr)
        xcb_disconnect(std::exchange(m_xcb, nullptr));
}

xcb_atom_t XClient::atom(const QByteArray& name) {
    const auto cookie =
        xcb_intern_atom(m_xcb, 0, static_cast<uint16_t>(name.size()), name.constData());
    return XcbPtr<xcb_intern_atom_reply_t>(xcb_intern_atom_reply(m_xcb, cookie, nullptr))->atom;
}

QByteArray XClient::name(xcb_atom_t atom) {
    const XcbPtr<xcb_get_atom_name_reply_t> reply(
        xcb_get_atom_name_reply(m_xcb, xcb_get_atom_name(m_xcb, atom), nullptr));
    return {xcb_get_atom_name_name(reply.get()), xcb_get_atom_name_name_length(reply.get())};
}

xcb_window_t XClient::owner(const QByteArray& selection) {
    const auto cookie = xcb_get_selection_owner(m_xcb, atom(selection));
    return XcbPtr<xcb_get_selection_owner_reply_t>(
               xcb_get_selection_owner_reply(m_xcb, cookie, nullptr))
        ->owner;
}

QByteArrayList XClient::propertiesOfAllLike(xcb_window_t window) {
    const xcb_setup_t* setup = xcb_get_setup(m_xcb);
    const xcb_window_t root = xcb_setup_roots_iterator(setup).data->root;
    const XcbPtr<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(m_xcb, xcb_query_tree(m_xcb, root), nullptr));
    QByteArrayList names;
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        const xcb_window_t child = xcb_query_tree_children(tree.get())[i];
        if (((child ^ window) & ~setup->resource_id_mask) != 0)
            continue;
        const XcbPtr<xcb_list_properties_reply_t> reply(
            xcb_list_properties_reply(m_xcb, xcb_list_properties(m_xcb, child), nullptr));
        for (int j = 0; reply && j < xcb_list_properties_atoms_length(reply.get()); ++j)
            names.append(name(xcb_list_properties_atoms(reply.get())[j]));
    }
    return names;
}

void XClient::takeSelection(const QByteArray& selection) {
    xcb_set_selection_owner(m_xcb, m_window, atom(selection), XCB_CURRENT_TIME);
    (void)owner(selection);
    processSoon();
}

void XClient::processSoon() {
    if (m_notifier) {
        QMetaObject::invokeMethod(
            m_notifier.get(), [this] { process(); }, Qt::QueuedConnection);
    }
}

void XClient::notify(const xcb_selection_request_event_t& request, bool done) {
    std::array<char, 32> bytes{};
    xcb_selection_notify_event_t event{};
    event.response_type = XCB_SELECTION_NOTIFY;
    event.time = request.time;
    event.requestor = request.requestor;
    event.selection = request.selection;
    event.target = request.target;
    event.property = done ? request.property : static_cast<xcb_atom_t>(XCB_NONE);
    std::memcpy(bytes.data(), &event, sizeof event);
    xcb_send_event(m_xcb, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, bytes.data());
}

void XOwner::copy(std::vector<Answer> answers) {
    m_answers = std::move(answers);
    asked.clear();
    piecesSent = 0;
    takeSelection("CLIPBOARD");
}

void XOwner::handle(const xcb_generic_event_t& event) {
    if (codeOf(event) == XCB_SELECTION_REQUEST) {
        const auto& request = as<xcb_selection_request_event_t>(event);
        asked.append(name(request.target));
        m_requestor = request.requestor;
        if (hanging)
            m_held.push_back(request);
        else
            answer(request);
    } else if (codeOf(event) == XCB_PROPERTY_NOTIFY) {
        const auto& change = as<xcb_property_notify_event_t>(event);
        if (change.state != XCB_PROPERTY_DELETE)
            return;
        const auto send = [this, window = change.window, property = change.atom] {
            sendPiece(window, property);
        };
        if (pieceTime.count() == 0)
            send();
        else
            QTimer::singleShot(pieceTime, &m_clock, send);
    }
}

bool XOwner::requestorExists() {
    const auto cookie = xcb_get_window_attributes(m_xcb, m_requestor);
    const XcbPtr<xcb_get_window_attributes_reply_t> reply(
        xcb_get_window_attributes_reply(m_xcb, cookie, nullptr));
    processSoon();
    return reply != nullptr;
}

void XOwner::release() {
    hanging = false;
    for (const xcb_selection_request_event_t& request : std::exchange(m_held, {}))
        answer(request);
    xcb_flush(m_xcb);
    processSoon();
}

void XOwner::answer(const xcb_selection_request_event_t& request) {
    const QByteArray target = name(request.target);
    auto found = std::ranges::find(m_answers, target, &Answer::target);
    Answer targets{"TARGETS", {}, Answer::whole, "ATOM", 32};
    if (found == m_answers.end() && target == "TARGETS") {
        for (const Answer& answer : m_answers) {
            const xcb_atom_t offered = atom(answer.target);
            targets.bytes.append(reinterpret_cast<const char*>(&offered), sizeof offered);
        }
        found = m_answers.insert(m_answers.end(), targets);
    }
    if (found == m_answers.end() || found->kind == Answer::refusal) {
        notify(request, false);
        return;
    }
    if (found->kind == Answer::silence)
        return;
    if (found->kind == Answer::silentOnce) {
        found->kind = Answer::whole;
        return;
    }
    if (found->kind == Answer::announcedEarly) {
        found->kind = Answer::whole;
        notify(request, true);
        QTimer::singleShot(std::chrono::milliseconds(20), &m_clock, [this, request] {
            answer(request);
            xcb_flush(m_xcb);
        });
        return;
    }
    const xcb_atom_t type = atom(found->type.isEmpty() ? target : found->type);
    if (found->kind == Answer::whole) {
        // Piece by piece, as the whole may be more than one request can carry.
        uint8_t mode = XCB_PROP_MODE_REPLACE;
        for (qsizetype at = 0; at == 0 || at < found->bytes.size(); at += kPiece) {
            const qsizetype size = std::min(kPiece, found->bytes.size() - at);
            xcb_change_property(m_xcb, mode, request.requestor, request.property, type,
                                found->format, static_cast<uint32_t>(size * 8 / found->format),
                                found->bytes.constData() + at);
            mode = XCB_PROP_MODE_APPEND;
        }
    } else {
        const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(m_xcb, request.requestor, XCB_CW_EVENT_MASK, &events);
        const auto size =
            static_cast<uint32_t>(found->announced >= 0 ? found->announced : found->bytes.size());
        xcb_change_property(m_xcb, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                            atom("INCR"), 32, 1, &size);
        m_sending.push_back({request.requestor, request.property, *found});
    }
    notify(request, true);
}

void XOwner::sendPiece(xcb_window_t requestor, xcb_atom_t property) {
    const auto found = std::ranges::find_if(m_sending, [&](const Sending& one) {
        return one.requestor == requestor && one.property == property;
    });
    if (found == m_sending.end())
        return;
    Sending& sending = *found;
    const Answer& answer = sending.answer;
    if (answer.kind == Answer::stalling && sending.sent > 0)
        return;
    const qsizetype size = std::min(kPiece, answer.bytes.size() - sending.sent);
    xcb_change_property(m_xcb, XCB_PROP_MODE_REPLACE, sending.requestor, sending.property,
                        atom(answer.type.isEmpty() ? answer.target : answer.type), answer.format,
                        static_cast<uint32_t>(size), answer.bytes.constData() + sending.sent);
    if (answer.kind != Answer::endless)
        sending.sent += size;
    ++piecesSent;
    if (size == 0)
        m_sending.erase(found);
    xcb_flush(m_xcb);
    if (onPiece)
        onPiece();
}

void XRequestor::ask(const QByteArray& target) {
    result.reset();
    m_partial = {};
    piecesTaken = 0;
    m_incremental = false;
    xcb_convert_selection(m_xcb, m_window, atom("CLIPBOARD"), atom(target), atom("PASTE"),
                          XCB_CURRENT_TIME);
    xcb_flush(m_xcb);
    processSoon();
}

void XRequestor::askMultiple(const QByteArrayList& targets) {
    std::vector<xcb_atom_t> pairs;
    for (const QByteArray& target : targets) {
        pairs.push_back(atom(target));
        pairs.push_back(atom("PASTE_" + target));
    }
    xcb_change_property(m_xcb, XCB_PROP_MODE_REPLACE, m_window, atom("PASTE"), atom("ATOM_PAIR"),
                        32, static_cast<uint32_t>(pairs.size()), pairs.data());
    ask("MULTIPLE");
}

QByteArray XRequestor::converted(const QByteArray& target) {
    const std::optional<Result> taken = take(atom("PASTE_" + target));
    return taken ? taken->bytes : QByteArray();
}

std::optional<XRequestor::Result> XRequestor::take(xcb_atom_t property) {
    const auto cookie = xcb_get_property(m_xcb, 1, m_window, property, XCB_GET_PROPERTY_TYPE_ANY, 0,
                                         32 * 1024 * 1024);
    const XcbPtr<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_xcb, cookie, nullptr));
    if (!reply || reply->type == XCB_NONE)
        return std::nullopt;
    Result taken;
    taken.type = name(reply->type);
    taken.bytes = QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())),
                             xcb_get_property_value_length(reply.get()));
    return taken;
}

void XRequestor::handle(const xcb_generic_event_t& event) {
    if (codeOf(event) == XCB_SELECTION_NOTIFY) {
        const auto& notify = as<xcb_selection_notify_event_t>(event);
        if (notify.property == XCB_NONE) {
            result = Result{true, {}, {}};
            return;
        }
        std::optional<Result> taken = take(notify.property);
        m_incremental = taken && taken->type == "INCR";
        if (!m_incremental)
            result = std::move(taken);
    } else if (codeOf(event) == XCB_PROPERTY_NOTIFY && m_incremental) {
        const auto& change = as<xcb_property_notify_event_t>(event);
        if (change.state == XCB_PROPERTY_NEW_VALUE && change.atom == atom("PASTE") &&
            (stallAfter < 0 || piecesTaken < stallAfter))
            takePiece();
    }
}

void XRequestor::takePiece() {
    const std::optional<Result> piece = take(atom("PASTE"));
    if (!piece)
        return;
    m_partial.type = piece->type;
    if (piece->bytes.isEmpty()) {
        result = std::exchange(m_partial, {});
        m_incremental = false;
        return;
    }
    m_partial.bytes += piece->bytes;
    ++piecesTaken;
    if (onPiece)
        onPiece();
}

bool XRequestor::watched() {
    const auto cookie = xcb_get_window_attributes(m_xcb, m_window);
    const XcbPtr<xcb_get_window_attributes_reply_t> reply(
        xcb_get_window_attributes_reply(m_xcb, cookie, nullptr));
    return (reply->all_event_masks & XCB_EVENT_MASK_STRUCTURE_NOTIFY) != 0;
}

XClipboardManager::XClipboardManager(const QByteArray& display, bool deaf)
    : XRequestor(display), m_deaf(deaf) {
    takeSelection("CLIPBOARD_MANAGER");
    m_thread = std::jthread([this](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            process();
            pollfd socket{xcb_get_file_descriptor(m_xcb), POLLIN, 0};
            poll(&socket, 1, 10);
        }
    });
}

XClipboardManager::~XClipboardManager() {
    (void)stop();
}

std::optional<QByteArray> XClipboardManager::stop() {
    if (m_thread.joinable()) {
        m_thread.request_stop();
        m_thread.join();
    }
    return result ? std::optional(result->bytes) : std::nullopt;
}

void XClipboardManager::handle(const xcb_generic_event_t& event) {
    if (codeOf(event) == XCB_SELECTION_REQUEST) {
        if (!m_deaf) {
            m_save = as<xcb_selection_request_event_t>(event);
            ask("UTF8_STRING");
        }
        return;
    }
    XRequestor::handle(event);
    if (result && m_save)
        notify(*std::exchange(m_save, std::nullopt), true);
}

} // namespace sorrelwind::test

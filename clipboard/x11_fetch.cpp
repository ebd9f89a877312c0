#include "clipboard/x11_fetch.h"

#include "clipboard/pasteboard.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace sorrelwind {
namespace {

using namespace std::chrono_literals;

/// An owner that sends ever so little before each deadline is given up after this time.
constexpr auto kLongestFetch = 60s;
constexpr qint64 kMaxTargets = 1024;
constexpr size_t kMaxQuestions = 16;
/// Pieces of a transfer that was given up; more than any text has.
constexpr int kMaxUnwanted = 4096;

std::vector<xcb_atom_t> atomsOf(const QByteArray& bytes) {
    std::vector<xcb_atom_t> atoms(static_cast<size_t>(bytes.size()) / sizeof(xcb_atom_t));
    std::memcpy(atoms.data(), bytes.constData(), atoms.size() * sizeof(xcb_atom_t));
    return atoms;
}

} // namespace

X11Fetch::X11Fetch(X11Connection& connection, std::chrono::milliseconds patience)
    : m_connection(connection) {
    m_stalled.setSingleShot(true);
    m_stalled.setInterval(patience);
    connect(&m_stalled, &QTimer::timeout, this, [this] {
        m_connection.dispatch();
        if (!active() || m_stalled.isActive()) {
            return;
        }
        // xclip drops what it is asked for while it sends a large text to somebody else, and GNOME
        // reads each copy as we do.
        if (m_stage == Stage::text && !m_answered && !std::exchange(m_askedAgain, true)) {
            leaveTransfer();
            ask(Stage::text, m_target);
        } else {
            end(QStringLiteral("its owner does not answer"));
        }
    });
}

void X11Fetch::start(xcb_timestamp_t time) {
    cancel();
    m_time = time;
    m_askedAgain = false;
    m_end.setRemainingTime(kLongestFetch);
    ask(Stage::targets, m_connection.atoms().targets);
}

void X11Fetch::cancel() {
    if (!active()) {
        return;
    }
    m_stage = Stage::idle;
    m_stalled.stop();
    m_bytes.clear();
    m_snapshot = {};
    leaveTransfer();
}

void X11Fetch::leaveTransfer() {
    // Deleting a piece makes an owner send the next one, which is deleted in turn below: its
    // transfer ends, where some programs would wait for us forever.
    xcb_delete_property(m_connection.xcb(), m_questions.back().window,
                        m_connection.atoms().transfer);
    m_connection.flush();
}

void X11Fetch::dropUnwanted(const xcb_property_notify_event_t& event) {
    const auto question = std::ranges::find(m_questions, event.window, &Question::window);
    if (question == m_questions.end()) {
        return;
    }
    if (++question->unwanted <= kMaxUnwanted) {
        xcb_delete_property(m_connection.xcb(), event.window, event.atom);
    } else {
        // It never ends. Without the window nothing more is heard, however its owner goes on.
        xcb_destroy_window(m_connection.xcb(), event.window);
        m_questions.erase(question);
    }
}

void X11Fetch::ask(Stage stage, xcb_atom_t target) {
    m_stage = stage;
    m_target = target;
    m_answered = false;
    m_incremental = false;
    m_bytes.clear();
    if (m_questions.size() == kMaxQuestions) {
        xcb_destroy_window(m_connection.xcb(), m_questions.front().window);
        m_questions.pop_front();
    }
    m_questions.push_back({m_connection.makeWindow()});
    xcb_convert_selection(m_connection.xcb(), m_questions.back().window,
                          m_connection.atoms().clipboard, target, m_connection.atoms().transfer,
                          m_time);
    m_connection.flush();
    m_stalled.start();
}

void X11Fetch::handle(const xcb_selection_notify_event_t& event) {
    if (!active() || m_answered || event.requestor != m_questions.back().window ||
        event.target != m_target) {
        return;
    }
    if (event.property == m_connection.atoms().transfer) {
        m_answered = true;
        takePiece();
    } else if (event.property == XCB_NONE) {
        m_answered = true;
        if (m_stage == Stage::hint) {
            complete();
        } else {
            end(QStringLiteral("its owner refuses"));
        }
    }
}

void X11Fetch::handle(const xcb_property_notify_event_t& event) {
    if (event.state != XCB_PROPERTY_NEW_VALUE) {
        return;
    }
    if (!active() || event.window != m_questions.back().window) {
        dropUnwanted(event);
    } else if (m_incremental && event.atom == m_connection.atoms().transfer) {
        takePiece();
    }
}

/// Reads and removes what the owner has put into the property.
void X11Fetch::takePiece() {
    const auto cookie = xcb_get_property(m_connection.xcb(), 1, m_questions.back().window,
                                         m_connection.atoms().transfer, XCB_GET_PROPERTY_TYPE_ANY,
                                         0, static_cast<uint32_t>(limit() / 4 + 1));
    const XcbPtr<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(m_connection.xcb(), cookie, nullptr));
    if (!reply || reply->type == XCB_NONE) {
        // Whoever announced this, it is not there; the true answer may still come in time.
        m_answered = m_incremental;
        return;
    }
    m_stalled.start();
    // Removing the announcement has told the owner to send the first piece.
    if (!m_incremental && reply->type == m_connection.atoms().incr) {
        m_incremental = true;
        return;
    }
    const auto* data = static_cast<const char*>(xcb_get_property_value(reply.get()));
    const int size = xcb_get_property_value_length(reply.get());
    const bool last = !m_incremental || size == 0;
    if (reply->bytes_after > 0 || m_bytes.size() + size > limit()) {
        m_snapshot.tooLarge = m_stage == Stage::text;
        end(QStringLiteral("it is too large"));
        return;
    }
    if (m_end.hasExpired()) {
        end(QStringLiteral("its owner is too slow"));
        return;
    }
    m_bytes.append(data, size);
    if (size > 0) {
        m_format = reply->format;
    }
    if (last) {
        complete();
    }
}

void X11Fetch::complete() {
    const uint8_t wanted = m_stage == Stage::targets ? 32 : 8;
    if (!m_bytes.isEmpty() && m_format != wanted) {
        end(QStringLiteral("its owner answers in a wrong format"));
        return;
    }
    switch (m_stage) {
    case Stage::idle:
        return;
    case Stage::targets:
        completeTargets();
        return;
    case Stage::hint:
        if (isPublicHint(m_bytes)) {
            m_snapshot.types.removeLast();
            ask(Stage::text, m_targets[static_cast<size_t>(m_textType)]);
        } else {
            end();
        }
        return;
    case Stage::text:
        m_snapshot.text = decodeText(m_snapshot.types[m_textType], m_bytes);
        m_snapshot.tooLarge = !m_snapshot.text;
        end(m_snapshot.text ? QString() : QStringLiteral("it is too large"));
        return;
    }
}

void X11Fetch::completeTargets() {
    m_targets = atomsOf(m_bytes);
    m_snapshot.types = m_connection.names(m_targets);
    m_textType = bestTextType(m_snapshot.types);
    const qsizetype hint = m_snapshot.types.indexOf(kPasswordHintType);
    if (m_snapshot.types.contains(kConcealedType) || m_textType < 0) {
        end();
    } else if (hint >= 0) {
        // A secret until its owner says otherwise, also when it says nothing.
        m_snapshot.types.append(kConcealedType);
        ask(Stage::hint, m_targets[static_cast<size_t>(hint)]);
    } else {
        ask(Stage::text, m_targets[static_cast<size_t>(m_textType)]);
    }
}

void X11Fetch::end(const QString& problem) {
    const ClipboardSnapshot snapshot = std::exchange(m_snapshot, {});
    cancel();
    Q_EMIT finished(snapshot, problem);
}

qint64 X11Fetch::limit() const {
    switch (m_stage) {
    case Stage::targets:
        return kMaxTargets * static_cast<qint64>(sizeof(xcb_atom_t));
    case Stage::hint:
        return kMaxHintBytes;
    case Stage::text:
    case Stage::idle:
        break;
    }
    // One more for a NUL at the end.
    return kMaxClipboardBytes + 1;
}

} // namespace sorrelwind

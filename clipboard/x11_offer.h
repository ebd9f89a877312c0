#pragma once

#include "clipboard/x11_connection.h"
#include "clipboard/x11_incremental_send.h"

#include <QByteArray>

#include <chrono>

namespace sorrelwind {

/// Our own text on the clipboard: takes the selection with a time of the server's (ICCCM 2.1),
/// answers the programs that paste, and gives the text to a clipboard manager at the end. The text
/// is freed when another program's copy takes its place. Owned by the pasteboard.
class X11Offer final {
public:
    /// A program that pastes and takes no piece for as long as `patience` is dropped.
    X11Offer(X11Connection& connection, std::chrono::milliseconds patience);

    /// Takes the selection for `utf8`; the server's agreement arrives later, as owned(). A secret
    /// is marked as one.
    void offer(const QByteArray& utf8, bool secret);
    /// The server has put its time on our window: the selection can be asked for.
    void stamped(xcb_timestamp_t time);
    /// The selection was given to us, at the time that we asked for it with.
    void owned(xcb_timestamp_t time);
    /// Another program took the selection, or gave it up, at `time`. False when that was before our
    /// own taking, which the server has yet to announce: then it is of no interest any more.
    [[nodiscard]] bool replaced(xcb_timestamp_t time);
    /// No more pasting: the connection is gone.
    void withdraw();

    void answer(const xcb_selection_request_event_t& request);
    void propertyDeleted(xcb_window_t requestor, xcb_atom_t property);
    void requestorGone(xcb_window_t requestor);

    /// Waits half a second at most for the clipboard manager, if there is one, to take the text,
    /// unless it is a secret.
    void handOver();
    void clipboardManagerAnswered() { m_managerAnswered = true; }

private:
    [[nodiscard]] bool convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property);
    [[nodiscard]] bool convertMultiple(xcb_window_t requestor, xcb_atom_t property);
    void putAtoms(xcb_window_t requestor, xcb_atom_t property, std::span<const xcb_atom_t> atoms);

    X11Connection& m_connection;
    X11IncrementalSend m_send;
    QByteArray m_utf8;
    bool m_secret = false;
    int m_stampsDue = 0;        ///< times asked of the server
    bool m_announceDue = false; ///< the selection was asked for, owned() is to come
    bool m_owned = false;
    bool m_managerAnswered = false;
    xcb_timestamp_t m_time = XCB_CURRENT_TIME;
};

} // namespace sorrelwind

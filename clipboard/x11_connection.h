#pragma once

#include "base/l10n.h"
#include "base/result.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QStringList>

#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <memory>
#include <span>

class QSocketNotifier;
class QDeadlineTimer;

namespace sorrelwind {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};
/// Events and replies of xcb, which are to be freed by the caller.
template <class T>
using XcbPtr = std::unique_ptr<T, FreeDeleter>;

/// The atoms that the clipboard's protocols are made of (ICCCM 2).
struct X11Atoms {
    xcb_atom_t clipboard, clipboardManager;
    xcb_atom_t targets, timestamp, multiple, saveTargets, atomPair, incr, null;
    /// The property on our window that is touched to learn the server's time.
    xcb_atom_t stamp;
    /// The property that takes the clipboard manager's answer.
    xcb_atom_t handOver;
    std::array<xcb_atom_t, 4> text; ///< parallel to kTextTypes
    /// The marks of a secret: kConcealedType and kPasswordHintType.
    xcb_atom_t concealed, passwordHint;
    /// The property that takes other programs' data.
    xcb_atom_t transfer;
};

/// A connection to the X server with one unmapped window of its own, driven by the main loop. Every
/// event arrives once through received(), whether the socket announced it or the wait for some
/// reply took it along. Owned by the pasteboard; after lost() it is silent and accepts requests in
/// vain.
class X11Connection final : public QObject {
    Q_OBJECT
public:
    /// Fails with the reason.
    [[nodiscard]] static Result<std::unique_ptr<X11Connection>, Sentence>
    open(const QByteArray& display);
    ~X11Connection() override;

    [[nodiscard]] xcb_connection_t* xcb() const { return m_xcb; }
    [[nodiscard]] xcb_window_t window() const { return m_window; }
    [[nodiscard]] const X11Atoms& atoms() const { return m_atoms; }
    /// The event code of XFixes selection events.
    [[nodiscard]] uint8_t selectionEvent() const { return m_selectionEvent; }
    /// The names of atoms, empty in place of long ones. Asks the server for those not met before.
    [[nodiscard]] QStringList names(std::span<const xcb_atom_t> atoms);
    /// One more unmapped window, which hears of changes of its properties.
    [[nodiscard]] xcb_window_t makeWindow();
    /// Whether the window is one of this connection.
    [[nodiscard]] bool owns(xcb_window_t window) const;

    /// Sends the buffered requests. To be called after every batch of them that is not the answer
    /// to one received().
    void flush();
    /// Dispatches the events that have arrived. A deadline that has passed proves nothing before
    /// this: perhaps it was this program that was held up.
    void dispatch();
    /// Dispatches events without the main loop until `done` or the deadline, for the program's end.
    void pumpUntil(const std::function<bool()>& done, const QDeadlineTimer& deadline);

Q_SIGNALS:
    void received(const xcb_generic_event_t& event);
    void lost();

private:
    explicit X11Connection(xcb_connection_t* xcb);
    [[nodiscard]] std::optional<Sentence> setUp(int screen);
    [[nodiscard]] bool internAtoms();
    void dispatchSoon();

    xcb_connection_t* m_xcb;
    xcb_window_t m_root = XCB_NONE;
    xcb_window_t m_window = XCB_NONE;
    X11Atoms m_atoms{};
    uint8_t m_selectionEvent = 0;
    std::unique_ptr<QSocketNotifier> m_notifier;
    /// Of atoms met so far; the server never gives one another name.
    QHash<xcb_atom_t, QString> m_names;
    bool m_dispatchPosted = false;
    bool m_lost = false;
};

} // namespace sorrelwind

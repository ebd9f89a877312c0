#pragma once

#include "clipboard/x11_connection.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QSocketNotifier>

#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace sorrelwind::test {

/// Another program on the X server, with one window. Plays the other side of the clipboard's
/// protocols in ways that real programs would only do by accident.
class XClient {
public:
    explicit XClient(const QByteArray& display);
    virtual ~XClient();
    XClient(const XClient&) = delete;
    XClient& operator=(const XClient&) = delete;

    /// Answers from the test's event loop; without it, call process().
    void attach();
    void process();
    /// The program's connection ends at once, as in a crash.
    void die();
    [[nodiscard]] xcb_atom_t atom(const QByteArray& name);
    [[nodiscard]] QByteArray name(xcb_atom_t atom);
    [[nodiscard]] xcb_window_t owner(const QByteArray& selection);
    /// Of all windows of the program that has made this one.
    [[nodiscard]] QByteArrayList propertiesOfAllLike(xcb_window_t window);

protected:
    virtual void handle(const xcb_generic_event_t& event) = 0;
    /// Returns when the server has given it.
    void takeSelection(const QByteArray& selection);
    /// To be called after a wait for a reply outside handle(): it may have taken events along.
    void processSoon();
    void notify(const xcb_selection_request_event_t& request, bool done);

    xcb_connection_t* m_xcb;
    xcb_window_t m_window;

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
};

/// How an owner answers the request for one target.
struct Answer {
    enum Kind {
        whole,       ///< in one property
        incremental, ///< in pieces
        stalling,    ///< in pieces, of which only the first is sent
        endless,     ///< in pieces, for ever
        refusal,
        silence,
        silentOnce,     ///< then whole
        announcedEarly, ///< says that it is there before it is, then again
    };
    QByteArray target;
    QByteArray bytes;
    Kind kind = whole;
    QByteArray type = {}; ///< by default the target
    uint8_t format = 8;
    int64_t announced = -1; ///< size in the announcement of pieces, by default the true one
};

/// A program that has copied something.
class XOwner final : public XClient {
public:
    explicit XOwner(const QByteArray& display) : XClient(display) { attach(); }

    /// Takes CLIPBOARD. TARGETS lists the answers' targets, unless one of them is for TARGETS.
    void copy(std::vector<Answer> answers);
    void copyText(const QByteArray& utf8) { copy({{"UTF8_STRING", utf8}}); }
    /// The targets it was asked for since the last copy.
    QByteArrayList asked;
    /// Leaves requests unanswered until release(), as a program that hangs for a while.
    bool hanging = false;
    void release();
    int piecesSent = 0;
    /// Whether the window that asked last is there.
    [[nodiscard]] bool requestorExists();
    /// Time it takes for each piece.
    std::chrono::milliseconds pieceTime{0};
    /// Called after each piece.
    std::function<void()> onPiece;

private:
    struct Sending {
        xcb_window_t requestor;
        xcb_atom_t property;
        Answer answer;
        qsizetype sent = 0;
    };
    void handle(const xcb_generic_event_t& event) override;
    void answer(const xcb_selection_request_event_t& request);
    void sendPiece(xcb_window_t requestor, xcb_atom_t property);

    std::vector<Answer> m_answers;
    xcb_window_t m_requestor = XCB_NONE;
    std::vector<xcb_selection_request_event_t> m_held;
    std::vector<Sending> m_sending;
    QObject m_clock; ///< whose timers end with this object
};

/// A program that pastes.
class XRequestor : public XClient {
public:
    struct Result {
        bool refused = false;
        QByteArray type;
        QByteArray bytes;
    };

    using XClient::XClient;
    void ask(const QByteArray& target);
    /// Asks for several targets in one request.
    void askMultiple(const QByteArrayList& targets);
    /// The answer once it is whole.
    std::optional<Result> result;
    int piecesTaken = 0;
    /// Called after each piece.
    std::function<void()> onPiece;
    /// Takes only so many pieces by itself.
    int stallAfter = -1;
    /// Takes the piece that is there, if there is one.
    void takePiece();
    /// Whether another program has asked for this one's window events.
    [[nodiscard]] bool watched();
    /// What a property of askMultiple() holds; empty when it was not converted.
    [[nodiscard]] QByteArray converted(const QByteArray& target);

protected:
    void handle(const xcb_generic_event_t& event) override;

private:
    [[nodiscard]] std::optional<Result> take(xcb_atom_t property);

    Result m_partial;
    bool m_incremental = false;
};

/// A clipboard manager on a thread of its own, since at its end the program under test runs no
/// event loop: fetches the text when asked to save it, or does nothing when `deaf`.
class XClipboardManager final : private XRequestor {
public:
    XClipboardManager(const QByteArray& display, bool deaf);
    ~XClipboardManager() override;
    /// Ends the thread; the text that was saved.
    [[nodiscard]] std::optional<QByteArray> stop();

private:
    void handle(const xcb_generic_event_t& event) override;

    bool m_deaf;
    std::optional<xcb_selection_request_event_t> m_save;
    std::jthread m_thread;
};

} // namespace sorrelwind::test

#pragma once

#include "clipboard/clipboard_text.h"
#include "clipboard/x11_connection.h"

#include <QDeadlineTimer>
#include <QTimer>

#include <chrono>
#include <deque>
#include <vector>

namespace sorrelwind {

/// Reads the clipboard of another program in steps, none of which waits for that program: what it
/// offers, whether that is a secret (whose text is then never asked for), its best plain text, in
/// one piece or in increments (ICCCM 2.7.2). Owned by the pasteboard. Each fetch ends with one
/// finished() unless it is cancelled.
class X11Fetch final : public QObject {
    Q_OBJECT
public:
    /// A fetch fails when nothing arrives for as long as `patience`; the text is asked for twice.
    X11Fetch(X11Connection& connection, std::chrono::milliseconds patience);

    /// Begins anew; a fetch under way is dropped. `time` is when the owner took the selection.
    void start(xcb_timestamp_t time);
    void cancel();
    [[nodiscard]] bool active() const { return m_stage != Stage::idle; }

    void handle(const xcb_selection_notify_event_t& event);
    void handle(const xcb_property_notify_event_t& event);

Q_SIGNALS:
    /// `problem` is empty, or says in English why a text that is there could not be read.
    void finished(const sorrelwind::ClipboardSnapshot& snapshot, const QString& problem);

private:
    /// What the owner was asked for last.
    enum class Stage { idle, targets, hint, text };
    /// Each question has a window of its own for the answer, so that a late one to an earlier
    /// question is never taken for one to the next. It stays for a while, since an owner that
    /// writes to a window that is gone may die of the error.
    struct Question {
        xcb_window_t window;
        int unwanted = 0; ///< pieces that came after it was given up
    };

    void ask(Stage stage, xcb_atom_t target);
    void takePiece();
    void leaveTransfer();
    void dropUnwanted(const xcb_property_notify_event_t& event);
    void complete();
    void completeTargets();
    void end(const QString& problem = {});
    [[nodiscard]] qint64 limit() const;

    X11Connection& m_connection;
    QTimer m_stalled;
    QDeadlineTimer m_end; ///< of the whole fetch, however well it gets on
    Stage m_stage = Stage::idle;
    xcb_timestamp_t m_time = XCB_CURRENT_TIME;
    xcb_atom_t m_target = XCB_NONE;
    std::deque<Question> m_questions; ///< oldest first; the last is the present one
    bool m_askedAgain = false;        ///< for the text, in vain so far
    bool m_answered = false;          ///< the owner has answered the question
    bool m_incremental = false;       ///< and sends the data piece by piece
    uint8_t m_format = 0;             ///< bits of a unit of the data
    QByteArray m_bytes;
    std::vector<xcb_atom_t> m_targets; ///< parallel to the snapshot's types
    qsizetype m_textType = -1;
    ClipboardSnapshot m_snapshot;
};

} // namespace sorrelwind

#pragma once

#include "clipboard/clipboard_text.h"
#include "clipboard/pipe_read.h"
#include "clipboard/wayland_device.h"

#include <QObject>

#include <chrono>

namespace sorrelwind {

/// Reads the copy of another program in steps, none of which waits for that program: whether what
/// it offers is a secret (whose text is then never asked for), and its best plain text. Owned by
/// the pasteboard. Each fetch ends with one finished() unless it is cancelled.
class WaylandFetch final : public QObject {
    Q_OBJECT
public:
    /// A fetch fails when nothing arrives for as long as `patience`.
    explicit WaylandFetch(std::chrono::milliseconds patience);

    /// Begins anew; a fetch under way is dropped. Both stay until the end or cancel().
    void start(WaylandConnection& connection, const WaylandOffer& offer);
    void cancel();

Q_SIGNALS:
    /// `problem` is empty, or says in English why a text that is there could not be read.
    void finished(const sorrelwind::ClipboardSnapshot& snapshot, const QString& problem);

private:
    void ask(qsizetype type, qint64 limit);
    void take(const QByteArray& bytes);
    void end(const QString& problem = {});

    PipeRead m_read;
    WaylandBarrier m_stillThere;
    WaylandConnection* m_connection = nullptr;
    const WaylandOffer* m_offer = nullptr;
    qsizetype m_textType = -1;
    bool m_hintAsked = false;
    ClipboardSnapshot m_snapshot;
};

} // namespace sorrelwind

#pragma once

#include "clipboard/pasteboard.h"
#include "clipboard/recent_hashes.h"

#include <QSet>
#include <QString>
#include <QTimer>

#include <functional>

namespace sorrelwind {

/// Finds new plain text on the pasteboard and hands it on, and puts received text there without
/// taking it for a local copy afterwards. Concealed content, pictures and repeated texts are
/// skipped in silence. Keeps hashes, never texts. Owned by the model; the pasteboard outlives it.
class ClipboardMonitor final : public QObject {
    Q_OBJECT
public:
    /// What is on the pasteboard now is taken as seen and never reported.
    explicit ClipboardMonitor(Pasteboard& pasteboard, QObject* parent = nullptr);

    /// Called for each new local text with the text and its sha256Hex.
    std::function<void(const QString& text, const QString& hash)> onLocalText;

    /// Called for each new local text that is larger than kMaxClipboardBytes.
    std::function<void()> onTooLarge;

    /// Called every half second, with the poll; for what else is to be looked at now and then.
    std::function<void()> onTick;

    /// Polls from now on: every half second, and at once when the pasteboard says that it changed.
    void start();
    /// One look at the pasteboard.
    void poll();
    /// Puts a received text on the pasteboard, unless it is empty or there already.
    void writeRemote(const QString& text);
    /// Puts a secret of this program there, concealed. It is never reported, also when another
    /// program offers it again without the mark.
    void writeSecret(const QString& text);
    /// While paused no copy is reported. What was copied meanwhile is not reported later either:
    /// setPaused(false) takes the pasteboard as seen.
    void setPaused(bool paused);
    [[nodiscard]] bool paused() const { return m_paused; }

private:
    Pasteboard& m_pasteboard;
    qint64 m_lastChangeCount;
    QTimer m_timer;
    /// Of received texts; each keeps the first local copy of its text from being sent back.
    RecentHashes m_suppressed;
    /// Hashes of secrets, for the rest of the run.
    QSet<QString> m_secrets;
    /// Of the last text that was reported or received; null before the first.
    QString m_lastSentHash;
    bool m_paused = false;
};

} // namespace sorrelwind

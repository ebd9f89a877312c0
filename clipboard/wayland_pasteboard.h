#pragma once

#include "clipboard/pasteboard.h"
#include "clipboard/pipe_writes.h"
#include "clipboard/wayland_connection.h"
#include "clipboard/wayland_device.h"
#include "clipboard/wayland_fetch.h"
#include "clipboard/wayland_source.h"

#include <chrono>
#include <memory>
#include <optional>

namespace sorrelwind {

/// The clipboard of a Wayland session whose compositor lets clipboard managers see it (sway, KWin
/// and others). Fetches each copy without ever waiting for its owner and serves our own text. When
/// the compositor goes away it tries for a while to find it again.
class WaylandPasteboard final : public Pasteboard {
    Q_OBJECT
public:
    /// `display` is where to connect again. A copy that makes no progress for as long as `patience`
    /// is given up.
    WaylandPasteboard(std::unique_ptr<WaylandConnection> connection, QByteArray display,
                      std::chrono::milliseconds patience = std::chrono::seconds(1));
    ~WaylandPasteboard() override;

    [[nodiscard]] qint64 changeCount() const override { return m_count; }
    [[nodiscard]] QStringList types() const override { return m_snapshot.types; }
    [[nodiscard]] std::optional<QString> string() const override { return m_snapshot.text; }
    [[nodiscard]] bool tooLarge() const override { return m_snapshot.tooLarge; }
    void setString(const QString& text) override { offer(text, false); }
    void setSecret(const QString& text) override { offer(text, true); }
    void overlookChangeUnderWay() override { m_overlook = true; }
    [[nodiscard]] QString backend() const override { return QStringLiteral("wayland"); }
    [[nodiscard]] bool available() const override { return m_device != nullptr; }
    [[nodiscard]] Sentence unavailableReason() const override { return m_reason; }

private:
    void offer(const QString& text, bool secret);
    void use(std::unique_ptr<WaylandConnection> connection);
    void useSeat();
    void selected(std::unique_ptr<WaylandOffer> offer);
    void fetched(const ClipboardSnapshot& snapshot, const QString& problem);
    void connectionLost();
    void reconnect();
    void letGo();

    QByteArray m_display;
    QString m_mark; ///< the type that tells our own copies from those of others
    std::unique_ptr<WaylandConnection> m_connection;
    std::unique_ptr<WaylandConnection> m_attempt; ///< to replace a lost one
    QTimer m_retry;
    QDeadlineTimer m_retryUntil;
    Sentence m_reason; ///< empty while available

    // All that belongs to the connection, hence below it.
    PipeWrites m_writes;
    WaylandFetch m_fetch;
    WaylandBarrier m_starting; ///< until then the compositor tells what lies there already
    WaylandBarrier m_writing;  ///< until then it tells of copies that ours has replaced by now
    std::unique_ptr<WaylandOffer> m_offer;
    std::unique_ptr<WaylandSource> m_source;
    std::unique_ptr<WaylandDevice> m_device;

    ClipboardSnapshot m_snapshot;
    qint64 m_count = 0;
    /// The fetch under way does not count as a change.
    bool m_overlook = true;
};

} // namespace sorrelwind

#pragma once

#include "clipboard/pasteboard.h"
#include "clipboard/x11_connection.h"
#include "clipboard/x11_fetch.h"
#include "clipboard/x11_offer.h"

#include <xcb/xfixes.h>

#include <chrono>
#include <memory>

namespace sorrelwind {

/// The CLIPBOARD selection of an X server, also of XWayland where the compositor bridges it. Hears
/// of every change by XFixes, fetches it without ever waiting for its owner, and serves our own
/// text. Knows its own writes by the owner's window. When the server goes away it becomes
/// unavailable and stays so.
class X11Pasteboard final : public Pasteboard {
    Q_OBJECT
public:
    /// A transfer that makes no progress for as long as `patience` is given up.
    explicit X11Pasteboard(std::unique_ptr<X11Connection> connection,
                           std::chrono::milliseconds patience = std::chrono::seconds(1));

    [[nodiscard]] qint64 changeCount() const override { return m_count; }
    [[nodiscard]] QStringList types() const override { return m_snapshot.types; }
    [[nodiscard]] std::optional<QString> string() const override { return m_snapshot.text; }
    [[nodiscard]] bool tooLarge() const override { return m_snapshot.tooLarge; }
    void setString(const QString& text) override { offer(text, false); }
    void setSecret(const QString& text) override { offer(text, true); }
    void overlookChangeUnderWay() override { m_overlook = true; }
    void handOver() override;
    [[nodiscard]] QString backend() const override { return QStringLiteral("x11"); }
    [[nodiscard]] bool available() const override { return m_available; }
    [[nodiscard]] Sentence unavailableReason() const override;

private:
    void offer(const QString& text, bool secret);
    void handle(const xcb_generic_event_t& event);
    void ownerChanged(const xcb_xfixes_selection_notify_event_t& event);
    void propertyChanged(const xcb_property_notify_event_t& event);
    void fetched(const ClipboardSnapshot& snapshot, const QString& problem);
    void connectionLost();

    std::unique_ptr<X11Connection> m_connection;
    X11Fetch m_fetch;
    X11Offer m_offer;
    ClipboardSnapshot m_snapshot;
    qint64 m_count = 0;
    /// The fetch under way does not count as a change.
    bool m_overlook = true;
    bool m_available = true;
};

} // namespace sorrelwind

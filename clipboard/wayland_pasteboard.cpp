#include "clipboard/wayland_pasteboard.h"

#include "clipboard/clipboard_text.h"

#include <QUuid>
#include <QtGlobal>

#include <utility>

namespace sorrelwind {
namespace {

using namespace std::chrono_literals;

/// A compositor that crashed is started again at once, under the same name; after a logout nobody
/// comes back.
constexpr auto kRetryEvery = 1s;
constexpr auto kRetryFor = 30s;

/// A program that pastes may stop to think, as a pager does; it is only worth a pipe.
constexpr int kReadersPatience = 10;

} // namespace

WaylandPasteboard::WaylandPasteboard(std::unique_ptr<WaylandConnection> connection,
                                     QByteArray display, std::chrono::milliseconds patience)
    : m_display(std::move(display)),
      // Of this run alone: another agent of the same desktop, and a clipboard manager that keeps a
      // copy beyond our end, are others.
      m_mark(QStringLiteral("application/x-sorrelwind-") +
             QUuid::createUuid().toString(QUuid::Id128)),
      m_writes(patience * kReadersPatience), m_fetch(patience) {
    connect(&m_fetch, &WaylandFetch::finished, this, &WaylandPasteboard::fetched);
    m_retry.setInterval(kRetryEvery);
    connect(&m_retry, &QTimer::timeout, this, &WaylandPasteboard::reconnect);
    use(std::move(connection));
}

WaylandPasteboard::~WaylandPasteboard() {
    letGo();
}

void WaylandPasteboard::use(std::unique_ptr<WaylandConnection> connection) {
    m_connection = std::move(connection);
    // Later: a device that goes while events of its are on their way leaves their offers behind.
    connect(m_connection.get(), &WaylandConnection::seatChanged, this, &WaylandPasteboard::useSeat,
            Qt::QueuedConnection);
    connect(m_connection.get(), &WaylandConnection::lost, this, &WaylandPasteboard::connectionLost);
    useSeat();
}

void WaylandPasteboard::useSeat() {
    if (m_connection->isLost()) {
        return;
    }
    const bool before = available();
    letGo();
    m_reason =
        Sentence::of(u"Wayland 会话没有输入设备（seat）", u"the Wayland session has no seat");
    if (m_connection->seat()) {
        m_reason = {};
        m_device = std::make_unique<WaylandDevice>(
            *m_connection,
            [this](std::unique_ptr<WaylandOffer> offer) { selected(std::move(offer)); });
        m_starting.raise(*m_connection, [] {});
    }
    if (available() != before) {
        Q_EMIT availabilityChanged();
    }
}

void WaylandPasteboard::offer(const QString& text, bool secret) {
    const QByteArray utf8 = text.toUtf8();
    if (!available() || utf8.size() > kMaxClipboardBytes) {
        return;
    }
    m_fetch.cancel();
    m_offer.reset();
    m_snapshot = {QStringList(kTextTypes.begin(), kTextTypes.end()), text};
    if (secret) {
        m_snapshot.types.append(kConcealedType);
    }
    ++m_count;
    auto source = std::make_unique<WaylandSource>(*m_connection, m_writes, utf8, secret, m_mark,
                                                  [this] { m_source.reset(); });
    m_device->setSelection(*source);
    // Only now may the one before go, or the clipboard would be empty for a moment.
    m_source = std::move(source);
    m_writing.raise(*m_connection, [] {});
}

void WaylandPasteboard::selected(std::unique_ptr<WaylandOffer> offer) {
    const bool ours = m_source && offer && offer->types().contains(m_mark);
    if (ours || m_writing.pending()) {
        return;
    }
    m_fetch.cancel();
    m_offer = std::move(offer);
    if (!m_offer) {
        // The owner exited or cleared the clipboard, which is not a copy.
        m_snapshot = {};
        return;
    }
    m_overlook = m_starting.pending();
    m_fetch.start(*m_connection, *m_offer);
}

void WaylandPasteboard::fetched(const ClipboardSnapshot& snapshot, const QString& problem) {
    // Also when it failed: an old text must not be shown as the present one.
    m_snapshot = snapshot;
    if (m_overlook) {
        return;
    }
    if (!problem.isEmpty()) {
        qWarning("clipboard: a copy cannot be read: %s", qUtf8Printable(problem));
    }
    ++m_count;
    Q_EMIT changed();
}

void WaylandPasteboard::connectionLost() {
    const bool before = available();
    letGo();
    m_reason = Sentence::of(u"Wayland 合成器已退出", u"the Wayland compositor went away");
    qWarning("clipboard: %s", qUtf8Printable(m_reason.en));
    m_retryUntil.setRemainingTime(kRetryFor);
    m_retry.start();
    if (before) {
        Q_EMIT availabilityChanged();
    }
}

void WaylandPasteboard::reconnect() {
    if (m_retryUntil.hasExpired()) {
        m_retry.stop();
        m_attempt.reset();
        Q_EMIT ended();
        return;
    }
    m_attempt = WaylandConnection::begin(m_display);
    if (!m_attempt) {
        return;
    }
    // Not at once: the old connection and this one may be amid an event of theirs.
    connect(
        m_attempt.get(), &WaylandConnection::settled, this,
        [this] {
            if (m_attempt && m_attempt->manager()) {
                m_retry.stop();
                qInfo("clipboard: the Wayland compositor is back");
                use(std::move(m_attempt));
            }
        },
        Qt::QueuedConnection);
}

void WaylandPasteboard::letGo() {
    m_fetch.cancel();
    m_starting.drop();
    m_writing.drop();
    m_offer.reset();
    m_source.reset();
    m_device.reset();
    m_snapshot = {};
}

} // namespace sorrelwind

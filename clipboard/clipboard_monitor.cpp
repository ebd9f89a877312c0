#include "clipboard/clipboard_monitor.h"

#include "clipboard/text_hash.h"

#include <chrono>

namespace sorrelwind {

using namespace std::chrono_literals;

ClipboardMonitor::ClipboardMonitor(Pasteboard& pasteboard, QObject* parent)
    : QObject(parent), m_pasteboard(pasteboard), m_lastChangeCount(pasteboard.changeCount()) {
    m_timer.setInterval(500ms);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        poll();
        if (onTick)
            onTick();
    });
}

void ClipboardMonitor::start() {
    connect(&m_pasteboard, &Pasteboard::changed, this, &ClipboardMonitor::poll,
            Qt::UniqueConnection);
    m_timer.start();
}

void ClipboardMonitor::poll() {
    const qint64 count = m_pasteboard.changeCount();
    if (count == m_lastChangeCount) {
        return;
    }
    m_lastChangeCount = count;
    if (m_paused || m_pasteboard.types().contains(kConcealedType)) {
        return;
    }
    if (m_pasteboard.tooLarge() && onTooLarge) {
        onTooLarge();
    }
    const std::optional<QString> text = m_pasteboard.string();
    if (!text || text->isEmpty()) {
        return;
    }
    const QString hash = sha256Hex(*text);
    if (m_secrets.contains(hash) || m_suppressed.remove(hash) || hash == m_lastSentHash) {
        return;
    }
    m_lastSentHash = hash;
    if (onLocalText) {
        onLocalText(*text, hash);
    }
}

void ClipboardMonitor::writeRemote(const QString& text) {
    if (text.isEmpty() || m_pasteboard.string() == text) {
        return;
    }
    const QString hash = sha256Hex(text);
    m_suppressed.insert(hash);
    m_lastSentHash = hash;
    m_pasteboard.setString(text);
    m_lastChangeCount = m_pasteboard.changeCount();
}

void ClipboardMonitor::writeSecret(const QString& text) {
    m_secrets.insert(sha256Hex(text));
    m_pasteboard.setSecret(text);
    m_lastChangeCount = m_pasteboard.changeCount();
}

void ClipboardMonitor::setPaused(bool paused) {
    m_paused = paused;
    if (!paused) {
        m_pasteboard.overlookChangeUnderWay();
        m_lastChangeCount = m_pasteboard.changeCount();
    }
}

} // namespace sorrelwind

#include "core/loop_guard.h"

#include "clipboard/text_hash.h"

#include <algorithm>
#include <utility>

namespace sorrelwind {

namespace {

// The same for texts that differ in line ends only.
QString keyOf(QString text) {
    text.removeIf([](QChar c) { return c == u'\n' || c == u'\r'; });
    return sha256Hex(text);
}

} // namespace

LoopGuard::Entry& LoopGuard::entry(const QString& key) {
    const auto found = std::ranges::find(m_entries, key, &Entry::key);
    if (found != m_entries.end()) {
        std::rotate(found, found + 1, m_entries.end());
    } else {
        if (m_entries.size() == kMaxEntries)
            m_entries.erase(m_entries.begin());
        m_entries.push_back({key});
    }
    return m_entries.back();
}

void LoopGuard::received(const QString& text) {
    const QString key = keyOf(text);
    if (m_stopped != key)
        m_stopped.reset();
    entry(key).received = true;
}

bool LoopGuard::allows(const QString& text, Clock::time_point now) {
    const QString key = keyOf(text);
    if (m_stopped == key)
        return false;
    m_stopped.reset();
    Entry& met = entry(key);
    std::erase_if(met.bounces, [now](Clock::time_point then) { return now - then >= kWindow; });
    const qsizetype before = std::exchange(met.size, text.size());
    const bool changed = before >= 0 && before != text.size();
    if (std::exchange(met.received, false) || changed)
        met.bounces.push_back(now);
    if (met.bounces.size() <= kMaxBounces)
        return true;
    m_stopped = key;
    return false;
}

} // namespace sorrelwind

#pragma once

#include <QString>

#include <chrono>
#include <deque>
#include <optional>
#include <vector>

namespace sorrelwind {

/// Finds a text that goes round in circles because another program, a remote desktop say, shares
/// the clipboard of the same computers. Texts that differ in line ends only count as the same. A
/// text bounces when a copy of it that came from the hub turns up here as a new local one, or when
/// a local copy comes again with other line ends: where the other program passes on in one
/// direction only, no device sees more of the circle. More than kMaxBounces within kWindow, and it
/// is stopped until a different text comes by. Owned by the model; keeps hashes, never texts.
class LoopGuard {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds kWindow{10};
    static constexpr size_t kMaxBounces = 6;

    /// A text came from the hub and goes onto the clipboard.
    void received(const QString& text);
    /// Whether a local copy may be sent.
    [[nodiscard]] bool allows(const QString& text, Clock::time_point now);
    /// Whether a text is stopped at present.
    [[nodiscard]] bool stopped() const { return m_stopped.has_value(); }

private:
    struct Entry {
        QString key;
        bool received = false; // since the last local copy
        qsizetype size = -1;   // of the last local copy, which tells its line ends from others
        std::deque<Clock::time_point> bounces = {};
    };
    static constexpr size_t kMaxEntries = 16;

    Entry& entry(const QString& key);

    std::vector<Entry> m_entries; // the one last met is at the back
    std::optional<QString> m_stopped;
};

} // namespace sorrelwind

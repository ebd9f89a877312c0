#include "clipboard/recent_hashes.h"

#include <utility>

namespace sorrelwind {

RecentHashes::Digest::Digest(const QString& hash)
    : high(hash.first(16).toULongLong(nullptr, 16)),
      low(hash.sliced(16, 16).toULongLong(nullptr, 16)) {}

void RecentHashes::insert(const QString& hash) {
    if (m_newer.size() == kKept) {
        m_older = std::exchange(m_newer, {});
    }
    m_newer.insert(Digest(hash));
}

bool RecentHashes::remove(const QString& hash) {
    const Digest digest(hash);
    // It may be in both.
    const bool newer = m_newer.remove(digest);
    return m_older.remove(digest) || newer;
}

} // namespace sorrelwind

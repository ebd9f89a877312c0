#pragma once

#include <QSet>
#include <QString>

namespace sorrelwind {

/// The hashes of the newest texts of any number: at least kKept of them, at most twice as many.
class RecentHashes {
public:
    static constexpr qsizetype kKept = 65536;

    /// `hash` as of sha256Hex().
    void insert(const QString& hash);
    /// Whether it was there.
    bool remove(const QString& hash);

private:
    /// Half of the bits of a SHA-256 tell texts apart just as well.
    struct Digest {
        explicit Digest(const QString& hash);
        bool operator==(const Digest&) const = default;
        friend size_t qHash(const Digest& digest, size_t seed) { return digest.high ^ seed; }
        quint64 high, low;
    };

    QSet<Digest> m_newer;
    QSet<Digest> m_older; ///< forgotten when m_newer is full
};

} // namespace sorrelwind

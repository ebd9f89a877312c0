#pragma once

#include "relay/now.h"

#include <string>
#include <unordered_map>

namespace sorrelwind::relay {

/// A token bucket for each key (RFC 2697's idea of a committed rate): `burst` at once, `rate` a
/// second afterwards. A rate or burst of 0 lets everything pass.
class TokenBuckets {
public:
    TokenBuckets(double rate, double burst) : m_rate(rate), m_burst(burst) {}

    /// Takes one token; false when there is none left.
    [[nodiscard]] bool take(const std::string& key, Steady now);

    /// Whole seconds in which an empty bucket has a token again.
    [[nodiscard]] int refillTime() const;

    /// Forgets the keys whose bucket is full again.
    void sweep(Steady now);

private:
    struct Bucket {
        double tokens;
        Steady at;
    };

    [[nodiscard]] double tokensAt(const Bucket& bucket, Steady now) const;

    double m_rate;
    double m_burst;
    std::unordered_map<std::string, Bucket> m_buckets;
};

/// Counts events by key in windows of a fixed length that start at a key's first event. At the
/// limit the key has to wait for the window's end. A limit of 0 counts nothing.
/// Bounded: beyond `kMaxKeys` keys all new ones share one count.
class WindowLimit {
public:
    static constexpr std::size_t kMaxKeys = 65536;

    WindowLimit(int limit, std::chrono::seconds window) : m_limit(limit), m_window(window) {}

    /// Holds for the windows that are open, too.
    void setLimit(int limit) { m_limit = limit; }

    /// Whole seconds until `key` is let in again; 0 when it is now.
    [[nodiscard]] int waitFor(const std::string& key, Steady now) const;
    void count(const std::string& key, Steady now);
    /// Forgets the windows that are over.
    void sweep(Steady now);

private:
    struct Window {
        Steady end;
        int events;
    };

    [[nodiscard]] std::string slot(const std::string& key) const;

    int m_limit;
    std::chrono::seconds m_window;
    std::unordered_map<std::string, Window> m_windows;
};

} // namespace sorrelwind::relay

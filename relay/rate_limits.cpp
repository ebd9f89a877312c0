#include "relay/rate_limits.h"

#include <algorithm>
#include <cmath>

namespace sorrelwind::relay {

double TokenBuckets::tokensAt(const Bucket& bucket, Steady now) const {
    const std::chrono::duration<double> passed = now - bucket.at;
    return std::min(m_burst, bucket.tokens + passed.count() * m_rate);
}

bool TokenBuckets::take(const std::string& key, Steady now) {
    if (m_rate <= 0 || m_burst <= 0)
        return true;
    auto& bucket = m_buckets.try_emplace(key, Bucket{m_burst, now}).first->second;
    bucket = {tokensAt(bucket, now), now};
    if (bucket.tokens < 1)
        return false;
    bucket.tokens -= 1;
    return true;
}

int TokenBuckets::refillTime() const {
    constexpr double kLongest = 86400; // a day says it as well, and fits
    return m_rate <= 0 ? 0 : static_cast<int>(std::min(kLongest, std::ceil(1 / m_rate)));
}

void TokenBuckets::sweep(Steady now) {
    std::erase_if(m_buckets,
                  [&](const auto& entry) { return tokensAt(entry.second, now) >= m_burst; });
}

std::string WindowLimit::slot(const std::string& key) const {
    const bool room = m_windows.size() < kMaxKeys || m_windows.contains(key);
    return room ? key : std::string();
}

int WindowLimit::waitFor(const std::string& key, Steady now) const {
    const auto window = m_windows.find(slot(key));
    if (window == m_windows.end() || now >= window->second.end || window->second.events < m_limit)
        return 0;
    const auto left = std::chrono::ceil<std::chrono::seconds>(window->second.end - now);
    return static_cast<int>(left.count());
}

void WindowLimit::count(const std::string& key, Steady now) {
    if (m_limit <= 0)
        return;
    auto& window = m_windows.try_emplace(slot(key), Window{now + m_window, 0}).first->second;
    if (now >= window.end)
        window = {now + m_window, 0};
    ++window.events;
}

void WindowLimit::sweep(Steady now) {
    std::erase_if(m_windows, [now](const auto& entry) { return now >= entry.second.end; });
}

} // namespace sorrelwind::relay

#include "ui/bubble_timeline.h"

#include <algorithm>

namespace sorrelwind {

namespace {

double part(BubbleTimeline::Time of, BubbleTimeline::Time whole) {
    return std::clamp(static_cast<double>(of.count()) / static_cast<double>(whole.count()), 0.0,
                      1.0);
}

} // namespace

void BubbleTimeline::show(Time now) {
    m_last = visible(now) ? Show{now, kFadeAgain, opacity(now)} : Show{now, kFadeIn, 0};
}

bool BubbleTimeline::visible(Time now) const {
    return m_last && now - m_last->at < m_visibleFor + kFadeOut;
}

double BubbleTimeline::opacity(Time now) const {
    if (!visible(now))
        return 0;
    const Time since = now - m_last->at;
    if (since >= m_visibleFor)
        return 1 - part(since - m_visibleFor, kFadeOut);
    return m_last->from + (1 - m_last->from) * part(since, m_last->fadeIn);
}

std::optional<BubbleTimeline::Time> BubbleTimeline::steadyFor(Time now) const {
    if (!visible(now))
        return std::nullopt;
    const Time since = now - m_last->at;
    if (since < m_last->fadeIn)
        return Time(0);
    return std::max(Time(0), m_visibleFor - since);
}

} // namespace sorrelwind

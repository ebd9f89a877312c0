#pragma once

#include <chrono>
#include <optional>

namespace sorrelwind {

/// When a bubble is seen and how strongly: it fades in, stays, and fades out; a show at any moment
/// goes on from the opacity of that moment and starts the count anew. Times are points of any one
/// clock; nothing here waits.
class BubbleTimeline {
public:
    using Time = std::chrono::milliseconds;

    static constexpr Time kFadeIn{160};
    static constexpr Time kFadeAgain{100}; // to full, when it is seen already
    static constexpr Time kFadeOut{300};

    /// `visibleFor` is the time from a show to the start of the fade-out.
    explicit BubbleTimeline(Time visibleFor) : m_visibleFor(visibleFor) {}

    void show(Time now);

    [[nodiscard]] bool visible(Time now) const;
    [[nodiscard]] double opacity(Time now) const;
    /// How long the opacity stays as it is: zero during a fade, none when all is over.
    [[nodiscard]] std::optional<Time> steadyFor(Time now) const;

private:
    struct Show {
        Time at;
        Time fadeIn;
        double from;
    };

    Time m_visibleFor;
    std::optional<Show> m_last;
};

} // namespace sorrelwind

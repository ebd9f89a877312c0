#pragma once

#include "relay/memory_budget.h"

#include <memory>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

/// A text that many frames end with, in memory once. Its charge goes with the last frame that
/// waits somewhere; the text itself may be on its way out a moment longer.
struct SharedText {
    std::shared_ptr<const std::string> text;
    std::shared_ptr<const MemoryBudget::Charge> charge;

    [[nodiscard]] std::string_view view() const {
        return text ? std::string_view(*text) : std::string_view();
    }
};

/// One frame to a socket: what is its own, then what it shares with others.
struct Frame {
    std::string head;
    SharedText rest{};

    [[nodiscard]] std::size_t size() const { return head.size() + rest.view().size(); }
    [[nodiscard]] std::string text() const { return head + std::string(rest.view()); }
};

} // namespace sorrelwind::relay

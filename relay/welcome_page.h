#pragma once

#include <string_view>

namespace sorrelwind::relay {

/// The page at "/" of a hub that serves no folder, in English and Chinese, and its style sheet.
extern const std::string_view kWelcomePage;
extern const std::string_view kWelcomeStyle;

} // namespace sorrelwind::relay

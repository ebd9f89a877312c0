#pragma once

namespace sorrelwind {

/// What a bubble says about a copy: it reached other devices, it failed, or there is something to
/// know.
enum class BubbleKind { success, failure, info };

} // namespace sorrelwind

#pragma once

#include <tl/expected.hpp>

#include <utility>

namespace sorrelwind {

/// A value or the error that stood in its way. Failures of this program are values, not exceptions.
template <class T, class E>
using Result = tl::expected<T, E>;

template <class E>
[[nodiscard]] constexpr tl::unexpected<std::decay_t<E>> failure(E&& error) {
    return tl::unexpected<std::decay_t<E>>(std::forward<E>(error));
}

} // namespace sorrelwind

#pragma once

#include <boost/system/result.hpp>

#include <string>
#include <utility>

namespace sorrelwind::relay {

/// Why a request was not carried out: an HTTP status and a sentence for the person who asked.
struct Refusal {
    Refusal() = default;
    Refusal(int status_, std::string text_, int retryAfter_ = 0)
        : status(status_), text(std::move(text_)), retryAfter(retryAfter_) {}

    int status = 400;
    std::string text;
    int retryAfter = 0; ///< seconds; 0 = not said
};

/// What was asked for, or the refusal.
template <class T>
using Answer = boost::system::result<T, Refusal>;

} // namespace sorrelwind::relay

#pragma once

#include <boost/beast/core/buffer_traits.hpp>
#include <boost/beast/core/buffers_range.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/optional.hpp>

#include <cstdint>
#include <string>

namespace sorrelwind::relay {

/// The body of a request as Beast wants one, in a text that grows as the bytes arrive. Beast's own
/// makes room at once for whatever length the head announces.
struct ArrivingBody {
    using value_type = std::string;

    static std::uint64_t size(const value_type& body) { return body.size(); }

    class reader {
    public:
        template <bool isRequest, class Fields>
        reader(boost::beast::http::header<isRequest, Fields>&, value_type& body) : m_body(body) {}

        void init(const boost::optional<std::uint64_t>&, boost::beast::error_code& error) {
            error = {};
        }
        template <class Buffers>
        std::size_t put(const Buffers& buffers, boost::beast::error_code& error) {
            error = {};
            for (const auto buffer : boost::beast::buffers_range_ref(buffers))
                m_body.append(static_cast<const char*>(buffer.data()), buffer.size());
            return boost::beast::buffer_bytes(buffers);
        }
        void finish(boost::beast::error_code& error) { error = {}; }

    private:
        value_type& m_body;
    };
};

using HttpRequest = boost::beast::http::request<ArrivingBody>;

} // namespace sorrelwind::relay

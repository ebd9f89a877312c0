#include "relay/json_members.h"

#include <boost/json/basic_parser_impl.hpp>

#include <cmath>
#include <utility>

namespace sorrelwind::relay {

namespace json = boost::json;
using boost::system::error_code;

std::string* JsonMembers::text(std::string_view name) {
    const auto found = m_values.find(name);
    return found == m_values.end() ? nullptr : std::get_if<std::string>(&found->second);
}

std::optional<std::int64_t> JsonMembers::integer(std::string_view name) const {
    const auto found = m_values.find(name);
    if (found == m_values.end())
        return std::nullopt;
    const auto* value = std::get_if<std::int64_t>(&found->second);
    return value == nullptr ? std::nullopt : std::optional(*value);
}

/// The parser's handler: keeps the members of the two objects, counts and drops all else. Its
/// operations are named by the parser and say whether to go on.
class JsonMembersReader {
public:
    static constexpr std::size_t max_array_size = -1;
    static constexpr std::size_t max_object_size = -1;
    static constexpr std::size_t max_string_size = -1;
    static constexpr std::size_t max_key_size = -1;

    std::optional<JsonMessage> message; ///< none while there is no object

    bool on_document_begin(error_code&) { return true; }
    bool on_document_end(error_code&) { return true; }

    bool on_object_begin(error_code& error) {
        if (m_depth == 0) {
            message.emplace();
        } else if (message && m_depth == 1 && m_key == kItem) {
            message->item.emplace();
            m_isInItem = true;
        }
        ++m_depth;
        return isOneMore(error);
    }
    bool on_object_end(std::size_t, error_code&) {
        --m_depth;
        m_isInItem = m_isInItem && m_depth > 1;
        return true;
    }
    bool on_array_begin(error_code& error) {
        ++m_depth;
        return isOneMore(error);
    }
    bool on_array_end(std::size_t, error_code&) {
        --m_depth;
        return true;
    }

    bool on_key_part(json::string_view part, std::size_t, error_code&) {
        m_text.append(part.data(), part.size());
        return true;
    }
    bool on_key(json::string_view part, std::size_t, error_code&) {
        m_text.append(part.data(), part.size());
        m_key = std::exchange(m_text, {});
        keep({});
        if (message && m_depth == 1 && m_key == kItem)
            message->item.reset();
        return true;
    }
    bool on_string_part(json::string_view part, std::size_t, error_code&) {
        m_text.append(part.data(), part.size());
        return true;
    }
    bool on_string(json::string_view part, std::size_t, error_code& error) {
        m_text.append(part.data(), part.size());
        keep(std::exchange(m_text, {}));
        return isOneMore(error);
    }

    bool on_number_part(json::string_view, error_code&) { return true; }
    bool on_int64(std::int64_t number, json::string_view, error_code& error) {
        keep(number);
        return isOneMore(error);
    }
    bool on_uint64(std::uint64_t, json::string_view, error_code& error) { return isOneMore(error); }
    bool on_double(double number, json::string_view, error_code& error) {
        constexpr double kExact = 9007199254740992.0; // 2^53
        if (std::abs(number) <= kExact && std::trunc(number) == number)
            keep(static_cast<std::int64_t>(number));
        return isOneMore(error);
    }
    bool on_bool(bool, error_code& error) { return isOneMore(error); }
    bool on_null(error_code& error) { return isOneMore(error); }
    bool on_comment_part(json::string_view, error_code&) { return true; }
    bool on_comment(json::string_view, error_code&) { return true; }

private:
    static constexpr std::string_view kItem = "item";
    static constexpr int kMaxValues = 1024;

    bool isOneMore(error_code& error) {
        if (++m_values > kMaxValues)
            error = json::error::array_too_large;
        return !error;
    }
    void keep(JsonMembers::Value value) {
        if (message && m_depth == 1)
            message->members.m_values[m_key] = std::move(value);
        else if (m_isInItem && m_depth == 2)
            message->item->m_values[m_key] = std::move(value);
    }

    std::string m_key;
    std::string m_text; ///< of the key or string that has begun
    int m_depth = 0;
    int m_values = 0;
    bool m_isInItem = false;
};

std::optional<JsonMessage> readJsonMessage(std::string_view text) {
    json::parse_options options;
    options.max_depth = 8;
    json::basic_parser<JsonMembersReader> parser(options);
    error_code error;
    const auto read = parser.write_some(false, text.data(), text.size(), error);
    if (error || read != text.size())
        return std::nullopt;
    return std::move(parser.handler().message);
}

} // namespace sorrelwind::relay

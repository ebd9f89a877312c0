#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace sorrelwind::relay {

/// The texts and integers that an object of JSON has as members, by name; of several with one name
/// the last. 2.0 is an integer, 2.5 and "2" are not.
class JsonMembers {
public:
    using Value = std::variant<std::monostate, std::string, std::int64_t>;

    /// Null if it is missing or no text. Its owner may take the text away.
    [[nodiscard]] std::string* text(std::string_view name);
    [[nodiscard]] std::optional<std::int64_t> integer(std::string_view name) const;

private:
    friend class JsonMembersReader;
    std::map<std::string, Value, std::less<>> m_values;
};

/// What clients send: an object and the object "item" in it, if it has one.
struct JsonMessage {
    JsonMembers members;
    std::optional<JsonMembers> item;
};

/// None if `text` is not one object of valid JSON (RFC 8259), nests deeper than 8 or has more than
/// 1024 values in all: so that megabytes cost about as much as copying them, whatever they are.
[[nodiscard]] std::optional<JsonMessage> readJsonMessage(std::string_view text);

} // namespace sorrelwind::relay

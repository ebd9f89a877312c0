#include "relay/text.h"

#include <cstdlib>

namespace sorrelwind::relay {

namespace {

std::string filled(std::string_view form, std::initializer_list<Text> parts, Lang lang) {
    std::string text;
    for (std::size_t i = 0; i < form.size(); ++i) {
        const bool marked = form[i] == '%' && i + 1 < form.size();
        const auto part = marked ? static_cast<std::size_t>(form[i + 1] - '1') : parts.size();
        if (part < parts.size()) {
            text += parts.begin()[part].in(lang);
            ++i;
        } else {
            text += form[i];
        }
    }
    return text;
}

} // namespace

Lang terminalLanguage() {
    for (const auto* name : {"LC_ALL", "LC_MESSAGES", "LANG"})
        if (const char* value = std::getenv(name); value != nullptr && *value != '\0')
            return std::string_view(value).starts_with("zh") ? Lang::zh : Lang::en;
    return Lang::en;
}

Text::Text(std::string_view chinese, std::string_view english, std::initializer_list<Text> parts)
    : zh(filled(chinese, parts, Lang::zh)), en(filled(english, parts, Lang::en)) {}

std::size_t columns(std::string_view text) {
    std::size_t columns = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80)
            columns += 1;
        else if (byte >= 0xc0) // the first of a character's bytes
            columns += 2;
    }
    return columns;
}

} // namespace sorrelwind::relay

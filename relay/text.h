#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace sorrelwind::relay {

enum class Lang { zh, en };

/// The language of whoever runs the program: Chinese where LC_ALL, LC_MESSAGES or LANG, the first
/// that is set, says so. What is logged is English everywhere.
[[nodiscard]] Lang terminalLanguage();

/// A text for a person in both languages.
struct Text {
    std::string zh;
    std::string en;

    Text() = default;
    Text(std::string same) : zh(same), en(std::move(same)) {}
    Text(const char* same) : Text(std::string(same)) {}
    /// "%1" to "%9" stand for `parts`.
    Text(std::string_view chinese, std::string_view english,
         std::initializer_list<Text> parts = {});

    [[nodiscard]] const std::string& in(Lang lang) const { return lang == Lang::zh ? zh : en; }
};

/// How many columns of a terminal a text of ASCII and Chinese characters takes.
[[nodiscard]] std::size_t columns(std::string_view text);

} // namespace sorrelwind::relay

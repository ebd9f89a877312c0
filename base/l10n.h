#pragma once

#include <QString>

#include <optional>

namespace sorrelwind {

/// The two languages of every text shown to a person.
enum class Lang { zh, en };

/// The language with the stored name "zh" or "en"; any other text yields none.
[[nodiscard]] std::optional<Lang> langFromName(const QString& name);
[[nodiscard]] QString langName(Lang lang);
/// The language of a system locale's name such as "zh_TW" or "de_DE"; empty means that it has none.
[[nodiscard]] Lang langOfLocale(const QString& localeName);

/// Picks one of a pair of texts. Every text for a person is written as such a pair where it is used.
[[nodiscard]] inline QString pick(Lang lang, const char16_t* zh, const char16_t* en) {
    return QString::fromUtf16(lang == Lang::zh ? zh : en);
}

} // namespace sorrelwind

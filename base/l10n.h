#pragma once

#include <QString>

#include <optional>

namespace sorrelwind {

class Defaults;

/// The two languages of every text shown to a person.
enum class Lang { zh, en };

/// The language with the stored name "zh" or "en"; any other text yields none.
[[nodiscard]] std::optional<Lang> langFromName(const QString& name);
[[nodiscard]] QString langName(Lang lang);
/// The language for a locale name such as "zh_TW" or "de_DE"; empty means that there is none.
[[nodiscard]] Lang langOfLocale(const QString& localeName);

/// Picks one of a pair of literals. Every text for a person is such a pair where it is used.
[[nodiscard]] inline QString pick(Lang lang, const char16_t* zh, const char16_t* en) {
    return QString::fromUtf16(lang == Lang::zh ? zh : en);
}

/// A sentence in both languages, for one that may stand on the screen while the language changes.
struct Sentence {
    QString zh, en;

    [[nodiscard]] static Sentence of(const char16_t* inChinese, const char16_t* inEnglish) {
        return {QString::fromUtf16(inChinese), QString::fromUtf16(inEnglish)};
    }
    /// A value may be a sentence itself.
    template <class... Values>
    [[nodiscard]] Sentence arg(const Values&... values) const {
        return {zh.arg(part(values, Lang::zh)...), en.arg(part(values, Lang::en)...)};
    }
    [[nodiscard]] const QString& in(Lang lang) const { return lang == Lang::zh ? zh : en; }

    bool operator==(const Sentence&) const = default;

private:
    template <class Value>
    static const Value& part(const Value& value, Lang) {
        return value;
    }
    static const QString& part(const Sentence& sentence, Lang lang) { return sentence.in(lang); }
};

/// The language in force: the preference "language", else the system's locale. Worked out at each
/// read, so a change is seen at once everywhere; whoever toggles tells the views to redraw.
class L10n {
public:
    explicit L10n(Defaults& defaults) : m_defaults(defaults) {}

    [[nodiscard]] Lang lang() const;
    /// Stores the other language as the user's choice.
    void toggle();
    [[nodiscard]] QString text(const char16_t* zh, const char16_t* en) const {
        return pick(lang(), zh, en);
    }

private:
    Defaults& m_defaults;
};

} // namespace sorrelwind

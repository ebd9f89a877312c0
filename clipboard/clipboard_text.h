#pragma once

#include <QByteArray>
#include <QLatin1StringView>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>

namespace sorrelwind {

// What every back-end must know of text on a clipboard: the types it goes by, in which bytes, and
// how a secret or copied files are told from it. Pure functions; the bytes come from any program of
// the desktop.

/// What is known of a copy.
struct ClipboardSnapshot {
    QStringList types;
    std::optional<QString> text;
    bool tooLarge = false; // there is a text, but of more than kMaxClipboardBytes
};

/// The types of plain text that are read and offered, best first.
inline constexpr std::array kTextTypes{
    QLatin1StringView("text/plain;charset=utf-8"), QLatin1StringView("UTF8_STRING"),
    QLatin1StringView("text/plain"), QLatin1StringView("STRING")};

/// The mark of KDE's clipboard for secrets; its value says "secret", or "public" to lift it.
inline constexpr QLatin1StringView kPasswordHintType{"x-kde-passwordManagerHint"};
/// Taken of its value at most.
inline constexpr qint64 kMaxHintBytes = 64;

/// Longest name of a type that is looked at, in bytes; every one of interest is far shorter.
inline constexpr qsizetype kLongestTypeName = 255;

/// Index in `offered` of the best type to read text as; -1 when none is text, and when it is files
/// that were copied: file managers offer their paths as text too, beside types of their own.
[[nodiscard]] qsizetype bestTextType(const QStringList& offered);

/// Whether the value of a kPasswordHintType says that the content is no secret.
[[nodiscard]] bool isPublicHint(const QByteArray& value);

/// The text of a selection in one of kTextTypes: STRING is Latin-1 (ICCCM 2.6.2), the others are
/// UTF-8, where malformed bytes become U+FFFD. One NUL at the end, which some programs send along,
/// is not part of the text; line ends stay as they are. None when the text is larger than
/// kMaxClipboardBytes.
[[nodiscard]] std::optional<QString> decodeText(const QString& type, const QByteArray& bytes);

/// The bytes to offer UTF-8 text in as one of kTextTypes. STRING is Latin-1 when that can carry
/// the text; otherwise it is UTF-8, as most programs offer it and expect it.
[[nodiscard]] QByteArray encodeText(const QString& type, const QByteArray& utf8);

} // namespace sorrelwind

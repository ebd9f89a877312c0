#pragma once

#include <QString>

namespace sorrelwind {

/// `text` without the power to steer a terminal, to forge a line of a log or to turn other words
/// round: control characters (C0, C1, DEL), ends of lines and bidirectional controls become U+FFFD,
/// and what is longer than 500 characters is cut with an ellipsis. For texts that came from
/// outside, such as a device's name or a hub's own words.
[[nodiscard]] inline QString printable(QString text) {
    constexpr qsizetype kLongest = 500;
    if (text.size() > kLongest)
        text = text.left(kLongest) + u'…';
    const auto steers = [](QChar c) {
        const char16_t code = c.unicode();
        return c.category() == QChar::Other_Control || code == 0x061c ||
               (code >= 0x200e && code <= 0x200f) || (code >= 0x2028 && code <= 0x202e) ||
               (code >= 0x2066 && code <= 0x2069);
    };
    for (QChar& c : text) {
        if (steers(c))
            c = QChar::ReplacementCharacter;
    }
    return text;
}

/// A printable `text` from outside for the midst of a sentence: of a direction of its own, which
/// ends with it (FSI and PDI of UAX #9).
[[nodiscard]] inline QString isolated(const QString& text) {
    return QChar(0x2068) + printable(text) + QChar(0x2069);
}

} // namespace sorrelwind

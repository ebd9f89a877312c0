#pragma once

#include <QString>

namespace sorrelwind {

/// `text` without the power to steer a terminal or to forge a line of a log: control characters
/// (C0, C1, DEL) become U+FFFD, and what is longer than 300 characters is cut with an ellipsis. For
/// texts that came from outside, such as a device's name or a hub's own words.
[[nodiscard]] inline QString printable(QString text) {
    constexpr qsizetype kLongest = 300;
    if (text.size() > kLongest)
        text = text.left(kLongest) + u'…';
    for (QChar& c : text) {
        if (c.category() == QChar::Other_Control)
            c = QChar::ReplacementCharacter;
    }
    return text;
}

} // namespace sorrelwind

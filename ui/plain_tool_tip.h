#pragma once

#include <QTextDocument>

namespace sorrelwind {

/// `text` for setToolTip(), as it stands: a tool tip takes what looks like markup for markup, and
/// reads the files named there. Every tool tip goes through here.
[[nodiscard]] inline QString plainToolTip(const QString& text) {
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}

} // namespace sorrelwind

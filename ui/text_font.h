#pragma once

#include <QFont>

namespace sorrelwind {

/// The font of every text shown: Inter where it is installed, else the desktop's own family or
/// another Latin one, with a Chinese companion.
[[nodiscard]] QFont textFont(int pixelSize, QFont::Weight weight = QFont::Normal);

/// Fixed pitch, for passphrases, codes and addresses.
[[nodiscard]] QFont codeFont(int pixelSize, QFont::Weight weight = QFont::Normal);

} // namespace sorrelwind

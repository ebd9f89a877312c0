#pragma once

#include <QFont>

namespace sorrelwind {

/// The font of every text shown: Inter with a Chinese companion where they are installed, else the
/// desktop's own family.
[[nodiscard]] QFont textFont(int pixelSize, QFont::Weight weight = QFont::Normal);

/// Fixed pitch, for passphrases, codes and addresses.
[[nodiscard]] QFont codeFont(int pixelSize, QFont::Weight weight = QFont::Normal);

} // namespace sorrelwind

#pragma once

#include <QImage>
#include <QString>

namespace sorrelwind {

/// QR codes (ISO/IEC 18004) at the highest error correction, level H.
struct QRCode {
    /// `text` as UTF-8, black on white, `side` × `side` pixels: the modules are whole pixels as
    /// large as fit, in the middle, and the rest is white. A code of more modules than pixels makes
    /// a larger image; a null image means that the text is too long for any code.
    [[nodiscard]] static QImage image(const QString& text, int side);
};

} // namespace sorrelwind

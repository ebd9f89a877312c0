#include "ui/qr_code.h"

#include <QPainter>

#include <qrcodegen.hpp>

namespace sorrelwind {

QImage QRCode::image(const QString& text, int side) {
    try {
        const auto code =
            qrcodegen::QrCode::encodeText(text.toUtf8().constData(), qrcodegen::QrCode::Ecc::HIGH);
        const int modules = code.getSize();
        const int scale = std::max(1, side / modules);
        const int start = std::max(0, (side - modules * scale) / 2);

        QImage image(std::max(side, modules), std::max(side, modules), QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        for (int y = 0; y < modules; ++y) {
            for (int x = 0; x < modules; ++x) {
                if (code.getModule(x, y))
                    painter.fillRect(start + x * scale, start + y * scale, scale, scale, Qt::black);
            }
        }
        return image;
    } catch (const qrcodegen::data_too_long&) {
        return {};
    }
}

} // namespace sorrelwind

#include "app/terminal_qr.h"

#include <qrcodegen.hpp>

namespace sorrelwind {

QString terminalQr(const QString& text, bool colours) {
    constexpr int kQuietZone = 4;
    try {
        // A screen is not torn or stained: the lowest level keeps the code small enough for it.
        const auto code =
            qrcodegen::QrCode::encodeText(text.toUtf8().constData(), qrcodegen::QrCode::Ecc::LOW);
        const int end = code.getSize() + kQuietZone;
        const auto light = [&](int x, int y) { return !code.getModule(x, y); };
        QString out;
        for (int y = -kQuietZone; y < end; y += 2) {
            if (colours)
                out += QLatin1StringView("\x1b[97;40m");
            for (int x = -kQuietZone; x < end; ++x) {
                const bool upper = light(x, y);
                const bool lower = y + 1 < end && light(x, y + 1);
                out += upper && lower ? u'█' : upper ? u'▀' : lower ? u'▄' : u' ';
            }
            out += colours ? QLatin1StringView("\x1b[0m\n") : QLatin1StringView("\n");
        }
        return out;
    } catch (const qrcodegen::data_too_long&) {
        return {};
    }
}

} // namespace sorrelwind

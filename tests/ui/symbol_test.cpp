#include "core/device_display.h"
#include "tests/support/print_qt.h"
#include "ui/menu_bar_icon.h"
#include "ui/symbol.h"

#include <QPainter>
#include <QSet>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

// Every name that a view asks for.
const QStringList kNames =
    QStringLiteral(
        "arrow.triangle.2.circlepath pause.fill gearshape ellipsis plus "
        "exclamationmark.triangle.fill exclamationmark.circle.fill arrow.up.circle.fill "
        "arrow.down.circle.fill checkmark.circle.fill info.circle.fill qrcode.viewfinder "
        "chevron.right chevron.left lock.shield.fill minus.circle.fill laptopcomputer "
        "desktopcomputer iphone ipad globe camera arrow.up.forward.app checkmark.seal link "
        "checkmark doc.on.doc eye eye.slash arrow.clockwise xmark person.2 network")
        .split(u' ');

QImage drawn(const QPixmap& pixmap) {
    return pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
}

/// The part of the picture that is inked, 0 to 1.
double coverage(const QImage& image) {
    double sum = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            sum += image.pixelColor(x, y).alphaF();
    }
    return sum / (image.width() * image.height());
}

TEST(SymbolTest, EveryNameDrawsItsOwnPictureInOneColour) {
    const QColor colour(200, 30, 90);
    QSet<QByteArray> pictures;
    for (const QString& name : kNames) {
        ASSERT_TRUE(hasSymbol(name)) << name.toStdString();
        for (const int size : {13, 16, 24}) {
            const QImage image = drawn(symbolPixmap(name, size, colour, 1));
            ASSERT_EQ(image.size(), QSize(size, size));
            EXPECT_GT(coverage(image), 0.03) << name.toStdString() << ' ' << size;
            EXPECT_LT(coverage(image), 0.8) << name.toStdString() << ' ' << size;
            for (int y = 0; y < size; ++y) {
                for (int x = 0; x < size; ++x) {
                    const QColor pixel = image.pixelColor(x, y);
                    if (pixel.alpha() < 250)
                        continue;
                    EXPECT_NEAR(pixel.red(), colour.red(), 4) << name.toStdString();
                    EXPECT_NEAR(pixel.green(), colour.green(), 4) << name.toStdString();
                    EXPECT_NEAR(pixel.blue(), colour.blue(), 4) << name.toStdString();
                }
            }
        }
        const QImage image = drawn(symbolPixmap(name, 24, colour, 1));
        pictures.insert(
            QByteArray(reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes()));
    }
    EXPECT_EQ(pictures.size(), kNames.size());
}

TEST(SymbolTest, DevicesHaveSymbols) {
    for (const char* platform : {"macos", "windows", "linux", "web", "android", "ios", "toaster"}) {
        for (const char16_t* name : {u"Studio", u"Pixel Tablet", u"iPad", u"手机", u"平板"}) {
            DeviceInfo device;
            device.platform = QString::fromLatin1(platform);
            device.name = QString::fromUtf16(name);
            EXPECT_TRUE(hasSymbol(symbolName(device))) << platform;
        }
    }
}

TEST(SymbolTest, CutOutsShowWhatIsBehindOrTheGlyphColour) {
    const QPoint glyph(24, 24); // the middle of the bar
    const QString name = QStringLiteral("minus.circle.fill");
    const QImage hole = drawn(symbolPixmap(name, 48, Qt::red, 1));
    EXPECT_EQ(hole.pixelColor(glyph).alpha(), 0);
    EXPECT_EQ(hole.pixelColor(24, 10), QColor(Qt::red));
    const QImage filled = drawn(symbolPixmap(name, 48, Qt::red, 1, Qt::white));
    EXPECT_EQ(filled.pixelColor(glyph), QColor(Qt::white));
    EXPECT_EQ(filled.pixelColor(24, 10), QColor(Qt::red));
    EXPECT_EQ(filled.pixelColor(0, 0).alpha(), 0);
}

TEST(SymbolTest, SizesAndUnknownNames) {
    const QPixmap sharp = symbolPixmap(QStringLiteral("plus"), 16, Qt::black, 1.5);
    EXPECT_EQ(sharp.width(), 24);
    EXPECT_EQ(sharp.devicePixelRatio(), 1.5);
    EXPECT_FALSE(hasSymbol(QStringLiteral("nothing.fill")));
    EXPECT_FALSE(hasSymbol(QStringLiteral("symbols.qrc")));
    EXPECT_TRUE(symbolPixmap(QStringLiteral("nothing.fill"), 16, Qt::black, 1).isNull());
    EXPECT_TRUE(symbolPixmap(QStringLiteral("plus"), 0, Qt::black, 1).isNull());
}

TEST(SymbolTest, TurnedIsAsSharpAsUpright) {
    for (const int quarter : {1, 2, 3}) {
        QImage turned(48, 48, QImage::Format_ARGB32);
        turned.fill(Qt::transparent);
        turned.setDevicePixelRatio(2);
        QPainter painter(&turned);
        painter.translate(12, 12);
        painter.rotate(90 * quarter);
        paintSymbol(painter, QStringLiteral("plus"), QRectF(-12, -12, 24, 24), Qt::red);
        painter.end();
        EXPECT_NEAR(coverage(turned),
                    coverage(drawn(symbolPixmap(QStringLiteral("plus"), 24, Qt::red, 2))), 0.01)
            << quarter;
    }
}

TEST(MenuBarIconTest, IsAClipboardWithARisingSignalCutOut) {
    // At 210 a unit of the design is ten pixels.
    const QImage icon = drawn(menuBarIcon(210, Qt::blue));
    const auto alphaAt = [&icon](double x, double y) { // y grows upwards, in units of the design
        return icon.pixelColor(qRound(x * 10), 209 - qRound(y * 10)).alpha();
    };
    const struct {
        const char* what;
        double x, y;
        int alpha;
    } points[] = {
        {"corner", 0.5, 0.5, 0},        {"body, lower edge", 10.5, 4, 255},
        {"clip", 10.5, 17, 255},        {"between clip and body", 10.5, 15.4, 0},
        {"left bar", 8.4, 7, 0},        {"above the left bar", 8.4, 10.5, 255},
        {"middle bar", 10.5, 10.5, 0},  {"above the middle bar", 10.5, 12.2, 255},
        {"right bar", 12.5, 12.2, 0},   {"above the right bar", 12.5, 14, 255},
        {"beside the body", 4.6, 9, 0}, {"between two bars", 9.45, 7, 255},
    };
    for (const auto& point : points)
        EXPECT_EQ(alphaAt(point.x, point.y), point.alpha) << point.what;
    EXPECT_EQ(drawn(menuBarIcon(22, Qt::blue, 2)).size(), QSize(44, 44));
    EXPECT_FALSE(menuBarIcon(Qt::blue).pixmap(22, 22).isNull());
}

} // namespace

} // namespace sorrelwind::test

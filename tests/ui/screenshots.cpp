#include "tests/ui/screenshots.h"

#include "base/l10n.h"
#include "tests/support/wait.h"
#include "ui/appearance.h"

#include <QApplication>
#include <QDir>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QWindow>

#include <cstdio>

// usage: ui_screenshots DIR [SHOT]
// Renders every registered view (or those whose name begins with SHOT), light and dark, in both
// languages, at the factors 1 and 2, into DIR/NAME-light-en-1x.png and so on.

namespace sorrelwind::test {

namespace {

struct Shot {
    QString name;
    std::function<std::unique_ptr<QWidget>()> make;
};

QList<Shot>& shots() {
    static QList<Shot> list;
    return list;
}

Defaults* g_defaults = nullptr;

/// What is translucent, such as a panel with rounded corners, is shown on something.
QImage onBackdrop(const QImage& picture, bool dark) {
    if (!picture.hasAlphaChannel())
        return picture;
    constexpr int kMargin = 24;
    const qreal dpr = picture.devicePixelRatio();
    const int margin = qRound(kMargin * dpr);
    QImage image(picture.size() + QSize(2 * margin, 2 * margin), QImage::Format_RGB32);
    image.setDevicePixelRatio(dpr);
    image.fill(dark ? QColor(0x37, 0x47, 0x4b) : QColor(0xa9, 0xc3, 0xbd));
    QPainter painter(&image);
    painter.drawImage(QPoint(kMargin, kMargin), picture);
    return image;
}

bool take(const Shot& shot, bool dark, const QString& path) {
    const std::unique_ptr<QWidget> widget = shot.make();
    widget->show();
    const bool exposed = waitFor(
        [&] { return widget->windowHandle() != nullptr && widget->windowHandle()->isExposed(); });
    runFor(std::chrono::milliseconds(60)); // layouts settle
    const bool saved = exposed && onBackdrop(widget->grab().toImage(), dark).save(path);
    std::printf("%s%s\n", qPrintable(path), saved ? "" : " FAILED");
    return saved;
}

/// All pictures at one factor, which is the process's own.
int takeAll(const QDir& dir, const QString& factor, const QString& prefix) {
    const QTemporaryDir preferences;
    Defaults defaults(preferences.path());
    g_defaults = &defaults;
    Appearance appearance(std::nullopt);
    bool good = true;
    for (const auto look : {Prefs::Appearance::light, Prefs::Appearance::dark}) {
        appearance.apply(look);
        const bool dark = look == Prefs::Appearance::dark;
        for (const Lang lang : {Lang::en, Lang::zh}) {
            defaults.set(QStringLiteral("language"), langName(lang));
            for (const Shot& shot : shots()) {
                if (!shot.name.startsWith(prefix))
                    continue;
                const QString file =
                    QStringLiteral("%1-%2-%3-%4x.png")
                        .arg(shot.name, dark ? QStringLiteral("dark") : QStringLiteral("light"),
                             langName(lang), factor);
                good = take(shot, dark, dir.filePath(file)) && good;
            }
        }
    }
    return good ? 0 : 1;
}

/// The factor is fixed when a program starts, so each has a process of its own.
int takeAtFactors(const QStringList& arguments) {
    int failures = 0;
    for (const QString& factor : {QStringLiteral("1"), QStringLiteral("2")}) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_SCALE_FACTOR"), factor);
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(QCoreApplication::applicationFilePath(), arguments);
        process.waitForFinished(-1);
        if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
            ++failures;
    }
    return failures == 0 ? 0 : 1;
}

} // namespace

void addShot(const QString& name, std::function<std::unique_ptr<QWidget>()> make) {
    shots().append({name, std::move(make)});
}

Defaults& shotDefaults() {
    return *g_defaults;
}

} // namespace sorrelwind::test

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QString factor = qEnvironmentVariable("QT_SCALE_FACTOR");
    const QApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty() || arguments.size() > 2) {
        std::fputs("usage: ui_screenshots DIR [SHOT]\n", stderr);
        return 2;
    }
    if (factor.isEmpty())
        return sorrelwind::test::takeAtFactors(arguments);
    const QDir dir(arguments.at(0));
    if (!dir.mkpath(QStringLiteral(".")))
        return 1;
    return sorrelwind::test::takeAll(dir, factor, arguments.value(1));
}

#include "tests/e2e/face_desktop.h"

#include "tests/support/wait.h"
#include "ui/palette.h"

#include <QDir>
#include <QSet>

#include <gtest/gtest.h>

namespace sorrelwind::test {

namespace {

constexpr int kIconAtMost = 64; // pixels; no tray makes it larger, no window is as small

bool alike(QRgb pixel, const QColor& colour) {
    return qAbs(qRed(pixel) - colour.red()) + qAbs(qGreen(pixel) - colour.green()) +
               qAbs(qBlue(pixel) - colour.blue()) <=
           6;
}

} // namespace

FaceDesktop::FaceDesktop(const QString& folder, const QString& name)
    : Desktop(folder, name, {}), m_home(folder + u'/' + name + QStringLiteral(".home")) {
    // Panels keep their settings at home, and are started by the bus in part.
    // Qt takes no runtime directory that others can look into.
    QDir().mkdir(m_home, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    for (const char* variable :
         {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
        m_environment.insert(QLatin1StringView(variable), m_home);
    m_environment.insert(QStringLiteral("NO_AT_BRIDGE"), QStringLiteral("1"));
    m_environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    m_environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                         QStringLiteral("unix:path=%1/bus").arg(m_home));
    m_bus = host({QStringLiteral("dbus-daemon"), QStringLiteral("--session"),
                  QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                  QStringLiteral("--address=unix:path=%1/bus").arg(m_home)});
    m_windowManager = host({QStringLiteral("openbox")});
    // Both are there before anybody looks for them.
    EXPECT_TRUE(waitFor([&] {
        const Ended property = runToEnd(
            QStringLiteral("xprop"), {QStringLiteral("-root"), QStringLiteral("_NET_CLIENT_LIST")},
            {}, m_environment);
        return property.out.contains("window id") && QFile::exists(m_home + QStringLiteral("/bus"));
    }));
}

FaceDesktop::~FaceDesktop() = default;

std::unique_ptr<Background> FaceDesktop::host(const QStringList& command) const {
    return std::make_unique<Background>(command.first(), command.mid(1),
                                        m_home + QStringLiteral("/programs.log"), m_environment);
}

QStringList FaceDesktop::tray() {
    return {QStringLiteral("trayer"),  QStringLiteral("--edge"),   QStringLiteral("top"),
            QStringLiteral("--align"), QStringLiteral("right"),    QStringLiteral("--widthtype"),
            QStringLiteral("request"), QStringLiteral("--height"), QStringLiteral("28")};
}

Ended FaceDesktop::xdotool(const QStringList& arguments) const {
    return runToEnd(QStringLiteral("xdotool"), arguments, {}, m_environment);
}

QList<FaceDesktop::Window> FaceDesktop::windows() const {
    const QStringList search{QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                             QStringLiteral("--class"), QStringLiteral("sorrelwind")};
    const Ended found =
        xdotool(search + QStringList{QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"),
                                     QStringLiteral("%@")});
    QList<Window> all;
    for (const QByteArray& line : found.out.split('\n')) {
        const QByteArray key = line.left(line.indexOf('='));
        const QByteArray value = line.mid(key.size() + 1);
        if (key == "WINDOW")
            all.append({QString::fromLatin1(value), {}, {}});
        else if (all.isEmpty())
            continue;
        else if (key == "X")
            all.last().frame.moveLeft(value.toInt());
        else if (key == "Y")
            all.last().frame.moveTop(value.toInt());
        else if (key == "WIDTH")
            all.last().frame.setWidth(value.toInt());
        else if (key == "HEIGHT")
            all.last().frame.setHeight(value.toInt());
    }
    for (Window& window : all) {
        window.title =
            QString::fromUtf8(xdotool({QStringLiteral("getwindowname"), window.id}).out.trimmed());
    }
    return all;
}

std::optional<FaceDesktop::Window> FaceDesktop::window(const QString& title, int width) const {
    for (const Window& window : windows()) {
        if (window.title == title && window.frame.width() == width)
            return window;
    }
    return std::nullopt;
}

bool FaceDesktop::opens(const QString& title, int width) const {
    return waitFor([&] {
        const auto there = window(title, width);
        if (!there)
            return false;
        const QString focused =
            QString::fromUtf8(xdotool({QStringLiteral("getwindowfocus")}).out.trimmed());
        return focused == there->id;
    });
}

bool FaceDesktop::closes(const QString& title, int width) const {
    return waitFor([&] { return !window(title, width); });
}

std::optional<QPoint> FaceDesktop::iconNow() const {
    for (const Window& window : windows()) {
        if (window.frame.width() <= kIconAtMost && window.frame.height() <= kIconAtMost)
            return window.frame.center();
    }
    const QImage screen = screenshot();
    QRect spot;
    for (int y = 0; y < qMin(kIconAtMost, screen.height()); ++y) {
        for (int x = 0; x < screen.width(); ++x) {
            if (alike(screen.pixel(x, y), Palette::Teal::s500()))
                spot = spot.united(QRect(x, y, 1, 1));
        }
    }
    return spot.width() >= 6 && spot.height() >= 10 ? std::optional(spot.center()) : std::nullopt;
}

// Panels move an icon that is new a few times before it stays.
std::optional<QPoint> FaceDesktop::icon() const {
    constexpr int kTimes = 4;
    std::optional<QPoint> place;
    int same = 0;
    const bool stays = waitFor([&] {
        const auto before = std::exchange(place, iconNow());
        same = place && place == before ? same + 1 : 0;
        runFor(std::chrono::milliseconds(150));
        return same == kTimes;
    });
    return stays ? place : std::nullopt;
}

void FaceDesktop::press(const QStringList& keys) const {
    EXPECT_EQ(xdotool(QStringList{QStringLiteral("key"), QStringLiteral("--delay"),
                                  QStringLiteral("30")} +
                      keys)
                  .code,
              0);
}

void FaceDesktop::type(const QString& text) const {
    press({QStringLiteral("ctrl+a")});
    EXPECT_EQ(
        xdotool({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("15"), text})
            .code,
        0);
}

void FaceDesktop::click(QPoint place, int button) const {
    EXPECT_EQ(
        xdotool({QStringLiteral("mousemove"), QString::number(place.x()),
                 QString::number(place.y()), QStringLiteral("click"), QString::number(button)})
            .code,
        0);
}

void FaceDesktop::choose(QPoint icon, const QStringList& keys) const {
    // The panel may be the one that draws it. A tool tip comes to a pointer that rests on the icon,
    // and goes when the menu comes.
    EXPECT_EQ(
        xdotool({QStringLiteral("mousemove"), QStringLiteral("600"), QStringLiteral("400")}).code,
        0);
    const auto all = [this] {
        const auto ids = xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                  QStringLiteral("--name"), QString()})
                             .out.split('\n');
        return QSet<QByteArray>(ids.begin(), ids.end());
    };
    const auto before = all();
    click(icon, 3);
    EXPECT_TRUE(waitFor([&] { return !(all() - before).isEmpty(); })) << "no menu";
    runFor(std::chrono::milliseconds(200)); // it takes the keyboard after it is shown, untold
    press(keys);
}

QImage FaceDesktop::screenshot() const {
    const Ended taken = runToEnd(QStringLiteral("import"),
                                 {QStringLiteral("-silent"), QStringLiteral("-window"),
                                  QStringLiteral("root"), QStringLiteral("png:-")},
                                 {}, m_environment);
    return QImage::fromData(taken.out, "PNG").convertToFormat(QImage::Format_RGB32);
}

QByteArray FaceDesktop::readQr() const {
    const QString file = m_home + QStringLiteral("/screen.png");
    EXPECT_TRUE(screenshot().save(file));
    return runToEnd(QStringLiteral("zbarimg"),
                    {QStringLiteral("--raw"), QStringLiteral("-q"), file})
        .out.trimmed();
}

int FaceDesktop::count(const QColor& colour) const {
    const QImage screen = screenshot();
    int found = 0;
    for (int y = 0; y < screen.height(); ++y) {
        for (int x = 0; x < screen.width(); ++x)
            found += alike(screen.pixel(x, y), colour) ? 1 : 0;
    }
    return found;
}

qint64 FaceDesktop::wakeUps() const {
    const QString pid = QString::number(status()[QStringLiteral("pid")].toInteger());
    QFile file(QStringLiteral("/proc/%1/task/%1/status").arg(pid));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    static const QByteArray kKey = "voluntary_ctxt_switches:";
    const QByteArray all = file.readAll();
    return all.mid(all.indexOf('\n' + kKey) + 1 + kKey.size())
        .split('\n')
        .first()
        .trimmed()
        .toLongLong();
}

} // namespace sorrelwind::test

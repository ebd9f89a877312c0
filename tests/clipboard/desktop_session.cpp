#include "tests/clipboard/desktop_session.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace sorrelwind::test {
namespace {

constexpr int kStartMs = 60'000;
constexpr int kEndMs = 10'000;
constexpr uint kNobody = 65534;

/// Which programs a desktop is, and what they are told.
struct Recipe {
    QString program;
    QStringList arguments;
};

/// `note` writes down the environment of the session's programs.
Recipe recipeOf(DesktopSession::Kind kind, const QString& folder, const QString& note) {
    if (kind == DesktopSession::Kind::kwin) {
        // A copy, since the file that is installed has a capability, with which a program takes no
        // environment from others.
        const QString copy = folder + QStringLiteral("/kwin_wayland");
        QFile::copy(QStandardPaths::findExecutable(QStringLiteral("kwin_wayland")), copy);
        return {copy,
                {QStringLiteral("--virtual"), QStringLiteral("--no-lockscreen"),
                 QStringLiteral("--no-global-shortcuts"), QStringLiteral("--socket"),
                 QStringLiteral("wayland-kwin"), note}};
    }
    if (kind == DesktopSession::Kind::mutter) {
        return {
            QStringLiteral("mutter"),
            {QStringLiteral("--headless"), QStringLiteral("--wayland"),
             QStringLiteral("--virtual-monitor"), QStringLiteral("1280x800"),
             QStringLiteral("--wayland-display"), QStringLiteral("wayland-mutter"),
             QStringLiteral("--"), QStringLiteral("sh"), QStringLiteral("-c"),
             // It would end with this program.
             note + QStringLiteral("; exec tail --sleep-interval=0.1 --pid=$PPID -f /dev/null")}};
    }
    const QString config = folder + QStringLiteral("/config");
    QFile file(config);
    if (file.open(QIODevice::WriteOnly)) {
        file.write("xwayland disable\nexec " + note.toLocal8Bit() + "\n");
    }
    return {QStringLiteral("sway"), {QStringLiteral("-c"), config}};
}

} // namespace

DesktopSession::DesktopSession(Kind kind) {
    if (kind == Kind::x11) {
        m_xvfb = std::make_unique<Xvfb>();
        m_environment = m_xvfb->environment();
    } else {
        startCompositor(kind);
    }
}

void DesktopSession::startCompositor(Kind kind) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* variable : {"DISPLAY", "XAUTHORITY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
        environment.remove(QLatin1StringView(variable));
    }
    environment.insert(QStringLiteral("HOME"), m_folder.path());
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_folder.path());
    environment.insert(QStringLiteral("WLR_BACKENDS"), QStringLiteral("headless"));
    environment.insert(QStringLiteral("WLR_LIBINPUT_NO_DEVICES"), QStringLiteral("1"));
    environment.insert(QStringLiteral("WLR_RENDERER"), QStringLiteral("pixman"));

    m_bus.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_bus.setStandardErrorFile(QProcess::nullDevice());
    m_bus.setProcessEnvironment(environment);
    m_bus.start(QStringLiteral("dbus-daemon"),
                {QStringLiteral("--session"), QStringLiteral("--nofork"),
                 QStringLiteral("--nopidfile"), QStringLiteral("--print-address=1"),
                 QStringLiteral("--address=unix:dir=") + m_folder.path()});
    while (!m_bus.canReadLine() && m_bus.waitForReadyRead(kStartMs)) {
    }
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                       QString::fromUtf8(m_bus.readLine().trimmed()));

    const QString noted = path("environment");
    QFile note(path("note"));
    if (!note.open(QIODevice::WriteOnly)) {
        return;
    }
    note.write("#!/bin/sh\nenv -0 >'" + noted.toLocal8Bit() + ".new'\nmv '" + noted.toLocal8Bit() +
               ".new' '" + noted.toLocal8Bit() + "'\n");
    note.setPermissions(QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther);
    note.close();
    Recipe recipe = recipeOf(kind, m_folder.path(), note.fileName());
    // sway refuses to run as root.
    if (kind == Kind::sway && ::geteuid() == 0) {
        (void)!::chown(m_folder.path().toLocal8Bit().constData(), kNobody, kNobody);
        recipe.arguments =
            QStringList{QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                        QStringLiteral("--clear-groups"), QStringLiteral("--pdeathsig=SIGTERM"),
                        recipe.program} +
            recipe.arguments;
        recipe.program = QStringLiteral("setpriv");
    }
    m_compositor.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_compositor.setProcessEnvironment(environment);
    m_compositor.setStandardOutputFile(QProcess::nullDevice());
    m_compositor.setStandardErrorFile(QProcess::nullDevice());
    m_compositor.start(recipe.program, recipe.arguments);
    m_compositor.waitForStarted(kStartMs);
    for (const QDeadlineTimer deadline(kStartMs); running() && !deadline.hasExpired();) {
        if (QFile file(noted); file.open(QIODevice::ReadOnly)) {
            for (const QByteArray& line : file.readAll().split('\0')) {
                const qsizetype equals = line.indexOf('=');
                m_environment.insert(QString::fromLocal8Bit(line.left(equals)),
                                     QString::fromLocal8Bit(line.mid(equals + 1)));
            }
            return;
        }
        m_compositor.waitForFinished(10);
    }
}

DesktopSession::~DesktopSession() {
    // The compositor goes politely, and takes its X server along.
    for (QProcess* process : {&m_compositor, &m_bus}) {
        if (process->state() != QProcess::NotRunning) {
            process->terminate();
            if (!process->waitForFinished(kEndMs)) {
                process->kill();
                process->waitForFinished(kEndMs);
            }
        }
    }
}

bool DesktopSession::running() const {
    return m_xvfb ? m_xvfb->running() : m_compositor.state() == QProcess::Running;
}

ClipboardServers DesktopSession::servers() const {
    const auto variable = [this](const char* name) {
        return m_environment.value(QLatin1StringView(name)).toLocal8Bit();
    };
    if (const QByteArray authority = variable("XAUTHORITY"); authority.isEmpty()) {
        qunsetenv("XAUTHORITY");
    } else {
        qputenv("XAUTHORITY", authority);
    }
    const QByteArray wayland = variable("WAYLAND_DISPLAY");
    // Under another runtime directory than this program's.
    return {wayland.isEmpty() ? QByteArray() : path(wayland.constData()).toLocal8Bit(),
            variable("DISPLAY")};
}

QString DesktopSession::path(const char* name) const {
    return m_folder.filePath(QLatin1StringView(name));
}

} // namespace sorrelwind::test

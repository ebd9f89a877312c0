#include "hosting/hub_host.h"

#include "base/defaults.h"
#include "hosting/awaited.h"
#include "hosting/local_address.h"
#include "hosting/program_run.h"
#include "hosting/service_unit.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>

#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <csignal>

namespace sorrelwind {

namespace {

using namespace std::chrono_literals;

const QString kPreference = QStringLiteral("hostHub");
const QString kAddress = QStringLiteral("hostHubAddress");
constexpr std::chrono::milliseconds kRestartAfter =
    10s; // twice as long each time that it does not help
constexpr std::chrono::milliseconds kRestartAtMost = 5min;
constexpr auto kChildPatience = 3s; // for a polite end
constexpr int kTries = 100;         // of 0.1 s, until the hub answers

Task<ProgramResult> systemctl(QString arguments) {
    const QStringList words = (QLatin1StringView("--user ") + arguments).split(u' ');
    Awaited<ProgramResult> run(runProgram(QStringLiteral("systemctl"), words));
    co_return co_await run;
}

const QString kEnable = QStringLiteral("enable --now ") + kHubUnit;
const QString kDisable = QStringLiteral("disable --now ") + kHubUnit;
const QString kIsActive = QStringLiteral("is-active --quiet ") + kHubUnit;
const QString kReload = QStringLiteral("daemon-reload");
const QString kProbe = QStringLiteral("show --property=Version");

bool writeWhole(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) >= 0 && file.flush() &&
           file.commit();
}

} // namespace

HubHost::HubHost(Defaults& defaults, Options options)
    : m_defaults(defaults), m_options(std::move(options)) {
    if (!m_options.localAddress)
        m_options.localAddress = &defaultRouteAddress;
    const QString stored = m_defaults.value(kPreference).toString();
    m_mode = stored == QLatin1StringView("service") ? Mode::service
             : stored == QLatin1StringView("child") ? Mode::child
                                                    : Mode::none;
    m_restart.setSingleShot(true);
    m_restart.setInterval(kRestartAfter);
    connect(&m_restart, &QTimer::timeout, this, &HubHost::resume);
}

HubHost::~HubHost() {
    if (!m_child)
        return;
    m_child->disconnect(this);
    m_child->terminate();
    m_child->waitForFinished(kChildPatience / 1ms); // then it is killed
}

QString HubHost::findProgram() {
    const QString name = QStringLiteral("sorrelwind-hub");
    const QString beside =
        QStandardPaths::findExecutable(name, {QCoreApplication::applicationDirPath()});
    return beside.isEmpty() ? QStandardPaths::findExecutable(name) : beside;
}

QStringList HubHost::arguments(const Options& options) {
    QStringList words{QStringLiteral("--listen"),
                      options.listen.toString() + u':' + QString::number(options.port)};
    if (!options.dataDir.isEmpty())
        words << QStringLiteral("--data") << options.dataDir;
    return words;
}

bool HubHost::isHere(const QString& server) const {
    return server == m_defaults.value(kAddress).toString() ||
           (server.endsWith(u':' + QString::number(m_options.port)) && isThisComputer(server));
}

void HubHost::resume() {
    if (m_mode == Mode::child && !m_child)
        m_tasks.start(revive());
    else if (m_mode == Mode::service)
        refresh();
}

void HubHost::refresh() {
    m_tasks.start(look());
}

Task<> HubHost::look() {
    if (m_mode == Mode::service)
        setRunning(co_await serviceRuns());
}

std::chrono::milliseconds HubHost::longerRest() const {
    return std::min(m_restart.intervalAsDuration() * 2, kRestartAtMost);
}

Task<> HubHost::revive() {
    if (!portIsFree()) { // whoever answers there is not ours
        m_restart.start(longerRest());
        co_return;
    }
    startChild();
    const bool up = co_await answers();
    setRunning(up);
    m_restart.setInterval(up ? kRestartAfter : longerRest());
}

Task<bool> HubHost::systemdWorks() const {
    if (!m_options.mayUseSystemd)
        co_return false;
    const auto version = co_await systemctl(kProbe);
    co_return version.exitCode == 0;
}

Task<bool> HubHost::serviceRuns() const {
    if (!m_options.mayUseSystemd)
        co_return false;
    const auto state = co_await systemctl(kIsActive);
    co_return state.exitCode == 0;
}

bool HubHost::portIsFree() const {
    QTcpServer probe;
    return probe.listen(m_options.listen, m_options.port);
}

void HubHost::start(Started done) {
    m_wanted = true;
    m_restart.setInterval(kRestartAfter);
    m_onStarted = std::move(done);
    m_onStopped = {};
    if (!m_settling)
        m_tasks.start(settle());
}

void HubHost::stop(Stopped done) {
    m_wanted = false;
    m_onStopped = std::move(done);
    m_onStarted = {};
    if (!m_settling)
        m_tasks.start(settle());
}

// One at a time: who changes the wish meanwhile is served afterwards.
Task<> HubHost::settle() {
    m_settling = true;
    for (;;) {
        if (m_wanted) {
            const auto up = co_await bringUp();
            if (!m_wanted)
                continue;
            m_settling = false;
            if (up)
                m_defaults.set(kAddress, *up);
            if (const auto done = std::exchange(m_onStarted, {}))
                done(up);
        } else {
            const auto down = co_await bringDown();
            if (m_wanted)
                continue;
            m_settling = false;
            if (const auto done = std::exchange(m_onStopped, {}))
                done(down);
        }
        co_return;
    }
}

Task<Result<QString, Sentence>> HubHost::bringUp() {
    if (m_options.program.isEmpty())
        co_return failure(
            Sentence::of(u"这台电脑上没有 sorrelwind-hub 程序。请安装软件包 "
                         u"sorrelwind-hub-bin，或给出另一个服务器的地址。",
                         u"The program sorrelwind-hub is not on this computer. Install the package "
                         u"sorrelwind-hub-bin, or give the address of another hub."));
    QString name;
    if (m_options.mayUseAvahi)
        name = co_await multicastName();
    const QString address = hostedHubAddress(name, m_options.localAddress(), m_options.port);
    if (address.isEmpty())
        co_return failure(Sentence::of(
            u"这台电脑没有连上网络，其他设备无法访问这里的服务器。请连接网络后重试。",
            u"This computer is on no network, so no other device could reach a hub here. "
            u"Connect it and try again."));

    const bool systemd = co_await systemdWorks();
    if (systemd && co_await serviceRuns()) {
        remember(Mode::service);
        setRunning(true);
        co_return address;
    }
    if (m_child && m_running)
        co_return address;
    co_await endChild();
    if (!portIsFree())
        co_return failure(
            Sentence::of(u"端口 %1 已被另一个程序占用。请先停止它；如果那就是一个 Sorrelwind "
                         u"服务器，请填写它的地址。",
                         u"Port %1 is in use by another program. Stop that one first, or, if "
                         u"it is a Sorrelwind hub, give its address.")
                .arg(m_options.port));
    if (systemd) {
        if (const auto problem = co_await startService())
            co_return failure(*problem);
        remember(Mode::service);
    } else {
        startChild();
        remember(Mode::child);
    }
    const bool ready = co_await answers();
    setRunning(ready);
    if (ready)
        co_return address;
    (void)co_await bringDown();
    co_return failure(Sentence::of(u"服务器程序没有启动成功，原因见系统日志。",
                                   u"The hub did not start; the system's log says why."));
}

Task<std::optional<Sentence>> HubHost::startService() {
    if (!writeWhole(hubUnitPath(), hubUnit(m_options.program, arguments(m_options))))
        co_return Sentence::of(u"无法写入 %1，请检查权限和磁盘空间。",
                               u"%1 can't be written — check its permissions and the disk.")
            .arg(hubUnitPath());
    (void)co_await systemctl(kReload);
    const auto enabled = co_await systemctl(kEnable);
    if (enabled.exitCode == 0)
        co_return std::nullopt;
    (void)co_await systemctl(kDisable); // it may be enabled without having started
    QFile::remove(hubUnitPath());
    (void)co_await systemctl(kReload);
    qWarning("the hub cannot be made a service: %s", qPrintable(enabled.lastError));
    co_return Sentence::of(u"无法把服务器设为系统服务，原因见系统日志。",
                           u"The hub can't be made a service; the system's log says why.");
}

Task<std::optional<Sentence>> HubHost::bringDown() {
    const Mode mode = m_mode;
    remember(Mode::none);
    co_await endChild();
    if (mode == Mode::service) {
        const auto disabled = co_await systemctl(kDisable);
        if (disabled.exitCode != 0) {
            remember(Mode::service);
            qWarning("the hub cannot be stopped: %s", qPrintable(disabled.lastError));
            co_return Sentence::of(u"服务器无法停止，原因见系统日志。",
                                   u"The hub can't be stopped; the system's log says why.");
        }
        QFile::remove(hubUnitPath());
        (void)co_await systemctl(kReload);
    }
    setRunning(false);
    co_return std::nullopt;
}

Task<bool> HubHost::answers() {
    const QHostAddress where = m_options.listen == QHostAddress(QHostAddress::AnyIPv4)
                                   ? QHostAddress(QHostAddress::LocalHost)
                                   : m_options.listen;
    for (int i = 0; i < kTries && (m_child || m_mode != Mode::child); ++i) {
        Awaited<bool> knock(connectTo(where, m_options.port));
        if (co_await knock)
            co_return true;
        Awaited<bool> rest(pause(100ms));
        (void)co_await rest;
    }
    co_return false;
}

void HubHost::startChild() {
    m_restart.stop();
    m_child = std::make_unique<QProcess>();
    if (m_options.showsLog)
        m_child->setProcessChannelMode(QProcess::ForwardedChannels);
    // An agent that is killed takes its hub with it.
    m_child->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    const auto ended = [this] {
        if (!m_child || m_child->state() != QProcess::NotRunning)
            return;
        qWarning("the hub on this computer ended by itself. %s",
                 m_child->readAllStandardError().trimmed().split('\n').last().constData());
        m_child.release()->deleteLater();
        setRunning(false);
        m_restart.start();
    };
    connect(m_child.get(), &QProcess::finished, this, ended);
    connect(m_child.get(), &QProcess::errorOccurred, this, ended);
    m_child->start(m_options.program, arguments(m_options));
}

Task<> HubHost::endChild() {
    m_restart.stop();
    const std::unique_ptr<QProcess> child = std::move(m_child);
    if (!child)
        co_return;
    child->disconnect(this);
    Awaited<bool> end(endOf(*child, kChildPatience));
    child->terminate();
    if (!co_await end)
        child->kill();
}

void HubHost::remember(Mode mode) {
    m_mode = mode;
    m_defaults.set(kPreference, mode == Mode::service ? QStringLiteral("service")
                                : mode == Mode::child ? QStringLiteral("child")
                                                      : QStringLiteral("none"));
    Q_EMIT changed();
}

void HubHost::setRunning(bool running) {
    if (std::exchange(m_running, running) != running)
        Q_EMIT changed();
}

} // namespace sorrelwind

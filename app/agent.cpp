#include "app/agent.h"

#include "account/account_store.h"
#include "account/file_lock.h"
#include "app/control_client.h"
#include "app/control_server.h"
#include "app/coordinator.h"
#include "app/quit_on_signal.h"
#include "app/wake_notifier.h"
#include "base/prefs.h"
#include "clipboard/make_pasteboard.h"
#include "core/app_model.h"
#include "hosting/hub_host.h"
#include "hub/network.h"
#include "ui/appearance.h"
#include "ui/launch_at_login.h"
#include "ui/session_bus.h"

#include <QApplication>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <malloc.h>

namespace sorrelwind {

namespace {

void say(const QString& sentence) {
    std::fprintf(stderr, "%s\n", qPrintable(sentence));
}

int sayRunning(const CommandLine& line, const L10n& l10n) {
    say(l10n.text(u"Sorrelwind 已经在使用 %1 运行。用 %2 查看它，或用 --config-dir "
                  u"另选一个文件夹。",
                  u"Sorrelwind is running on %1 already — see it with: %2, or name another "
                  u"directory with --config-dir.")
            .arg(line.configDir, commandLine(line.configDir, QStringLiteral("status"))));
    return kExitRunning;
}

// Lets the agent that runs on this directory show itself. The exit code, unless none answers.
std::optional<int> showRunningAgent(const CommandLine& line, const L10n& l10n) {
    const auto reply = askAgent(line.configDir, {QStringLiteral("show"), {}, l10n.lang()});
    if (!reply)
        return std::nullopt;
    if (reply->error)
        return sayRunning(line, l10n);
    say(l10n.text(u"Sorrelwind 已经在运行，正在显示它的窗口。",
                  u"Sorrelwind is running already and shows itself now."));
    return kExitDone;
}

// What starts this program again on the same directory.
QStringList startCommand(const CommandLine& line) {
    QStringList command = LaunchAtLogin::thisProgram();
    if (line.configDir != AccountStore::defaultDir())
        command << QStringLiteral("--config-dir") << line.configDir;
    if (line.clipboard != ClipboardChoice::automatic)
        command << QStringLiteral("--clipboard") << clipboardChoiceName(line.clipboard);
    return command;
}

} // namespace

int failWithoutDesktop(const CommandLine& line, const L10n& l10n) {
    if (const auto code = showRunningAgent(line, l10n))
        return *code;
    say(l10n.text(u"这里没有桌面可以显示图标和窗口。只在后台运行：%1",
                  u"There is no desktop here to show the icon and the windows on — to run without "
                  u"them: %1")
            .arg(commandLine(line.configDir, QStringLiteral("--headless"))));
    return kExitFailed;
}

int runAgent(const CommandLine& line, Defaults& defaults, L10n& l10n) {
    const auto fail = [](const QString& sentence) {
        say(sentence);
        return kExitFailed;
    };
    const bool hasFace = !line.headless;
    const AccountStore store(line.configDir);
    if (const auto prepared = store.prepare(); !prepared)
        return fail(prepared.error().in(l10n.lang()));
    const auto lock = FileLock::tryLock(store.dir() + QStringLiteral("/agent.lock"));
    if (!lock && lock.error() != EWOULDBLOCK)
        return fail(lockSentence(store.dir(), lock.error()).in(l10n.lang()));
    if (!lock) {
        const auto shown = hasFace ? showRunningAgent(line, l10n) : std::nullopt;
        return shown ? *shown : sayRunning(line, l10n);
    }

    // A large copy passes through several buffers; their memory goes back to the system with them
    // instead of staying with the program, and the text in it too.
    mallopt(M_MMAP_THRESHOLD, 512 * 1024);
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024);

    const QuitOnSignal quitOnSignal;
    Network network;
    std::optional<Appearance> appearance;
    if (hasFace)
        appearance.emplace();
    Prefs prefs(defaults, appearance ? appearance->applier() : Prefs::Applier());
    prefs.applyAppearance();
    const auto pasteboard = makePasteboard(line.clipboard);
    qInfo("clipboard: %s", qUtf8Printable(pasteboard->backend()));
    if (!pasteboard->available())
        qWarning("no clipboard: %s", qUtf8Printable(pasteboard->unavailableReason().en));
    // The desktop has ended; the next one starts an agent of its own on this directory.
    QObject::connect(pasteboard.get(), &Pasteboard::ended, QCoreApplication::instance(),
                     [] { QCoreApplication::exit(kExitFailed); });
    AppModel model({store, *pasteboard, network, l10n, prefs});
    HubHost hubHost(defaults);
    ControlServer control(model, store, hubHost, l10n);
    if (!control.listen(controlSocketPath(store.dir()))) {
        return fail(
            l10n.text(u"无法在 %1 中建立控制接口。请用 --config-dir 换一个路径较短的文件夹。",
                      u"No control socket can be made in %1. Name a directory with a shorter path "
                      u"with --config-dir.")
                .arg(store.dir()));
    }
    WakeNotifier wake;
    QObject::connect(&wake, &WakeNotifier::woke, &model, &AppModel::nudge);
    QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, &model,
                     &AppModel::shutdown);

    hubHost.resume();
    LaunchAtLogin launchAtLogin(startCommand(line));
    std::optional<AppCoordinator> coordinator;
    if (hasFace) {
        QGuiApplication::setQuitOnLastWindowClosed(false);
        coordinator.emplace(
            AppCoordinator::Services{model, store, network, l10n, prefs, hubHost, launchAtLogin},
            makeStatusItem(sessionBus()));
        control.onShow = [&coordinator] { coordinator->show(); };
    }
    if (model.phase() == AppModel::Phase::onboarding) {
        if (QFileInfo::exists(store.fileUrl())) {
            say(l10n.text(u"%1 "
                          u"无法读取或无法识别，它保持原样。请检查它的权限，或把它移走后重新加入。",
                          u"%1 cannot be read or understood and stays as it is — check its "
                          u"permissions, or move it away and join again.")
                    .arg(store.fileUrl()));
        } else if (!hasFace) {
            say(l10n.text(u"还没有加入设备组。新建：%1；加入：%2",
                          u"In no group yet. Make one with: %1; join one with: %2")
                    .arg(commandLine(line.configDir, QStringLiteral("create")),
                         commandLine(line.configDir, QStringLiteral("join"))));
        }
    }
    const int code = QCoreApplication::exec();
    pasteboard->handOver();
    return code;
}

} // namespace sorrelwind

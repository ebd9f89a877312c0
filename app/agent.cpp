#include "app/agent.h"

#include "account/account_store.h"
#include "app/control_server.h"
#include "account/file_lock.h"
#include "app/quit_on_signal.h"
#include "app/wake_notifier.h"
#include "base/prefs.h"
#include "clipboard/make_pasteboard.h"
#include "core/app_model.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>

#include <cstdio>

namespace sorrelwind {

int runAgent(const CommandLine& line, Defaults& defaults, const L10n& l10n) {
    const auto fail = [](const QString& sentence) {
        std::fprintf(stderr, "%s\n", qPrintable(sentence));
        return kExitFailed;
    };
    const AccountStore store(line.configDir);
    if (const auto prepared = store.prepare(); !prepared) {
        return fail(
            l10n.text(
                    u"配置文件夹 %1 不可用：%2。请检查权限和磁盘空间，或用 --config-dir 另选一个。",
                    u"The config directory %1 cannot be used: %2. Check its permissions and "
                    u"the disk, or name another with --config-dir.")
                .arg(store.dir(), prepared.error()));
    }
    const auto lock = FileLock::tryLock(store.dir() + QStringLiteral("/agent.lock"));
    if (!lock) {
        return fail(
            l10n.text(u"Sorrelwind 已经在使用 %1 运行。用 sorrelwind status 查看它，或用 "
                      u"--config-dir 另选一个文件夹。",
                      u"Sorrelwind is running on %1 already — see it with: sorrelwind status, "
                      u"or name another directory with --config-dir.")
                .arg(store.dir()));
    }

    const QuitOnSignal quitOnSignal;
    QNetworkAccessManager network;
    const Prefs prefs(defaults);
    prefs.applyAppearance();
    const auto pasteboard = makePasteboard();
    AppModel model({store, *pasteboard, network, l10n, prefs});
    ControlServer control(model, store, *pasteboard, l10n);
    if (const auto listening = control.listen(controlSocketPath(store.dir())); !listening) {
        return fail(
            l10n.text(u"无法在 %1 中建立控制接口：%2。请用 --config-dir 换一个路径较短的文件夹。",
                      u"No control socket can be made in %1: %2. Name a directory with a "
                      u"shorter path with --config-dir.")
                .arg(store.dir(), listening.error()));
    }
    WakeNotifier wake;
    QObject::connect(&wake, &WakeNotifier::woke, &model, &AppModel::nudge);
    QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, &model,
                     &AppModel::shutdown);

    if (model.phase() == AppModel::Phase::onboarding) {
        std::fprintf(stderr, "%s\n",
                     qPrintable(l10n.text(
                         u"还没有加入设备组。新建：sorrelwind create；加入：sorrelwind join",
                         u"In no group yet. Make one with: sorrelwind create; join one with: "
                         u"sorrelwind join")));
    }
    const int code = QCoreApplication::exec();
    pasteboard->handOver();
    return code;
}

} // namespace sorrelwind

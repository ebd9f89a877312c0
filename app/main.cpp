#include "account/account_store.h"
#include "app/agent.h"
#include "app/agent_commands.h"
#include "app/command_line.h"
#include "app/display.h"
#include "app/logging.h"
#include "app/setup_commands.h"
#include "base/defaults.h"
#include "base/l10n.h"

#include <QApplication>
#include <QNetworkProxyFactory>
#include <QThreadPool>

#include <cstdio>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>

int main(int argc, char** argv) {
    using namespace sorrelwind;
    std::vector<std::string> arguments = takeArguments(argc, argv);
    // Keys and clipboard text do not belong into a core dump.
    const rlimit noCore{0, 0};
    (void)::setrlimit(RLIMIT_CORE, &noCore);
    QCoreApplication::setApplicationName(QStringLiteral("sorrelwind"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SORRELWIND_VERSION));

    std::variant<CommandLine, int> parsed = kExitDone;
    {
        Defaults usual(AccountStore::defaultDir());
        parsed = parseCommandLine(std::move(arguments), L10n(usual).lang());
    }
    if (const int* exitCode = std::get_if<int>(&parsed))
        return *exitCode;
    const auto& line = std::get<CommandLine>(parsed);

    const bool hasFace = line.command.isEmpty() && !line.headless;
    std::unique_ptr<QCoreApplication> app;
    if (hasFace) {
        if (!chooseDisplay()) {
            Defaults chosen(line.configDir);
            std::fprintf(stderr, "%s\n",
                         qPrintable(L10n(chosen).text(
                             u"这里没有桌面可以显示图标和窗口。只在后台运行：sorrelwind --headless",
                             u"There is no desktop here to show the icon and the windows on — to "
                             u"run without them: sorrelwind --headless")));
            return kExitFailed;
        }
        QGuiApplication::setDesktopFileName(QStringLiteral("sorrelwind"));
        app = std::make_unique<QApplication>(argc, argv);
    } else {
        app = std::make_unique<QCoreApplication>(argc, argv);
    }
    installLogging();
    QNetworkProxyFactory::setUseSystemConfiguration(true);
    Defaults defaults(line.configDir);
    L10n l10n(defaults);
    int code = kExitDone;
    if (line.command.isEmpty())
        code = runAgent(line, defaults, l10n);
    else if (line.command == QLatin1StringView("create") ||
             line.command == QLatin1StringView("join"))
        code = runSetup(line, l10n);
    else
        code = runAgentCommand(line, l10n);
    if ((std::fflush(stdout) != 0 || std::ferror(stdout) != 0) && code == kExitDone) {
        std::fprintf(stderr, "%s\n",
                     qPrintable(l10n.text(u"输出无法写入", u"The output could not be written")));
        code = kExitFailed;
    }
    // A derivation under way may take as long as the hub likes, and the application would wait for
    // it.
    if (QThreadPool::globalInstance()->activeThreadCount() > 0) {
        std::fflush(nullptr);
        ::_exit(code);
    }
    return code;
}

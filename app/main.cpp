#include "account/account_store.h"
#include "app/agent.h"
#include "app/agent_commands.h"
#include "app/command_line.h"
#include "app/display.h"
#include "app/logging.h"
#include "app/passphrase_command.h"
#include "app/setup_commands.h"
#include "base/defaults.h"
#include "base/l10n.h"

#include <QApplication>
#include <QNetworkProxyFactory>
#include <QThreadPool>

#include <cstdio>
#include <memory>
#include <sys/resource.h>

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
    const bool hasDesktop = hasFace && chooseDisplay();
    std::unique_ptr<QCoreApplication> app;
    if (hasDesktop) {
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
    if (hasFace && !hasDesktop)
        code = failWithoutDesktop(line, l10n);
    else if (line.command.isEmpty())
        code = runAgent(line, defaults, l10n);
    else if (line.command == QLatin1StringView("create") ||
             line.command == QLatin1StringView("join"))
        code = runSetup(line, defaults, l10n);
    else if (line.command == QLatin1StringView("passphrase"))
        code = runPassphrase(line, l10n);
    else
        code = runAgentCommand(line, l10n);
    if ((std::fflush(stdout) != 0 || std::ferror(stdout) != 0) && code == kExitDone) {
        std::fprintf(stderr, "%s\n",
                     qPrintable(l10n.text(u"输出无法写入", u"The output could not be written")));
        code = kExitFailed;
    }
    // What still runs there was asked to stop, and posts its end to the application.
    QThreadPool::globalInstance()->waitForDone();
    return code;
}

#include "account/account_store.h"
#include "app/agent.h"
#include "app/agent_commands.h"
#include "app/command_line.h"
#include "app/logging.h"
#include "app/setup_commands.h"
#include "base/defaults.h"
#include "base/l10n.h"

#include <QCoreApplication>
#include <QNetworkProxyFactory>

#include <clocale>

int main(int argc, char** argv) {
    using namespace sorrelwind;
    std::vector<std::string> arguments = takeArguments(argc, argv);
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

    QCoreApplication app(argc, argv);
    installLogging();
    QNetworkProxyFactory::setUseSystemConfiguration(true);
    Defaults defaults(line.configDir);
    const L10n l10n(defaults);
    if (line.command.isEmpty())
        return runAgent(line, defaults, l10n);
    if (line.command == QLatin1StringView("create") || line.command == QLatin1StringView("join"))
        return runSetup(line, l10n);
    return runAgentCommand(line, l10n);
}

#pragma once

#include "base/l10n.h"
#include "clipboard/make_pasteboard.h"

#include <QString>

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace sorrelwind {

/// What the user asked for on the command line.
struct CommandLine {
    /// "" runs the agent; else a subcommand's name.
    QString command;
    QString configDir;
    bool headless = false;
    ClipboardChoice clipboard = ClipboardChoice::automatic;
    bool json = false;
    bool follow = false;    // receive goes on with every further text
    bool nullEnded = false; // receive ends each text with NUL
    bool passphraseFromStdin = false;
    std::optional<QString> server; // canonical
    bool hosts = false;            // create hosts the hub on this computer
    std::optional<QString> name;
    QString argument; // of join, remove, rename, send; null when not given
};

/// The line for a shell that calls this program with `words` on the same config directory.
[[nodiscard]] QString commandLine(const QString& configDir, const QString& words);
/// What to say where a command needs a group.
[[nodiscard]] Sentence inNoGroup(const QString& configDir);

/// Exit codes of the program.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1; // the reason is on stderr
inline constexpr int kExitUsage = 2;
inline constexpr int kExitRunning = 3; // an agent runs already; services need not try again

/// The choice as --clipboard takes it; none for the automatic one.
[[nodiscard]] QString clipboardChoiceName(ClipboardChoice choice);

/// Parses `arguments` (without the program's name). An int is the exit code after help, the version
/// or a complaint has been printed.
[[nodiscard]] std::variant<CommandLine, int> parseCommandLine(std::vector<std::string> arguments,
                                                              Lang lang);

/// A complaint about a wrong use, with where the right one stands. `command` is "" for none.
[[nodiscard]] QString wrongUse(const QString& complaint, const QString& command, Lang lang);

/// Takes the arguments out of main's argv, and blanks there what may be a secret, so that it stands
/// in the process list no longer than the program needs to start.
[[nodiscard]] std::vector<std::string> takeArguments(int argc, char** argv);

} // namespace sorrelwind

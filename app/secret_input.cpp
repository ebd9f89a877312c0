#include "app/secret_input.h"

#include <QByteArray>

#include <csignal>
#include <cstdio>
#include <iterator>
#include <termios.h>
#include <unistd.h>

namespace sorrelwind {

namespace {

volatile sig_atomic_t g_caught = 0;

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGTSTP};

/// Switches the terminal's echo off for as long as it lives, also when a signal ends the program
/// meanwhile: the read is interrupted, the echo comes back, and then the signal has its way.
class NoEcho {
public:
    NoEcho() {
        struct sigaction action = {};
        action.sa_handler = [](int signal) { g_caught = signal; };
        for (size_t i = 0; i < std::size(kEndingSignals); ++i)
            ::sigaction(kEndingSignals[i], &action, &m_actions[i]);
        if (tcgetattr(STDIN_FILENO, &m_before) != 0)
            return;
        termios silent = m_before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        m_active = tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) == 0;
    }
    NoEcho(const NoEcho&) = delete;
    NoEcho& operator=(const NoEcho&) = delete;
    ~NoEcho() {
        if (m_active)
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
        for (size_t i = 0; i < std::size(kEndingSignals); ++i)
            ::sigaction(kEndingSignals[i], &m_actions[i], nullptr);
        if (g_caught != 0)
            ::raise(g_caught);
    }

private:
    termios m_before{};
    struct sigaction m_actions[std::size(kEndingSignals)] = {};
    bool m_active = false;
};

} // namespace

bool standardInputIsTerminal() {
    return isatty(STDIN_FILENO) != 0;
}

std::optional<QString> readSecretLine(const QString& prompt) {
    constexpr qsizetype kMaxBytes = 4096;
    const bool terminal = standardInputIsTerminal();
    if (terminal)
        std::fprintf(stderr, "%s", qPrintable(prompt));
    std::optional<NoEcho> noEcho;
    if (terminal)
        noEcho.emplace();
    QByteArray line;
    char byte = 0;
    ssize_t got = 0;
    // Byte by byte: what follows the line belongs to the next reader.
    while (line.size() <= kMaxBytes && (got = ::read(STDIN_FILENO, &byte, 1)) == 1 && byte != '\n')
        line += byte;
    if (terminal)
        std::fputc('\n', stderr);
    if (line.endsWith('\r'))
        line.chop(1);
    if ((line.isEmpty() && got != 1) || line.size() > kMaxBytes || !line.isValidUtf8())
        return std::nullopt;
    return QString::fromUtf8(line);
}

} // namespace sorrelwind

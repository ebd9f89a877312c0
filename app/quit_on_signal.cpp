#include "app/quit_on_signal.h"

#include <QCoreApplication>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace sorrelwind {

namespace {

volatile sig_atomic_t g_pipeEnd = -1;

void onSignal(int) {
    const int error = errno;
    const char byte = 1;
    (void)!::write(g_pipeEnd, &byte, 1);
    errno = error;
}

int readEndOf(int (&ends)[2]) {
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        qFatal("no pipe for signals");
    return ends[0];
}

} // namespace

QuitOnSignal::QuitOnSignal() : m_notifier(readEndOf(m_pipe), QSocketNotifier::Read) {
    connect(&m_notifier, &QSocketNotifier::activated, this, [this] {
        m_notifier.setEnabled(false);
        QCoreApplication::quit();
    });
    g_pipeEnd = m_pipe[1];
    struct sigaction action = {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction before = {};
        ::sigaction(signal, nullptr, &before);
        // Started under nohup, the program outlives its terminal.
        if (signal != SIGHUP || before.sa_handler != SIG_IGN)
            ::sigaction(signal, &action, nullptr);
    }
    // A desktop or a client that goes away in mid-write is an error code, not the end.
    ::signal(SIGPIPE, SIG_IGN);
}

QuitOnSignal::~QuitOnSignal() {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction now = {};
        ::sigaction(signal, nullptr, &now);
        if (now.sa_handler == onSignal)
            ::signal(signal, SIG_DFL);
    }
    ::close(m_pipe[0]);
    ::close(m_pipe[1]);
}

} // namespace sorrelwind

// Copy to paste through everything: two virtual desktops, two agents, one hub, all real programs.
// Prints figures and never fails for being slow.
//
// usage: pipeline_bench [COPIES [SECONDS OF IDLING]]   (300 copies, 60 seconds)

#include "clipboard/make_pasteboard.h"
#include "tests/e2e/programs.h"
#include "tests/support/wait.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <unistd.h>

namespace {

using namespace sorrelwind;
using namespace sorrelwind::test;

struct Spread {
    double p50;
    double p99;
};

Spread spreadOf(std::vector<double> milliseconds) {
    std::ranges::sort(milliseconds);
    const auto at = [&](double share) {
        return milliseconds[static_cast<size_t>(share *
                                                static_cast<double>(milliseconds.size() - 1))];
    };
    return {at(0.5), at(0.99)};
}

// Runs `once` and gives back the milliseconds of each run; a run that fails ends the program.
std::vector<double> measure(int runs, const std::function<bool(int)>& once) {
    std::vector<double> milliseconds;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        if (!once(i)) {
            std::fprintf(stderr, "copy %d did not arrive within %lld ms\n", i,
                         static_cast<long long>(timer.elapsed()));
            std::exit(1);
        }
        milliseconds.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    return milliseconds;
}

QString textOf(qsizetype size, int number) {
    return QStringLiteral("%1 ").arg(number).leftJustified(size, u'x');
}

// From one program's copy on `from` to the whole text in the hands of a program on `to`.
Spread crossing(Pasteboard& from, Pasteboard& to, qsizetype size, int copies) {
    return spreadOf(measure(copies, [&](int i) {
        const QString text = textOf(size, i);
        from.setString(text);
        return waitFor([&] { return to.string() == text; });
    }));
}

Spread xclipOnOneDisplay(const Desktop& desktop, qsizetype size, int copies) {
    return spreadOf(measure(copies, [&](int i) {
        const QByteArray text = textOf(size, i).toUtf8();
        desktop.copy(text);
        return desktop.pastes(text);
    }));
}

double residentMegabytes(qint64 pid) {
    QFile memory(QStringLiteral("/proc/%1/statm").arg(pid));
    if (!memory.open(QIODevice::ReadOnly))
        return -1;
    return memory.readAll().split(' ').value(1).toDouble() *
           static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

// CPU time of all threads since they started.
double cpuMilliseconds(qint64 pid) {
    double nanoseconds = 0;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    for (const QString& thread : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile statistics(tasks.filePath(thread + QStringLiteral("/schedstat")));
        if (statistics.open(QIODevice::ReadOnly))
            nanoseconds += statistics.readAll().split(' ').value(0).toDouble();
    }
    return nanoseconds / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int copies = argc > 1 ? std::max(1, std::atoi(argv[1])) : 300;
    const int idleSeconds = argc > 2 ? std::atoi(argv[2]) : 60;

    QTemporaryDir folder;
    Hub hub(folder.path(), {QStringLiteral("--publish-rate"), QStringLiteral("0")});
    Desktop a(folder.path(), QStringLiteral("alpha"));
    Desktop b(folder.path(), QStringLiteral("beta"));
    a.createGroup(hub);
    b.joinByLink(a);
    const qint64 agent = b.status()[QStringLiteral("pid")].toInteger();
    std::printf("resident memory of a headless agent after joining: %.1f MB\n\n",
                residentMegabytes(agent));
    {
        const auto from = makePasteboard(ClipboardChoice::x11, {{}, a.display()});
        const auto to = makePasteboard(ClipboardChoice::x11, {{}, b.display()});
        std::printf("copy to paste, milliseconds     across two desktops      xclip to xclip, one "
                    "display\n");
        std::printf("%-28s %10s %10s %14s %10s\n", "", "p50", "p99", "p50", "p99");
        for (const auto& [name, size] :
             {std::pair("100 B", 100), std::pair("10 KB", 10'000), std::pair("1 MB", 1'000'000)}) {
            const Spread ours = crossing(*from, *to, size, copies);
            const Spread raw = xclipOnOneDisplay(a, size, std::min(copies, 100));
            std::printf("%-28s %10.2f %10.2f %14.2f %10.2f\n", name, ours.p50, ours.p99, raw.p50,
                        raw.p99);
            std::fflush(stdout);
        }
    }
    std::printf("\nresident memory of a headless agent after all copies: %.1f MB\n",
                residentMegabytes(agent));

    if (idleSeconds > 0) {
        runFor(std::chrono::seconds(2));
        const double before = cpuMilliseconds(agent);
        runFor(std::chrono::seconds(idleSeconds));
        std::printf("CPU time of an agent in %d s of idling: %.1f ms\n", idleSeconds,
                    cpuMilliseconds(agent) - before);
    }
    return 0;
}

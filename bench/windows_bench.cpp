// How long each window takes to be on the screen, and what the agent's memory is after all of them
// were shown. On an X server of its own. Prints figures and never fails for one.

#include "base/defaults.h"
#include "hosting/hub_host.h"
#include "tests/e2e/face_desktop.h"
#include "tests/support/wait.h"
#include "tests/ui/model_over_hub.h"
#include "ui/appearance.h"
#include "ui/launch_at_login.h"
#include "ui/onboarding_window.h"
#include "ui/pairing_window.h"
#include "ui/settings_window.h"
#include "ui/status_panel.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

using namespace sorrelwind;
using namespace sorrelwind::test;

/// Sees the first painting of any window.
class Eye final : public QObject {
public:
    bool painted = false;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        const auto* widget = qobject_cast<QWidget*>(watched);
        if (event->type() == QEvent::Paint && widget && widget->isWindow())
            painted = true;
        return false;
    }
};

/// Milliseconds from the wish until the window is painted and handed to the X server.
double opening(const std::function<void()>& open) {
    Eye eye;
    qApp->installEventFilter(&eye);
    QElapsedTimer timer;
    timer.start();
    open();
    (void)waitFor([&] { return eye.painted; });
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

void report(const char* window, const std::function<void()>& open,
            const std::function<void()>& close) {
    constexpr int kAgain = 20;
    const double first = opening(open);
    std::vector<double> again;
    for (int i = 0; i < kAgain; ++i) {
        close();
        runFor(std::chrono::milliseconds(150)); // it fades out
        again.push_back(opening(open));
    }
    close();
    runFor(std::chrono::milliseconds(150));
    std::ranges::sort(again);
    std::printf("%-11s first %5.1f ms, then p50 %5.1f ms, slowest of %d %5.1f ms\n", window, first,
                again[kAgain / 2], kAgain, again.back());
}

void reportOpening() {
    const QTemporaryDir folder;
    Defaults defaults(folder.path());
    Appearance appearance(std::nullopt);
    ModelOverHub over(defaults);
    const QStringList names{QStringLiteral("Pixel Tablet"), QStringLiteral("iPhone")};
    if (!over.start(ModelOverHub::devices(names)))
        return;
    over.hub.on(
        "POST /pair",
        {Answer{.body = "{\"code\":\"K7QM-3XTD\",\"expiresAt\":" +
                        QByteArray::number(QDateTime::currentMSecsSinceEpoch() + 600'000) + "}"}});
    HubHost hubHost(defaults, {.program = {}, .mayUseSystemd = false});
    LaunchAtLogin launchAtLogin;
    const auto copyText = [](const QString&) {};

    StatusPanelController panel(*over.model, over.l10n, {});
    report(
        "panel", [&] { panel.show(); }, [&] { panel.close(); });
    std::unique_ptr<PairingWindowController> pairing;
    report(
        "pairing",
        [&] {
            pairing = std::make_unique<PairingWindowController>(*over.model, over.l10n, copyText);
            pairing->present();
        },
        [&] { pairing.reset(); });
    SettingsWindowController settings(*over.model,
                                      {over.prefs, over.l10n, hubHost, launchAtLogin, copyText});
    report(
        "settings", [&] { settings.present(); }, [&] { settings.close(); });
    std::unique_ptr<OnboardingWindowController> onboarding;
    report(
        "onboarding",
        [&] {
            onboarding = std::make_unique<OnboardingWindowController>(
                *over.model, OnboardingServices{over.store, over.network, over.l10n, hubHost,
                                                launchAtLogin, copyText, [] { return true; }});
            onboarding->present();
        },
        [&] { onboarding.reset(); });
}

double residentMegabytes(qint64 pid) {
    QFile file(QStringLiteral("/proc/%1/statm").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toDouble() * 4096 / 1e6;
}

/// The real agent, whose windows are opened as a person would.
void reportMemory() {
    const QTemporaryDir folder;
    const Hub hub(folder.path());
    FaceDesktop face(folder.path(), QStringLiteral("agent"));
    const auto tray = face.host(FaceDesktop::tray());
    face.startAgent();
    const QString name = QStringLiteral("Sorrelwind");
    bool good = face.opens(name, 600);
    (void)face.command({QStringLiteral("create"), QStringLiteral("--server"), hub.url()});
    good = good && face.ready();
    face.press({QStringLiteral("Escape")});
    const qint64 pid = face.status()[QStringLiteral("pid")].toInteger();
    const double before = residentMegabytes(pid);
    const auto icon = face.icon();
    if (!good || !icon) {
        std::fputs("the agent did not come to its windows\n", stderr);
        return;
    }
    const QString down = QStringLiteral("Down");
    face.click(*icon);
    (void)waitFor([&] { return face.window(name, 340).has_value(); });
    face.press({QStringLiteral("Escape")});
    (void)face.closes(name, 340);
    for (const auto& [title, width, times] :
         {std::tuple("Add Device", 420, 2), {"Sorrelwind Settings", 500, 3}}) {
        face.choose(*icon, QStringList(times, down) + QStringList{QStringLiteral("Return")});
        if (!face.opens(QString::fromLatin1(title), width))
            std::fprintf(stderr, "%s did not open\n", title);
        face.press({QStringLiteral("Escape")});
    }
    std::printf("resident after onboarding %.1f MB, after panel, pairing and settings %.1f MB\n",
                before, residentMegabytes(pid));
}

} // namespace

int main(int argc, char** argv) {
    const Xvfb server;
    qputenv("DISPLAY", server.display());
    qputenv("QT_QPA_PLATFORM", "xcb");
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    reportOpening();
    reportMemory();
    return 0;
}

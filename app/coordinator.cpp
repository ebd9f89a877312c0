#include "app/coordinator.h"

#include "base/l10n.h"
#include "clipboard/clipboard_text.h"
#include "core/app_model.h"
#include "ui/app_icon.h"
#include "ui/compositor.h"
#include "ui/menu_look.h"
#include "ui/onboarding_window.h"
#include "ui/pairing_window.h"
#include "ui/settings_window.h"
#include "ui/status_panel.h"

#include <QApplication>
#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QTimer>

namespace sorrelwind {

namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr auto kBubbleTime = 1800ms;
constexpr auto kHostPatience = 20s; // a session may start its panel after this program

} // namespace

AppCoordinator::AppCoordinator(Services services, std::unique_ptr<StatusItem> statusItem)
    : m_services(services), m_statusItem(std::move(statusItem)), m_bubble(kBubbleTime) {
    AppModel& model = m_services.model;
    QGuiApplication::setWindowIcon(appIcon());
    connect(m_statusItem.get(), &StatusItem::clicked, this, &AppCoordinator::statusClicked);
    connect(m_statusItem.get(), &StatusItem::menuRequested, this, &AppCoordinator::showQuickMenu);

    const auto leaveFor = [this](void (AppCoordinator::*open)()) {
        return [this, open] {
            m_panel->close();
            (this->*open)();
        };
    };
    m_panel = std::make_unique<StatusPanelController>(
        model, m_services.l10n,
        StatusActions{.addDevice = leaveFor(&AppCoordinator::showPairing),
                      .openSettings = leaveFor(&AppCoordinator::showSettings),
                      .quit = [] { QCoreApplication::quit(); },
                      .resized =
                          [this] {
                              if (m_panel) // its view is filled before it is here
                                  m_panel->contentChanged();
                          }});
    m_panel->setAnchor([this] { return m_statusItem->anchor(); });
    m_panel->onMenuRequested = [this] { showQuickMenu(); };

    // No shortcuts of the toolkit's, which knows none for a menu that belongs to no window.
    qGuiApp->installEventFilter(this);

    model.showBubble = [this](const QString& text, BubbleKind kind) { showBubble(text, kind); };
    model.onNeedsOnboarding = [this] { startOver(); };
    connect(&model, &AppModel::changed, this, &AppCoordinator::render);
    render();
    QTimer::singleShot(kHostPatience, this, [this] {
        if (!m_statusItem->hosted())
            qInfo("no panel here shows icons; starting sorrelwind again opens its panel");
    });
    if (model.phase() != AppModel::Phase::running)
        showOnboarding();
}

AppCoordinator::~AppCoordinator() {
    m_services.model.showBubble = {};
    m_services.model.onNeedsOnboarding = {};
}

void AppCoordinator::render() {
    const AppModel& model = m_services.model;
    m_statusItem->setDimmed(model.paused());
    m_statusItem->setToolTip(model.phase() == AppModel::Phase::running
                                 ? model.statusText()
                                 : QStringLiteral("Sorrelwind"));
    m_statusItem->setMenu(quickMenu());
}

void AppCoordinator::show() {
    if (m_services.model.phase() == AppModel::Phase::running)
        m_panel->show();
    else
        showOnboarding();
}

void AppCoordinator::statusClicked() {
    if (m_panel->isVisible())
        m_panel->close();
    else
        show();
}

void AppCoordinator::showQuickMenu() {
    if (desktopPlacesWindows()) {
        show(); // a menu needs a window to open from; the panel offers the same
        return;
    }
    m_panel->close();
    m_quickMenu = std::make_unique<QMenu>(); // made anew, in the language of now
    dress(*m_quickMenu);
    for (const MenuEntry& entry : quickMenu()) {
        if (entry.text.isEmpty()) {
            m_quickMenu->addSeparator();
            continue;
        }
        QAction* action = m_quickMenu->addAction(entry.text, entry.shortcut, this, entry.chosen);
        action->setEnabled(entry.enabled);
    }
    m_statusItem->popUp(*m_quickMenu);
}

QList<MenuEntry> AppCoordinator::quickMenu() {
    const AppModel& model = m_services.model;
    const L10n& l10n = m_services.l10n;
    const bool running = model.phase() == AppModel::Phase::running;
    QList<MenuEntry> menu;
    if (running) {
        menu.append({.text = model.paused() ? l10n.text(u"恢复同步", u"Resume Sync")
                                            : l10n.text(u"暂停同步", u"Pause Sync"),
                     .chosen = [this] { togglePause(); }});
        menu.append(
            {.text = l10n.text(u"添加设备…", u"Add Device…"), .chosen = [this] { showPairing(); }});
    }
    menu.append({.text = l10n.text(u"设置…", u"Settings…"),
                 .shortcut = QKeySequence(Qt::CTRL | Qt::Key_Comma),
                 .enabled = running,
                 .chosen = [this] { showSettings(); }});
    menu.append(MenuEntry{});
    menu.append({.text = l10n.text(u"退出 Sorrelwind", u"Quit Sorrelwind"),
                 .shortcut = QKeySequence(Qt::CTRL | Qt::Key_Q),
                 .chosen = [] { QCoreApplication::quit(); }});
    return menu;
}

bool AppCoordinator::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress)
        return QObject::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    for (const MenuEntry& entry : quickMenu()) {
        if (!entry.enabled || entry.shortcut != QKeySequence(key->keyCombination()))
            continue;
        if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget()))
            menu->close();
        m_panel->close();
        if (!key->isAutoRepeat())
            entry.chosen();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void AppCoordinator::togglePause() {
    m_services.model.setPaused(!m_services.model.paused());
}

void AppCoordinator::showOnboarding() {
    if (!m_onboarding) {
        m_onboarding = std::make_unique<OnboardingWindowController>(
            m_services.model,
            OnboardingServices{m_services.store, m_services.network, m_services.l10n,
                               m_services.hubHost, m_services.launchAtLogin, copyHere(),
                               [this] { return m_statusItem->hosted(); }});
        m_onboarding->onFinish = [this] { m_onboarding.reset(); };
        // Onboarding finishes closing first.
        m_onboarding->onAddDevice = [this] {
            QMetaObject::invokeMethod(this, &AppCoordinator::showPairing, Qt::QueuedConnection);
        };
    }
    m_onboarding->present();
}

void AppCoordinator::showPairing() {
    if (m_services.model.phase() != AppModel::Phase::running)
        return;
    if (!m_pairing) {
        m_pairing = std::make_unique<PairingWindowController>(m_services.model, m_services.l10n,
                                                              copyHere());
        m_pairing->onClose = [this] { m_pairing.reset(); };
    }
    m_pairing->present();
}

void AppCoordinator::showSettings() {
    if (m_services.model.phase() != AppModel::Phase::running)
        return;
    if (!m_settings)
        m_settings = std::make_unique<SettingsWindowController>(
            m_services.model,
            SettingsServices{m_services.prefs, m_services.l10n, m_services.hubHost,
                             m_services.launchAtLogin, copyHere()});
    m_settings->present();
}

// For secrets, which no other device needs to have on its clipboard.
std::function<void(const QString&)> AppCoordinator::copyHere() {
    return [&model = m_services.model](const QString& text) {
        if (model.pasteboard().available()) {
            model.copyHere(text);
            return;
        }
        // The window in which it was asked for has the focus, so the toolkit can.
        auto* secret = new QMimeData;
        secret->setText(text);
        secret->setData(kPasswordHintType, "secret");
        QGuiApplication::clipboard()->setMimeData(secret);
    };
}

void AppCoordinator::showBubble(const QString& text, BubbleKind kind) {
    if (!m_panel->isVisible())
        m_bubble.show(text, kind, m_statusItem->anchor());
}

// This device is in no group any more: it left, or was removed.
void AppCoordinator::startOver() {
    m_panel->close();
    if (m_pairing)
        m_pairing->close();
    if (m_settings)
        m_settings->close();
    showOnboarding();
}

} // namespace sorrelwind

#pragma once

#include "base/bubble_kind.h"
#include "ui/status_item.h"
#include "ui/sync_bubble.h"

#include <QObject>

#include <functional>
#include <memory>

class QMenu;
namespace sorrelwind {

class Network;
class AccountStore;
class AppModel;
class HubHost;
class L10n;
class LaunchAtLogin;
class OnboardingWindowController;
class PairingWindowController;
class Prefs;
class SettingsWindowController;
class StatusPanelController;

/// Owns everything that is seen of the program: the status item, the bubble, the panel, and the
/// windows for onboarding, pairing and settings. Decides which of them opens when. Owned by the
/// agent, one per run; the model and the services outlive it.
class AppCoordinator final : public QObject {
    Q_OBJECT
public:
    struct Services {
        AppModel& model;
        const AccountStore& store;
        const Network& network;
        L10n& l10n;
        Prefs& prefs;
        HubHost& hubHost;
        LaunchAtLogin& launchAtLogin;
    };

    /// Shows the item, and onboarding at once when this device is in no group.
    AppCoordinator(Services services, std::unique_ptr<StatusItem> statusItem);
    ~AppCoordinator() override;

    /// The program was started again: shows what a click on the item would have opened.
    void show();
    void statusClicked();
    void showQuickMenu();
    void togglePause();

    /// The menu's shortcuts, in every window of the program and in the open menu.
    bool eventFilter(QObject* watched, QEvent* event) override;

    /// Each opens its window or brings it to the front. In no group only onboarding opens.
    void showOnboarding();
    void showPairing();
    void showSettings();

private:
    void render();
    [[nodiscard]] QList<MenuEntry> quickMenu();
    [[nodiscard]] std::function<void(const QString&)> copyHere();
    void showBubble(const QString& text, BubbleKind kind);
    void startOver();

    Services m_services;
    std::unique_ptr<StatusItem> m_statusItem;
    SyncBubble m_bubble;
    std::unique_ptr<StatusPanelController> m_panel;
    std::unique_ptr<OnboardingWindowController> m_onboarding;
    std::unique_ptr<PairingWindowController> m_pairing;
    std::unique_ptr<SettingsWindowController> m_settings;
    std::unique_ptr<QMenu> m_quickMenu;
};

} // namespace sorrelwind

#pragma once

#include <QObject>

#include <functional>
#include <memory>

namespace sorrelwind {

class AppModel;
class HubHost;
class L10n;
class LaunchAtLogin;
class Prefs;
class SettingsView;

/// What the settings window needs beside the model; all of it outlives the window.
struct SettingsServices {
    Prefs& prefs;
    L10n& l10n;
    HubHost& hubHost;
    LaunchAtLogin& launchAtLogin;
    std::function<void(const QString&)> copyText; // a secret, to this computer's clipboard only
};

/// The settings window of a device in a group. Kept by the coordinator for the rest of the run and
/// shown again; closing hides it.
class SettingsWindowController final : public QObject {
    Q_OBJECT
public:
    SettingsWindowController(AppModel& model, SettingsServices services);
    ~SettingsWindowController() override;

    void present();
    void close();
    [[nodiscard]] bool isVisible() const;

private:
    std::unique_ptr<SettingsView> m_view;
};

} // namespace sorrelwind

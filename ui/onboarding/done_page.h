#pragma once

#include "base/l10n.h"
#include "ui/onboarding/onboarding_page.h"

#include <functional>

namespace sorrelwind {

class AppModel;
class BrandButton;
class BrandSwitch;
class LaunchAtLogin;
class TextLabel;

/// The device is in its group; what to do next.
class DonePage final : public OnboardingPage {
    Q_OBJECT
public:
    DonePage(const AppModel& model, const L10n& l10n, LaunchAtLogin& launchAtLogin,
             std::function<bool()> showsIcon);

    void render() override;
    [[nodiscard]] QWidget* firstFocus() override;

    /// By a passphrase that was typed, of which nothing is known yet.
    void setJoinedByPassphrase(bool joined) { m_joinedByPassphrase = joined; }

    std::function<void()> onDone;
    std::function<void()> onAddDevice;

private:
    void flipLaunch(bool on);
    void renderKey();

    const AppModel& m_model;
    const L10n& m_l10n;
    LaunchAtLogin& m_launchAtLogin;
    std::function<bool()> m_showsIcon;
    TextLabel* m_title;
    TextLabel* m_text;
    TextLabel* m_keyNote;
    TextLabel* m_launchLabel;
    BrandSwitch* m_launch;
    TextLabel* m_launchNote;
    std::optional<Sentence> m_launchError;
    bool m_joinedByPassphrase = false;
    BrandButton* m_done;
    BrandButton* m_addDevice;
};

} // namespace sorrelwind

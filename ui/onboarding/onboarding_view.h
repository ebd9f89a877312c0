#pragma once

#include "ui/onboarding/create_page.h"
#include "ui/plain_window.h"

class QStackedWidget;

namespace sorrelwind {

class AppModel;
class ChoosePage;
class DonePage;
class IconButton;
class JoinPage;
class LaunchAtLogin;
class LinkButton;
class TextLabel;
class WelcomePage;

/// The onboarding window itself: its pages and the ways between them, the language switch, and the
/// model's notice above every page.
class OnboardingView final : public PlainWindow {
    Q_OBJECT
public:
    struct Parts {
        AppModel& model;
        L10n& l10n;
        LaunchAtLogin& launchAtLogin;
        CreatePage::Prefill prefill;
        std::function<void(const QString&)> copyText;
        std::function<bool()> showsIcon;
    };
    explicit OnboardingView(const Parts& parts);

    void render();
    void showChoose();
    void showCreate();
    void showJoin();
    void showDone();

    [[nodiscard]] CreatePage& createPage() { return *m_create; }
    [[nodiscard]] JoinPage& joinPage() { return *m_join; }
    [[nodiscard]] DonePage& donePage() { return *m_done; }

private:
    [[nodiscard]] QList<OnboardingPage*> pages() const;
    void turnTo(OnboardingPage* page);

    AppModel& m_model;
    L10n& m_l10n;
    LinkButton* m_language;
    QWidget* m_notice;
    TextLabel* m_noticeText;
    IconButton* m_dismiss;
    QStackedWidget* m_pages;
    WelcomePage* m_welcome;
    ChoosePage* m_choose;
    CreatePage* m_create;
    JoinPage* m_join;
    DonePage* m_done;
};

} // namespace sorrelwind

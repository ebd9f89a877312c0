#pragma once

#include "base/l10n.h"
#include "ui/onboarding/onboarding_page.h"

#include <functional>

namespace sorrelwind {

class BrandButton;
class ChoiceCard;
class TextLabel;

/// A new group, or one that is there already?
class ChoosePage final : public OnboardingPage {
    Q_OBJECT
public:
    explicit ChoosePage(const L10n& l10n);

    void render() override;
    [[nodiscard]] QWidget* firstFocus() override;

    std::function<void()> onCreate;
    std::function<void()> onJoin;
    std::function<void()> onBack;

private:
    const L10n& m_l10n;
    TextLabel* m_title;
    TextLabel* m_text;
    ChoiceCard* m_create;
    ChoiceCard* m_join;
    BrandButton* m_back;
};

} // namespace sorrelwind

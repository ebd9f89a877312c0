#pragma once

#include "base/l10n.h"
#include "ui/onboarding/onboarding_page.h"

#include <functional>

namespace sorrelwind {

class BrandButton;
class TextLabel;

/// What the program is for, in a sentence.
class WelcomePage final : public OnboardingPage {
    Q_OBJECT
public:
    explicit WelcomePage(const L10n& l10n);

    void render() override;
    [[nodiscard]] QWidget* firstFocus() override;

    std::function<void()> onStart;

private:
    const L10n& m_l10n;
    TextLabel* m_title;
    TextLabel* m_text;
    BrandButton* m_start;
};

} // namespace sorrelwind

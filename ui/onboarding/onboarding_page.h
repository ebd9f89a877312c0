#pragma once

#include <QWidget>

namespace sorrelwind {

/// One page of the onboarding window. It shows what it is given and tells by callbacks what the
/// person wants.
class OnboardingPage : public QWidget {
    Q_OBJECT
public:
    /// Puts the texts and states of this moment into the page; may be called at any time.
    virtual void render() = 0;
    /// Where the keyboard starts.
    [[nodiscard]] virtual QWidget* firstFocus() = 0;
};

} // namespace sorrelwind

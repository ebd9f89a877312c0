#pragma once

#include "base/l10n.h"
#include "ui/pairing_state.h"
#include "ui/plain_window.h"

#include <functional>

class QStackedLayout;

namespace sorrelwind {

class BrandButton;
class CodeGroups;
class CountdownRing;
class QrCard;
class TextLabel;

/// The pairing window itself: it draws a PairingState, which it owns, and hands on what is pressed.
class PairingView final : public PlainWindow {
    Q_OBJECT
public:
    PairingView(AppModel& model, const L10n& l10n);

    [[nodiscard]] PairingState& state() { return m_state; }

    std::function<void()> onCopy;

    void render();

private:
    [[nodiscard]] QWidget* codePage();
    [[nodiscard]] QWidget* joinedPage();
    [[nodiscard]] QWidget* failedPage();
    [[nodiscard]] QLayout* codeRow();
    [[nodiscard]] QLayout* stepsRow();
    [[nodiscard]] BrandButton* doneButton();
    void renderCode();

    const L10n& m_l10n;
    PairingState m_state;
    QList<BrandButton*> m_done;
    QList<TextLabel*> m_steps;

    QStackedLayout* m_pages;
    TextLabel* m_heading = nullptr;
    TextLabel* m_line = nullptr;
    QrCard* m_qr = nullptr;
    BrandButton* m_copy = nullptr;
    TextLabel* m_keyWarning = nullptr;
    TextLabel* m_loopback = nullptr;
    TextLabel* m_orType = nullptr;
    CodeGroups* m_code = nullptr;
    CountdownRing* m_ring = nullptr;
    TextLabel* m_valid = nullptr;
    TextLabel* m_hub = nullptr;
    TextLabel* m_needs = nullptr;

    TextLabel* m_joinedTitle = nullptr;
    TextLabel* m_joinedLine = nullptr;
    BrandButton* m_another = nullptr;
    TextLabel* m_error = nullptr;
    BrandButton* m_retry = nullptr;
};

} // namespace sorrelwind

#pragma once

#include "ui/pairing_view.h"

#include <memory>

namespace sorrelwind {

/// The window that invites another device. The coordinator keeps one controller while the window
/// exists; each presentation asks for a fresh code.
class PairingWindowController {
public:
    /// `copyText` puts the pairing link, a secret, on the clipboard in a way that is not
    /// synchronised.
    PairingWindowController(AppModel& model, const L10n& l10n,
                            std::function<void(const QString&)> copyText);
    ~PairingWindowController();
    PairingWindowController(const PairingWindowController&) = delete;
    PairingWindowController& operator=(const PairingWindowController&) = delete;

    void present();
    [[nodiscard]] bool isVisible() const { return m_window->isVisible(); }
    void close();

    /// The window has been closed. The callee may destroy this controller.
    std::function<void()> onClose;

    [[nodiscard]] PairingState& state() { return m_window->state(); }
    [[nodiscard]] PairingView& window() { return *m_window; }

private:
    struct Discard {
        void operator()(PairingView* window) const { window->deleteLater(); }
    };

    void closed();

    // Goes by deleteLater, because it may be in the midst of closing.
    std::unique_ptr<PairingView, Discard> m_window;
};

} // namespace sorrelwind

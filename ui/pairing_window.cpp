#include "ui/pairing_window.h"

namespace sorrelwind {

PairingWindowController::PairingWindowController(AppModel& model, const L10n& l10n,
                                                 std::function<void(const QString&)> copyText)
    : m_window(new PairingView(model, l10n)) {
    m_window->onCopy = [this, copyText = std::move(copyText)] {
        copyText(state().url());
        state().setLinkCopied();
    };
    m_window->onClosed = [this] { closed(); };
}

PairingWindowController::~PairingWindowController() {
    m_window->onCopy = {};
    m_window->onClosed = {};
    state().stop();
    m_window->hide();
}

void PairingWindowController::present() {
    m_window->present();
    state().generate();
}

void PairingWindowController::close() {
    m_window->close();
}

void PairingWindowController::closed() {
    state().stop();
    if (const auto callback = onClose)
        callback();
}

} // namespace sorrelwind

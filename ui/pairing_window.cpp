#include "ui/pairing_window.h"

#include <QScreen>

namespace sorrelwind {

PairingWindowController::PairingWindowController(AppModel& model, const L10n& l10n,
                                                 std::function<void(const QString&)> copyText)
    : m_window(new PairingView(model, l10n)) {
    m_window->onCopy = [this, copyText = std::move(copyText)] {
        copyText(state().url());
        state().setLinkCopied();
    };
    m_window->onClosing = [this] { closing(); };
}

PairingWindowController::~PairingWindowController() {
    m_window->onCopy = {};
    m_window->onClosing = {};
    state().stop();
    m_window->hide();
}

void PairingWindowController::present() {
    if (!m_window->isVisible()) {
        QRect frame = m_window->geometry();
        frame.moveCenter(m_window->screen()->availableGeometry().center());
        m_window->move(frame.topLeft());
        m_window->show();
    }
    m_window->raise();
    m_window->activateWindow();
    state().generate();
}

void PairingWindowController::close() {
    m_window->close();
}

void PairingWindowController::closing() {
    state().stop();
    if (const auto callback = onClose)
        callback();
}

} // namespace sorrelwind

#include "ui/settings_window.h"

#include "hosting/hub_host.h"
#include "ui/settings/settings_view.h"

namespace sorrelwind {

SettingsWindowController::SettingsWindowController(AppModel& model, SettingsServices services)
    : m_hubHost(services.hubHost), m_view(std::make_unique<SettingsView>(model, services)) {}

SettingsWindowController::~SettingsWindowController() = default;

void SettingsWindowController::present() {
    m_hubHost.refresh();
    m_view->render();
    if (!m_view->isVisible())
        m_view->focusFirst();
    m_view->present();
}

void SettingsWindowController::close() {
    m_view->close();
}

bool SettingsWindowController::isVisible() const {
    return m_view->isVisible();
}

} // namespace sorrelwind

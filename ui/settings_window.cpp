#include "ui/settings_window.h"

#include "ui/hub_host.h"
#include "ui/settings/settings_view.h"

namespace sorrelwind {

SettingsWindowController::SettingsWindowController(AppModel& model, SettingsServices services)
    : m_view(std::make_unique<SettingsView>(model, services)) {
    services.hubHost.refresh();
}

SettingsWindowController::~SettingsWindowController() = default;

void SettingsWindowController::present() {
    m_view->render();
    m_view->present();
}

void SettingsWindowController::close() {
    m_view->close();
}

bool SettingsWindowController::isVisible() const {
    return m_view->isVisible();
}

} // namespace sorrelwind

#pragma once

#include "ui/plain_window.h"
#include "ui/settings_window.h"

namespace sorrelwind {

class Card;
class DeviceSection;
class DisplaySection;
class GroupSection;
class TextLabel;

/// The settings window itself: three sections one under the other, which scroll when notes make
/// them taller than the window.
class SettingsView final : public PlainWindow {
    Q_OBJECT
public:
    SettingsView(AppModel& model, const SettingsServices& services);

    void render();
    /// Puts the focus where something is wanted; else no field has it.
    void focusFirst();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    SettingsServices m_services;
    TextLabel* m_title;
    DeviceSection* m_device;
    DisplaySection* m_display;
    GroupSection* m_group;
};

/// The small title over a card, and the section made of both.
[[nodiscard]] TextLabel* newSettingsHeader();
void fillSettingsSection(QWidget& section, TextLabel* header, Card* card);

} // namespace sorrelwind

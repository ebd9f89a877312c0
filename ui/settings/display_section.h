#pragma once

#include "ui/settings_window.h"

#include <QWidget>

namespace sorrelwind {

class BrandSwitch;
class ChoiceControl;
class SettingsRow;
class TextLabel;

/// How the program looks and speaks.
class DisplaySection final : public QWidget {
    Q_OBJECT
public:
    DisplaySection(AppModel& model, const SettingsServices& services);

    void render();

private:
    AppModel& m_model;
    SettingsServices m_services;
    TextLabel* m_header;
    SettingsRow* m_appearanceRow;
    ChoiceControl* m_appearance;
    SettingsRow* m_bubbleRow;
    BrandSwitch* m_bubble;
    SettingsRow* m_languageRow;
    ChoiceControl* m_language;
};

} // namespace sorrelwind

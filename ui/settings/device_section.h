#pragma once

#include "base/l10n.h"
#include "base/task.h"
#include "hub/hub_error.h"
#include "ui/settings_window.h"

#include <QWidget>

#include <optional>

namespace sorrelwind {

class BrandSwitch;
class PassphraseRow;
class SettingsRow;
class TextField;
class TextLabel;

/// What belongs to this device: its name, the passphrase it holds, whether it starts at login.
class DeviceSection final : public QWidget {
    Q_OBJECT
public:
    DeviceSection(AppModel& model, const SettingsServices& services);

    void render();
    /// The window goes: a name that was typed is saved, the passphrase is covered again.
    void leave();
    /// A field that waits to be filled in, if there is one.
    [[nodiscard]] QWidget* wantedField() const;

private:
    void saveName();
    Task<> rename(QString name);
    void flipLaunch(bool on);
    void renderName();
    void renderClipboard();

    AppModel& m_model;
    SettingsServices m_services;
    TextLabel* m_header;
    SettingsRow* m_nameRow;
    TextField* m_name;
    PassphraseRow* m_passphrase;
    SettingsRow* m_launchRow;
    BrandSwitch* m_launch;
    SettingsRow* m_clipboardRow;
    TextLabel* m_clipboard;

    std::optional<QString> m_shownName; // the model's, as it was last put into the field
    std::optional<HubError> m_nameError;
    std::optional<Sentence> m_launchError;
    TaskScope m_tasks;
};

} // namespace sorrelwind

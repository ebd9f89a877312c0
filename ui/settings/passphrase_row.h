#pragma once

#include "base/l10n.h"
#include "base/task.h"
#include "core/app_model.h"
#include "ui/settings_window.h"

#include <QWidget>

#include <optional>

namespace sorrelwind {

class BrandButton;
class IconButton;
class SettingsRow;
class TextField;
class TextLabel;

/// The passphrase that this device holds, covered until asked for. Where what arrives cannot be
/// opened with it, a field to enter it again.
class PassphraseRow final : public QWidget {
    Q_OBJECT
public:
    PassphraseRow(AppModel& model, const SettingsServices& services);

    void render();
    /// The window goes: the passphrase is covered, and what was typed is forgotten.
    void leave();
    /// The field, while it is there.
    [[nodiscard]] QWidget* field() const;

private:
    [[nodiscard]] bool busy() const { return m_progress.has_value(); }
    void renderStored();
    void renderForm();
    [[nodiscard]] QString storedNote() const;
    void copy();
    void submit();
    void cancel();
    Task<> enter(QString passphrase);

    AppModel& m_model;
    SettingsServices m_services;
    TextLabel* m_stored;
    IconButton* m_reveal;
    IconButton* m_copy;
    SettingsRow* m_row;
    QWidget* m_form;
    TextField* m_field;
    BrandButton* m_use;
    BrandButton* m_cancel;
    TextLabel* m_said;

    bool m_revealed = false;
    bool m_entered = false;             // while this window is open
    std::optional<Sentence> m_progress; // while the key is derived
    std::optional<Sentence> m_error;
    TaskScope m_tasks;
};

} // namespace sorrelwind

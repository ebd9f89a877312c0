#pragma once

#include "base/l10n.h"
#include "base/task.h"
#include "ui/settings_window.h"

#include <QWidget>

namespace sorrelwind {

class BrandButton;
class SettingsRow;
class TextLabel;

/// What belongs to the group: its hub, which may run here, and the way out.
class GroupSection final : public QWidget {
    Q_OBJECT
public:
    GroupSection(AppModel& model, const SettingsServices& services);

    void render();
    /// Withdraws a question that was not answered; false when there is none.
    bool dropQuestion();

    /// It grew by a question.
    std::function<void()> onAsked;

private:
    enum class Question { none, stopHub, leaveGroup };

    void ask(Question question);
    void switchHub();
    Task<> leaveGroup();
    void renderHub();
    void renderLeave();
    [[nodiscard]] bool hubGoesWithGroup() const;

    AppModel& m_model;
    SettingsServices m_services;
    TextLabel* m_header;
    SettingsRow* m_hubRow;
    TextLabel* m_hub;
    BrandButton* m_hostCancel;
    BrandButton* m_host;
    SettingsRow* m_leaveRow;
    BrandButton* m_leaveCancel;
    BrandButton* m_leave;

    Question m_question = Question::none;
    bool m_switching = false;
    bool m_leaving = false;
    std::optional<Sentence> m_hostError;
    TaskScope m_tasks;
};

} // namespace sorrelwind

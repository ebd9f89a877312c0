#pragma once

#include "ui/controls/text_role.h"

#include <QWidget>

class QHBoxLayout;

namespace sorrelwind {

class TextLabel;

/// A row of a settings card: what it is on the left, its controls on the right, and below, when
/// there is something to say, a note.
class SettingsRow final : public QWidget {
    Q_OBJECT
public:
    explicit SettingsRow(QWidget* control = nullptr);

    /// The label, which also names the control for assistive technology.
    void setLabel(const QString& text);
    void addControl(QWidget* control);
    /// Empty hides it.
    void setNote(const QString& text, TextRole role = TextRole::tertiary);

private:
    QHBoxLayout* m_line;
    TextLabel* m_label;
    TextLabel* m_note;
    QWidget* m_control;
};

} // namespace sorrelwind

#include "ui/settings/settings_row.h"

#include "ui/controls/text_label.h"
#include "ui/palette.h"

#include <QHBoxLayout>

namespace sorrelwind {

SettingsRow::SettingsRow(QWidget* control)
    : m_line(new QHBoxLayout), m_label(new TextLabel({}, Palette::TextSize::footnote)),
      m_note(new TextLabel({}, Palette::TextSize::caption)), m_control(control) {
    m_label->setElided(true);
    m_note->setContentsMargins(0, 0, 0, 6);
    m_note->hide();
    m_line->setSpacing(Palette::Space::s2);
    m_line->addStrut(36); // as tall as a button, where there is none as well
    m_line->addWidget(m_label, 1);
    if (control)
        m_line->addWidget(control);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(14, 4, 14, 4);
    column->setSpacing(0);
    m_line->setContentsMargins(0, 0, 0, 0);
    column->addLayout(m_line, 1);
    column->addWidget(m_note);
    setMinimumHeight(44);
}

void SettingsRow::setLabel(const QString& text) {
    m_label->setText(text);
    if (m_control)
        m_control->setAccessibleName(text);
}

void SettingsRow::addControl(QWidget* control) {
    m_line->addWidget(control);
}

void SettingsRow::setNote(const QString& text, TextRole role) {
    m_note->setRole(role);
    m_note->setText(text);
    m_note->setVisible(!text.isEmpty());
}

} // namespace sorrelwind

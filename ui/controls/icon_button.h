#pragma once

#include "ui/controls/control.h"
#include "ui/controls/text_role.h"

#include <functional>

namespace sorrelwind {

/// A button of 28 × 28 that shows one symbol; its help is the tool tip and the accessible name.
class IconButton final : public Control {
    Q_OBJECT
public:
    IconButton(const QString& systemName, const QString& help, std::function<void()> action,
               QWidget* parent = nullptr);

    void setSymbol(const QString& systemName);
    void setHelp(const QString& help);
    /// The colour of the symbol; secondary unless set.
    void setRole(TextRole role);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_symbol;
    TextRole m_role = TextRole::secondary;
};

} // namespace sorrelwind

#pragma once

#include "ui/controls/text_role.h"

#include <QFont>
#include <QLabel>

namespace sorrelwind {

/// A text in the program's font and a colour by its role, plain whatever it holds. It wraps; when
/// elided it is one line that gives way to its neighbours, and shows the whole in a tool tip.
class TextLabel final : public QLabel {
    Q_OBJECT
public:
    TextLabel(const QString& text, int size, QFont::Weight weight = QFont::Normal,
              TextRole role = TextRole::primary, QWidget* parent = nullptr);

    void setRole(TextRole role);
    void setElided(bool elided);

    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool event(QEvent* event) override;

private:
    void recolour();

    TextRole m_role;
    bool m_elided = false;
};

} // namespace sorrelwind

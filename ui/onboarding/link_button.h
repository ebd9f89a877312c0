#pragma once

#include "ui/controls/control.h"

namespace sorrelwind {

/// A button that is only its text, for what stands aside: the language switch, a way back.
class LinkButton final : public Control {
    Q_OBJECT
public:
    explicit LinkButton(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace sorrelwind

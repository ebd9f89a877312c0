#pragma once

#include "ui/controls/control.h"

#include <QVariantAnimation>

namespace sorrelwind {

/// An on-off switch in the brand's colours. Its knob slides when a person flips it; a change made
/// by the program, or while it is hidden, shows at once. Give it an accessible name.
class BrandSwitch final : public Control {
    Q_OBJECT
public:
    explicit BrandSwitch(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void nextCheckState() override;

private:
    QVariantAnimation m_slide; // 0 is off, 1 is on
};

} // namespace sorrelwind

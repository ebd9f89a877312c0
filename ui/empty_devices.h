#pragma once

#include "ui/controls/control.h"

#include "base/l10n.h"

namespace sorrelwind {

/// The card that stands where the other devices will be: pressing it anywhere adds the first one.
class EmptyDevices final : public Control {
    Q_OBJECT
public:
    explicit EmptyDevices(QWidget* parent = nullptr);

    void render(Lang lang);
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_line;
};

} // namespace sorrelwind

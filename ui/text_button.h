#pragma once

#include "ui/controls/control.h"

namespace sorrelwind {

/// A button that is only its accent-coloured text, with a symbol before it. The text is its
/// accessible name.
class TextButton final : public Control {
    Q_OBJECT
public:
    explicit TextButton(const QString& symbol, QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_symbol;
};

} // namespace sorrelwind

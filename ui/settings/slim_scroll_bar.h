#pragma once

#include <QScrollBar>

namespace sorrelwind {

/// A scroll bar that is only a thin handle, and nothing at all while everything fits.
class SlimScrollBar final : public QScrollBar {
    Q_OBJECT
public:
    explicit SlimScrollBar(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace sorrelwind

#pragma once

#include <QAbstractButton>

namespace sorrelwind {

/// What every control that is pressed has in common: it is reached by Tab and pressed by Space and
/// Enter, looks alive under the pointer, paints itself from the tokens and so follows a switch of
/// the appearance.
class Control : public QAbstractButton {
    Q_OBJECT
public:
    explicit Control(QWidget* parent = nullptr);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;

    [[nodiscard]] bool hovered() const { return isEnabled() && underMouse(); }
};

/// Whether to show that `widget` has the focus: once the keyboard has moved it in this window.
[[nodiscard]] bool showsFocus(const QWidget& widget);

/// A line of 2 inside the edge of a control with rounded corners.
void paintFocusRing(QPainter& painter, const QRectF& edge, qreal radius, const QColor& colour);

} // namespace sorrelwind

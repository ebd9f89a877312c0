#pragma once

#include <QVariantAnimation>
#include <QWidget>

namespace sorrelwind {

/// The tick that says that a device has joined; it springs into place each time that it appears.
class SpringMark final : public QWidget {
    Q_OBJECT
public:
    explicit SpringMark(int size, QWidget* parent = nullptr);

    /// Where a damped spring of response 0.45 s and damping fraction 0.65 is, that was let go at 0
    /// and comes to rest at 1.
    [[nodiscard]] static double springAt(double seconds);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QVariantAnimation m_seconds;
};

} // namespace sorrelwind

#pragma once

#include <QDateTime>
#include <QVariantAnimation>
#include <QWidget>

namespace sorrelwind {

/// What remains of a pairing code's lifetime, as minutes and seconds in a ring that empties. Owned
/// by the pairing view, which tells it the time.
class CountdownRing final : public QWidget {
    Q_OBJECT
public:
    static constexpr double kTotal = 600; // seconds

    explicit CountdownRing(QWidget* parent = nullptr);

    void setTime(const QDateTime& expiresAt, const QDateTime& now, bool expired);

    /// Whole seconds until `expiresAt`, never negative.
    [[nodiscard]] static qint64 remaining(const QDateTime& expiresAt, const QDateTime& now);
    /// "9:59"; "0:00" once `expired`.
    [[nodiscard]] static QString label(const QDateTime& expiresAt, const QDateTime& now,
                                       bool expired);
    /// The part of `total` seconds that remains, 0 … 1.
    [[nodiscard]] static double progress(const QDateTime& expiresAt, const QDateTime& now,
                                         double total);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_label;
    QVariantAnimation m_arc; // its value is the part of the circle that is drawn
};

} // namespace sorrelwind

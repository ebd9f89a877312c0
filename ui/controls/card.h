#pragma once

#include <QVBoxLayout>
#include <QWidget>

namespace sorrelwind {

/// A rounded surface that holds rows one under the other, with a line between any two.
class Card final : public QWidget {
    Q_OBJECT
public:
    explicit Card(QWidget* parent = nullptr);

    /// The card comes to own the row, which brings its own inner margins.
    void addRow(QWidget* row);
    [[nodiscard]] QVBoxLayout* rows() const { return m_rows; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    QVBoxLayout* m_rows;
};

} // namespace sorrelwind

#pragma once

#include <QLineEdit>

namespace sorrelwind {

/// A line of text to fill in, 36 high, with the program's own border and focus. Unless it is being
/// filled in, it shows the beginning of its text. Give it an accessible name.
class TextField final : public QLineEdit {
    Q_OBJECT
public:
    explicit TextField(const QString& text = {}, QWidget* parent = nullptr);

    /// Shows the border of something to mend.
    void setFaulty(bool faulty);
    /// Room for controls laid over the right end.
    void setRightInset(int width);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void recolour();

    bool m_faulty = false;
};

} // namespace sorrelwind

#pragma once

#include <QStringList>
#include <QWidget>

#include <functional>

namespace sorrelwind {

/// A few choices side by side, of which one holds. Tab reaches it as one control, the arrow keys
/// choose. Give it an accessible name; its description is the choice that holds.
class ChoiceControl final : public QWidget {
    Q_OBJECT
public:
    explicit ChoiceControl(QWidget* parent = nullptr);

    void setChoices(const QStringList& choices);
    [[nodiscard]] const QStringList& choices() const { return m_choices; }
    /// Tells nobody.
    void setCurrent(int index);
    [[nodiscard]] int current() const { return m_current; }

    /// A person chose another one.
    std::function<void(int index)> onChosen;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void choose(int index);
    [[nodiscard]] int choiceWidth(int index) const;
    [[nodiscard]] QRect choiceBox(int index) const;
    [[nodiscard]] int choiceAt(QPoint position) const;

    QStringList m_choices;
    int m_current = 0;
};

} // namespace sorrelwind

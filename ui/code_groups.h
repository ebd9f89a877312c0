#pragma once

#include <QStringList>
#include <QWidget>

namespace sorrelwind {

/// A pairing code for typing by hand: each of its groups in a box of its own.
class CodeGroups final : public QWidget {
    Q_OBJECT
public:
    explicit CodeGroups(QWidget* parent = nullptr);

    /// Groups are separated by "-". An empty code shows empty boxes.
    void setCode(const QString& code);
    [[nodiscard]] const QStringList& groups() const { return m_groups; }

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    [[nodiscard]] int boxWidth(const QString& group) const;

    QStringList m_groups;
};

} // namespace sorrelwind

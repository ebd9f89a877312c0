#pragma once

#include "ui/controls/text_role.h"

#include <QVariantAnimation>
#include <QWidget>

namespace sorrelwind {

/// A symbol in the colour of a role. It turns while something is going on and it can be seen.
/// Decoration: the text beside it says what it means.
class SymbolView final : public QWidget {
    Q_OBJECT
public:
    SymbolView(int size, TextRole role, const QString& name = {}, QWidget* parent = nullptr);

    void setSymbol(const QString& name, TextRole role);
    void setTurning(bool turning);

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void settle();

    QString m_name;
    TextRole m_role;
    bool m_turning = false;
    QVariantAnimation m_turn; // degrees
};

} // namespace sorrelwind

#pragma once

#include "ui/controls/control.h"

namespace sorrelwind {

class SymbolBadge;
class TextLabel;

/// A large button of one way to go on: a symbol, a title, a sentence.
class ChoiceCard final : public Control {
    Q_OBJECT
public:
    explicit ChoiceCard(const QString& symbol, QWidget* parent = nullptr);

    void setTexts(const QString& title, const QString& description);

    [[nodiscard]] QSize sizeHint() const override { return {226, 148}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    TextLabel* m_title;
    TextLabel* m_description;
};

} // namespace sorrelwind

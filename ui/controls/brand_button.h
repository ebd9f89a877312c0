#pragma once

#include "ui/controls/control.h"

#include <QString>

namespace sorrelwind {

/// A push button with a text and an optional symbol before it. `wide` takes the width it is given.
/// Its text is its accessible name.
class BrandButton final : public Control {
    Q_OBJECT
public:
    enum class Kind { primary, secondary, destructive };

    explicit BrandButton(Kind kind, bool wide = false, QWidget* parent = nullptr);

    /// Empty: none.
    void setSymbol(const QString& name);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    [[nodiscard]] QColor background() const;
    [[nodiscard]] QColor foreground() const;
    [[nodiscard]] int contentWidth() const;

    Kind m_kind;
    QString m_symbol;
};

} // namespace sorrelwind

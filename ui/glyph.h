#pragma once

#include "ui/controls/text_role.h"

#include <QWidget>

namespace sorrelwind {

/// A symbol beside a text, in a colour by its role. Decoration: the text says what it means.
class Glyph final : public QWidget {
    Q_OBJECT
public:
    Glyph(const QString& symbol, int size, TextRole role, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_symbol;
    TextRole m_role;
};

} // namespace sorrelwind

#pragma once

#include <QWidget>

namespace sorrelwind {

/// A symbol on a softly tinted, rounded square of `size`. Decoration: the text beside it says what
/// it shows, so it has no accessible name unless it is given one.
class SymbolBadge final : public QWidget {
    Q_OBJECT
public:
    SymbolBadge(const QString& systemName, int size, QWidget* parent = nullptr);

    void setSymbol(const QString& systemName);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_symbol;
};

} // namespace sorrelwind

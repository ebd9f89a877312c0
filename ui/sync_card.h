#pragma once

#include "core/app_model.h"

#include <QWidget>

namespace sorrelwind {

class StatusDot;
class SymbolBadge;
class TextLabel;

/// The state of the clipboard sync at a glance, at the top of the status panel.
class SyncCard final : public QWidget {
    Q_OBJECT
public:
    explicit SyncCard(QWidget* parent = nullptr);

    void render(const AppModel& model, Lang lang);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    SymbolBadge* m_badge;
    TextLabel* m_title;
    StatusDot* m_dot;
    TextLabel* m_status;
    TextLabel* m_caption;
};

} // namespace sorrelwind

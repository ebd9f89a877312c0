#pragma once

#include "base/l10n.h"
#include "core/activity.h"

#include <QWidget>

namespace sorrelwind {

class TextLabel;

/// One line of the status panel: what became of the last copy in one direction, and when.
class ActivityRow final : public QWidget {
    Q_OBJECT
public:
    explicit ActivityRow(QWidget* parent = nullptr);

    void setActivity(const Activity& activity, const QDateTime& now, Lang lang);

    [[nodiscard]] static QString symbol(const Activity& activity);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    TextLabel* m_text;
    TextLabel* m_time;
    Activity m_activity;
};

} // namespace sorrelwind

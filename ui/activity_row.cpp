#include "ui/activity_row.h"

#include "core/device_display.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"
#include "ui/symbol.h"

#include <QHBoxLayout>
#include <QPainter>

namespace sorrelwind {

namespace {

using Direction = Activity::Direction;

constexpr int kHeight = 25;
constexpr int kSymbol = 16;
constexpr int kTextAt = kSymbol + Palette::Space::s2;

} // namespace

ActivityRow::ActivityRow(QWidget* parent)
    : QWidget(parent), m_text(new TextLabel({}, Palette::TextSize::footnote)),
      m_time(new TextLabel({}, Palette::TextSize::caption, QFont::Normal, TextRole::tertiary)) {
    setFixedHeight(kHeight);
    m_text->setElided(true);
    m_time->setWordWrap(false);
    m_time->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Preferred);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(kTextAt, 0, 0, 0);
    row->setSpacing(Palette::Space::s2);
    row->addWidget(m_text, 1);
    row->addWidget(m_time);
}

QString ActivityRow::symbol(const Activity& activity) {
    switch (activity.direction) {
    case Direction::sent:
        return QStringLiteral("arrow.up.circle.fill");
    case Direction::received:
        return QStringLiteral("arrow.down.circle.fill");
    case Direction::failed:
        break;
    }
    return QStringLiteral("exclamationmark.circle.fill");
}

void ActivityRow::setActivity(const Activity& activity, const QDateTime& now, Lang lang) {
    m_activity = activity;
    m_text->setText(activityText(activity, lang));
    m_time->setText(relativeTime(activity.date, now, lang));
    update();
}

void ActivityRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paintSymbol(
        painter, symbol(m_activity), QRectF(0, (height() - kSymbol) / 2.0, kSymbol, kSymbol),
        m_activity.direction == Direction::failed || m_activity.unsealed ? Palette::Role::warning()
                                                                         : Brand::accentText(),
        Palette::Role::surface());
}

} // namespace sorrelwind

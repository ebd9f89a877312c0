#include "ui/sync_card.h"

#include "ui/controls/status_dot.h"
#include "ui/controls/symbol_badge.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"

#include <QHBoxLayout>
#include <QPainter>

namespace sorrelwind {

namespace {

using Space = Palette::Space;

TextRole roleOf(AppModel::StatusColor color) {
    switch (color) {
    case AppModel::StatusColor::green:
        return TextRole::success;
    case AppModel::StatusColor::orange:
        return TextRole::warning;
    case AppModel::StatusColor::red:
        return TextRole::danger;
    case AppModel::StatusColor::secondary:
        break;
    }
    return TextRole::tertiary;
}

} // namespace

SyncCard::SyncCard(QWidget* parent)
    : QWidget(parent), m_badge(new SymbolBadge({}, 40)),
      m_title(new TextLabel({}, Palette::TextSize::footnote, QFont::DemiBold)),
      m_dot(new StatusDot(TextRole::tertiary)),
      m_status(new TextLabel({}, Palette::TextSize::caption, QFont::Medium)),
      m_caption(new TextLabel({}, Palette::TextSize::caption, QFont::Normal, TextRole::secondary)) {
    auto* status = new QHBoxLayout;
    status->setSpacing(6);
    status->addWidget(m_dot);
    status->addWidget(m_status, 1);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    texts->addWidget(m_title);
    texts->addLayout(status);
    texts->addWidget(m_caption);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(Space::s3, Space::s3, Space::s3, Space::s3);
    row->setSpacing(Space::s3);
    row->addWidget(m_badge);
    row->addLayout(texts, 1);
}

void SyncCard::render(const AppModel& model, Lang lang) {
    m_badge->setSymbol(model.paused() ? QStringLiteral("pause.fill")
                                      : QStringLiteral("arrow.triangle.2.circlepath"));
    m_title->setText(pick(lang, u"剪贴板同步", u"Clipboard Sync"));
    m_dot->setRole(roleOf(model.statusColor()));
    m_dot->setPulsing(!model.paused() && model.connection() == SyncState::connecting);
    m_status->setText(model.statusText());
    m_caption->setText(model.caption());
}

void SyncCard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Palette::Role::fill());
    painter.drawRoundedRect(rect(), Palette::Radius::md, Palette::Radius::md);
}

} // namespace sorrelwind

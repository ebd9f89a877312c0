#include "ui/device_row.h"

#include "base/printable.h"
#include "core/device_display.h"
#include "ui/controls/brand_button.h"
#include "ui/controls/icon_button.h"
#include "ui/controls/status_dot.h"
#include "ui/controls/symbol_badge.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"
#include "ui/plain_tool_tip.h"

#include <QEvent>
#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QPainter>

namespace sorrelwind {

namespace {

using Space = Palette::Space;

constexpr int kBadge = 36;

} // namespace

DeviceRow::DeviceRow(QWidget* parent)
    : QWidget(parent), m_badge(new SymbolBadge({}, kBadge)),
      m_name(new TextLabel({}, Palette::TextSize::footnote, QFont::DemiBold)),
      m_subtitle(new TextLabel({}, Palette::TextSize::caption, QFont::Normal, TextRole::secondary)),
      m_online(new StatusDot(TextRole::success)),
      m_remove(
          new IconButton(QStringLiteral("minus.circle.fill"), {}, [this] { setConfirming(true); })),
      m_question(new QWidget),
      m_ask(new TextLabel({}, Palette::TextSize::footnote, QFont::Medium, TextRole::danger)),
      m_note(new TextLabel({}, Palette::TextSize::caption, QFont::Normal, TextRole::secondary)),
      m_cancel(new BrandButton(BrandButton::Kind::secondary)),
      m_confirm(new BrandButton(BrandButton::Kind::destructive)) {
    setAttribute(Qt::WA_Hover);
    m_name->setElided(true);
    m_subtitle->setElided(true);
    m_remove->setRole(TextRole::danger);
    m_remove->installEventFilter(this);
    // Unseen but still there, so that Tab reaches it.
    m_remove->setGraphicsEffect(new QGraphicsOpacityEffect);
    connect(m_cancel, &QAbstractButton::clicked, this, [this] { setConfirming(false); });
    connect(m_confirm, &QAbstractButton::clicked, this, [this] {
        setConfirming(false);
        if (onRemove)
            onRemove(m_device.id);
    });

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(Space::s2);
    buttons->addStretch();
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_confirm);
    auto* question = new QVBoxLayout(m_question);
    question->setContentsMargins(0, Space::s1, 0, 0);
    question->setSpacing(2);
    question->addWidget(m_ask);
    question->addWidget(m_note);
    question->addSpacing(6);
    question->addLayout(buttons);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(1);
    texts->addStretch();
    texts->addWidget(m_name);
    texts->addWidget(m_subtitle);
    texts->addWidget(m_question);
    texts->addStretch();

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(Space::s2, 6, Space::s2, 6);
    row->setSpacing(Space::s3);
    row->addWidget(m_badge, 0, Qt::AlignTop);
    row->addLayout(texts, 1);
    row->addWidget(m_remove);
    row->addWidget(m_online);
    showParts();
}

void DeviceRow::setDevice(const DeviceInfo& device, bool isSelf, const QDateTime& now, Lang lang) {
    m_device = device;
    m_isSelf = isSelf;
    m_badge->setSymbol(symbolName(device));
    m_badge->setToolTip(plainToolTip(kindLabel(device, lang)));
    const QString name = printable(device.name);
    m_name->setText(name);
    m_subtitle->setText(presence(device, isSelf, now, lang));
    m_remove->setHelp(pick(lang, u"移除“%1”", u"Remove “%1”").arg(isolated(device.name)));
    m_ask->setText(pick(lang, u"移除这台设备", u"Remove this device"));
    m_note->setText(pick(lang, u"移除后需重新扫码才能加入", u"It must pair again to rejoin"));
    m_cancel->setText(pick(lang, u"取消", u"Cancel"));
    m_confirm->setText(pick(lang, u"移除", u"Remove"));
    setAccessibleName(name);
    setAccessibleDescription(kindLabel(device, lang) + QStringLiteral(" · ") + m_subtitle->text());
    showParts();
}

void DeviceRow::setConfirming(bool confirming) {
    if (m_confirming == confirming || (confirming && m_isSelf))
        return;
    const bool byKeyboard = m_remove->hasFocus() || m_cancel->hasFocus() || m_confirm->hasFocus();
    m_confirming = confirming;
    showParts();
    if (byKeyboard)
        (confirming ? m_cancel : static_cast<QWidget*>(m_remove))->setFocus(Qt::TabFocusReason);
    if (onResized)
        onResized();
}

void DeviceRow::showParts() {
    m_subtitle->setVisible(!m_confirming);
    m_question->setVisible(m_confirming);
    // The buttons of all rows stand in one column, online or not.
    QSizePolicy room = m_online->sizePolicy();
    room.setRetainSizeWhenHidden(!m_confirming);
    m_online->setSizePolicy(room);
    m_online->setVisible(!m_confirming && m_device.online);
    m_remove->setVisible(!m_confirming && !m_isSelf);
    const bool seen = underMouse() || m_remove->hasFocus();
    static_cast<QGraphicsOpacityEffect*>(m_remove->graphicsEffect())->setOpacity(seen ? 1 : 0);
    update();
}

void DeviceRow::enterEvent(QEnterEvent* event) {
    QWidget::enterEvent(event);
    showParts();
}

void DeviceRow::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    showParts();
}

bool DeviceRow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut)
        QMetaObject::invokeMethod(this, &DeviceRow::showParts, Qt::QueuedConnection);
    return QWidget::eventFilter(watched, event);
}

void DeviceRow::paintEvent(QPaintEvent*) {
    if (!underMouse() && !m_confirming)
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Palette::Role::fill());
    painter.drawRoundedRect(rect(), Palette::Radius::sm, Palette::Radius::sm);
}

} // namespace sorrelwind

#include "ui/status_view.h"

#include "ui/activity_row.h"
#include "ui/controls/icon_button.h"
#include "ui/controls/logo_tile.h"
#include "ui/controls/slim_scroll_area.h"
#include "ui/controls/text_label.h"
#include "ui/device_row.h"
#include "ui/empty_devices.h"
#include "ui/menu_look.h"
#include "ui/palette.h"
#include "ui/symbol_view.h"
#include "ui/sync_card.h"
#include "ui/text_button.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>

namespace sorrelwind {

namespace {

using Space = Palette::Space;

constexpr int kWidth = 340;
constexpr int kEdge = Space::s3;
constexpr int kLeastList = 3 * 48; // three rows stay in sight on the smallest screen

class Separator final : public QWidget {
public:
    Separator() { setFixedHeight(1); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).fillRect(rect(), Palette::Role::separator());
    }
};

/// The capsule behind the number of devices.
class Pill final : public QWidget {
public:
    explicit Pill(QWidget* content) {
        auto* layout = new QHBoxLayout(this);
        layout->setContentsMargins(7, 1, 7, 2);
        layout->addWidget(content);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Palette::Role::fill());
        painter.drawRoundedRect(rect(), height() / 2.0, height() / 2.0);
    }
};

/// A hidden window's layouts learn of new texts only when it shows; this one is measured before.
void settle(QWidget& widget) {
    for (QWidget* child : widget.findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly))
        settle(*child);
    if (QLayout* layout = widget.layout()) {
        layout->invalidate();
        layout->activate();
    }
}

int heightOf(QWidget& widget, int width) {
    settle(widget);
    const QLayout* layout = widget.layout();
    return layout->hasHeightForWidth() ? layout->totalHeightForWidth(width)
                                       : layout->totalSizeHint().height();
}

} // namespace

StatusView::StatusView(AppModel& model, const L10n& l10n, StatusActions actions)
    : m_model(model), m_l10n(l10n), m_actions(std::move(actions)), m_card(new SyncCard),
      m_sent(new ActivityRow), m_received(new ActivityRow) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    const auto add = [&](QWidget* part, int above) {
        auto* inset = new QHBoxLayout;
        inset->setContentsMargins(kEdge, above, kEdge, 0);
        inset->addWidget(part);
        column->addLayout(inset);
    };
    add(header(), 10);
    add(banner(), Space::s1);
    add(m_card, Space::s2);
    auto* activity = new QWidget;
    auto* activities = new QVBoxLayout(activity);
    activities->setContentsMargins(Space::s2, Space::s2, Space::s2, 0);
    activities->setSpacing(0);
    activities->addWidget(m_sent);
    activities->addWidget(m_received);
    add(activity, 0);
    add(devicesHeading(), 6);
    add(devicesList(), Space::s1);
    add(footer(), Space::s2);

    m_minute.setInterval(std::chrono::minutes(1));
    connect(&m_minute, &QTimer::timeout, this, &StatusView::render);
    connect(&m_model, &AppModel::changed, this, [this] {
        if (isVisible())
            render();
    });
    render();
}

StatusView::~StatusView() = default;

QWidget* StatusView::header() {
    auto* part = new QWidget;
    m_settings = new IconButton(QStringLiteral("gearshape"), {}, [this] {
        if (m_actions.openSettings)
            m_actions.openSettings();
    });
    m_more = new IconButton(QStringLiteral("ellipsis"), {}, [this] { showMore(); });
    auto* row = new QHBoxLayout(part);
    row->setContentsMargins(Space::s1, 0, 0, 0);
    row->setSpacing(Space::s1);
    row->addWidget(new LogoTile(26));
    row->addSpacing(Space::s1);
    row->addWidget(
        new TextLabel(QStringLiteral("Sorrelwind"), Palette::TextSize::callout, QFont::DemiBold),
        1);
    row->addWidget(m_settings);
    row->addWidget(m_more);
    return part;
}

QWidget* StatusView::banner() {
    m_banner = new QWidget;
    m_warning = new TextLabel({}, Palette::TextSize::caption, QFont::Medium, TextRole::warning);
    auto* row = new QHBoxLayout;
    row->setSpacing(Space::s2);
    row->addWidget(
        new SymbolView(16, TextRole::warning, QStringLiteral("exclamationmark.triangle.fill")), 0,
        Qt::AlignTop);
    row->addWidget(m_warning, 1);
    m_cancelDerivation = new TextButton(QStringLiteral("xmark"));
    connect(m_cancelDerivation, &QAbstractButton::clicked, &m_model, &AppModel::cancelDerivation);
    row->addWidget(m_cancelDerivation, 0, Qt::AlignTop);
    m_enterPassphrase = new TextButton(QStringLiteral("lock.shield.fill"));
    connect(m_enterPassphrase, &QAbstractButton::clicked, this, [this] {
        if (m_actions.openSettings)
            m_actions.openSettings(); // which has the field for it
    });
    auto* column = new QVBoxLayout(m_banner);
    column->setContentsMargins(Space::s2, Space::s1, Space::s2, Space::s1);
    column->setSpacing(0);
    column->addLayout(row);
    column->addWidget(m_enterPassphrase, 0, Qt::AlignRight);
    return m_banner;
}

QWidget* StatusView::devicesHeading() {
    auto* part = new QWidget;
    m_heading = new TextLabel({}, Palette::TextSize::footnote, QFont::DemiBold);
    m_heading->setWordWrap(false);
    m_count = new TextLabel({}, Palette::TextSize::caption, QFont::Medium, TextRole::secondary);
    m_count->setWordWrap(false);
    m_add = new TextButton(QStringLiteral("plus"));
    connect(m_add, &QAbstractButton::clicked, this, [this] {
        if (m_actions.addDevice)
            m_actions.addDevice();
    });
    auto* row = new QHBoxLayout(part);
    row->setContentsMargins(Space::s2, 0, 2, 0);
    row->setSpacing(Space::s2);
    row->addWidget(m_heading);
    row->addWidget(new Pill(m_count), 0, Qt::AlignVCenter);
    row->addStretch();
    row->addWidget(m_add);
    return part;
}

QWidget* StatusView::devicesList() {
    auto* list = new QWidget;
    m_rows = new QVBoxLayout(list);
    m_rows->setContentsMargins(0, 0, 0, 0);
    m_rows->setSpacing(2);
    m_empty = new EmptyDevices;
    connect(m_empty, &QAbstractButton::clicked, this, [this] {
        if (m_actions.addDevice)
            m_actions.addDevice();
    });
    m_rows->addWidget(m_empty);
    m_rows->addStretch();
    m_scroll = new SlimScrollArea(list);
    return m_scroll;
}

QWidget* StatusView::footer() {
    auto* part = new QWidget;
    m_promise = new TextLabel({}, Palette::TextSize::caption, QFont::Normal, TextRole::tertiary);
    m_promise->setWordWrap(false);
    auto* row = new QHBoxLayout;
    row->setContentsMargins(0, 11, 0, 12);
    row->setSpacing(6);
    row->addStretch();
    row->addWidget(new SymbolView(13, TextRole::tertiary, QStringLiteral("lock.shield.fill")));
    row->addWidget(m_promise);
    row->addStretch();
    auto* column = new QVBoxLayout(part);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(new Separator);
    column->addLayout(row);
    return part;
}

void StatusView::render() {
    m_settings->setHelp(m_l10n.text(u"设置", u"Settings"));
    m_more->setHelp(m_l10n.text(u"更多", u"More"));
    const QString warning =
        m_removeError ? m_removeError->in(m_l10n.lang()) : m_model.warning().value_or(QString());
    m_warning->setText(warning);
    m_banner->setVisible(!warning.isEmpty());
    m_cancelDerivation->setText(m_l10n.text(u"取消", u"Cancel"));
    m_cancelDerivation->setVisible(!m_removeError && m_model.longDerivation());
    m_enterPassphrase->setText(m_l10n.text(u"输入口令…", u"Enter Passphrase…"));
    m_enterPassphrase->setVisible(!m_removeError && m_model.wantsPassphrase());
    m_enterPassphrase->updateGeometry();
    m_card->render(m_model, m_l10n.lang());
    renderActivity(*m_sent, m_model.lastSent());
    renderActivity(*m_received, m_model.lastReceived());
    m_heading->setText(m_l10n.text(u"设备", u"Devices"));
    m_count->setText(QString::number(m_model.devices().size()));
    m_add->setText(m_l10n.text(u"添加设备", u"Add Device"));
    m_add->updateGeometry();
    renderDevices();
    m_promise->setText(m_l10n.text(u"端到端加密 · 服务器只转发，送达即删除",
                                   u"End-to-end encrypted · relayed, never stored"));
    if (m_actions.resized)
        m_actions.resized();
}

void StatusView::renderActivity(ActivityRow& row, const std::optional<Activity>& activity) {
    row.setVisible(activity.has_value());
    if (activity)
        row.setActivity(*activity, QDateTime::currentDateTimeUtc(), m_l10n.lang());
}

void StatusView::renderDevices() {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const std::optional<QString> self = m_model.selfId();
    auto gone = std::exchange(m_rowOf, {});
    bool alone = true;
    int position = 0;
    for (const DeviceInfo& device : m_model.shownDevices()) {
        if (m_rowOf.contains(device.id))
            continue;
        DeviceRow* row = gone.take(device.id);
        if (!row) {
            row = new DeviceRow;
            row->onRemove = [this](const QString& id) { m_tasks.start(remove(id)); };
            row->onResized = [this] {
                if (m_actions.resized)
                    m_actions.resized();
            };
        }
        m_rowOf.insert(device.id, row);
        const bool isSelf = device.id == self;
        alone = alone && isSelf;
        row->setDevice(device, isSelf, now, m_l10n.lang());
        if (m_rows->indexOf(row) != position)
            m_rows->insertWidget(position, row);
        row->show();
        ++position;
    }
    // A row may be what has just been pressed.
    for (DeviceRow* row : std::as_const(gone)) {
        m_rows->removeWidget(row);
        row->hide();
        row->deleteLater();
    }
    m_empty->render(m_l10n.lang());
    m_empty->setVisible(alone);
}

Task<> StatusView::remove(QString id) {
    m_removeError = co_await m_model.removeDevice(id);
    render();
}

StatusView::MenuTexts StatusView::menuTexts() const {
    return {m_model.paused() ? m_l10n.text(u"恢复同步", u"Resume Sync")
                             : m_l10n.text(u"暂停同步", u"Pause Sync"),
            m_l10n.text(u"退出 Sorrelwind", u"Quit Sorrelwind")};
}

void StatusView::showMore() {
    const MenuTexts texts = menuTexts();
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    dress(*menu);
    connect(menu->addAction(texts.pause), &QAction::triggered, this,
            [this] { m_model.setPaused(!m_model.paused()); });
    menu->addSeparator();
    connect(menu->addAction(texts.quit), &QAction::triggered, this, [this] {
        if (m_actions.quit)
            m_actions.quit();
    });
    if (m_more->hasFocus()) // by the keyboard
        menu->setActiveAction(menu->actions().first());
    const QPoint corner = m_more->mapToGlobal(QPoint(m_more->width(), m_more->height() + 4));
    menu->popup(corner - QPoint(menu->sizeHint().width(), 0));
}

QSize StatusView::fit(int tallest) {
    const int list = heightOf(*m_scroll->widget(), kWidth - 2 * kEdge);
    m_scroll->setFixedHeight(list);
    int height = heightOf(*this, kWidth);
    if (height > tallest) {
        const int shorter = std::max(std::min(list, kLeastList), list - (height - tallest));
        m_scroll->setFixedHeight(shorter);
        height = heightOf(*this, kWidth);
    }
    return {kWidth, height};
}

bool StatusView::dropQuestions() {
    bool dropped = false;
    for (DeviceRow* row : std::as_const(m_rowOf)) {
        dropped = dropped || row->isConfirming();
        row->setConfirming(false);
    }
    return dropped;
}

void StatusView::reset() {
    m_removeError.reset();
    dropQuestions();
    if (QWidget* focused = focusWidget())
        focused->clearFocus();
    window()->setAttribute(Qt::WA_KeyboardFocusChange, false);
    m_scroll->verticalScrollBar()->setValue(0);
}

void StatusView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    m_minute.start();
}

void StatusView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    m_minute.stop();
}

} // namespace sorrelwind

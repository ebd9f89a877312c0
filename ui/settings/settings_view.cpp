#include "ui/settings/settings_view.h"

#include "base/l10n.h"
#include "core/app_model.h"
#include "ui/controls/card.h"
#include "ui/controls/slim_scroll_area.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"
#include "ui/settings/device_section.h"
#include "ui/settings/display_section.h"
#include "ui/settings/group_section.h"

#include <QKeyEvent>
#include <QTimer>

namespace sorrelwind {

namespace {
constexpr QSize kSize(500, 600);
}

TextLabel* newSettingsHeader() {
    return new TextLabel({}, Palette::TextSize::caption, QFont::DemiBold, TextRole::secondary);
}

void fillSettingsSection(QWidget& section, TextLabel* header, Card* card) {
    auto* column = new QVBoxLayout(&section);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(Palette::Space::s2);
    header->setContentsMargins(4, 0, 4, 0);
    column->addWidget(header);
    column->addWidget(card);
}

SettingsView::SettingsView(AppModel& model, const SettingsServices& services)
    : PlainWindow(kSize), m_services(services),
      m_title(new TextLabel({}, Palette::TextSize::title3, QFont::Bold)),
      m_device(new DeviceSection(model, services)), m_display(new DisplaySection(model, services)),
      m_group(new GroupSection(model, services)) {
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(24, 10, 14, 8); // the scroll bar adds to the right
    column->setSpacing(Palette::Space::s3);
    column->addWidget(m_title);
    column->addWidget(m_device);
    column->addWidget(m_display);
    column->addWidget(m_group);
    column->addStretch();
    auto* scroll = new SlimScrollArea(content);
    scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(scroll);

    // A question at the lower end is to be seen whole.
    m_group->onAsked = [this, scroll] {
        QTimer::singleShot(0, m_group,
                           [this, scroll] { scroll->ensureWidgetVisible(m_group, 0, 20); });
    };
    onClosed = [this] {
        m_device->leave();
        m_group->dropQuestion();
    };
    connect(&model, &AppModel::changed, this, &SettingsView::render);
    render();
}

void SettingsView::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Escape || !m_group->dropQuestion())
        PlainWindow::keyPressEvent(event);
}

void SettingsView::focusFirst() {
    QWidget* wanted = m_device->wantedField();
    (wanted ? wanted : this)->setFocus();
}

void SettingsView::render() {
    setWindowTitle(m_services.l10n.text(u"Sorrelwind 设置", u"Sorrelwind Settings"));
    m_title->setText(m_services.l10n.text(u"设置", u"Settings"));
    m_device->render();
    m_display->render();
    m_group->render();
}

} // namespace sorrelwind

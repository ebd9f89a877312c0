#include "ui/settings/settings_view.h"

#include "base/l10n.h"
#include "core/app_model.h"
#include "ui/controls/card.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"
#include "ui/settings/device_section.h"
#include "ui/settings/display_section.h"
#include "ui/settings/group_section.h"

#include <QScrollArea>

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
    // As other windows of the desktop, it keeps the title that it was opened with.
    setWindowTitle(services.l10n.text(u"Sorrelwind 设置", u"Sorrelwind Settings"));
    auto* content = new QWidget;
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(24, 16, 24, 24);
    column->setSpacing(Palette::Space::s4);
    column->addWidget(m_title);
    column->addWidget(m_device);
    column->addWidget(m_display);
    column->addWidget(m_group);
    column->addStretch();
    auto* scroll = new QScrollArea;
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFocusPolicy(Qt::NoFocus);
    scroll->viewport()->setAutoFillBackground(false);
    content->setAutoFillBackground(false);
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(scroll);

    onClosed = [this] {
        m_device->leave();
        m_group->leave();
    };
    connect(&model, &AppModel::changed, this, &SettingsView::render);
    render();
}

void SettingsView::render() {
    m_title->setText(m_services.l10n.text(u"设置", u"Settings"));
    m_device->render();
    m_display->render();
    m_group->render();
}

} // namespace sorrelwind

#include "ui/onboarding/welcome_page.h"

#include "ui/controls/brand_button.h"
#include "ui/controls/logo_tile.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"

#include <QVBoxLayout>

namespace sorrelwind {

WelcomePage::WelcomePage(const L10n& l10n)
    : m_l10n(l10n), m_title(new TextLabel({}, Palette::TextSize::title2, QFont::Bold)),
      m_text(new TextLabel({}, Palette::TextSize::callout, QFont::Normal, TextRole::secondary)),
      m_start(new BrandButton(BrandButton::Kind::primary, true)) {
    m_title->setAlignment(Qt::AlignCenter);
    m_text->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    m_text->setFixedWidth(400);
    m_start->setFixedWidth(220);
    connect(m_start, &BrandButton::clicked, this, [this] { onStart(); });

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(64, 0, 64, 56);
    column->setSpacing(0);
    column->addStretch();
    column->addWidget(new LogoTile(88), 0, Qt::AlignHCenter);
    column->addSpacing(Palette::Space::s5);
    column->addWidget(m_title);
    column->addSpacing(Palette::Space::s3);
    column->addWidget(m_text, 0, Qt::AlignHCenter);
    column->addSpacing(Palette::Space::s6);
    column->addWidget(m_start, 0, Qt::AlignHCenter);
    column->addStretch();
}

void WelcomePage::render() {
    m_title->setText(m_l10n.text(u"这里复制，那里粘贴", u"Copy here, paste there"));
    m_text->setText(m_l10n.text(
        u"Sorrelwind 让你自己的各台设备共用一个剪贴板：\n"
        u"内容在本机加密，由服务器转发，只有你能读到。",
        u"Sorrelwind keeps the clipboards of your own devices in step — encrypted on this device, "
        u"relayed by the hub, readable only by you."));
    m_start->setText(m_l10n.text(u"开始使用", u"Get Started"));
}

QWidget* WelcomePage::firstFocus() {
    return m_start;
}

} // namespace sorrelwind

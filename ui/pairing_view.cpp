#include "ui/pairing_view.h"

#include "base/machine_words.h"
#include "base/printable.h"
#include "ui/code_groups.h"
#include "ui/controls/brand_button.h"
#include "ui/controls/slim_scroll_area.h"
#include "ui/controls/text_label.h"
#include "ui/countdown_ring.h"
#include "ui/palette.h"
#include "ui/qr_card.h"
#include "ui/spring_mark.h"
#include "ui/symbol_view.h"

#include <QBoxLayout>
#include <QStackedLayout>

namespace sorrelwind {

namespace {

using Space = Palette::Space;
using Size = Palette::TextSize;
using Kind = BrandButton::Kind;

constexpr QSize kSize(420, 600);
constexpr int kMark = 64;

TextLabel* centred(int size, QFont::Weight weight, TextRole role) {
    auto* label = new TextLabel({}, size, weight, role);
    label->setAlignment(Qt::AlignCenter);
    return label;
}

QVBoxLayout* columnOf(QWidget* page) {
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(Space::s5, Space::s4, Space::s5, Space::s4);
    column->setSpacing(0);
    return column;
}

} // namespace

PairingView::PairingView(AppModel& model, const L10n& l10n)
    : PlainWindow(kSize), m_l10n(l10n), m_state(model), m_pages(new QStackedLayout(this)) {
    m_pages->addWidget(codePage());
    m_pages->addWidget(joinedPage());
    m_pages->addWidget(failedPage());
    connect(&m_state, &PairingState::changed, this, &PairingView::render);
    // The language, and the hub's address.
    connect(&model, &AppModel::changed, this, &PairingView::render);
    render();
}

QWidget* PairingView::codePage() {
    auto* page = new QWidget;
    m_heading = centred(Size::title3, QFont::Bold, TextRole::primary);
    m_line = centred(Size::footnote, QFont::Normal, TextRole::secondary);
    m_qr = new QrCard;
    connect(m_qr, &QrCard::renew, &m_state, &PairingState::generate);
    m_copy = new BrandButton(Kind::secondary);
    connect(m_copy, &QAbstractButton::clicked, this, [this] {
        if (onCopy)
            onCopy();
    });
    m_keyWarning = centred(Size::caption, QFont::Normal, TextRole::warning);
    // Narrower than the page, so that two lines are of like length.
    m_keyWarning->setContentsMargins(Space::s10, 0, Space::s10, 0);
    m_loopback = centred(Size::caption, QFont::Medium, TextRole::warning);
    m_loopback->setContentsMargins(0, Space::s1, 0, 0);
    m_orType = centred(Size::footnote, QFont::Normal, TextRole::secondary);

    m_hub = centred(Size::caption, QFont::Medium, TextRole::secondary);
    m_hub->setElided(true);
    m_needs = centred(Size::caption, QFont::Normal, TextRole::secondary);

    auto* scrolled = new QWidget;
    auto* column = columnOf(scrolled);
    column->setContentsMargins(Space::s5, Space::s3, Space::s5, Space::s3);
    column->addWidget(m_heading);
    column->addSpacing(2);
    column->addWidget(m_line);
    column->addStretch(2);
    column->addWidget(m_qr, 0, Qt::AlignHCenter);
    column->addStretch(1);
    column->addWidget(m_copy, 0, Qt::AlignHCenter);
    column->addSpacing(6);
    column->addWidget(m_keyWarning);
    column->addWidget(m_loopback);
    column->addSpacing(6);
    column->addStretch(2);
    column->addWidget(m_orType);
    column->addSpacing(6);
    column->addLayout(codeRow());
    column->addSpacing(6);
    column->addWidget(m_hub);
    column->addWidget(m_needs);
    column->addSpacing(6);
    column->addStretch(2);
    column->addLayout(stepsRow());
    auto* whole = new QVBoxLayout(page);
    whole->setContentsMargins(0, 0, 0, Space::s4);
    whole->setSpacing(0);
    whole->addWidget(new SlimScrollArea(scrolled), 1);
    auto* done = new QHBoxLayout;
    done->setContentsMargins(Space::s5, 0, Space::s5, 0);
    done->addWidget(doneButton());
    whole->addLayout(done);
    return page;
}

QLayout* PairingView::codeRow() {
    m_code = new CodeGroups;
    m_ring = new CountdownRing;
    QSizePolicy keepsRoom = m_ring->sizePolicy();
    keepsRoom.setRetainSizeWhenHidden(true);
    m_ring->setSizePolicy(keepsRoom);
    m_valid = new TextLabel({}, Size::caption, QFont::Normal, TextRole::secondary);
    auto* row = new QHBoxLayout;
    row->setSpacing(Space::s3);
    row->addStretch();
    row->addWidget(m_code);
    row->addWidget(m_ring);
    row->addWidget(m_valid);
    row->addStretch();
    return row;
}

QLayout* PairingView::stepsRow() {
    auto* row = new QHBoxLayout;
    row->setSpacing(Space::s1);
    for (const char* symbol : {"camera", "arrow.up.forward.app", "checkmark.seal"}) {
        m_steps.append(centred(Size::caption, QFont::Normal, TextRole::secondary));
        m_steps.last()->setWordWrap(false);
        row->addStretch();
        row->addWidget(new SymbolView(18, TextRole::accent, QLatin1StringView(symbol)));
        row->addWidget(m_steps.last());
        row->addStretch();
    }
    return row;
}

BrandButton* PairingView::doneButton() {
    m_done.append(new BrandButton(Kind::primary, true));
    connect(m_done.last(), &QAbstractButton::clicked, this, &QWidget::close);
    return m_done.last();
}

QWidget* PairingView::joinedPage() {
    auto* page = new QWidget;
    m_joinedTitle = centred(Size::title3, QFont::Bold, TextRole::primary);
    m_joinedLine = centred(Size::callout, QFont::Normal, TextRole::secondary);
    m_another = new BrandButton(Kind::secondary, true);
    connect(m_another, &QAbstractButton::clicked, &m_state, &PairingState::generate);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(Space::s2);
    buttons->addWidget(m_another);
    buttons->addWidget(doneButton());
    auto* column = columnOf(page);
    column->addStretch();
    column->addWidget(new SpringMark(kMark), 0, Qt::AlignHCenter);
    column->addSpacing(Space::s4);
    column->addWidget(m_joinedTitle);
    column->addSpacing(Space::s2);
    column->addWidget(m_joinedLine);
    column->addStretch();
    column->addLayout(buttons);
    return page;
}

QWidget* PairingView::failedPage() {
    auto* page = new QWidget;
    m_error = centred(Size::callout, QFont::Normal, TextRole::primary);
    m_retry = new BrandButton(Kind::primary);
    connect(m_retry, &QAbstractButton::clicked, &m_state, &PairingState::generate);

    auto* column = columnOf(page);
    column->addStretch();
    column->addWidget(
        new SymbolView(48, TextRole::warning, QStringLiteral("exclamationmark.triangle.fill")), 0,
        Qt::AlignHCenter);
    column->addSpacing(Space::s4);
    column->addWidget(m_error);
    column->addSpacing(Space::s5);
    column->addWidget(m_retry, 0, Qt::AlignHCenter);
    column->addStretch();
    return page;
}

void PairingView::render() {
    setWindowTitle(m_l10n.text(u"添加设备", u"Add Device"));
    for (BrandButton* done : std::as_const(m_done))
        done->setText(m_l10n.text(u"完成", u"Done"));
    m_another->setText(m_l10n.text(u"再添加一台", u"Add Another"));
    m_retry->setText(m_l10n.text(u"重试", u"Retry"));
    m_joinedLine->setText(
        m_l10n.text(u"它现在会收到你在这台" COMPUTER_ZH u"上复制的内容。",
                    u"It will now receive what you copy on this " COMPUTER_EN u"."));
    renderCode();

    int page = 0;
    if (const auto* joined = std::get_if<PairingState::Joined>(&m_state.phase())) {
        m_joinedTitle->setText(
            m_l10n.text(u"已添加「%1」", u"Added “%1”").arg(isolated(joined->name)));
        page = 1;
    } else if (const auto* failed = std::get_if<PairingState::Failed>(&m_state.phase())) {
        m_error->setText(failed->error.message(m_l10n.lang()));
        page = 2;
    }
    if (m_pages->currentIndex() == page)
        return;
    m_pages->setCurrentIndex(page);
    // Enter does what the page is for.
    static_cast<QWidget*>(page == 0 ? m_copy : page == 1 ? m_done.last() : m_retry)->setFocus();
}

void PairingView::renderCode() {
    const bool ready = std::holds_alternative<PairingState::Ready>(m_state.phase());
    const bool expired = std::holds_alternative<PairingState::Expired>(m_state.phase());
    m_heading->setText(m_l10n.text(u"添加设备", u"Add a Device"));
    const QString line = m_l10n.text(u"用平板或手机的相机扫描二维码",
                                     u"Scan the QR code with your tablet or phone camera");
    m_line->setText(line);
    m_qr->setUrl(m_state.url());
    m_qr->setTexts(line, m_l10n.text(u"配对码已过期", u"This code has expired"),
                   m_l10n.text(u"重新生成", u"Generate New Code"));
    m_qr->setExpired(expired);
    const bool copied = m_state.linkCopied();
    m_copy->setText(copied ? m_l10n.text(u"已复制", u"Copied")
                           : m_l10n.text(u"复制配对链接", u"Copy Pairing Link"));
    m_copy->setSymbol(copied ? QStringLiteral("checkmark") : QStringLiteral("link"));
    m_copy->updateGeometry();
    m_copy->setEnabled(ready);
    m_keyWarning->setText(
        m_l10n.text(u"链接含加密密钥，只发给你自己的设备",
                    u"The link contains the encryption key — only send it to your own devices"));
    // Until the link is there it most likely will.
    m_keyWarning->setVisible(m_state.url().isEmpty() || m_state.linkHoldsKey());
    m_loopback->setText(m_l10n.text(u"当前的服务器地址只有这台电脑能访问",
                                    u"Only this computer can reach the hub’s current address"));
    m_loopback->setVisible(m_state.serverIsLoopback());
    m_orType->setText(m_l10n.text(u"或手动输入配对码", u"Or type the pairing code"));
    m_code->setCode(m_state.code());
    m_ring->setVisible(!m_state.url().isEmpty());
    m_ring->setTime(m_state.expiresAt(), QDateTime::currentDateTimeUtc(), !ready);
    // Both break after the comma, or close to it.
    m_valid->setFixedWidth(m_l10n.lang() == Lang::zh ? 96 : 130);
    m_valid->setText(
        m_l10n.text(u"10 分钟内有效，仅可使用一次", u"Valid for 10 minutes, single use"));
    m_hub->setText(m_l10n.text(u"服务器：%1", u"Hub: %1").arg(printable(m_state.server())));
    const auto needs = m_state.typingNeeds();
    m_needs->setText(needs ? needs->in(m_l10n.lang()) : QString());
    m_needs->setVisible(needs.has_value());
    const QString steps[] = {m_l10n.text(u"相机扫码", u"Scan"),
                             m_state.opensPage() ? m_l10n.text(u"打开网页", u"Open the page")
                                                 : m_l10n.text(u"打开 App", u"Open the app"),
                             m_l10n.text(u"自动配对", u"Paired")};
    for (int i = 0; i < m_steps.size(); ++i)
        m_steps[i]->setText(QStringLiteral("%1. %2").arg(i + 1).arg(steps[i]));
}

} // namespace sorrelwind

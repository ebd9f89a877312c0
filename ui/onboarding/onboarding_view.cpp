#include "ui/onboarding/onboarding_view.h"

#include "core/app_model.h"
#include "ui/controls/icon_button.h"
#include "ui/controls/text_label.h"
#include "ui/onboarding/choose_page.h"
#include "ui/onboarding/done_page.h"
#include "ui/onboarding/join_page.h"
#include "ui/onboarding/link_button.h"
#include "ui/onboarding/welcome_page.h"
#include "ui/palette.h"
#include "ui/symbol_view.h"

#include <QHBoxLayout>
#include <QStackedWidget>

namespace sorrelwind {

namespace {
constexpr QSize kSize(600, 540);
}

OnboardingView::OnboardingView(const Parts& parts)
    : PlainWindow(kSize), m_model(parts.model), m_l10n(parts.l10n), m_language(new LinkButton),
      m_notice(new QWidget), m_noticeText(new TextLabel({}, Palette::TextSize::footnote)),
      m_dismiss(new IconButton(QStringLiteral("xmark"), {}, [this] { m_model.clearNotice(); })),
      m_pages(new QStackedWidget), m_welcome(new WelcomePage(parts.l10n)),
      m_choose(new ChoosePage(parts.l10n)),
      m_create(new CreatePage(parts.l10n, parts.prefill, parts.copyText)),
      m_join(new JoinPage(parts.l10n, parts.prefill.deviceName, parts.prefill.server)),
      m_done(new DonePage(parts.model, parts.l10n, parts.launchAtLogin, parts.showsIcon)) {
    setWindowTitle(QStringLiteral("Sorrelwind"));
    m_language->setText(QStringLiteral("EN / 中文"));
    m_language->setObjectName(QStringLiteral("language"));
    m_notice->setObjectName(QStringLiteral("notice"));
    connect(m_language, &LinkButton::clicked, this, [this] {
        m_l10n.toggle();
        m_model.languageChanged();
    });

    auto* noticeRow = new QHBoxLayout(m_notice);
    noticeRow->setContentsMargins(64, 0, 36, Palette::Space::s2);
    noticeRow->setSpacing(Palette::Space::s2);
    noticeRow->addWidget(
        new SymbolView(18, TextRole::warning, QStringLiteral("exclamationmark.triangle.fill")));
    noticeRow->addWidget(m_noticeText, 1);
    noticeRow->addWidget(m_dismiss);
    auto* top = new QHBoxLayout;
    top->setContentsMargins(0, 6, 8, 0);
    top->addStretch();
    top->addWidget(m_language);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addLayout(top);
    column->addWidget(m_notice);
    column->addWidget(m_pages, 1);
    const auto all = pages();
    for (OnboardingPage* page : all)
        m_pages->addWidget(page);

    m_welcome->onStart = [this] { showChoose(); };
    m_choose->onBack = [this] { turnTo(m_welcome); };
    m_choose->onCreate = [this] { showCreate(); };
    m_choose->onJoin = [this] { showJoin(); };
    m_create->onBack = [this] { showChoose(); };
    m_join->onBack = [this] { showChoose(); };
    // Who was removed from a group knows what the program is for.
    m_pages->setCurrentWidget(m_model.notice() ? static_cast<QWidget*>(m_choose) : m_welcome);
    connect(&m_model, &AppModel::changed, this, &OnboardingView::render);
    render();
    static_cast<OnboardingPage*>(m_pages->currentWidget())->firstFocus()->setFocus();
}

QList<OnboardingPage*> OnboardingView::pages() const {
    return {m_welcome, m_choose, m_create, m_join, m_done};
}

void OnboardingView::render() {
    m_language->setAccessibleName(m_l10n.text(u"语言：切换到英文", u"Language: switch to Chinese"));
    m_notice->setVisible(m_model.notice().has_value());
    m_noticeText->setText(m_model.notice().value_or(QString()));
    m_dismiss->setHelp(m_l10n.text(u"关闭提示", u"Dismiss"));
    const auto all = pages();
    for (OnboardingPage* page : all)
        page->render();
    // Also when the membership was made elsewhere, say on the command line.
    if (m_model.phase() == AppModel::Phase::onboarding) {
        if (m_pages->currentWidget() == m_done)
            showChoose();
    } else if (!m_create->busy() && !m_join->busy()) {
        showDone();
    }
}

void OnboardingView::turnTo(OnboardingPage* page) {
    if (m_pages->currentWidget() == page)
        return;
    m_pages->setCurrentWidget(page);
    page->firstFocus()->setFocus(Qt::OtherFocusReason);
}

void OnboardingView::showChoose() {
    turnTo(m_choose);
}

void OnboardingView::showCreate() {
    turnTo(m_create);
}

void OnboardingView::showJoin() {
    turnTo(m_join);
}

void OnboardingView::showDone() {
    turnTo(m_done);
}

} // namespace sorrelwind

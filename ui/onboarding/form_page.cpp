#include "ui/onboarding/form_page.h"

#include "ui/controls/brand_button.h"
#include "ui/controls/slim_scroll_area.h"
#include "ui/controls/text_field.h"
#include "ui/controls/text_label.h"
#include "ui/palette.h"
#include "ui/symbol_view.h"

#include <QHBoxLayout>

namespace sorrelwind {

FormPage::FormPage(const L10n& l10n)
    : m_l10n(l10n), m_title(new TextLabel({}, Palette::TextSize::title2, QFont::Bold)),
      m_fields(new QWidget), m_blocks(new QVBoxLayout(m_fields)),
      m_mark(new SymbolView(16, TextRole::accent)),
      m_status(new TextLabel({}, Palette::TextSize::footnote)),
      m_back(new BrandButton(BrandButton::Kind::secondary)),
      m_submit(new BrandButton(BrandButton::Kind::primary, true)) {
    m_blocks->setContentsMargins(0, 0, 0, 0);
    m_blocks->setSpacing(14);
    m_submit->setFixedWidth(160);
    m_status->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    connect(m_submit, &BrandButton::clicked, this, [this] { submit(); });
    connect(m_back, &BrandButton::clicked, this, [this] { m_busy ? onCancel() : onBack(); });

    auto* status = new QHBoxLayout;
    status->setSpacing(Palette::Space::s2);
    status->addWidget(m_mark, 0, Qt::AlignTop);
    status->addWidget(m_status, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_back);
    buttons->addStretch();
    buttons->addWidget(m_submit);

    buttons->setContentsMargins(64, Palette::Space::s2, 64, 24);

    auto* form = new QWidget;
    auto* column = new QVBoxLayout(form);
    column->setContentsMargins(64, 0, 64, 0);
    column->setSpacing(0);
    column->addWidget(m_title);
    column->addSpacing(Palette::Space::s4);
    column->addWidget(m_fields);
    column->addSpacing(Palette::Space::s3);
    column->addLayout(status);
    column->addStretch();
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->setSpacing(0);
    whole->addWidget(new SlimScrollArea(form), 1);
    whole->addLayout(buttons);
    showNothing();
}

TextLabel* FormPage::newLabel() {
    return new TextLabel({}, Palette::TextSize::caption, QFont::DemiBold, TextRole::secondary);
}

TextLabel* FormPage::newNote() {
    return new TextLabel({}, Palette::TextSize::caption, QFont::Normal, TextRole::tertiary);
}

QWidget* FormPage::addBlock(TextLabel* label, QWidget* field, TextLabel* note) {
    auto* block = new QWidget;
    auto* column = new QVBoxLayout(block);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    column->addWidget(label);
    column->addWidget(field);
    if (note)
        column->addWidget(note);
    m_blocks->addWidget(block);
    return block;
}

void FormPage::submitsByEnter(TextField* field) {
    connect(field, &TextField::returnPressed, this, [this] { submit(); });
}

void FormPage::submit() {
    if (!m_busy && complete())
        onSubmit();
}

void FormPage::setTitle(const QString& title) {
    m_title->setText(title);
}

void FormPage::setSubmitText(const QString& submitText) {
    m_submit->setText(submitText);
}

void FormPage::updateSubmit() {
    m_submit->setEnabled(!m_busy && complete());
}

void FormPage::render() {
    if (m_said)
        m_status->setText(m_said->in(m_l10n.lang()));
    m_back->setText(m_busy ? text(u"取消", u"Cancel") : text(u"返回", u"Back"));
}

void FormPage::setBusy(bool busy) {
    if (busy && !m_busy)
        m_resumeAt = focusWidget();
    m_busy = busy;
    m_fields->setEnabled(!busy);
    m_mark->setTurning(busy);
    m_back->setText(m_busy ? text(u"取消", u"Cancel") : text(u"返回", u"Back"));
}

void FormPage::showProgress(const Sentence& sentence) {
    setBusy(true);
    m_said = sentence;
    m_mark->setSymbol(QStringLiteral("arrow.triangle.2.circlepath"), TextRole::accent);
    m_mark->show();
    m_status->setRole(TextRole::accent);
    m_status->setText(sentence.in(m_l10n.lang()));
    m_submit->setEnabled(false);
}

void FormPage::showError(const Sentence& sentence) {
    setBusy(false);
    m_said = sentence;
    m_mark->setSymbol(QStringLiteral("exclamationmark.circle.fill"), TextRole::danger);
    m_mark->show();
    m_status->setRole(TextRole::danger);
    m_status->setText(sentence.in(m_l10n.lang()));
    updateSubmit();
    // Where it was sent from, so that it can be mended there or sent again.
    QWidget* resumeAt = m_resumeAt && m_resumeAt->isVisible() ? m_resumeAt.data() : firstFocus();
    if (resumeAt && isVisible())
        resumeAt->setFocus();
}

void FormPage::showNothing() {
    m_busy = false;
    m_fields->setEnabled(true);
    m_said.reset();
    m_mark->setTurning(false);
    m_mark->hide();
    m_status->clear();
}

} // namespace sorrelwind

#pragma once

#include "base/l10n.h"
#include "ui/controls/text_role.h"
#include "ui/onboarding/onboarding_page.h"

#include <QPointer>

#include <functional>

class QVBoxLayout;

namespace sorrelwind {

class BrandButton;
class SymbolView;
class TextField;
class TextLabel;

/// A page with fields to fill in, a line that says how it goes, and the two buttons of a form.
/// While it works the fields rest and the way back calls it off; after an error they hold what was
/// typed.
class FormPage : public OnboardingPage {
    Q_OBJECT
public:
    void render() override;

    [[nodiscard]] bool busy() const { return m_busy; }
    void showProgress(const Sentence& sentence);
    void showError(const Sentence& sentence);
    /// Neither at work nor in error.
    void showNothing();

    std::function<void()> onSubmit;
    std::function<void()> onBack;
    std::function<void()> onCancel; // while it works

protected:
    explicit FormPage(const L10n& l10n);

    /// Whether everything is there that submitting needs.
    [[nodiscard]] virtual bool complete() const = 0;

    /// A label above a field, in a block that can be hidden. The label names the field.
    QWidget* addBlock(TextLabel* label, QWidget* field, TextLabel* note = nullptr);
    /// For every field that submits by Enter.
    void submitsByEnter(TextField* field);
    void setTitle(const QString& text);
    void setSubmitText(const QString& text);
    void updateSubmit();
    [[nodiscard]] QString text(const char16_t* zh, const char16_t* en) const {
        return m_l10n.text(zh, en);
    }
    [[nodiscard]] const L10n& l10n() const { return m_l10n; }

    static TextLabel* newLabel();
    static TextLabel* newNote();

private:
    void submit();
    void setBusy(bool busy);

    const L10n& m_l10n;
    TextLabel* m_title;
    QWidget* m_fields;
    QVBoxLayout* m_blocks;
    SymbolView* m_mark;
    TextLabel* m_status;
    BrandButton* m_back;
    BrandButton* m_submit;
    bool m_busy = false;
    QPointer<QWidget> m_resumeAt;   // had the focus when the work began
    std::optional<Sentence> m_said; // what stands there
};

} // namespace sorrelwind

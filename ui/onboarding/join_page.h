#pragma once

#include "ui/onboarding/form_page.h"
#include "ui/onboarding/invitation.h"

namespace sorrelwind {

/// The form of joining: one field for a link or a code, which says at once what it takes it for,
/// and only those further fields that this needs.
class JoinPage final : public FormPage {
    Q_OBJECT
public:
    JoinPage(const L10n& l10n, const QString& deviceName, const QString& server);

    void render() override;
    [[nodiscard]] QWidget* firstFocus() override;

    [[nodiscard]] Invitation invitation() const;
    [[nodiscard]] QString passphrase() const;
    [[nodiscard]] QString deviceName() const;
    /// Canonical; none while what stands there is no address.
    [[nodiscard]] std::optional<QString> server() const;

protected:
    [[nodiscard]] bool complete() const override;

private:
    void typed();
    void renderEntry();

    TextLabel* m_entryLabel;
    TextField* m_entry;
    TextLabel* m_entryNote;
    TextLabel* m_passphraseLabel;
    TextField* m_passphrase;
    QWidget* m_passphraseBlock;
    TextLabel* m_serverLabel;
    TextField* m_server;
    QWidget* m_serverBlock;
    TextLabel* m_nameLabel;
    TextField* m_name;
};

} // namespace sorrelwind

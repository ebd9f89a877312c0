#pragma once

#include "ui/onboarding/form_page.h"

namespace sorrelwind {

class ChoiceControl;
class IconButton;

/// The form of a new group: this device's name, the passphrase that everything is encrypted with,
/// and the hub: one that is there, or one that this computer is to host.
class CreatePage final : public FormPage {
    Q_OBJECT
public:
    struct Prefill {
        QString deviceName;
        QString passphrase;
        QString server; // empty: none is known
        bool hosts = false;
    };
    CreatePage(const L10n& l10n, const Prefill& prefill,
               std::function<void(const QString&)> copyText);

    void render() override;
    [[nodiscard]] QWidget* firstFocus() override;

    /// Chooses the hub at `server` unless the person has chosen already.
    void offerHub(const QString& server);

    [[nodiscard]] QString deviceName() const;
    [[nodiscard]] QString passphrase() const;
    [[nodiscard]] bool hosts() const;
    /// Canonical; none while what stands there is no address.
    [[nodiscard]] std::optional<QString> server() const;

protected:
    [[nodiscard]] bool complete() const override;

private:
    void regenerate();
    void copyPassphrase();
    void typed();
    void hubTyped();
    void renderHub();

    std::function<void(const QString&)> m_copyText;
    TextLabel* m_nameLabel;
    TextField* m_name;
    TextLabel* m_passphraseLabel;
    TextField* m_passphrase;
    IconButton* m_regenerate;
    IconButton* m_copy;
    TextLabel* m_passphraseNote;
    TextLabel* m_hubLabel;
    ChoiceControl* m_hubChoice;
    TextField* m_server;
    TextLabel* m_hubNote;
    bool m_hubTyped = false;
};

} // namespace sorrelwind

#include "account/account_store.h"
#include "base/printable.h"
#include "core/app_model.h"
#include "crypto/group_setup.h"
#include "hub/hub_api.h"

namespace sorrelwind {

// How the model comes by its key, and what it knows of whether it is the group's.

Task<> AppModel::resolveKey(Account account) {
    const HubAPI api{&m_services.network, account.server, account.token};
    const auto record = co_await api.fetchCrypto();
    // A group whose record cannot be fetched counts as one that does not encrypt.
    if (!record || !*record) {
        set(m_crypto, CryptoStatus::plaintext);
        co_return;
    }
    if (!account.passphrase) {
        set(m_crypto, CryptoStatus::missingKey);
        co_return;
    }
    set(m_crypto, CryptoStatus::deriving);
    const auto onLong = [this, iters = (*record)->iters] { set(m_longDerivation, iters); };
    auto deriving = GroupSetup::derive(*account.passphrase, **record, onLong);
    auto key = co_await std::move(deriving);
    set(m_longDerivation, std::nullopt);
    if (!key) {
        set(m_crypto, CryptoStatus::failed);
        co_return;
    }
    // The device may have been renamed meanwhile: the account as it is now gets the key.
    Account renewed = *m_account;
    renewed.salt = (*record)->salt;
    renewed.key = Crypto::base64(*key);
    m_key = *std::move(key);
    set(m_crypto, CryptoStatus::encrypted);
    (void)m_services.store.save(renewed); // without it the next start derives again
    set(m_account, renewed);
    openHeld();
}

void AppModel::cancelDerivation() {
    if (m_crypto != CryptoStatus::deriving)
        return;
    dropKeyTasks();
    set(m_crypto, CryptoStatus::failed);
}

void AppModel::dropKeyTasks() {
    m_keyTasks.cancel();
    set(m_longDerivation, std::nullopt);
}

Task<AppModel::Rekeyed> AppModel::enterPassphrase(QString passphrase,
                                                  std::function<void(const Sentence&)> progress) {
    if (!m_account)
        co_return failure(setupMessage(HubError{HubError::Kind::status, 401, {}}));
    const GroupSetup setup(m_services.network);
    auto deriving = setup.rekey(*m_account, passphrase, progress);
    const auto rekeyed = co_await std::move(deriving);
    if (!rekeyed)
        co_return failure(setupMessage(rekeyed.error()));
    co_return adoptKey(*rekeyed);
}

AppModel::Rekeyed AppModel::adoptKey(const Account& rekeyed) {
    auto key = rekeyed.key ? SymmetricKey::fromBase64(*rekeyed.key) : std::nullopt;
    if (!key || !m_account || m_account->token != rekeyed.token)
        return failure(setupMessage(HubError{HubError::Kind::status, 401, {}}));
    if (m_unopened && !Crypto::decryptText(m_unopened->payload, *key)) {
        return failure(Sentence::of(u"用这个口令也无法打开来自“%1”的内容，因此没有更改。请与那台"
                                    u"设备的设置中显示的口令核对。",
                                    u"This passphrase doesn't open the text from “%1” either, so "
                                    u"nothing was changed — compare it with the one in the "
                                    u"settings of that device.")
                           .arg(isolated(m_unopened->device)));
    }
    Account renewed = *m_account;
    renewed.passphrase = rekeyed.passphrase;
    renewed.salt = rekeyed.salt;
    renewed.key = rekeyed.key;
    if (const auto saved = m_services.store.save(renewed); !saved) {
        return failure(Sentence::of(u"口令无法保存：%1。没有更改，请腾出磁盘空间后重试。",
                                    u"The passphrase could not be saved: %1. Nothing was changed — "
                                    u"make room on the disk and try again.")
                           .arg(saved.error()));
    }
    dropKeyTasks();
    m_key = *std::move(key);
    set(m_keyProven, false);
    set(m_account, renewed);
    set(m_crypto, CryptoStatus::encrypted);
    openHeld();
    return keyFit();
}

void AppModel::openHeld() {
    set(m_decryptFailed, false);
    if (const auto item = std::exchange(m_unopened, std::nullopt))
        handleRemote(*item);
}

void AppModel::cannotOpen(const CloudItem& item, CryptoError error) {
    if (!m_decryptFailed)
        qWarning("a text has arrived that can't be opened with the key here");
    // The hub has its receipt, so it does not come again. One that is damaged no key opens.
    if (error == CryptoError::cipher)
        m_unopened = item;
    m_decryptFailed = true;
    Q_EMIT changed();
}

AppModel::KeyFit AppModel::keyFit() const {
    if (!m_account || !m_key) // the group may be on its way out
        return KeyFit::unknown;
    if (m_unopened)
        return KeyFit::doesNotFit;
    return m_keyProven ? KeyFit::fits : KeyFit::unknown;
}

bool AppModel::wantsPassphrase() const {
    if (!m_account)
        return false;
    switch (m_crypto) {
    case CryptoStatus::missingKey:
    case CryptoStatus::failed:
        return true;
    case CryptoStatus::unknown:
    case CryptoStatus::deriving: // the key may open it yet
        return false;
    default:
        return m_unopened.has_value();
    }
}

} // namespace sorrelwind

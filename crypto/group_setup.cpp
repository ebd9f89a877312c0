#include "crypto/group_setup.h"

#include "base/thread_pool.h"
#include "hub/hub_api.h"

#include <QTimer>
#include <QUrl>

#include <openssl/crypto.h>

namespace sorrelwind {

namespace {

const Sentence kDeriving = Sentence::of(u"正在生成加密密钥…", u"Generating the encryption key…");

const HubError kNetworkError{HubError::Kind::network, 0, {}};

bool isUrl(const QString& server) {
    const QUrl url(server);
    return url.isValid() && !url.host().isEmpty();
}

Account accountOf(const QString& server, const Joined& joined) {
    Account account;
    account.server = server;
    account.groupId = GroupSetup::groupId(joined);
    account.deviceId = joined.deviceId;
    account.deviceName = joined.deviceName;
    account.token = joined.token;
    return account;
}

} // namespace

Sentence setupMessage(const SetupError& error) {
    if (const auto* hub = std::get_if<HubError>(&error))
        return {hub->explained(Lang::zh), hub->explained(Lang::en)};
    switch (std::get<CryptoError>(error)) {
    case CryptoError::deriveFailed:
        return Sentence::of(u"密钥派生失败", u"Couldn't derive the encryption key");
    case CryptoError::notEncrypted:
        return Sentence::of(u"服务器说这个设备组没有加密，因此不需要口令",
                            u"The hub says that this group is not encrypted, so there is no "
                            u"passphrase to enter");
    default:
        return Sentence::of(u"设备组的加密参数无法识别，请检查服务器",
                            u"The group's encryption parameters are damaged — check the hub");
    }
}

Sentence longDerivation(qint64 iters) {
    return Sentence::of(
               u"生成密钥需要较长时间：服务器要求计算 %1 轮（通常为 600000 轮）。可以取消。",
               u"Making the encryption key takes long: the hub asks for %1 rounds "
               u"(600000 are usual). You can cancel.")
        .arg(iters);
}

Sentence passphraseUnproven() {
    return Sentence::of(u"口令是否正确，要等这里收到第一段文字时才知道。",
                        u"Whether the passphrase fits shows with the first text that arrives "
                        u"here.");
}

Task<Result<SymmetricKey, CryptoError>> GroupSetup::derive(QString passphrase, CryptoRecord record,
                                                           std::function<void()> onLong,
                                                           std::stop_token stop) {
    auto work = [passphrase = std::move(passphrase),
                 record = std::move(record)](const std::stop_token& stopped) {
        auto key = Crypto::deriveKey(passphrase, record.salt, record.iters, stopped);
        OPENSSL_thread_stop(); // a pool's thread may end after OpenSSL has cleaned up
        return key;
    };
    OnThreadPool derivation(std::move(work));
    const std::stop_callback stopping(std::move(stop), [&derivation] { derivation.requestStop(); });
    QTimer patience;
    patience.setSingleShot(true);
    QObject::connect(&patience, &QTimer::timeout, &patience, std::move(onLong));
    patience.start(kPatience);
    co_return co_await derivation;
}

QString GroupSetup::groupId(const Joined& joined) {
    if (joined.groupId)
        return *joined.groupId;
    const QStringList pieces = joined.token.split(u'.', Qt::SkipEmptyParts);
    return pieces.isEmpty() ? QString() : pieces.first();
}

// The flows take the object by value: a task starts later, and its maker may be gone by then.
Task<Result<Account, SetupError>> GroupSetup::createWith(GroupSetup self, QString server,
                                                         QString deviceName, QString passphrase,
                                                         Progress progress) {
    if (!isUrl(server))
        co_return failure(SetupError(kNetworkError));
    progress(Sentence::of(u"正在创建设备组…", u"Creating your group…"));
    HubAPI api{self.m_network, server, std::nullopt};
    const auto joined = co_await api.createGroup(deviceName);
    if (!joined)
        co_return failure(SetupError(joined.error()));
    api.token = joined->token;

    progress(kDeriving);
    auto record = co_await api.fetchCrypto();
    if (record && !*record) {
        const QString salt = Crypto::randomSalt();
        record = co_await api.setCrypto(salt);
        if (record && !*record)
            co_return failure(SetupError(HubError{HubError::Kind::decode, 0, {}}));
    }
    if (!record)
        co_return failure(SetupError(record.error()));
    const Account account = accountOf(server, *joined);
    auto finishing = withKey(self, account, passphrase, **record, progress);
    co_return co_await std::move(finishing);
}

Task<Result<Account, SetupError>> GroupSetup::joinWith(GroupSetup self, QString server,
                                                       std::optional<PairingLink> link,
                                                       QString code, QString passphrase,
                                                       QString deviceName, Progress progress) {
    if (link) {
        server = link->server;
        code = link->code;
    }
    if (!isUrl(server))
        co_return failure(SetupError(kNetworkError));
    progress(Sentence::of(u"正在加入…", u"Joining…"));
    HubAPI api{self.m_network, server, std::nullopt};
    const auto joined = co_await api.claim(code, deviceName);
    if (!joined)
        co_return failure(SetupError(joined.error()));
    api.token = joined->token;
    const auto record = co_await api.fetchCrypto();
    if (!record)
        co_return failure(SetupError(record.error()));

    Account account = accountOf(server, *joined);
    if (!*record)
        co_return account;
    if (link && link->keyB64 && SymmetricKey::fromBase64(*link->keyB64)) {
        account.salt = (*record)->salt;
        account.key = link->keyB64;
        co_return account;
    }
    progress(kDeriving);
    auto finishing = withKey(self, account, passphrase, **record, progress);
    co_return co_await std::move(finishing);
}

Task<Result<Account, SetupError>> GroupSetup::rekeyWith(GroupSetup self, Account account,
                                                        QString passphrase, Progress progress) {
    progress(kDeriving);
    const HubAPI api{self.m_network, account.server, account.token};
    const auto record = co_await api.fetchCrypto();
    if (!record)
        co_return failure(SetupError(record.error()));
    if (!*record)
        co_return failure(SetupError(CryptoError::notEncrypted));
    auto finishing = withKey(self, account, passphrase, **record, progress);
    co_return co_await std::move(finishing);
}

Task<Result<Account, SetupError>> GroupSetup::withKey(GroupSetup self, Account account,
                                                      QString passphrase, CryptoRecord record,
                                                      Progress progress) {
    const auto onLong = [progress, iters = record.iters] { progress(longDerivation(iters)); };
    auto deriving = derive(passphrase, record, onLong, self.m_stop);
    const auto key = co_await std::move(deriving);
    if (!key) {
        if (key.error() == CryptoError::cancelled)
            co_return account;
        co_return failure(SetupError(key.error()));
    }
    account.passphrase = passphrase;
    account.salt = record.salt;
    account.key = Crypto::base64(*key);
    co_return account;
}

} // namespace sorrelwind

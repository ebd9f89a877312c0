#include "account/account_store.h"

#include "base/system_reason.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QTemporaryFile>

#include <cerrno>
#include <pwd.h>
#include <unistd.h>

namespace sorrelwind {

namespace {

constexpr qint64 kMaxFileBytes = 1024 * 1024;
constexpr auto kOwnerOnly = QFile::ReadOwner | QFile::WriteOwner;

std::optional<QByteArray> readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArray bytes = file.read(kMaxFileBytes + 1);
    if (bytes.size() > kMaxFileBytes)
        return std::nullopt;
    return bytes;
}

} // namespace

AccountStore::AccountStore(QString dir) : m_dir(std::move(dir)) {}

QString AccountStore::defaultDir() {
    const passwd* user = getpwuid(getuid());
    const QString home =
        user && user->pw_dir && *user->pw_dir ? QFile::decodeName(user->pw_dir) : QDir::homePath();
    return home + QStringLiteral("/.config/sorrelwind");
}

QString AccountStore::fileUrl() const {
    return m_dir + QStringLiteral("/account.json");
}

std::optional<Account> AccountStore::load() const {
    const auto bytes = readFile(fileUrl());
    if (!bytes) {
        if (QFile::exists(fileUrl()))
            qWarning("the account file cannot be read; check its permissions and size");
        return std::nullopt;
    }
    constexpr auto kOthers = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther |
                             QFile::WriteOther | QFile::ExeGroup | QFile::ExeOther;
    if (QFile::permissions(fileUrl()) & kOthers)
        qWarning("the account file can be read by others; run: chmod 600 on account.json");
    auto account = Account::fromJson(*bytes);
    if (!account)
        qWarning("the account file cannot be understood and is left as it is");
    return account;
}

Result<void, Sentence> AccountStore::save(const Account& account) const {
    QDir().mkpath(m_dir);
    QSaveFile file(fileUrl());
    // An earlier file passes its mode on, so it is set before the first byte is written. The flush
    // is what a full disk refuses: commit() misses that and would put an empty file in place.
    if (file.open(QIODevice::WriteOnly) && file.setPermissions(kOwnerOnly) &&
        file.write(account.toJson()) >= 0 && file.flush() && file.commit())
        return {};
    const Sentence reason = systemReason(errno);
    qWarning("the account file could not be written: %s", qPrintable(reason.en));
    return failure(reason);
}

void AccountStore::clear() const {
    QFile::remove(fileUrl());
}

std::optional<QString> AccountStore::legacyPassphrase() const {
    const auto bytes = readFile(m_dir + QStringLiteral("/config.json"));
    if (!bytes)
        return std::nullopt;
    const QString passphrase =
        QJsonDocument::fromJson(*bytes).object().value(QLatin1StringView("passphrase")).toString();
    if (passphrase.isEmpty())
        return std::nullopt;
    return passphrase;
}

Result<void, Sentence> AccountStore::prepare() const {
    QDir().mkpath(m_dir);
    QTemporaryFile probe(m_dir + QStringLiteral("/.probe-XXXXXX"));
    // A page of bytes, so that a full disk shows before a membership is made that cannot be kept.
    if (probe.open() && probe.write(QByteArray(4096, ' ')) == 4096 && probe.flush())
        return {};
    return failure(
        Sentence::of(
            u"配置文件夹 %1 不可用：%2。请检查权限和磁盘空间，或用 --config-dir 另选一个。",
            u"The config directory %1 cannot be used: %2. Check its permissions and the disk, or "
            u"name another with --config-dir.")
            .arg(m_dir, systemReason(errno)));
}

} // namespace sorrelwind

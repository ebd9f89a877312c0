#include "core/membership_flow.h"

#include "base/printable.h"
#include "hub/hub_api.h"

#include <QFileInfo>
#include <QSysInfo>

#include <cerrno>

namespace sorrelwind {

QString MembershipFlow::hostDeviceName() {
    const QString name = QSysInfo::machineHostName().trimmed();
    return name.isEmpty() ? QStringLiteral("Linux") : name.left(kMaxDeviceName);
}

Result<void, Sentence> MembershipFlow::prepare() {
    const AccountStore& store = m_services.store;
    if (const auto prepared = store.prepare(); !prepared) {
        return failure(
            Sentence::of(
                u"配置文件夹 %1 不可用：%2。请检查权限和磁盘空间，或用 --config-dir 另选一个。",
                u"The config directory %1 cannot be used: %2. Check its permissions and the "
                u"disk, or name another with --config-dir.")
                .arg(store.dir(), prepared.error()));
    }
    auto lock = FileLock::tryLock(store.dir() + QStringLiteral("/setup.lock"));
    if (!lock && lock.error() != EWOULDBLOCK)
        return failure(Sentence{lockSentence(store.dir(), lock.error(), Lang::zh),
                                lockSentence(store.dir(), lock.error(), Lang::en)});
    if (!lock) {
        return failure(Sentence::of(u"本机正在别处创建或加入设备组，请等它结束",
                                    u"This device is already making or joining a group elsewhere — "
                                    u"wait for that to end"));
    }
    m_lock.emplace(*std::move(lock));
    if (store.load()) {
        return failure(
            Sentence::of(u"本机已在一个设备组中。要换一个，请先离开它（sorrelwind leave）",
                         u"This device is in a group already — to change it, leave that one first "
                         u"(sorrelwind leave)"));
    }
    if (QFileInfo::exists(store.fileUrl())) {
        return failure(
            Sentence::of(u"%1 无法识别，为避免丢失内容不会覆盖它。请先把它移走。",
                         u"%1 cannot be understood and is not overwritten — move it away "
                         u"first.")
                .arg(store.fileUrl()));
    }
    return {};
}

void MembershipFlow::start(const Wish& wish) {
    m_started = true;
    m_tasks.start(run(wish));
}

void MembershipFlow::abandon(QObject* keeper) {
    m_abandoned = true;
    onProgress = {};
    onEnd = {};
    m_lock.reset(); // nothing is saved any more
    setParent(keeper);
    if (!m_started)
        deleteLater();
}

Task<> MembershipFlow::run(Wish wish) {
    const GroupSetup setup(m_services.network, m_services.l10n);
    const GroupSetup::Progress progress = [this](const QString& text) {
        if (onProgress)
            onProgress(text);
    };
    auto making = wish.joins
                      ? setup.join(wish.server, wish.link, wish.code, wish.passphrase,
                                   wish.deviceName, progress)
                      : setup.create(wish.server, wish.deviceName, wish.passphrase, progress);
    const auto account = co_await std::move(making);
    if (!account) {
        end(failure(Sentence{printable(setupMessage(account.error(), Lang::zh)),
                             printable(setupMessage(account.error(), Lang::en))}));
        co_return;
    }
    Result<void, QString> kept;
    if (!m_abandoned) {
        kept = m_services.store.save(*account);
        if (kept) {
            end(*account);
            co_return;
        }
    }
    const HubAPI api{&m_services.network, account->server, account->token};
    (void)co_await api.deleteDevice(account->deviceId);
    const QString reason = kept ? QString() : kept.error();
    end(failure(
        Sentence::of(
            u"账户无法保存：%1。没有加入任何设备组，请腾出磁盘空间后重试。",
            u"The account could not be saved: %1. No group was joined — make room on the disk "
            u"and try again.")
            .arg(reason)));
}

void MembershipFlow::end(const Outcome& outcome) {
    m_lock.reset();
    if (m_abandoned)
        deleteLater();
    else if (onEnd)
        onEnd(outcome);
}

} // namespace sorrelwind

#include "core/membership_flow.h"

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
    if (const auto prepared = store.prepare(); !prepared)
        return prepared;
    auto lock = FileLock::tryLock(store.dir() + QStringLiteral("/setup.lock"));
    if (!lock && lock.error() != EWOULDBLOCK)
        return failure(lockSentence(store.dir(), lock.error()));
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
    m_stop.request_stop();
    setParent(keeper);
    if (!m_started)
        deleteLater();
}

Task<> MembershipFlow::run(Wish wish) {
    const GroupSetup setup(m_services.network, m_stop.get_token());
    const GroupSetup::Progress progress = [this](const Sentence& sentence) {
        if (onProgress)
            onProgress(sentence);
    };
    auto making = wish.joins
                      ? setup.join(wish.server, wish.link, wish.code, wish.passphrase,
                                   wish.deviceName, progress)
                      : setup.create(wish.server, wish.deviceName, wish.passphrase, progress);
    const auto account = co_await std::move(making);
    if (!account) {
        end(failure(setupMessage(account.error())));
        co_return;
    }
    Result<void, Sentence> kept;
    if (!m_abandoned) {
        kept = m_services.store.save(*account);
        if (kept) {
            end(*account);
            co_return;
        }
    }
    const HubAPI api{&m_services.network, account->server, account->token};
    (void)co_await api.deleteDevice(account->deviceId);
    const Sentence reason = kept ? Sentence() : kept.error();
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

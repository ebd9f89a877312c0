#include "base/l10n.h"
#include "clipboard/pasteboard.h"
#include "core/app_model.h"

namespace sorrelwind {

// What the model says of itself in words and colours.

Lang AppModel::langOr(std::optional<Lang> lang) const {
    return lang.value_or(m_services.l10n.lang());
}

std::optional<QString> AppModel::notice(std::optional<Lang> lang) const {
    return m_notice ? std::optional(m_notice->in(langOr(lang))) : std::nullopt;
}

QList<DeviceInfo> AppModel::shownDevices() const {
    QList<DeviceInfo> shown = m_devices;
    if (m_connection == SyncState::connected)
        return shown;
    for (DeviceInfo& device : shown) {
        if (device.online)
            device.lastSeen = qMax(device.lastSeen, m_lostAt);
        device.online = false;
    }
    return shown;
}

QString AppModel::statusText(std::optional<Lang> lang) const {
    const Lang in = langOr(lang);
    if (m_phase == Phase::onboarding && m_connection != SyncState::revoked)
        return pick(in, u"还没有加入设备组", u"In no group yet");
    if (m_paused && m_phase == Phase::running)
        return pick(in, u"已暂停", u"Paused");
    switch (m_connection) {
    case SyncState::connecting:
        return pick(in, u"正在连接…", u"Connecting…");
    case SyncState::disconnected:
        return pick(in, u"已断开，正在重连…", u"Offline — reconnecting…");
    case SyncState::revoked:
        return pick(in, u"已被移出设备组", u"Removed from the group");
    case SyncState::connected:
        break;
    }
    switch (m_crypto) {
    case CryptoStatus::deriving:
        return pick(in, u"已连接 · 准备密钥…", u"Connected · Preparing key…");
    case CryptoStatus::plaintext:
        return pick(in, u"已连接 · 未加密", u"Connected · Not encrypted");
    case CryptoStatus::encrypted:
        return pick(in, u"已连接 · 已加密", u"Connected · Encrypted");
    default:
        return pick(in, u"已连接", u"Connected");
    }
}

AppModel::StatusColor AppModel::statusColor() const {
    if (m_paused)
        return StatusColor::secondary;
    switch (m_connection) {
    case SyncState::connecting:
        return StatusColor::orange;
    case SyncState::connected:
        return m_crypto == CryptoStatus::encrypted ? StatusColor::green : StatusColor::orange;
    default:
        return StatusColor::red;
    }
}

QString AppModel::caption(std::optional<Lang> lang) const {
    const Lang in = langOr(lang);
    if (m_paused)
        return pick(in, u"已暂停 · 不发送也不接收", u"Paused — not sending or receiving");
    const bool canSend = m_key || m_crypto == CryptoStatus::plaintext;
    if (m_connection == SyncState::connected && canSend && m_services.pasteboard.available())
        return pick(in, u"复制后自动发送到其他设备", u"Copies go to your other devices");
    return pick(in, u"现在复制的内容可能到不了其他设备", u"Copies may not reach other devices now");
}

std::optional<QString> AppModel::warning(std::optional<Lang> lang) const {
    const Lang in = langOr(lang);
    if (m_phase == Phase::running) {
        if (auto ofGroup = groupWarning(in))
            return ofGroup;
    }
    if (!m_services.pasteboard.available()) {
        return pick(in, u"无法访问这个桌面的剪贴板，复制的内容不会同步：%1。",
                    u"This desktop's clipboard can't be reached, so copies aren't synced: %1.")
            .arg(m_services.pasteboard.unavailableReason().in(in));
    }
    return std::nullopt;
}

std::optional<QString> AppModel::groupWarning(Lang in) const {
    if (m_crypto == CryptoStatus::missingKey) {
        return pick(in, u"缺少加密密钥，无法收发内容。请在设置中离开设备组后重新加入。",
                    u"Encryption key missing — leave and rejoin the group in Settings.");
    }
    if (m_longDerivation) {
        return pick(in,
                    u"准备密钥需要较长时间：服务器要求计算 %1 轮（通常为 600000 轮）。可以等待、"
                    u"在面板中取消，或离开设备组。",
                    u"Preparing the key takes long: the hub asks for %1 rounds (600000 are usual). "
                    u"Wait, cancel it in the panel, or leave the group.")
            .arg(*m_longDerivation);
    }
    if (m_crypto == CryptoStatus::failed)
        return pick(in, u"密钥派生失败", u"Couldn't derive the encryption key");
    if (keyFit() == KeyFit::doesNotFit && !m_keyProven) {
        return m_account->passphrase
                   ? pick(in, u"收到的内容无法用这个口令解密。请与其他设备核对，或重新输入口令。",
                          u"A text arrived that can't be opened with this passphrase — "
                          u"compare it with your other devices, or enter it again.")
                   : pick(in, u"收到的内容无法用配对链接中的密钥解密。请输入设备组口令。",
                          u"A text arrived that can't be opened with the key of the pairing "
                          u"link — enter the group's passphrase.");
    }
    if (m_decryptFailed) {
        return pick(in, u"收到无法解密的内容：其他设备的口令可能不一致。",
                    u"Received content that can't be decrypted — passphrase mismatch on "
                    u"another device?");
    }
    if (m_copiedTooLarge) {
        return pick(in, u"复制的文字太大，没有发送。请分段复制。",
                    u"The text you copied is too large and wasn't sent — copy it in parts.");
    }
    if (m_receivedTooLarge) {
        return pick(in, u"另一台设备发来的文字太大，没有放到剪贴板上。请在那台设备上分段复制。",
                    u"A text from another device is too large for the clipboard here — copy "
                    u"it in parts there.");
    }
    if (m_loopStopped) {
        return pick(in, u"另一个程序在来回传递同一段文字，已停止发送它。复制其他内容即可恢复。",
                    u"Another program keeps passing the same text back and forth, so it is "
                    u"no longer sent — copy something else to go on.");
    }
    return std::nullopt;
}

} // namespace sorrelwind

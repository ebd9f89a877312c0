#include "base/l10n.h"
#include "clipboard/pasteboard.h"
#include "core/app_model.h"

namespace sorrelwind {

// What the model says of itself in words and colours.

QString AppModel::statusText() const {
    const L10n& l10n = m_services.l10n;
    if (m_paused)
        return l10n.text(u"已暂停", u"Paused");
    switch (m_connection) {
    case SyncState::connecting:
        return l10n.text(u"正在连接…", u"Connecting…");
    case SyncState::disconnected:
        return l10n.text(u"已断开，正在重连…", u"Offline — reconnecting…");
    case SyncState::revoked:
        return l10n.text(u"已被移出设备组", u"Removed from the group");
    case SyncState::connected:
        break;
    }
    switch (m_crypto) {
    case CryptoStatus::deriving:
        return l10n.text(u"已连接 · 准备密钥…", u"Connected · Preparing key…");
    case CryptoStatus::plaintext:
        return l10n.text(u"已连接 · 未加密", u"Connected · Not encrypted");
    case CryptoStatus::encrypted:
        return l10n.text(u"已连接 · 已加密", u"Connected · Encrypted");
    default:
        return l10n.text(u"已连接", u"Connected");
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

std::optional<QString> AppModel::warning() const {
    const L10n& l10n = m_services.l10n;
    if (m_crypto == CryptoStatus::missingKey) {
        return l10n.text(u"缺少加密密钥，无法收发内容。请在设置中离开设备组后重新加入。",
                         u"Encryption key missing — leave and rejoin the group in Settings.");
    }
    if (m_longDerivation) {
        return l10n
            .text(u"准备密钥需要较长时间：服务器要求计算 %1 轮（通常为 600000 轮）。可以等待、"
                  u"在面板中取消，或离开设备组。",
                  u"Preparing the key takes long: the hub asks for %1 rounds (600000 are usual). "
                  u"Wait, cancel it in the panel, or leave the group.")
            .arg(*m_longDerivation);
    }
    if (m_crypto == CryptoStatus::failed)
        return l10n.text(u"密钥派生失败", u"Couldn't derive the encryption key");
    if (keyFit() == KeyFit::doesNotFit && !m_keyProven) {
        return m_account->passphrase
                   ? l10n.text(u"收到的内容无法用这个口令解密。请与其他设备核对，或重新输入口令。",
                               u"A text arrived that can't be opened with this passphrase — "
                               u"compare it with your other devices, or enter it again.")
                   : l10n.text(u"收到的内容无法用配对链接中的密钥解密。请输入设备组口令。",
                               u"A text arrived that can't be opened with the key of the pairing "
                               u"link — enter the group's passphrase.");
    }
    if (m_decryptFailed) {
        return l10n.text(u"收到无法解密的内容：其他设备的口令可能不一致。",
                         u"Received content that can't be decrypted — passphrase mismatch on "
                         u"another device?");
    }
    if (m_copiedTooLarge) {
        return l10n.text(u"复制的文字太大，没有发送。请分段复制。",
                         u"The text you copied is too large and wasn't sent — copy it in parts.");
    }
    if (m_receivedTooLarge) {
        return l10n.text(u"另一台设备发来的文字太大，没有放到剪贴板上。请在那台设备上分段复制。",
                         u"A text from another device is too large for the clipboard here — copy "
                         u"it in parts there.");
    }
    if (m_loopStopped) {
        return l10n.text(u"另一个程序在来回传递同一段文字，已停止发送它。复制其他内容即可恢复。",
                         u"Another program keeps passing the same text back and forth, so it is "
                         u"no longer sent — copy something else to go on.");
    }
    if (!m_services.pasteboard.available()) {
        return l10n
            .text(u"无法访问这个桌面的剪贴板，复制的内容不会同步：%1。",
                  u"This desktop's clipboard can't be reached, so copies aren't synced: %1.")
            .arg(m_services.pasteboard.unavailableReason().in(l10n.lang()));
    }
    return std::nullopt;
}

} // namespace sorrelwind

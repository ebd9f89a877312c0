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
    if (m_crypto == CryptoStatus::failed)
        return l10n.text(u"密钥派生失败", u"Couldn't derive the encryption key");
    if (m_decryptFailed) {
        return l10n.text(u"收到无法解密的内容：其他设备的口令可能不一致。",
                         u"Received content that can't be decrypted — passphrase mismatch on "
                         u"another device?");
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
            .arg(m_services.pasteboard.unavailableReason());
    }
    return std::nullopt;
}

} // namespace sorrelwind

#include "clipboard/text_hash.h"

#include <QCryptographicHash>

namespace sorrelwind {

QString sha256Hex(const QString& text) {
    return QString::fromLatin1(
        QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha256).toHex());
}

} // namespace sorrelwind

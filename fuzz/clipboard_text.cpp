// What another program's copy is made into: the names of the types it offers, one a line, then an
// empty line, then the bytes of its best text.

#include "clipboard/clipboard_text.h"
#include "clipboard/pasteboard.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <cstdlib>
#include <optional>

using namespace sorrelwind;

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const qsizetype end = input.indexOf("\n\n");
    if (end < 0) {
        return 0;
    }
    const QStringList offered = QString::fromLatin1(input.first(end)).split(u'\n');
    const QByteArray bytes = input.sliced(end + 2);
    (void)isPublicHint(bytes);

    const qsizetype best = bestTextType(offered);
    require(best >= -1 && best < offered.size());
    if (best < 0) {
        return 0;
    }
    const QString& type = offered[best];
    const std::optional<QString> text = decodeText(type, bytes);
    if (!text) {
        return 0;
    }
    const QByteArray utf8 = text->toUtf8();
    require(utf8.size() <= kMaxClipboardBytes);
    // What was read can be offered again as the same text, but for a NUL at its end.
    if (!text->endsWith(QChar(u'\0'))) {
        require(decodeText(type, encodeText(type, utf8)) == text);
    }
    return 0;
}

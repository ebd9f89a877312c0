#include "clipboard/clipboard_text.h"

#include "clipboard/pasteboard.h"

#include <QStringConverter>

#include <algorithm>

namespace sorrelwind {
namespace {

constexpr QLatin1StringView kLatin1Type = kTextTypes.back();

// Not text/uri-list: browsers offer it with the text of a link.
constexpr std::array kFileTypes{
    QLatin1StringView("application/x-kde4-urilist"),
    QLatin1StringView("application/x-kde-cutselection"),
    QLatin1StringView("application/vnd.portal.filetransfer"),
    QLatin1StringView("application/vnd.portal.files"),
};
/// gnome-copied-files, mate-copied-files, nautilus-clipboard.
constexpr QLatin1StringView kFileTypePrefix{"x-special/"};

bool isFileType(const QString& type) {
    return type.startsWith(kFileTypePrefix) || std::ranges::count(kFileTypes, type) > 0;
}

QByteArray withoutFinalNul(const QByteArray& bytes) {
    return bytes.endsWith('\0') ? bytes.chopped(1) : bytes;
}

} // namespace

qsizetype bestTextType(const QStringList& offered) {
    if (std::ranges::any_of(offered, isFileType)) {
        return -1;
    }
    for (const QLatin1StringView type : kTextTypes) {
        if (const qsizetype index = offered.indexOf(type); index >= 0) {
            return index;
        }
    }
    return -1;
}

bool isPublicHint(const QByteArray& value) {
    return withoutFinalNul(value) == "public";
}

std::optional<QString> decodeText(const QString& type, const QByteArray& bytes) {
    if (bytes.size() > kMaxClipboardBytes + 1) {
        return std::nullopt;
    }
    const QByteArray content = withoutFinalNul(bytes);
    QString text;
    if (type == kLatin1Type) {
        text = QString::fromLatin1(content);
    } else {
        // A byte order mark is content here: what was copied is what arrives.
        QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless |
                                                         QStringConverter::Flag::ConvertInitialBom);
        text = decoder(content);
    }
    // Latin-1 doubles at most, and U+FFFD takes three bytes for a malformed one.
    if (content.size() > kMaxClipboardBytes / 3 && text.toUtf8().size() > kMaxClipboardBytes) {
        return std::nullopt;
    }
    return text;
}

QByteArray encodeText(const QString& type, const QByteArray& utf8) {
    if (type == kLatin1Type) {
        const QString text = QString::fromUtf8(utf8);
        if (std::ranges::all_of(text, [](QChar c) { return c.unicode() <= 0xff; })) {
            return text.toLatin1();
        }
    }
    return utf8;
}

} // namespace sorrelwind

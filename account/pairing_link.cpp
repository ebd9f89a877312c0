#include "account/pairing_link.h"

#include "account/server_defaults.h"

#include <QMap>
#include <QStringDecoder>

#include <algorithm>
#include <cctype>

namespace sorrelwind {

namespace {

// RFC 3986 percent-decoding; a text with a bad escape, or whose bytes are no UTF-8, stays as it is.
QString percentDecoded(QStringView raw) {
    const QByteArray bytes = raw.toUtf8();
    const auto isHex = [&bytes](qsizetype i) {
        return i < bytes.size() && std::isxdigit(static_cast<unsigned char>(bytes[i]));
    };
    for (qsizetype i = bytes.indexOf('%'); i >= 0; i = bytes.indexOf('%', i + 1)) {
        if (!isHex(i + 1) || !isHex(i + 2))
            return raw.toString();
    }
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString decoded = utf8.decode(QByteArray::fromPercentEncoding(bytes));
    return utf8.hasError() ? raw.toString() : decoded;
}

} // namespace

QString PairingLink::toString() const {
    QString link = server + QLatin1StringView("/#pair=") + code;
    if (keyB64) {
        QString key = *keyB64;
        key.replace(u'+', u'-').replace(u'/', u'_').remove(u'=');
        link += QLatin1StringView("&k=") + key;
    }
    return link;
}

std::optional<PairingLink> PairingLink::parse(const QString& text) {
    const QString trimmed = text.trimmed();
    const auto server = ServerDefaults::normalize(trimmed);
    const qsizetype hash = trimmed.indexOf(u'#');
    if (!server || hash < 0)
        return std::nullopt;

    QMap<QString, QString> parameters;
    const auto items = QStringView(trimmed).mid(hash + 1).split(u'&', Qt::SkipEmptyParts);
    for (const QStringView item : items) {
        if (const qsizetype equals = item.indexOf(u'='); equals >= 0)
            parameters.insert(item.left(equals).toString(), percentDecoded(item.mid(equals + 1)));
    }
    PairingLink link{*server, parameters.value(QStringLiteral("pair")), std::nullopt};
    if (link.code.isEmpty())
        return std::nullopt;
    if (const auto found = parameters.constFind(QStringLiteral("k")); found != parameters.cend()) {
        QString key = *found;
        key.replace(u'-', u'+').replace(u'_', u'/');
        while (key.size() % 4 != 0)
            key += u'=';
        link.keyB64 = key;
    }
    return link;
}

bool looksLikePairingCode(const QString& text) {
    return std::count_if(text.begin(), text.end(), [](QChar c) { return c.isLetterOrNumber(); }) ==
           8;
}

} // namespace sorrelwind

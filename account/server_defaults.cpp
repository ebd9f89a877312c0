#include "account/server_defaults.h"

#include <QUrl>

#include <algorithm>

namespace sorrelwind {

namespace {

const QString kNoHub = QStringLiteral("https://hub.sorrelwind.example");

bool hasSpaceOrControl(QStringView text) {
    return std::any_of(text.begin(), text.end(),
                       [](QChar c) { return c.isSpace() || c.category() == QChar::Other_Control; });
}

} // namespace

QString ServerDefaults::initial() {
    const QString fromEnvironment = qEnvironmentVariable("SORRELWIND_SERVER");
    const QString builtIn = normalize(QStringLiteral(SORRELWIND_DEFAULT_HUB)).value_or(kNoHub);
    return normalize(fromEnvironment).value_or(builtIn);
}

std::optional<QString> ServerDefaults::offered() {
    const QString server = initial();
    return server == kNoHub ? std::nullopt : std::optional(server);
}

bool ServerDefaults::isBuiltIn(const QString& address) {
    return address == QLatin1StringView(SORRELWIND_DEFAULT_HUB);
}

std::optional<QString> ServerDefaults::normalize(const QString& text) {
    QString url = text.trimmed();
    if (url.isEmpty())
        return std::nullopt;
    if (!url.contains(QLatin1StringView("://")))
        url.prepend(QLatin1StringView("https://"));
    if (hasSpaceOrControl(url))
        return std::nullopt;

    // The text itself is taken apart: QUrl lower-cases schemes and repairs what it should refuse.
    const qsizetype colon = url.indexOf(QLatin1StringView("://"));
    QString scheme = url.left(colon);
    if (scheme == QLatin1StringView("wss"))
        scheme = QStringLiteral("https");
    else if (scheme == QLatin1StringView("ws"))
        scheme = QStringLiteral("http");
    if (scheme != QLatin1StringView("https") && scheme != QLatin1StringView("http"))
        return std::nullopt;

    const QStringView rest = QStringView(url).mid(colon + 3);
    const auto end = std::find_if(rest.begin(), rest.end(),
                                  [](QChar c) { return c == u'/' || c == u'?' || c == u'#'; });
    const QStringView authority = rest.left(end - rest.begin());
    QString result = scheme + QLatin1StringView("://") + authority.toString();
    const QUrl parsed(result, QUrl::StrictMode);
    if (!parsed.isValid() || parsed.host().isEmpty())
        return std::nullopt;
    if (result.endsWith(u':')) // a port left out; two colons were refused
        result.chop(1);
    return result;
}

} // namespace sorrelwind

#include "base/l10n.h"

namespace sorrelwind {

std::optional<Lang> langFromName(const QString& name) {
    if (name == QLatin1StringView("zh"))
        return Lang::zh;
    if (name == QLatin1StringView("en"))
        return Lang::en;
    return std::nullopt;
}

QString langName(Lang lang) {
    return lang == Lang::zh ? QStringLiteral("zh") : QStringLiteral("en");
}

Lang langOfLocale(const QString& localeName) {
    return localeName.startsWith(QLatin1StringView("zh")) ? Lang::zh : Lang::en;
}

} // namespace sorrelwind

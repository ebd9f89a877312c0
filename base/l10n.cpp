#include "base/l10n.h"

#include "base/defaults.h"

#include <QLocale>

namespace sorrelwind {

namespace {

const QString kKey = QStringLiteral("language");

// QLocale calls the locale without a language "C".
QString systemLocaleName() {
    const QLocale system = QLocale::system();
    return system.language() == QLocale::C ? QString() : system.name();
}

} // namespace

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

Lang L10n::lang() const {
    const QVariant stored = m_defaults.value(kKey);
    if (stored.typeId() == QMetaType::QString) {
        if (const auto chosen = langFromName(stored.toString()))
            return *chosen;
    }
    return langOfLocale(systemLocaleName());
}

void L10n::toggle() {
    m_defaults.set(kKey, langName(lang() == Lang::zh ? Lang::en : Lang::zh));
}

} // namespace sorrelwind

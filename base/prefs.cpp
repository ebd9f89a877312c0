#include "base/prefs.h"

#include "base/defaults.h"

namespace sorrelwind {

namespace {

const QString kAppearance = QStringLiteral("appearance");
const QString kShowSyncBubble = QStringLiteral("showSyncBubble");

QString nameOf(Prefs::Appearance appearance) {
    switch (appearance) {
    case Prefs::Appearance::light:
        return QStringLiteral("light");
    case Prefs::Appearance::dark:
        return QStringLiteral("dark");
    case Prefs::Appearance::system:
        break;
    }
    return QStringLiteral("system");
}

} // namespace

std::optional<Prefs::Appearance> Prefs::appearanceFromName(const QString& name) {
    for (const auto appearance : {Appearance::system, Appearance::light, Appearance::dark}) {
        if (name == nameOf(appearance))
            return appearance;
    }
    return std::nullopt;
}

Prefs::Appearance Prefs::appearance() const {
    const QVariant stored = m_defaults.value(kAppearance);
    if (stored.typeId() != QMetaType::QString)
        return Appearance::system;
    return appearanceFromName(stored.toString()).value_or(Appearance::system);
}

void Prefs::setAppearance(Appearance appearance) {
    m_defaults.set(kAppearance, nameOf(appearance));
    applyAppearance();
}

void Prefs::applyAppearance() const {
    if (m_applier)
        m_applier(appearance());
}

bool Prefs::showSyncBubble() const {
    const QVariant stored = m_defaults.value(kShowSyncBubble);
    return stored.typeId() == QMetaType::Bool ? stored.toBool() : true;
}

void Prefs::setShowSyncBubble(bool show) {
    m_defaults.set(kShowSyncBubble, show);
}

} // namespace sorrelwind

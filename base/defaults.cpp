#include "base/defaults.h"

#include <QFileDevice>
#include <QJsonDocument>
#include <QJsonObject>

namespace sorrelwind {

namespace {

constexpr qint64 kMaxFileBytes = 1024 * 1024;

bool readJson(QIODevice& device, QSettings::SettingsMap& map) {
    const QByteArray bytes = device.read(kMaxFileBytes + 1);
    // A file that cannot be understood holds no preferences; the next write replaces it.
    if (bytes.size() <= kMaxFileBytes)
        map = QJsonDocument::fromJson(bytes).object().toVariantMap();
    return true;
}

bool writeJson(QIODevice& device, const QSettings::SettingsMap& map) {
    if (device.write(QJsonDocument(QJsonObject::fromVariantMap(map)).toJson()) < 0)
        return false;
    // A full disk shows at the flush; without it QSettings would put a cut file in place.
    auto* file = qobject_cast<QFileDevice*>(&device);
    return !file || file->flush();
}

QSettings::Format jsonFormat() {
    static const QSettings::Format format =
        QSettings::registerFormat(QStringLiteral("json"), readJson, writeJson);
    return format;
}

} // namespace

Defaults::Defaults(const QString& configDir)
    : m_settings(configDir + QStringLiteral("/preferences.json"), jsonFormat()) {}

QVariant Defaults::value(const QString& key) const {
    m_settings.sync();
    return m_settings.value(key);
}

void Defaults::set(const QString& key, const QVariant& value) {
    m_settings.setValue(key, value);
    m_settings.sync();
}

} // namespace sorrelwind

#pragma once

#include <QSettings>
#include <QString>
#include <QVariant>

namespace sorrelwind {

/// The per-user store of preferences, preferences.json in the config directory. JSON keeps types
/// apart, so a stored text "true" is not a boolean. Nothing is cached over a change of the file:
/// every read sees what another window or process wrote. Values that cannot be read are absent.
class Defaults {
public:
    explicit Defaults(const QString& configDir);

    /// An invalid QVariant when nothing is stored under `key`.
    [[nodiscard]] QVariant value(const QString& key) const;
    void set(const QString& key, const QVariant& value);

private:
    mutable QSettings m_settings;
};

} // namespace sorrelwind

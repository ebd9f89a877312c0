#pragma once

#include "base/l10n.h"
#include "base/result.h"

#include <QString>
#include <QStringList>

namespace sorrelwind {

/// Whether the agent starts when its user logs in: a file in the desktop's autostart folder (XDG
/// Desktop Application Autostart Specification). The file is the only truth, so a change made with
/// the desktop's own tools shows here.
class LaunchAtLogin {
public:
    /// `command` is this program and the arguments that it is to be started with.
    explicit LaunchAtLogin(QStringList command = thisProgram(),
                           QString autostartDir = defaultDir());

    [[nodiscard]] static QStringList thisProgram();
    /// "autostart" in XDG_CONFIG_HOME, else in ~/.config.
    [[nodiscard]] static QString defaultDir();

    [[nodiscard]] QString filePath() const;
    [[nodiscard]] bool enabled() const;
    [[nodiscard]] Result<void, Sentence> setEnabled(bool enabled) const;

    /// The whole file that starts `command`.
    [[nodiscard]] static QByteArray desktopEntry(const QStringList& command);
    /// The value of the key Exec (Desktop Entry Specification 1.5, "The Exec key").
    [[nodiscard]] static QString execValue(const QStringList& command);
    /// Whether a desktop would start what a file with this content says.
    [[nodiscard]] static bool starts(const QByteArray& content);

private:
    QStringList m_command;
    QString m_dir;
};

} // namespace sorrelwind

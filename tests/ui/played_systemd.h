#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <csignal>

namespace sorrelwind::test {

/// An environment variable with another value for a while.
class Environment {
public:
    Environment(const char* name, const QByteArray& value)
        : m_name(name), m_wasSet(qEnvironmentVariableIsSet(name)), m_before(qgetenv(name)) {
        qputenv(name, value);
    }
    ~Environment() {
        if (m_wasSet)
            qputenv(m_name, m_before);
        else
            qunsetenv(m_name);
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    const char* m_name;
    bool m_wasSet;
    QByteArray m_before;
};

/// Plays the user's systemd in a folder of the test's: a systemctl in front of the others that
/// keeps a log of what it is asked and really runs the unit. What runs ends with this object.
class PlayedSystemd {
public:
    explicit PlayedSystemd(const QString& folder)
        : m_bin(folder + QStringLiteral("/bin")),
          m_path("PATH", QFile::encodeName(m_bin) + ':' + qgetenv("PATH")),
          m_config("XDG_CONFIG_HOME", QFile::encodeName(folder)) {
        QDir().mkpath(m_bin);
        QFile script(m_bin + QStringLiteral("/systemctl"));
        if (script.open(QIODevice::WriteOnly))
            script.write(kScript);
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    ~PlayedSystemd() {
        QFile pid(pidFile());
        if (pid.open(QIODevice::ReadOnly)) {
            if (const int number = pid.readAll().trimmed().toInt(); number > 0)
                ::kill(number, SIGTERM);
        }
    }

    /// As if the service were running, with nothing behind it.
    void pretendToRun() const {
        QFile pid(pidFile());
        (void)pid.open(QIODevice::WriteOnly);
    }
    [[nodiscard]] QByteArray log() const {
        QFile log(m_bin + QStringLiteral("/log"));
        return log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
    }

private:
    [[nodiscard]] QString pidFile() const { return m_bin + QStringLiteral("/pid"); }

    static constexpr auto kScript = R"sh(#!/bin/sh
cd "$(dirname "$0")"
shift # --user
echo "$*" >> log
unit=$XDG_CONFIG_HOME/systemd/user/sorrelwind-hosted-hub.service
case $1 in
  is-active) test -f pid ;;
  enable) eval "exec $(sed -n s/^ExecStart=//p "$unit")" > /dev/null 2>&1 & echo $! > pid ;;
  disable) test ! -s pid || kill "$(cat pid)"; rm pid ;;
esac
)sh";

    QString m_bin;
    Environment m_path;
    Environment m_config;
};

} // namespace sorrelwind::test

#pragma once

#include "tests/support/xvfb.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <optional>

namespace sorrelwind::test {

/// What a program that ran to its end said.
struct Ended {
    int code = -1;
    QByteArray out;
    QByteArray err;
};

/// Runs one of our programs or any other to its end; fails the test after half a minute.
Ended runToEnd(const QString& program, const QStringList& arguments, const QByteArray& input = {},
               const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

/// Runs the agent's program with `arguments`, English, without any hub named by the environment.
Ended sorrelwind(const QStringList& arguments, const QByteArray& input = {});

/// A process that is ended by its id when this object goes, or when the test program dies.
class Background {
public:
    Background(const QString& program, const QStringList& arguments, const QString& logFile,
               const QProcessEnvironment& environment);
    ~Background();

    [[nodiscard]] QByteArray log() const;
    [[nodiscard]] bool running() const { return m_process.state() == QProcess::Running; }
    void signal(int number);
    /// Sends the signal and waits for the end. The exit code, or -1 when it did not exit by itself.
    int end(int signal);

private:
    QProcess m_process;
    QString m_logFile;
};

/// The hub program on loopback, with its data in a folder; keeps its port over restarts.
class Hub {
public:
    explicit Hub(const QString& folder, const QStringList& moreArguments = {});
    void start();
    void kill();             // SIGKILL
    void signal(int number); // such as SIGSTOP
    [[nodiscard]] QString url() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_port); }
    [[nodiscard]] QByteArray log() const { return m_process->log(); }

private:
    QString m_folder;
    QStringList m_moreArguments;
    int m_port = 0;
    std::unique_ptr<Background> m_process;
};

/// A desktop (Xvfb with xclip) and a headless agent on it, with a config directory of its own.
class Desktop {
public:
    Desktop(const QString& folder, const QString& name);

    void startAgent();
    int stopAgent(int signal); // the exit code
    /// The X server ends, as by a log-out.
    void endDesktop() { m_xvfb.kill(); }
    [[nodiscard]] bool agentRunning() const { return m_agent && m_agent->running(); }
    [[nodiscard]] QByteArray log() const { return m_agent->log(); }

    [[nodiscard]] QString configDir() const { return m_configDir; }
    [[nodiscard]] QByteArray display() const { return m_xvfb.display(); }
    /// A command to the program on this desktop's config directory.
    [[nodiscard]] Ended command(const QStringList& arguments, const QByteArray& input = {}) const;
    /// `status --json`; empty when the agent does not answer.
    [[nodiscard]] QJsonObject status() const;
    [[nodiscard]] QJsonArray devices() const;
    [[nodiscard]] QJsonObject pairing() const;
    /// Waits until the agent is connected and has its key.
    [[nodiscard]] bool ready() const;

    void createGroup(const Hub& hub);
    void joinByLink(const Desktop& member);

    void copy(const QByteArray& text) const;
    [[nodiscard]] std::optional<QByteArray> paste() const;
    [[nodiscard]] bool pastes(const QByteArray& text) const; // waits for it

protected:
    /// Without an agent yet. Its programs see the display and `m_environment`.
    Desktop(const QString& folder, const QString& name, const QStringList& agentArguments);

    [[nodiscard]] const QString& folder() const { return m_folder; }
    Xvfb m_xvfb;
    QProcessEnvironment m_environment;

private:
    QString m_folder;
    QString m_name;
    QString m_configDir;
    QStringList m_agentArguments;
    std::unique_ptr<Background> m_agent;
};

} // namespace sorrelwind::test

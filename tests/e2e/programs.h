#pragma once

#include "tests/support/xvfb.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <optional>

namespace sorrelwind::test {

/// The agent of this build.
inline const QString kAgent = SORRELWIND_BIN_DIR "/sorrelwind";

/// What a program that ran to its end said.
struct Ended {
    int code = -1;
    QByteArray out;
    QByteArray err;
};

/// In English, without any hub that the environment names.
QProcessEnvironment
ourEnvironment(QProcessEnvironment environment = QProcessEnvironment::systemEnvironment());

/// Runs one of our programs or any other to its end, and the event loop meanwhile; fails the test
/// after half a minute.
Ended runToEnd(const QString& program, const QStringList& arguments, const QByteArray& input = {},
               const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

/// Runs the agent's program.
Ended sorrelwind(const QStringList& arguments, const QByteArray& input = {});

/// A process that is ended by its id when this object goes, or when the test program dies.
class Background {
public:
    Background(const QString& program, const QStringList& arguments, const QString& logFile,
               const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());
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
    [[nodiscard]] QString url() const { return u"http://127.0.0.1:%1"_qs.arg(m_port); }
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

/// A hub and two desktops, all real.
class TwoDesktops : public testing::Test {
protected:
    QTemporaryDir folder;
    Hub hub{folder.path()};
    Desktop a{folder.path(), "alpha"};
    Desktop b{folder.path(), "beta"};
};

/// The two in one group. What is copied there stands in no log of anyone.
class PairedDesktops : public TwoDesktops {
protected:
    void SetUp() override;
    void TearDown() override;
};

} // namespace sorrelwind::test

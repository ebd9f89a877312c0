#pragma once

#include "base/l10n.h"
#include "base/result.h"
#include "base/task.h"

#include <QHostAddress>
#include <QObject>
#include <QProcess>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace sorrelwind {

class Defaults;

/// Hosts the group's hub on this computer for someone without a terminal: the program
/// sorrelwind-hub as a service of the user's systemd where there is one, else as a child process
/// that starts and ends with the agent. What was chosen is remembered under the preference
/// "hostHub". One for the whole program, owned by whoever owns the windows.
class HubHost final : public QObject {
    Q_OBJECT
public:
    // Not 8787: there a hub that came as a package, or for this computer alone, listens.
    static constexpr quint16 kPort = 8788;

    struct Options {
        QString program = findProgram(); // empty: not installed
        QHostAddress listen = QHostAddress(QHostAddress::AnyIPv4);
        quint16 port = kPort;
        QString dataDir = {}; // empty: the program's own choice
        bool mayUseSystemd = true;
        bool mayUseAvahi = true;
        bool showsLog = true; // what the child says goes to this program's standard error
        /// This computer's address in its network, null without one.
        std::function<QHostAddress()> localAddress = {}; // empty: that of the default route
    };

    explicit HubHost(Defaults& defaults) : HubHost(defaults, Options{}) {}
    HubHost(Defaults& defaults, Options options);
    ~HubHost() override;

    /// Beside this program, else in PATH; else empty.
    [[nodiscard]] static QString findProgram();
    /// What follows the program's name on its command line.
    [[nodiscard]] static QStringList arguments(const Options& options);

    /// At the start of the agent: what it hosted at its last run goes on.
    void resume();
    /// Asks again whether the service runs; changed() tells.
    void refresh();

    /// Whether the hub is to run here, and whether it does as far as is known.
    [[nodiscard]] bool hosts() const { return m_mode != Mode::none; }
    [[nodiscard]] bool running() const { return m_running; }
    /// Whether a service keeps it running beside the agent.
    [[nodiscard]] bool isService() const { return m_mode == Mode::service; }
    /// Whether the canonical address `server` is that of a hub on this computer.
    [[nodiscard]] bool isHere(const QString& server) const;

    /// The address for the group once the hub answers, else why it does not.
    using Started = std::function<void(const Result<QString, Sentence>&)>;
    /// None, else why it goes on.
    using Stopped = std::function<void(const std::optional<Sentence>&)>;
    /// Starting what runs is no error. A later start or stop takes the place of one under way,
    /// whose `done` is then not called.
    void start(Started done);
    /// The hub stops and does not come back; its data stays.
    void stop(Stopped done = {});

Q_SIGNALS:
    void changed();

private:
    enum class Mode { none, service, child };

    Task<> look();
    Task<> revive();
    Task<> settle();
    Task<Result<QString, Sentence>> bringUp();
    Task<std::optional<Sentence>> bringDown();
    Task<std::optional<Sentence>> startService();
    Task<bool> systemdWorks() const;
    Task<bool> serviceRuns() const;
    Task<bool> answers();
    [[nodiscard]] bool portIsFree() const;
    void startChild();
    Task<> endChild();
    [[nodiscard]] std::chrono::milliseconds longerRest() const;
    void remember(Mode mode);
    void setRunning(bool running);

    Defaults& m_defaults;
    Options m_options;
    Mode m_mode = Mode::none;
    bool m_running = false;
    bool m_wanted = false; // what the last call asked for
    bool m_settling = false;
    Started m_onStarted;
    Stopped m_onStopped;
    std::unique_ptr<QProcess> m_child;
    QTimer m_restart; // of a child that ended by itself
    TaskScope m_tasks;
};

} // namespace sorrelwind

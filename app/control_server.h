#pragma once

#include "app/control_protocol.h"
#include "base/result.h"
#include "base/task.h"

#include <QLocalServer>
#include <QObject>
#include <QPointer>

#include <functional>

class QLocalSocket;

namespace sorrelwind {

class AccountStore;
class AppModel;
class HubHost;

/// Lets the command line steer the running agent. Owned by the agent; the model outlives it. A
/// client that sends no whole request within its time, or too much, is dropped.
class ControlServer final : public QObject {
    Q_OBJECT
public:
    ControlServer(AppModel& model, const AccountStore& store, HubHost& hubHost, const L10n& l10n);

    /// The program was started again: it is to show itself. Empty without windows.
    std::function<void()> onShow;

    /// Listens in the config directory; false when the system refuses, as it does a long path.
    [[nodiscard]] bool listen(const QString& path);

private:
    void accept();
    void read(QLocalSocket* socket);
    Task<> serve(QPointer<QLocalSocket> socket, ControlRequest request);
    Task<ControlReply> answer(ControlRequest request);
    Task<ControlReply> pair(Lang lang);
    Task<ControlReply> remove(QString id, Lang lang);
    Task<ControlReply> rename(QString name, Lang lang);
    Task<> listed(std::function<bool()> shows);
    void send(QLocalSocket* socket, const ControlRequest& request);
    void receive(QLocalSocket* socket, const ControlRequest& request);
    void host(QLocalSocket* socket, const ControlRequest& request);
    [[nodiscard]] ControlReply inNoGroup(Lang lang) const;
    [[nodiscard]] QString passphraseHint(Lang lang) const;
    ControlReply show(Lang lang);
    ControlReply takeUpAccount(Lang lang);
    ControlReply adoptKey(const ControlRequest& request);
    [[nodiscard]] Lang langOf(const ControlRequest& request) const;
    [[nodiscard]] QJsonObject status(Lang lang) const;
    [[nodiscard]] QJsonObject devices() const;

    AppModel& m_model;
    const AccountStore& m_store;
    HubHost& m_hubHost;
    const L10n& m_l10n;
    QLocalServer m_server;
    TaskScope m_tasks;
};

} // namespace sorrelwind

#pragma once

#include "account/account_store.h"
#include "base/defaults.h"
#include "base/prefs.h"
#include "core/app_model.h"
#include "hub/network.h"
#include "tests/support/fake_pasteboard.h"
#include "tests/support/scripted_hub.h"

#include <QTemporaryDir>

namespace sorrelwind::test {

/// A running model in a group, over a scripted hub on loopback: what a view of it needs to be
/// brought into each of its states.
class ModelOverHub {
public:
    /// `defaults` holds the language.
    explicit ModelOverHub(Defaults& defaults);

    /// This device, and one more for each name; the first of those is online.
    [[nodiscard]] static QList<DeviceInfo> devices(const QStringList& others);

    /// Connects, encrypted unless the account has no key; false when that fails.
    [[nodiscard]] bool start(const QList<DeviceInfo>& devices, bool withKey = true);
    [[nodiscard]] bool setDevices(const QList<DeviceInfo>& devices);
    /// A copy that so many devices receive, or that the hub refuses.
    [[nodiscard]] bool copy(std::optional<int> recipients);
    [[nodiscard]] bool receive(const QString& payload, const QString& device);

    QTemporaryDir folder;
    AccountStore store{folder.path()};
    L10n l10n;
    Prefs prefs;
    FakePasteboard pasteboard;
    Network network;
    ScriptedHub hub;
    QString server = hub.base(); // what the account says
    std::unique_ptr<AppModel> model;

private:
    int m_count = 0;
};

} // namespace sorrelwind::test

#pragma once

#include "hosting/hub_host.h"

#include <QString>

#include <functional>
#include <optional>

namespace sorrelwind {

/// The hub of this computer for a group that the command line makes: brought up by the agent that
/// runs on the config directory, else by this process, which remembers it for the agent.
class GroupHub {
public:
    GroupHub(QString configDir, Defaults& defaults)
        : m_configDir(std::move(configDir)), m_defaults(defaults) {}

    void start(const HubHost::Started& done);
    /// No group came of it: what start() brought up ends.
    void takeBack(const std::function<void()>& done);
    /// Whether it goes on without the agent.
    [[nodiscard]] bool isService() const { return m_isService; }

private:
    QString m_configDir;
    Defaults& m_defaults;
    std::optional<HubHost> m_host; // none: the agent's
    bool m_started = false;        // was not there before
    bool m_isService = false;
};

} // namespace sorrelwind

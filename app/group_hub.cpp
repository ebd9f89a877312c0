#include "app/group_hub.h"

#include "app/control_client.h"
#include "base/l10n.h"

namespace sorrelwind {

void GroupHub::start(const HubHost::Started& done) {
    const auto reply = askAgent(m_configDir, {QStringLiteral("host"), {}, L10n(m_defaults).lang()});
    if (reply) {
        if (reply->error) {
            done(failure(Sentence{*reply->error, *reply->error}));
            return;
        }
        m_started = reply->result.value(QLatin1StringView("started")).toBool();
        m_isService = reply->result.value(QLatin1StringView("service")).toBool();
        done(reply->result.value(QLatin1StringView("server")).toString());
        return;
    }
    m_host.emplace(m_defaults, HubHost::Options{.showsLog = false});
    m_started = !m_host->hosts();
    m_host->start([this, done](const Result<QString, Sentence>& address) {
        m_isService = m_host->isService();
        done(address);
    });
}

void GroupHub::takeBack(const std::function<void()>& done) {
    if (m_started && m_host) {
        m_host->stop([done](const std::optional<Sentence>&) { done(); });
        return;
    }
    if (m_started)
        (void)askAgent(m_configDir, {QStringLiteral("host"), QStringLiteral("stop")});
    done();
}

} // namespace sorrelwind

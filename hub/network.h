#pragma once

#include <QSslConfiguration>

#include <optional>

namespace sorrelwind {

/// What all connections to hubs have in common. One for the process; outlives every request.
class Network {
public:
    /// Trusts the authorities of this computer. SSL_CERT_FILE names a file of others besides;
    /// SSL_CERT_DIR names folders, divided by colons, that stand in their place (openssl-env(7)).
    [[nodiscard]] const QSslConfiguration& tls() const;

private:
    mutable std::optional<QSslConfiguration> m_tls; // read when it is first needed
};

} // namespace sorrelwind

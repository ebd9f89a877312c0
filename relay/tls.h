#pragma once

#include <boost/asio/ssl/context.hpp>

#include <filesystem>
#include <memory>

namespace sorrelwind::relay {

/// A server's TLS settings with this certificate chain and key (PEM): TLS 1.3, or 1.2 with AEAD
/// ciphers. Throws OptionError when they cannot be read or do not belong together.
[[nodiscard]] std::shared_ptr<boost::asio::ssl::context> loadTls(const std::filesystem::path& cert,
                                                                 const std::filesystem::path& key);

} // namespace sorrelwind::relay

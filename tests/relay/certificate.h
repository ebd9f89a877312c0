#pragma once

#include <filesystem>
#include <string>

namespace sorrelwind::relay::test {

/// Writes a fresh self-signed certificate for localhost with this serial number, good for so many
/// seconds from now, and its key, as PEM.
void writeCertificate(const std::filesystem::path& cert, const std::filesystem::path& key,
                      long serial, long seconds = 3600);

struct TlsReply {
    long serial; ///< of the hub's certificate
    std::string text;
};

/// Sends bytes over TLS (any certificate will do) and reads until `mark` has come.
TlsReply exchangeTls(unsigned short port, const std::string& bytes, const std::string& mark);

/// The cipher that the hub chooses from this list (openssl-ciphers(1)) for TLS 1.2, "" if none.
std::string tls12Cipher(unsigned short port, const char* offered);

} // namespace sorrelwind::relay::test

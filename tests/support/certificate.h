#pragma once

#include <filesystem>

namespace sorrelwind::test {

struct CertificateWish {
    const char* name = "localhost"; // of subject and issuer
    long serial = 1;
    long from = -3600; // seconds from now
    long until = 3600;
};

/// Writes a fresh self-signed certificate and its key, as PEM.
void writeCertificate(const std::filesystem::path& cert, const std::filesystem::path& key,
                      const CertificateWish& wish);

} // namespace sorrelwind::test

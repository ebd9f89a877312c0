#include "tests/support/certificate.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace sorrelwind::test {

namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File create(const std::filesystem::path& path) {
    return {std::fopen(path.c_str(), "w"), fclose};
}

} // namespace

void writeCertificate(const std::filesystem::path& cert, const std::filesystem::path& key,
                      const CertificateWish& wish) {
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pair(EVP_EC_gen("P-256"),
                                                                   EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> x509(X509_new(), X509_free);
    ASN1_INTEGER_set(X509_get_serialNumber(x509.get()), wish.serial);
    X509_gmtime_adj(X509_getm_notBefore(x509.get()), wish.from);
    X509_gmtime_adj(X509_getm_notAfter(x509.get()), wish.until);
    X509_set_pubkey(x509.get(), pair.get());
    auto* name = X509_get_subject_name(x509.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(wish.name), -1, -1, 0);
    X509_set_issuer_name(x509.get(), name);
    X509_sign(x509.get(), pair.get(), EVP_sha256());
    if (PEM_write_X509(create(cert).get(), x509.get()) != 1 ||
        PEM_write_PrivateKey(create(key).get(), pair.get(), nullptr, nullptr, 0, nullptr,
                             nullptr) != 1)
        throw std::runtime_error("cannot write the certificate");
}

} // namespace sorrelwind::test

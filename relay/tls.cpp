#include "relay/tls.h"

#include "relay/state_directory.h"

#include <openssl/err.h>

namespace sorrelwind::relay {

namespace ssl = boost::asio::ssl;

std::shared_ptr<ssl::context> loadTls(const std::filesystem::path& cert,
                                      const std::filesystem::path& key) {
    auto context = std::make_shared<ssl::context>(ssl::context::tls_server);
    context->set_options(ssl::context::default_workarounds | ssl::context::no_compression |
                         ssl::context::no_tlsv1 | ssl::context::no_tlsv1_1 |
                         SSL_OP_NO_RENEGOTIATION);
    // Of TLS 1.2 only what encrypts and authenticates in one (AEAD), with a key exchange of its own
    // for each connection; all of TLS 1.3 does.
    if (SSL_CTX_set_cipher_list(context->native_handle(), "ECDHE+AESGCM:ECDHE+CHACHA20") != 1)
        throw OptionError("this computer's TLS library has no AEAD ciphers for TLS 1.2");
    // Without a terminal there is nobody to type a passphrase: never ask for one.
    SSL_CTX_set_default_passwd_cb(context->native_handle(),
                                  [](char*, int, int, void*) { return 0; });
    boost::system::error_code error;
    context->use_certificate_chain_file(cert.string(), error);
    if (error)
        throw OptionError("cannot use the certificate " + cert.string() + ": " + error.message());
    context->use_private_key_file(key.string(), ssl::context::pem, error);
    if (error)
        throw OptionError("cannot use the key " + key.string() + ": " + error.message());
    if (SSL_CTX_check_private_key(context->native_handle()) != 1)
        throw OptionError("the key " + key.string() + " does not belong to the certificate " +
                          cert.string());
    ERR_clear_error();
    return context;
}

} // namespace sorrelwind::relay

#include "tests/relay/certificate.h"

#include "tests/support/certificate.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <openssl/x509.h>

#include <memory>

namespace sorrelwind::relay::test {

namespace net = boost::asio;

void writeCertificate(const std::filesystem::path& cert, const std::filesystem::path& key,
                      long serial, long seconds) {
    sorrelwind::test::writeCertificate(cert, key, {.serial = serial, .until = seconds});
}

TlsReply exchangeTls(unsigned short port, const std::string& bytes, const std::string& mark) {
    net::io_context io;
    net::ssl::context tls(net::ssl::context::tls_client);
    net::ssl::stream<net::ip::tcp::socket> stream(io, tls);
    stream.next_layer().connect({net::ip::address_v4::loopback(), port});
    SSL_set_tlsext_host_name(stream.native_handle(), "localhost"); // Caddy wants to be called so
    stream.handshake(net::ssl::stream_base::client);
    const std::unique_ptr<X509, decltype(&X509_free)> peer(
        SSL_get1_peer_certificate(stream.native_handle()), X509_free);
    TlsReply reply{ASN1_INTEGER_get(X509_get0_serialNumber(peer.get())), {}};
    net::write(stream, net::buffer(bytes));
    boost::system::error_code error;
    char buffer[4096];
    while (!error && reply.text.find(mark) == std::string::npos)
        reply.text.append(buffer, stream.read_some(net::buffer(buffer), error));
    return reply;
}

std::string tls12Cipher(unsigned short port, const char* offered) {
    net::io_context io;
    net::ssl::context tls(net::ssl::context::tlsv12_client);
    if (SSL_CTX_set_cipher_list(tls.native_handle(), offered) != 1)
        throw std::runtime_error("no such ciphers");
    net::ssl::stream<net::ip::tcp::socket> stream(io, tls);
    stream.next_layer().connect({net::ip::address_v4::loopback(), port});
    boost::system::error_code error;
    stream.handshake(net::ssl::stream_base::client, error);
    return error ? "" : SSL_get_cipher_name(stream.native_handle());
}

} // namespace sorrelwind::relay::test

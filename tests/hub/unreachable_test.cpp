#include "hub/hub_api.h"
#include "hub/network.h"
#include "tests/support/certificate.h"
#include "tests/support/print_qt.h"
#include "tests/support/scripted_hub.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QTcpSocket>
#include <QTemporaryDir>

namespace sorrelwind {
namespace {

using test::outcomeOf;
using Why = Unreachable::Why;

class Reach : public testing::Test {
protected:
    ~Reach() override {
        qunsetenv("SSL_CERT_FILE");
        qunsetenv("SSL_CERT_DIR");
    }

    /// A TLS server on loopback that answers each request like a hub without a crypto record.
    void serve(const test::CertificateWish& wish) {
        test::writeCertificate(path("c.pem").toStdString(), path("k.pem").toStdString(), wish);
        m_certificate = QSslCertificate::fromPath(path("c.pem")).value(0);
        QFile key(path("k.pem"));
        ASSERT_TRUE(key.open(QFile::ReadOnly));
        QSslConfiguration tls;
        tls.setLocalCertificate(m_certificate);
        tls.setPrivateKey(QSslKey(&key, QSsl::Ec));
        m_server = std::make_unique<QSslServer>();
        m_server->setSslConfiguration(tls);
        QObject::connect(
            m_server.get(), &QTcpServer::pendingConnectionAvailable, m_server.get(), [this] {
                QTcpSocket* socket = m_server->nextPendingConnection();
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket] {
                    if (!socket->readAll().isEmpty())
                        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
                });
            });
        ASSERT_TRUE(m_server->listen(QHostAddress::LocalHost));
    }
    [[nodiscard]] QString path(const char* name) const {
        return m_folder.filePath(QLatin1StringView(name));
    }
    [[nodiscard]] static Result<std::optional<CryptoRecord>, HubError> ask(const QString& base) {
        const Network network; // reads the environment
        return outcomeOf(HubAPI{&network, base, {}}.fetchCrypto()).value();
    }
    [[nodiscard]] QString address(const char* scheme, const char* host) const {
        return u"%1://%2:%3"_qs.arg(QLatin1StringView(scheme), QLatin1StringView(host))
            .arg(m_server->serverPort());
    }

    QTemporaryDir m_folder;
    QSslCertificate m_certificate;
    std::unique_ptr<QSslServer> m_server;
};

TEST_F(Reach, CertificatesAreJudgedByTheEnvironmentsAuthorities) {
    const struct {
        const char* name;
        test::CertificateWish wish;
        const char* variable;
        const char* file;
        const char* host;
        std::optional<Why> why;
    } kTable[] = {
        {"named as a file", {}, "SSL_CERT_FILE", "c.pem", "localhost", {}},
        {"in a folder", {}, "SSL_CERT_DIR", ".", "localhost", {}},
        {"unknown", {}, "SSL_CERT_FILE", "none.pem", "localhost", Why::untrusted},
        {"another name", {}, "SSL_CERT_FILE", "c.pem", "127.0.0.1", Why::otherName},
        {"expired", {.until = -60}, "SSL_CERT_FILE", "c.pem", "localhost", Why::expired},
        {"of tomorrow",
         {.from = 60, .until = 999},
         "SSL_CERT_FILE",
         "c.pem",
         "localhost",
         Why::notYetValid},
    };
    for (const auto& row : kTable) {
        SCOPED_TRACE(row.name);
        serve(row.wish);
        qunsetenv("SSL_CERT_FILE");
        qunsetenv("SSL_CERT_DIR");
        qputenv(row.variable, path(row.file).toLocal8Bit());
        const auto reply = ask(address("https", row.host));
        ASSERT_EQ(reply.has_value(), !row.why);
        if (!row.why)
            continue;
        const HubError& error = reply.error();
        ASSERT_TRUE(error.reason);
        EXPECT_EQ(error.reason->why, *row.why);
        EXPECT_EQ(error.reason->issuer, u"localhost"_qs);
        const QString fingerprint = QString::fromLatin1(
            m_certificate.digest(QCryptographicHash::Sha256).toHex(' ').toUpper());
        for (const Lang lang : {Lang::zh, Lang::en}) {
            EXPECT_TRUE(error.explained(lang).startsWith(error.message(lang)));
            EXPECT_TRUE(error.explained(lang).contains(fingerprint));
        }
    }
}

TEST_F(Reach, SaysWhatStandsInTheWay) {
    QTcpServer plain;
    QObject::connect(&plain, &QTcpServer::newConnection, &plain, [&plain] {
        plain.nextPendingConnection()->write("HTTP/1.1 400 Bad Request\r\n\r\n");
    });
    ASSERT_TRUE(plain.listen(QHostAddress::LocalHost));
    const QString place = u"127.0.0.1:%1"_qs.arg(plain.serverPort());
    const std::pair<QString, Why> kTable[] = {
        {u"http://no-such-host.invalid"_qs, Why::nameNotFound},
        {u"https://"_qs + place, Why::noTls},
    };
    for (const auto& [base, why] : kTable) {
        const HubError error = ask(base).error();
        ASSERT_TRUE(error.reason) << base.toStdString();
        EXPECT_EQ(error.reason->why, why) << error.explained(Lang::en).toStdString();
    }
    plain.close();
    const HubError refused = ask(u"http://"_qs + place).error();
    EXPECT_EQ(refused.explained(Lang::en),
              u"Can't reach the server — check your connection. %1 refuses connections — see "
              u"whether the hub runs there, and check the port."_qs.arg(place));
    EXPECT_EQ(
        refused.explained(Lang::zh),
        u"无法连接服务器，请检查网络。%1 拒绝连接，请确认服务器程序正在运行，并检查端口。"_qs.arg(
            place));
}

TEST_F(Reach, ANameIsTriedByBothKindsOfAddresses) {
    test::ScriptedHub hub; // on 127.0.0.1 alone
    hub.on("GET /crypto", {{}});
    EXPECT_TRUE(ask(hub.base().replace(u"127.0.0.1"_qs, u"localhost"_qs)).has_value());
}

} // namespace
} // namespace sorrelwind

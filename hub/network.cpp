#include "hub/network.h"

#include <QDir>

namespace sorrelwind {

namespace {

QSslConfiguration readTls() {
    auto tls = QSslConfiguration::defaultConfiguration();
    const QString file = qEnvironmentVariable("SSL_CERT_FILE");
    const QString folders = qEnvironmentVariable("SSL_CERT_DIR");
    if (file.isEmpty() && folders.isEmpty())
        return tls;
    auto trusted =
        folders.isEmpty() ? QSslConfiguration::systemCaCertificates() : QList<QSslCertificate>();
    const QStringList names = folders.split(u':', Qt::SkipEmptyParts);
    for (const QString& name : names) {
        const QDir folder(name);
        const QStringList entries = folder.entryList(QDir::Files);
        for (const QString& entry : entries)
            trusted += QSslCertificate::fromPath(folder.filePath(entry));
    }
    if (!file.isEmpty())
        trusted += QSslCertificate::fromPath(file);
    tls.setCaCertificates(trusted);
    return tls;
}

} // namespace

const QSslConfiguration& Network::tls() const {
    if (!m_tls)
        m_tls = readTls();
    return *m_tls;
}

} // namespace sorrelwind

#include "tests/support/TestAuthority.h"

#include <QFile>
#include <QProcess>

namespace KOZAV::Test {

namespace {

/// Makes a key and a certificate for it, which is valid for two days.
void makeCertificate(const QString& key, const QString& certificate, const QStringList& more)
{
    QProcess openssl;
    openssl.setProcessChannelMode(QProcess::MergedChannels);
    openssl.start(QStringLiteral("openssl"),
                  QStringList{QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"),
                              QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
                              QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes"),
                              QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-keyout"), key,
                              QStringLiteral("-out"), certificate} +
                      more);
    if (!openssl.waitForFinished() || openssl.exitCode() != 0)
        qFatal("openssl: %s", openssl.readAll().constData());
}

} // namespace

TestAuthority::TestAuthority()
{
    makeCertificate(m_folder.filePath(QStringLiteral("ca.key")), certificate(),
                    {QStringLiteral("-subj"), QStringLiteral("/CN=authority of a test")});
}

TestAuthority::Identity TestAuthority::server() const
{
    Identity identity{m_folder.filePath(QStringLiteral("server.pem")),
                      m_folder.filePath(QStringLiteral("server.key"))};
    if (!QFile::exists(identity.certificate))
        makeCertificate(identity.key, identity.certificate,
                        {QStringLiteral("-subj"), QStringLiteral("/CN=localhost"), QStringLiteral("-addext"),
                         QStringLiteral("subjectAltName=IP:127.0.0.1,DNS:localhost"),
                         QStringLiteral("-addext"), QStringLiteral("basicConstraints=critical,CA:FALSE"),
                         QStringLiteral("-CA"), certificate(), QStringLiteral("-CAkey"),
                         m_folder.filePath(QStringLiteral("ca.key"))});
    return identity;
}

} // namespace KOZAV::Test

// Encrypted connections to the store's server, and servers that are not trusted.

#include "tests/support/GridFsBox.h"
#include "tests/support/TestAuthority.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class GridFsTls final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void storesAndFetchesEncrypted();
    void unknownAuthorityIsRefused();
    void otherHostNameIsRefused();
    void serverWithoutTlsIsRefused();
    void clientWithoutTlsIsRefused();

private:
    [[nodiscard]] PeerOptions encrypting() const;
    static QString trusting(const TestAuthority& authority);
    static Status triedPut(GridFsBox& box);

    TestAuthority m_authority;
};

PeerOptions GridFsTls::encrypting() const
{
    const TestAuthority::Identity server = m_authority.server();
    PeerOptions options;
    options.certificate = server.certificate;
    options.key = server.key;
    return options;
}

QString GridFsTls::trusting(const TestAuthority& authority)
{
    return QStringLiteral("tls=true&tlsCAFile=%1&connectTimeoutMS=2000&socketTimeoutMS=2000")
        .arg(authority.certificate());
}

Status GridFsTls::triedPut(GridFsBox& box)
{
    if (!box.peer().refusal().isEmpty())
        return Status(ErrorCode::Internal, box.peer().refusal());
    return box.put("job.zip", "content").status();
}

void GridFsTls::storesAndFetchesEncrypted()
{
    GridFsBox box(encrypting(), trusting(m_authority));
    if (!box.peer().refusal().isEmpty())
        QSKIP(qPrintable(box.peer().refusal()));
    const QByteArray content = randomBytes(5'000'000, 1);
    const auto stored = box.put("job.zip", content);
    QVERIFY2(stored.ok(), qPrintable(stored.message()));
    QCOMPARE(box.contentOf("job.zip"), content);
    const auto health = box.store().health();
    QVERIFY2(health.ok(), qPrintable(health.message()));
    QCOMPARE(health->encryption, QStringLiteral("TLS"));
}

void GridFsTls::unknownAuthorityIsRefused()
{
    const TestAuthority other;
    GridFsBox box(encrypting(), trusting(other));
    if (!box.peer().refusal().isEmpty())
        QSKIP(qPrintable(box.peer().refusal()));
    const Status tried = triedPut(box);
    QCOMPARE(tried.code(), ErrorCode::Unavailable);
    QCOMPARE(box.peer().counters()[QStringLiteral("files")].toInt(), 0);
}

void GridFsTls::otherHostNameIsRefused()
{
    GridFsBox box(encrypting(), trusting(m_authority));
    if (!box.peer().refusal().isEmpty())
        QSKIP(qPrintable(box.peer().refusal()));
    DocumentStoreSettings settings;
    settings.kind = QStringLiteral("mongodb");
    // The same address, by a name that the certificate does not have.
    settings.uri = box.uri().replace(QLatin1String("127.0.0.1"), QLatin1String("127.1"));
    QVERIFY(settings.uri != box.uri());
    const auto opened = openDocumentStore(settings);
    QVERIFY2(opened.ok(), qPrintable(opened.message()));
    const Status found = opened.value()->find(box.location(), "job.zip").status();
    QVERIFY2(found.code() == ErrorCode::Unavailable, qPrintable(found.message()));
}

void GridFsTls::serverWithoutTlsIsRefused()
{
    GridFsBox box({}, trusting(m_authority));
    if (!box.peer().refusal().isEmpty())
        QSKIP(qPrintable(box.peer().refusal()));
    QCOMPARE(triedPut(box).code(), ErrorCode::Unavailable);
}

void GridFsTls::clientWithoutTlsIsRefused()
{
    GridFsBox box(encrypting(), QStringLiteral("connectTimeoutMS=2000&socketTimeoutMS=2000"));
    if (!box.peer().refusal().isEmpty())
        QSKIP(qPrintable(box.peer().refusal()));
    QCOMPARE(triedPut(box).code(), ErrorCode::Unavailable);
}

ZAV_REGISTER_TEST(gridfs_tls, GridFsTls, QCoreApplication)

#include "gridfs_tls.moc"

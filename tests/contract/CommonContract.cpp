#include "CommonContract.h"

#include "services/common/Common.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

namespace KOZAV::Test {

void CommonContract::interfaceIsOneObject()
{
    QVERIFY(Common::commonInterface());
    QCOMPARE(Common::commonInterface(), Common::commonInterface());
}

void CommonContract::configurationHasItsFields()
{
    m_site->configure(QStringLiteral("document_store/database"), QStringLiteral("rows"));
    m_site->configure(QStringLiteral("document_store/file_store"), QStringLiteral("files"));
    m_site->configure(QStringLiteral("cache/upload"), m_site->path(QStringLiteral("up")));
    m_site->configure(QStringLiteral("cache/download"), m_site->path(QStringLiteral("down")));
    m_site->configure(QStringLiteral("robot/host"), QStringLiteral("10.1.2.3"));
    m_site->configure(QStringLiteral("robot/port"), QStringLiteral("4711"));
    const DataLib::Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    QCOMPARE(config.mongoDbName, std::string("rows"));
    QCOMPARE(config.mongoFsName, std::string("files"));
    QCOMPARE(QString::fromStdString(config.uploadCacheDir), m_site->path(QStringLiteral("up/")));
    QCOMPARE(QString::fromStdString(config.downloadCacheDir), m_site->path(QStringLiteral("down/")));
    QCOMPARE(config.robotHost, std::string("10.1.2.3"));
    QCOMPARE(config.robotPort, 4711);
}

void CommonContract::changedConfigurationIsSeen()
{
    for (const char* host : {"first", "other", "again"}) {
        m_site->configure(QStringLiteral("robot/host"), QLatin1String(host));
        QCOMPARE(Common::commonInterface()->getConfig().robotHost, std::string(host));
    }
}

void CommonContract::unusableConfigurationGivesAnEmptyRecord()
{
    QVERIFY(!Common::commonInterface()->getConfig().mongoDbName.empty());
    m_site->loseConfiguration();
    const DataLib::Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    QVERIFY(config.mongoDbName.empty() && config.uploadCacheDir.empty() && config.robotHost.empty());
}

void CommonContract::identifiersAreRfc4122Text()
{
    const QRegularExpression form(
        QStringLiteral("\\A[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}\\z"));
    const QString guid = QString::fromStdString(Common::commonInterface()->getGUID());
    QVERIFY2(form.match(guid).hasMatch(), qPrintable(guid));
}

void CommonContract::identifiersAreUnique()
{
    constexpr int count = 10000;
    QSet<QString> guids;
    for (int i = 0; i < count; ++i)
        guids.insert(QString::fromStdString(Common::commonInterface()->getGUID()));
    QCOMPARE(guids.size(), count);
}

void CommonContract::timeTextIsTheLocalTime()
{
    const QDateTime before = QDateTime::currentDateTime();
    const QString text = QString::fromStdString(Common::GetTimeStr());
    const QDateTime after = QDateTime::currentDateTime();
    QVERIFY2(QRegularExpression(QStringLiteral("\\A[0-9]{17}\\z")).match(text).hasMatch(), qPrintable(text));
    const QDateTime time = QDateTime::fromString(text, QStringLiteral("yyyyMMddhhmmsszzz"));
    QVERIFY2(before <= time && time <= after, qPrintable(text));
}

} // namespace KOZAV::Test

#include "PackContract.h"

#include "WeirdTexts.h"
#include "services/common/Common.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

namespace KOZAV::Test {

namespace {

/// Makes a folder as jobs have it: files at several depths, an empty one, an empty folder.
QString makeFolder(const ContractSite& site)
{
    const QDir root(site.folder());
    root.mkpath(QStringLiteral("job/steps/pcb/layers"));
    root.mkpath(QStringLiteral("job/empty folder"));
    site.writeFile(QStringLiteral("job/matrix"), QByteArray(100000, 'm'));
    site.writeFile(QStringLiteral("job/steps/pcb/layers/") + QString::fromUtf8("\xE5\xB1\x82 1"), "layer");
    site.writeFile(QStringLiteral("job/steps/nothing"), QByteArray());
    site.writeFile(QStringLiteral("job/readme.json"), "{}");
    return root.filePath(QStringLiteral("job"));
}

std::string stagingFolder(const ContractSite& site)
{
    return site.path(QStringLiteral("staging/")).toStdString();
}

int pack(const ContractSite& site, const QString& folder, std::string& archiveId)
{
    return Common::FoldersCompressSave2MongoDb(QFile::encodeName(folder).toStdString(), stagingFolder(site),
                                               archiveId);
}

/// Each file below the folder with its content, each empty folder; in order.
QStringList entries(const QString& folder)
{
    QStringList found;
    QDirIterator walk(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        QFile file(walk.next());
        QString entry = QDir(folder).relativeFilePath(file.fileName());
        if (file.open(QIODevice::ReadOnly))
            entry += QLatin1Char('=') + QString::fromUtf8(file.readAll());
        found << entry;
    }
    found.sort();
    return found;
}

QStringList stagedFiles(const ContractSite& site)
{
    return QDir(site.path(QStringLiteral("staging")))
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

} // namespace

void PackContract::packedFolderHoldsAllFiles()
{
    const QString unzip = QStandardPaths::findExecutable(QStringLiteral("unzip"));
    if (unzip.isEmpty())
        QSKIP("no unzip program to read the archive with");
    const QString folder = makeFolder(*m_site);
    std::string archiveId;
    QCOMPARE(pack(*m_site, folder, archiveId), 0);

    const DataLib::Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    const QString fetched = m_site->path(QStringLiteral("fetched.zip"));
    QCOMPARE(
        Common::MongodbGet(config.mongoDbName, config.mongoFsName, fetched.toStdString(), archiveId + ".zip"),
        0);
    const QString unpacked = m_site->path(QStringLiteral("unpacked"));
    QCOMPARE(QProcess::execute(unzip, {QStringLiteral("-qq"), fetched, QStringLiteral("-d"), unpacked}), 0);
    const QStringList packed = entries(unpacked);
    const QStringList expected = entries(folder);
    QCOMPARE(expected.size(), 8);
    // Whether the folder itself is an entry is for the layout of archives to say.
    QCOMPARE(packed.contains(QStringLiteral("job")) ? entries(unpacked + QStringLiteral("/job")) : packed,
             expected);
}

void PackContract::nothingIsLeftInTheStagingFolder()
{
    std::string archiveId;
    QCOMPARE(pack(*m_site, makeFolder(*m_site), archiveId), 0);
    QCOMPARE(stagedFiles(*m_site), QStringList());
    QCOMPARE(ContractSite::storedNames(), std::vector<std::string>{archiveId + ".zip"});
}

void PackContract::separatorAtTheEndMakesNoDifference()
{
    const QString folder = makeFolder(*m_site);
    for (const char* end : {"", "/", "//"}) {
        std::string archiveId;
        QCOMPARE(pack(*m_site, folder + QLatin1String(end), archiveId), 0);
    }
    QCOMPARE(ContractSite::storedNames().size(), size_t{3});
}

void PackContract::everyArchiveHasANameOfItsOwn()
{
    const QString folder = makeFolder(*m_site);
    std::string first = "before";
    std::string second = "before";
    QCOMPARE(pack(*m_site, folder, first), 0);
    QCOMPARE(pack(*m_site, folder, second), 0);
    QVERIFY(first != second);
    QCOMPARE(first.size(), size_t{36});
}

void PackContract::failureLeavesNothing_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("no such folder") << QStringLiteral("nothing");
    QTest::newRow("a file") << QStringLiteral("file");
    QTest::newRow("a folder with a FIFO") << QStringLiteral("job");
}

void PackContract::failureLeavesNothing()
{
    QFETCH(const QString, folder);
    makeFolder(*m_site);
    m_site->writeFile(QStringLiteral("file"), "content");
    QCOMPARE(QProcess::execute(QStringLiteral("mkfifo"), {m_site->path(QStringLiteral("job/pipe"))}), 0);
    std::string archiveId = "before";
    ContractSite::expectFailure("FoldersCompressSave2MongoDb", "");
    QVERIFY(pack(*m_site, m_site->path(folder), archiveId) != 0);
    QCOMPARE(archiveId, std::string());
    QVERIFY(ContractSite::storedNames().empty());
    QCOMPARE(stagedFiles(*m_site), QStringList());
}

} // namespace KOZAV::Test

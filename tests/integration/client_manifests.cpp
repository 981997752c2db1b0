// What becomes of the job manifests of a batch, which the panel deletes before it imports.

#include "backend/Site.h"
#include "backend/config/Settings.h"
#include "backend/io/ProcessFolder.h"
#include "host/BatchRun.h"
#include "host/MainWindow.h"
#include "host/ManifestKeeper.h"
#include "host/PanelReport.h"
#include "host/ServiceLog.h"
#include "host/site/SiteAccess.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>

#include <sys/stat.h>

#include <memory>
#include <optional>
#include <vector>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

const QByteArray manifest = R"({"resource": "r", "customer2": "二", "customer3": "三"})";

void writeFile(const QString& path, const QByteArray& content)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    QCOMPARE(file.write(content), qint64(content.size()));
}

QByteArray readmeOf(const QString& folder)
{
    QFile file(folder + QStringLiteral("/readme.json"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A client on a fresh site with the company 甲; its batch is the folder "batch".
class Client final
{
public:
    Client()
    {
        site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
        start();
    }

    /// Begins the program anew.
    void start()
    {
        m_window.reset();
        m_access.reset();
        m_access.emplace(site.configuration());
        if (const QString failure = m_access->open(); !failure.isEmpty())
            qFatal("%s", qPrintable(failure));
        m_window.emplace(*m_access, m_log);
    }

    void end()
    {
        m_window.reset();
        m_access.reset();
    }

    /// Imports the batch. @return what the run printed
    QString importBatch()
    {
        QString output;
        QTextStream out(&output);
        BatchRun(*m_window, *m_access, {site.path(QStringLiteral("batch")), QString()}, out, out).run();
        return output;
    }

    [[nodiscard]] QString job(const char* company, const char* name) const
    {
        return site.path(QStringLiteral("batch/%1/%2").arg(QString::fromUtf8(company), QLatin1String(name)));
    }

    /// Makes a job folder with a manifest. @return its path
    QString addJob(const char* company, const char* name) const
    {
        writeFile(job(company, name) + QStringLiteral("/file"), "content");
        writeFile(job(company, name) + QStringLiteral("/readme.json"), manifest);
        return job(company, name);
    }

    [[nodiscard]] SiteAccess& access() { return *m_access; }
    /// The codes of the warnings of a job of the last batch.
    [[nodiscard]] QStringList codes(const char* name) const
    {
        QStringList codes;
        for (const BatchReportRow& row : m_window->panelReport().current()->rows()) {
            for (const Remark& warning : row.warnings)
                if (row.entry == QLatin1String(name))
                    codes << warning.code;
        }
        return codes;
    }
    [[nodiscard]] const QStringList& remarks() const { return m_window->manifestKeeper().remarks(); }

    [[nodiscard]] static QString shared()
    {
        return Backend::Site::current().settings()->downloadCache + QStringLiteral("work");
    }

    /// The folders of processes in the work folder.
    [[nodiscard]] static QStringList workFolders()
    {
        return QDir(shared()).entryList({QStringLiteral("process-*")}, QDir::Dirs);
    }

    FreshSite site;

private:
    ServiceLog m_log;
    std::optional<SiteAccess> m_access;
    std::optional<MainWindow> m_window;
};

/// What a program leaves that was ended with copies of these folders' manifests.
void leaveCopies(const QStringList& folders, const QByteArray& tail = {})
{
    const auto work = Backend::ProcessFolder::make(QFile::encodeName(Client::shared()).toStdString());
    QVERIFY2(work.ok(), qPrintable(work.message()));
    QByteArray journal;
    for (const QString& folder : folders) {
        const QJsonObject copy = {{QStringLiteral("folder"), folder},
                                  {QStringLiteral("content"), QString::fromLatin1(manifest.toBase64())}};
        journal += QJsonDocument(copy).toJson(QJsonDocument::Compact) + '\n';
    }
    writeFile(QString::fromStdString(work->path()) + QStringLiteral("/manifests-1"), journal + tail);
}

} // namespace

class ClientManifests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ofImportedJobsAreUsedUp();
    void ofRefusedJobsComeBack();
    void aSecondRunUsesWhatCameBack();
    void noFileIsReplaced();
    void whatIsNoRegularFileIsNotRead();
    void manifestsThatAreNotUsedAsTheyAre_data();
    void manifestsThatAreNotUsedAsTheyAre();
    void noneIsKeptWithoutAWorkFolder();
    void whatThePanelCouldNotReadComesBack_data();
    void whatThePanelCouldNotReadComesBack();
    void whatIsKeptInSpiteOfItsJobComesBackAtTheNextStart();
    void aPressThatIsNoClickChangesNothing();
    void comeBackAtTheNextStart();
    void ofLivingProgramsAreLeftAlone();
    void waitForABatchDirectoryThatIsNotThere();
    void workFilesOfEndedProgramsGo();
};

void ClientManifests::ofImportedJobsAreUsedUp()
{
    Client client;
    const QString job = client.addJob("甲", "one");
    const QString output = client.importBatch();
    QVERIFY2(output.contains(QStringLiteral("Imported: 1")), qPrintable(output));
    QVERIFY2(!output.contains(QStringLiteral("remark")), qPrintable(output));
    QVERIFY(!QFileInfo::exists(job + QStringLiteral("/readme.json")));
    QCOMPARE(client.site.jobs().front().customer2, QStringLiteral("二"));
    client.end();
    QCOMPARE(Client::workFolders(), QStringList());
}

void ClientManifests::ofRefusedJobsComeBack()
{
    Client client;
    const QString imported = client.addJob("甲", "one");
    const QString broken = client.addJob("甲", "two");
    QVERIFY(QFile::link(QStringLiteral("/etc/hostname"), broken + QStringLiteral("/out")));
    const QString nobodys = client.addJob("乙", "three");
    const QString output = client.importBatch();
    QVERIFY2(output.contains(QStringLiteral("Imported: 1")), qPrintable(output));
    QVERIFY(!QFileInfo::exists(imported + QStringLiteral("/readme.json")));
    for (const QString& folder : {broken, nobodys}) {
        QCOMPARE(readmeOf(folder), manifest);
        QVERIFY2(output.contains(QStringLiteral("remark: the manifest is back in ") + folder),
                 qPrintable(output));
        QCOMPARE(QDir(folder).entryList({QStringLiteral("readme*")}, QDir::Files | QDir::Hidden).size(), 1);
    }
    client.end();
    QCOMPARE(Client::workFolders(), QStringList());
}

void ClientManifests::aSecondRunUsesWhatCameBack()
{
    Client client;
    const QString job = client.addJob("乙", "one");
    client.importBatch();
    QCOMPARE(readmeOf(job), manifest);
    client.site.addCompany(QStringLiteral("CD"), QStringLiteral("乙"));
    const QString output = client.importBatch();
    QVERIFY2(output.contains(QStringLiteral("Imported: 1")), qPrintable(output));
    QCOMPARE(client.site.jobs().front().customer3, QStringLiteral("三"));
}

void ClientManifests::noFileIsReplaced()
{
    Client client;
    const QString job = client.addJob("乙", "one");
    QObject::connect(&client.access(), &SiteAccess::serviceCalled,
                     [&job](const Backend::OperationEvent& event) {
                         if (event.operation == Backend::ServiceOperation::FoldersCompressSave2MongoDb)
                             writeFile(job + QStringLiteral("/readme.json"), "new");
                     });
    const QString output = client.importBatch();
    QCOMPARE(readmeOf(job), QByteArray("new"));
    QVERIFY2(output.contains(QStringLiteral("there is another one now")), qPrintable(output));
    client.end();
    QCOMPARE(Client::workFolders(), QStringList());
}

void ClientManifests::whatIsNoRegularFileIsNotRead()
{
    Client client;
    const QString linked = client.addJob("乙", "link");
    const QString piped = client.addJob("乙", "pipe");
    for (const QString& folder : {linked, piped})
        QVERIFY(QFile::remove(folder + QStringLiteral("/readme.json")));
    const QString secret = client.site.path(QStringLiteral("secret"));
    writeFile(secret, "secret");
    QVERIFY(QFile::link(secret, linked + QStringLiteral("/readme.json")));
    QCOMPARE(::mkfifo(QFile::encodeName(piped + QStringLiteral("/readme.json")).constData(), 0600), 0);
    const QString output = client.importBatch();
    QCOMPARE(client.codes("link"), QStringList{QStringLiteral("manifest-not-regular")});
    QCOMPARE(client.codes("pipe"), QStringList{QStringLiteral("manifest-not-regular")});
    QVERIFY2(output.contains(QStringLiteral("not kept: a symbolic link is on the way")), qPrintable(output));
    QVERIFY2(output.contains(QStringLiteral("not kept: it is not a regular file")), qPrintable(output));
    QVERIFY(!QFileInfo(linked + QStringLiteral("/readme.json")).isFile());
    QVERIFY(QFileInfo::exists(secret));
}

void ClientManifests::manifestsThatAreNotUsedAsTheyAre_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("codes");
    QTest::addColumn<bool>("isImported");
    QTest::addColumn<QString>("resource");
    const QString broken = QStringLiteral("manifest-broken");
    const QString unstorable = QStringLiteral("manifest-not-storable");
    const QString tooLarge = QStringLiteral("manifest-too-large");
    const QByteArray blanks(1024 * 1024, ' ');
    QTest::newRow("good") << manifest << QString() << true << QStringLiteral("r");
    QTest::newRow("further keys") << QByteArray(R"({"resource": "r", "x": 1})") << QString() << true
                                  << QStringLiteral("r");
    QTest::newRow("as long as usual")
        << manifest + blanks.chopped(manifest.size()) << QString() << true << QStringLiteral("r");
    QTest::newRow("longer") << manifest + blanks << tooLarge << true << QStringLiteral("r");
    QTest::newRow("beyond all measure")
        << manifest + blanks.repeated(16) << tooLarge + QStringLiteral(" manifest-not-kept") << true
        << QStringLiteral("r");
    QTest::newRow("cut") << manifest.chopped(5) << broken << true << QString();
    QTest::newRow("empty") << QByteArray() << broken << true << QString();
    QTest::newRow("an array") << QByteArray(R"(["resource"])") << broken << true << QString();
    QTest::newRow("a number") << QByteArray(R"({"resource": 5, "customer2": "c"})") << broken << true
                              << QString();
    QTest::newRow("two wrong kinds") << QByteArray(R"({"resource": null, "customer2": []})")
                                     << broken + QLatin1Char(' ') + broken << true << QString();
    QTest::newRow("NUL") << QByteArray(R"({"resource": "a\u0000b"})") << unstorable << false << QString();
    QTest::newRow("byte order mark") << QByteArray(R"({"resource": "\ufeffr"})") << unstorable << false
                                     << QString();
    QTest::newRow("half a pair") << QByteArray(R"({"resource": "a\ud83d"})") << unstorable << true
                                 << QStringLiteral("a?");
}

void ClientManifests::manifestsThatAreNotUsedAsTheyAre()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, codes);
    QFETCH(bool, isImported);
    QFETCH(QString, resource);
    Client client;
    const QString folder = client.addJob("甲", "one");
    writeFile(folder + QStringLiteral("/readme.json"), content);
    const QString output = client.importBatch();
    QCOMPARE(client.codes("one").join(QLatin1Char(' ')), codes);
    QVERIFY2(output.contains(isImported ? QStringLiteral("Imported: 1") : QStringLiteral("Not imported: 1")),
             qPrintable(output));
    if (isImported)
        QCOMPARE(client.site.jobs().front().resource, resource);
    else
        QCOMPARE(readmeOf(folder), content);
}

void ClientManifests::noneIsKeptWithoutAWorkFolder()
{
    Client client;
    client.addJob("甲", "one");
    client.addJob("甲", "two");
    // Where the work folder would be made there is a file.
    QVERIFY(QDir(Client::shared()).removeRecursively());
    writeFile(Client::shared(), "in the way");
    const QString output = client.importBatch();
    QVERIFY2(output.contains(QStringLiteral("Imported: 2")), qPrintable(output));
    for (const char* name : {"one", "two"})
        QVERIFY(client.codes(name).contains(QStringLiteral("manifest-not-kept")));
}

void ClientManifests::whatThePanelCouldNotReadComesBack_data()
{
    QTest::addColumn<QByteArray>("found");
    QTest::addColumn<QString>("customer2");
    QTest::addColumn<QString>("told");
    // A pipe is what the panel does not read, whoever runs the test.
    QTest::newRow("nothing that can be read")
        << QByteArray() << QString() << QStringLiteral("the import could not read readme.json");
    QTest::newRow("another one") << QByteArray(R"({"customer2": "other"})") << QStringLiteral("other")
                                 << QStringLiteral("the import found another readme.json");
    QTest::newRow("texts that are dealt out otherwise")
        << QByteArray(R"({"resource": "r二", "customer3": "三"})") << QString()
        << QStringLiteral("the import found another readme.json");
}

/// What the panel finds at its turn is not what was kept before the batch.
void ClientManifests::whatThePanelCouldNotReadComesBack()
{
    QFETCH(QByteArray, found);
    QFETCH(QString, customer2);
    QFETCH(QString, told);
    Client client;
    const QString job = client.addJob("甲", "one");
    const QString plain = client.addJob("甲", "two");
    writeFile(plain + QStringLiteral("/file"), "other content");
    const QString readme = job + QStringLiteral("/readme.json");
    bool isReplaced = false;
    QObject::connect(&client.access(), &SiteAccess::serviceCalled, [&](const Backend::OperationEvent& event) {
        if (event.operation != Backend::ServiceOperation::SelectCompanies || isReplaced)
            return;
        isReplaced = QFile::remove(readme);
        if (found.isEmpty())
            QCOMPARE(::mkfifo(QFile::encodeName(readme).constData(), 0600), 0);
        else
            writeFile(readme, found);
    });
    const QString output = client.importBatch();
    QVERIFY(isReplaced);
    QCOMPARE(client.site.jobs().size(), size_t(2));
    QCOMPARE(client.site.jobs().front().customer2, customer2);
    QCOMPARE(client.codes("one"), QStringList{QStringLiteral("manifest-not-used")});
    QCOMPARE(client.codes("two"), QStringList());
    QVERIFY2(output.contains(told), qPrintable(output));
    QVERIFY2(output.contains(QStringLiteral("remark: the manifest is back in ") + job), qPrintable(output));
    QCOMPARE(readmeOf(job), manifest);
    QVERIFY(!QFileInfo::exists(plain + QStringLiteral("/readme.json")));
    client.end();
    QCOMPARE(Client::workFolders(), QStringList());
}

void ClientManifests::whatIsKeptInSpiteOfItsJobComesBackAtTheNextStart()
{
    Client client;
    const QString used = client.addJob("甲", "one");
    const QString unused = client.addJob("甲", "two");
    client.importBatch();
    const auto jobs = client.site.jobs();
    QCOMPARE(jobs.size(), size_t(2));
    const auto stored = [&jobs](size_t number) -> QByteArray {
        return "{\"stored\":" + QByteArray::number(qulonglong(number)) + ",\"name\":\"" +
               jobs.at(number).storedName.toUtf8() + "\"}\n";
    };
    leaveCopies({used, unused}, stored(0) + stored(1) + "{\"kept\":1}\n");
    client.start();
    QVERIFY(!QFileInfo::exists(used + QStringLiteral("/readme.json")));
    QCOMPARE(readmeOf(unused), manifest);
    QCOMPARE(Client::workFolders(), QStringList());
}

void ClientManifests::aPressThatIsNoClickChangesNothing()
{
    Client client;
    const QString job = client.addJob("乙", "one");
    client.importBatch();
    leaveCopies({job}); // all that a press alone does
    client.start();
    QCOMPARE(client.remarks(), QStringList());
    QCOMPARE(readmeOf(job), manifest);
    QCOMPARE(Client::workFolders(), QStringList());
}

void ClientManifests::comeBackAtTheNextStart()
{
    Client client;
    const QString imported = client.addJob("甲", "one");
    const QString crashed = client.addJob("甲", "two");
    const QString gone = client.addJob("甲", "three");
    for (const QString& folder : {imported, crashed})
        QVERIFY(QFile::remove(folder + QStringLiteral("/readme.json")));
    QVERIFY(QDir(gone).removeRecursively());
    // The last line was cut off when the program ended.
    leaveCopies({imported, crashed, gone}, "{\"dropped\":0}\n{\"dropp");
    client.start();
    QCOMPARE(readmeOf(crashed), manifest);
    QVERIFY(!QFileInfo::exists(imported + QStringLiteral("/readme.json")));
    QCOMPARE(client.remarks().size(), 2);
    QVERIFY(client.remarks().at(0).contains(crashed));
    QVERIFY(client.remarks().at(1).contains(QStringLiteral("the job folder is gone")));
    QCOMPARE(Client::workFolders(), QStringList());
    client.start();
    QCOMPARE(client.remarks(), QStringList());
}

void ClientManifests::ofLivingProgramsAreLeftAlone()
{
    Client client;
    const auto living = Backend::ProcessFolder::make(QFile::encodeName(Client::shared()).toStdString());
    const QString job = client.addJob("甲", "one");
    QVERIFY(QFile::remove(job + QStringLiteral("/readme.json")));
    const QJsonObject copy = {{QStringLiteral("folder"), job},
                              {QStringLiteral("content"), QString::fromLatin1(manifest.toBase64())}};
    writeFile(QString::fromStdString(living->path()) + QStringLiteral("/manifests-1"),
              QJsonDocument(copy).toJson(QJsonDocument::Compact) + '\n');
    client.start();
    QVERIFY(!QFileInfo::exists(job + QStringLiteral("/readme.json")));
    QCOMPARE(Client::workFolders().size(), 1);
}

void ClientManifests::waitForABatchDirectoryThatIsNotThere()
{
    Client client;
    const QString one = client.addJob("甲", "one");
    const QString elsewhere = client.site.path(QStringLiteral("elsewhere"));
    QVERIFY(QFile::remove(one + QStringLiteral("/readme.json")));
    QVERIFY(QDir().rename(client.site.path(QStringLiteral("batch")), elsewhere));
    leaveCopies({one});
    client.start();
    QCOMPARE(client.remarks().size(), 1);
    QCOMPARE(Client::workFolders().size(), 1);
    QVERIFY(QDir().rename(elsewhere, client.site.path(QStringLiteral("batch"))));
    client.start();
    QCOMPARE(readmeOf(one), manifest);
    QCOMPARE(Client::workFolders(), QStringList());
}

void ClientManifests::workFilesOfEndedProgramsGo()
{
    Client client;
    {
        const auto work = Backend::ProcessFolder::make(QFile::encodeName(Client::shared()).toStdString());
        writeFile(QString::fromStdString(work->path()) + QStringLiteral("/job-x/job/matrix/matrix"),
                  "content");
        writeFile(QString::fromStdString(work->path()) + QStringLiteral("/job-x/archive.tgz"), "content");
    }
    const auto living = Backend::ProcessFolder::make(QFile::encodeName(Client::shared()).toStdString());
    const QString kept = QString::fromStdString(living->path()) + QStringLiteral("/job-y/archive.tgz");
    writeFile(kept, "content");
    const QString cache = Backend::Site::current().settings()->downloadCache;
    for (const char* name : {"cam-old.tgz", "cam-new.tgz", "other.tgz"}) {
        QFile file(cache + QLatin1String(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        if (!QByteArray(name).contains("new"))
            QVERIFY(file.setFileTime(QDateTime::currentDateTime().addDays(-2),
                                     QFileDevice::FileModificationTime));
    }
    client.start();
    QCOMPARE(Client::workFolders().size(), 1);
    QVERIFY(QFileInfo::exists(kept));
    QCOMPARE(QDir(cache).entryList({QStringLiteral("*.tgz")}, QDir::Files),
             QStringList({QStringLiteral("cam-new.tgz"), QStringLiteral("other.tgz")}));
}

ZAV_REGISTER_TEST(client_manifests, ClientManifests, QApplication)

#include "client_manifests.moc"

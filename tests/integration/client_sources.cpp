// Sources that change, vanish or are still being written while they are imported, and archives that are cut
// short: what the client tells of them, and what the site offers afterwards.

#include "backend/Site.h"
#include "backend/check/SiteCheck.h"
#include "backend/database/Database.h"
#include "backend/records/JobListing.h"
#include "backend/records/SiteEvents.h"
#include "host/BatchRun.h"
#include "host/MainWindow.h"
#include "host/PanelReport.h"
#include "host/ServiceLog.h"
#include "host/SourceWatch.h"
#include "host/site/SiteAccess.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/PanelView.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPushButton>
#include <QTest>

#include <functional>
#include <memory>
#include <optional>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

using Backend::OperationEvent;
using Backend::ServiceOperation;

namespace {

/// What the client must tell of a changed source, and what of it is to be in the message.
struct Expected
{
    const char* code;
    const char* text;
};

void write(const QString& path, const QByteArray& content,
           QIODevice::OpenMode mode = QIODevice::WriteOnly | QIODevice::Truncate)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(mode) || file.write(content) != content.size())
        qFatal("%s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
}

QByteArray archive(char filling)
{
    return emptyZip(QByteArray(1000, filling));
}

void replaceFile(const QString& path, const QByteArray& content)
{
    write(path + QStringLiteral(".new"), content);
    QFile::remove(path);
    QFile::rename(path + QStringLiteral(".new"), path);
}

void swapFiles(const QString& one, const QString& other)
{
    QFile::rename(one, one + QStringLiteral(".swap"));
    QFile::rename(other, one);
    QFile::rename(one + QStringLiteral(".swap"), other);
}

bool isStoring(const OperationEvent& event)
{
    return event.operation == ServiceOperation::MongodbPut ||
           event.operation == ServiceOperation::FoldersCompressSave2MongoDb;
}

bool isLastRow(const OperationEvent& event)
{
    return event.operation == ServiceOperation::InputJobCompress ||
           event.operation == ServiceOperation::InputJobCompressByFolder;
}

/// A client on a fresh site with the company 甲, and a batch directory.
class Client final
{
public:
    Client()
    {
        site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
        m_access.emplace(site.configuration());
        if (const QString failure = m_access->open(); !failure.isEmpty())
            qFatal("%s", qPrintable(failure));
    }

    [[nodiscard]] QString entry(const QString& name) const
    {
        return site.path(QStringLiteral("batch/甲/") + name);
    }

    /// Has something happen after the call of this number (from 1) of those that isIt accepts.
    void after(bool (*isIt)(const OperationEvent&), int number, const std::function<void()>& happens)
    {
        auto seen = std::make_shared<int>(0);
        QObject::connect(&*m_access, &SiteAccess::serviceCalled, &m_context,
                         [=](const OperationEvent& event) {
                             if (isIt(event) && ++*seen == number)
                                 happens();
                         });
    }

    /// Imports the batch. @return the exit code
    int importBatch()
    {
        makeWindow();
        QTextStream out(&output);
        return BatchRun(*m_window, *m_access, {site.path(QStringLiteral("batch")), QString()}, out, out)
            .run();
    }

    /// Imports one archive by hand.
    void importArchive(const QString& path)
    {
        makeWindow();
        DialogDriver dialogs;
        const PanelView panel(*m_window->importPanel());
        panel.company->setCurrentText(QStringLiteral("甲"));
        dialogs.expectFileDialog({path});
        panel.openFile->click();
        dialogs.expectMessage();
        panel.singleImport->click();
        m_window->sourceWatch().finishReading();
        QCOMPARE(dialogs.complaint(), QString());
    }

    [[nodiscard]] const BatchReport& report() const { return *m_window->panelReport().current(); }
    [[nodiscard]] BatchReportRow row(const QString& name) const
    {
        for (const BatchReportRow& row : report().rows()) {
            if (row.entry == name)
                return row;
        }
        return {};
    }
    [[nodiscard]] QStringList messages() const
    {
        QStringList texts;
        for (int row = 0; row < m_log.rowCount(); ++row)
            for (int column = 0; column < m_log.columnCount(); ++column)
                texts << m_log.index(row, column).data().toString();
        return texts;
    }

    FreshSite site;
    QString output;

private:
    // As late as that: what a test has happen after a call happens before the client hears of the call.
    void makeWindow() { m_window.emplace(*m_access, m_log); }

    ServiceLog m_log;
    QObject m_context;
    std::optional<SiteAccess> m_access;
    std::optional<MainWindow> m_window;
};

/// The codes of what is told of a source, without what is told of the robot.
QStringList codesOf(const BatchReportRow& row)
{
    QStringList codes;
    for (const Remark& warning : row.warnings) {
        if (!warning.code.startsWith(QLatin1String("robot-")))
            codes << warning.code;
    }
    return codes;
}

/// The names that the site offers to operators.
QStringList waitingJobs()
{
    QStringList names;
    const auto database = Backend::Site::current().database();
    const auto jobs = Backend::listWaitingJobs(*database.value());
    for (const auto& job : jobs.value())
        names << QString::fromStdString(job.jobName);
    return names;
}

} // namespace

class ClientSources final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void unchangedSourcesAreImported();
    void changes_data();
    void changes();
    void singleImports_data();
    void singleImports();
    void whatIsOnlyTouchedIsImported();
    void whatIsGoneAfterItsImportIsWarnedOf();
    void aJobThatCannotBeTakenOffIsUnknown();
    void aRefutedJobLeavesNothingToMend();
    void aRefutedFolderGetsItsManifestBack();
    void archivesThatAreCutShort_data();
    void archivesThatAreCutShort();
    void theProgramTellsAndEndsWithOne();

private:
    using Change = std::function<void(Client&)>;
    static void addChanges();
    static Change changeOf(const QString& name, const QString& file);
};

void ClientSources::unchangedSourcesAreImported()
{
    Client client;
    for (const char* name : {"a.zip", "b.kos", "c.zip"})
        write(client.entry(QString::fromLatin1(name)), archive(name[0]));
    write(client.entry(QStringLiteral("folder/file")), "content");
    client.site.configure(QStringLiteral("robot/port"), QStringLiteral("1"));
    QVERIFY2(client.importBatch() == 0, qPrintable(client.output));
    for (const BatchReportRow& row : client.report().rows())
        QCOMPARE(codesOf(row), QStringList());
    QCOMPARE(waitingJobs().size(), 3);
}

Q_DECLARE_METATYPE(Expected)

void ClientSources::addChanges()
{
    QTest::addColumn<Expected>("expected");
    const auto add = [](const char* name, Expected expected) { QTest::newRow(name) << expected; };
    add("grown after it was stored", {"source-changed", "it has 1122"});
    add("grown after its last row", {"source-changed", "it has 1122"});
    add("shrunk", {"source-changed", "it has 100"});
    add("replaced", {"source-changed", "another file took its place"});
    add("overwritten", {"source-changed", "its content was changed"});
    add("overwritten with its old time", {"source-changed", "its content was changed"});
    add("vanished", {"source-changed", "gone before it could be compared"});
    add("held open", {"still-written", "somebody has it open"});
}

ClientSources::Change ClientSources::changeOf(const QString& name, const QString& file)
{
    const auto at = [](bool (*isIt)(const OperationEvent&), const std::function<void()>& happens) -> Change {
        return [=](Client& client) { client.after(isIt, 1, happens); };
    };
    const auto grow = [file] { write(file, QByteArray(100, 'x'), QIODevice::Append); };
    const auto overwrite = [file](bool keepsTime) {
        const QDateTime time = QFileInfo(file).lastModified();
        write(file, archive('z'), QIODevice::ReadWrite);
        QFile opened(file);
        if (keepsTime && opened.open(QIODevice::ReadWrite))
            opened.setFileTime(time, QFileDevice::FileModificationTime);
    };
    if (name == QLatin1String("grown after it was stored"))
        return at(isStoring, grow);
    if (name == QLatin1String("grown after its last row"))
        return at(isLastRow, grow);
    if (name == QLatin1String("shrunk"))
        return at(isStoring, [file] { QFile::resize(file, 100); });
    if (name == QLatin1String("replaced"))
        return at(isStoring, [file] { replaceFile(file, archive('z')); });
    if (name == QLatin1String("overwritten"))
        return at(isStoring, [=] { overwrite(false); });
    if (name == QLatin1String("overwritten with its old time"))
        return at(isStoring, [=] { overwrite(true); });
    if (name == QLatin1String("vanished"))
        return at(isStoring, [file] { QFile::remove(file); });
    auto writer = std::make_shared<QFile>(file);
    return [writer](Client&) {
        if (!writer->open(QIODevice::Append))
            qFatal("%s", qUtf8Printable(writer->errorString()));
    };
}

void ClientSources::changes_data()
{
    addChanges();
    QTest::newRow("swapped before their import") << Expected{"source-changed", "another file took its place"};
}

/// The first of three archives: the others are imported.
void ClientSources::changes()
{
    QFETCH(Expected, expected);
    Client client;
    for (const char* name : {"a.zip", "b.zip", "c.zip"})
        write(client.entry(QString::fromLatin1(name)), archive(name[0]));
    const QString file = client.entry(QStringLiteral("a.zip"));
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    const bool areSwapped = name.startsWith(QLatin1String("swapped"));
    if (areSwapped)
        client.after(isStoring, 1, [&] { swapFiles(file, client.entry(QStringLiteral("b.zip"))); });
    const Change change = areSwapped ? Change() : changeOf(name, file);
    if (change)
        change(client);

    QVERIFY2(client.importBatch() == 1, qPrintable(client.output));
    const BatchReportRow row = client.row(QStringLiteral("a.zip"));
    QCOMPARE(row.result, BatchResult::NotImported);
    QVERIFY2(codesOf(row).contains(QLatin1String(expected.code)),
             qPrintable(codesOf(row).join(QLatin1Char(' '))));
    QVERIFY2(row.reason.contains(QLatin1String(expected.text)), qPrintable(row.reason));
    // The second of a swapped pair was imported as it lay there by then: it has the content of the first.
    QCOMPARE(client.row(QStringLiteral("b.zip")).result, BatchResult::Imported);
    QCOMPARE(client.row(QStringLiteral("c.zip")).result, BatchResult::Imported);
    QCOMPARE(waitingJobs(), QStringList({QStringLiteral("AB000002"), QStringLiteral("AB000003")}));
    QVERIFY2(client.output.contains(QStringLiteral("Imported: 2")), qPrintable(client.output));
    QVERIFY2(client.output.contains(row.reason), qPrintable(client.output));
}

void ClientSources::singleImports_data()
{
    addChanges();
}

void ClientSources::singleImports()
{
    QFETCH(Expected, expected);
    Client client;
    const QString file = client.site.path(QStringLiteral("one.zip"));
    write(file, archive('a'));
    const Change change = changeOf(QString::fromLatin1(QTest::currentDataTag()), file);
    change(client);
    client.importArchive(file);
    QCOMPARE(int(client.report().rows().size()), 1);
    const BatchReportRow& row = client.report().rows().front();
    QCOMPARE(row.result, BatchResult::NotImported);
    QVERIFY(codesOf(row).contains(QLatin1String(expected.code)));
    QVERIFY2(row.reason.contains(QLatin1String(expected.text)), qPrintable(row.reason));
    QCOMPARE(waitingJobs(), QStringList());
    QTRY_VERIFY(!client.messages().filter(row.reason).isEmpty());
}

void ClientSources::whatIsOnlyTouchedIsImported()
{
    Client client;
    const QString touched = client.entry(QStringLiteral("a.zip"));
    const QString copied = client.entry(QStringLiteral("b.zip"));
    for (const QString& file : {touched, copied})
        write(file, archive('a'));
    client.after(isStoring, 1, [&] { QFile(touched).setPermissions(QFile::ReadOwner); });
    client.after(isStoring, 2, [&] { replaceFile(copied, archive('a')); });
    QVERIFY2(client.importBatch() == 0, qPrintable(client.output));
    QCOMPARE(waitingJobs().size(), 2);
}

void ClientSources::whatIsGoneAfterItsImportIsWarnedOf()
{
    Client client;
    for (const char* name : {"a.zip", "b.zip"})
        write(client.entry(QString::fromLatin1(name)), archive(name[0]));
    client.after(isStoring, 2, [&] { QFile::remove(client.entry(QStringLiteral("a.zip"))); });
    QVERIFY2(client.importBatch() == 0, qPrintable(client.output));
    const BatchReportRow row = client.row(QStringLiteral("a.zip"));
    QCOMPARE(row.result, BatchResult::Imported);
    QCOMPARE(codesOf(row), QStringList{QStringLiteral("source-gone")});
    QCOMPARE(waitingJobs().size(), 2);
}

/// An administrator was faster.
void ClientSources::aJobThatCannotBeTakenOffIsUnknown()
{
    Client client;
    const QString file = client.entry(QStringLiteral("a.zip"));
    write(file, archive('a'));
    client.after(isLastRow, 1, [&] {
        replaceFile(file, archive('b'));
        const auto database = Backend::Site::current().database();
        QVERIFY(
            database.value()
                ->change("UPDATE job_flow SET state = 7, sub_state = 0", {}, Backend::Durability::Immediate)
                .ok());
    });
    QVERIFY2(client.importBatch() == 1, qPrintable(client.output));
    const BatchReportRow row = client.row(QStringLiteral("a.zip"));
    QCOMPARE(row.result, BatchResult::Unknown);
    QVERIFY2(row.reason.contains(QStringLiteral("AB000001 stays on the waiting list all the same")),
             qPrintable(row.reason));
    QCOMPARE(client.site.jobs().front().state, 7);
}

void ClientSources::aRefutedJobLeavesNothingToMend()
{
    Client client;
    const QString file = client.entry(QStringLiteral("a.zip"));
    write(file, archive('a'));
    client.after(isStoring, 1, [&] { replaceFile(file, archive('b')); });
    QCOMPARE(client.importBatch(), 1);
    const auto jobs = client.site.jobs();
    QVERIFY(Backend::hasFailed(jobs.front()));
    const auto database = Backend::Site::current().database();
    Backend::EventFilter filter;
    filter.flowGuid = jobs.front().flowGuid;
    const auto events = Backend::listEvents(*database.value(), filter);
    QCOMPARE(int(events->size()), 1);
    QCOMPARE(events->front().kind, QString(Backend::eventKind::failedImport));
    QVERIFY(!events->front().reason.isEmpty());
    const auto checked = Backend::checkSite(Backend::Site::current(), {}, {});
    QVERIFY2(checked.ok(), qPrintable(checked.message()));
    QVERIFY(checked->isClean());
    // The next run has a source that stays.
    client.output.clear();
    QVERIFY2(client.importBatch() == 0, qPrintable(client.output));
    QCOMPARE(waitingJobs(), QStringList{QStringLiteral("AB000002")});
}

void ClientSources::aRefutedFolderGetsItsManifestBack()
{
    Client client;
    const QString folder = client.entry(QStringLiteral("job"));
    write(folder + QStringLiteral("/file"), "content");
    write(folder + QStringLiteral("/readme.json"), R"({"resource": "r"})");
    client.after(isLastRow, 1, [&] { write(folder + QStringLiteral("/late"), "late"); });
    QVERIFY2(client.importBatch() == 1, qPrintable(client.output));
    const BatchReportRow row = client.row(QStringLiteral("job"));
    QCOMPARE(row.result, BatchResult::NotImported);
    QVERIFY2(row.reason.contains(QStringLiteral("files in it were changed")), qPrintable(row.reason));
    QVERIFY(QFileInfo::exists(folder + QStringLiteral("/readme.json")));
    QCOMPARE(waitingJobs(), QStringList());
}

void ClientSources::archivesThatAreCutShort_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("code");
    const QString cut = QStringLiteral("archive-cut-short");
    QTest::newRow("empty") << QStringLiteral("a.tgz") << QByteArray() << cut;
    QTest::newRow("zip") << QStringLiteral("a.zip") << archive('a').chopped(1) << cut;
    QTest::newRow("gzip") << QStringLiteral("a.tgz") << QByteArray("\x1f\x8b\x08\0\0\0\0\0\0\x03", 10) << cut;
    QTest::newRow("zip by another name") << QStringLiteral("a.kos") << archive('a').chopped(1) << cut;
    QTest::newRow("nothing of the kind")
        << QStringLiteral("a.rar") << QByteArray("text") << QStringLiteral("archive-unreadable");
    QTest::newRow("a saved job of its own kind")
        << QStringLiteral("a.kos") << QByteArray("text") << QString();
}

void ClientSources::archivesThatAreCutShort()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);
    QFETCH(QString, code);
    Client client;
    client.site.configure(QStringLiteral("robot/port"), QStringLiteral("1"));
    write(client.entry(name), content);
    QVERIFY2(client.importBatch() == 0, qPrintable(client.output));
    const BatchReportRow row = client.row(name);
    QCOMPARE(row.result, BatchResult::Imported);
    QCOMPARE(codesOf(row), code.isEmpty() ? QStringList() : QStringList{code});
    if (!code.isEmpty())
        QVERIFY2(client.output.contains(row.warnings.front().text), qPrintable(client.output));
}

void ClientSources::theProgramTellsAndEndsWithOne()
{
    FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    write(site.path(QStringLiteral("batch/甲/cut.zip")), archive('a').chopped(1));
    const QString held = site.path(QStringLiteral("batch/甲/held.zip"));
    write(held, archive('b'));
    QFile writer(held);
    QVERIFY(writer.open(QIODevice::Append));
    const ClientRun client = runClient({QStringLiteral("--config"), site.configuration(),
                                        QStringLiteral("--batch"), site.path(QStringLiteral("batch"))});
    QVERIFY2(client.exitCode == 1, client.everything().constData());
    QVERIFY2(client.output.contains(QStringLiteral("it is still being written: somebody has it open")),
             client.everything().constData());
    QVERIFY2(client.output.contains(
                 QStringLiteral("the archive is cut short: the directory at its end is missing")),
             client.everything().constData());
    QCOMPARE(waitingJobs(), QStringList{QStringLiteral("AB000001")});

    const ClientRun json =
        runClient({QStringLiteral("--config"), site.configuration(), QStringLiteral("--batch"),
                   site.path(QStringLiteral("batch")), QStringLiteral("--json")});
    QCOMPARE(json.exitCode, 1);
    const QJsonArray rows =
        QJsonDocument::fromJson(json.output.toUtf8()).object().value(QStringLiteral("rows")).toArray();
    QCOMPARE(rows.size(), 2);
    const QStringList results = {QStringLiteral("imported"), QStringLiteral("not-imported")};
    const QStringList codes = {QStringLiteral("archive-cut-short"), QStringLiteral("still-written")};
    for (int i = 0; i < rows.size(); ++i) {
        const QJsonObject row = rows[i].toObject();
        QCOMPARE(row.value(QStringLiteral("result")).toString(), results[i]);
        QStringList found;
        for (const QJsonValue& warning : row.value(QStringLiteral("warnings")).toArray())
            found << warning.toObject().value(QStringLiteral("code")).toString();
        QVERIFY2(found.contains(codes[i]), qPrintable(found.join(QLatin1Char(' '))));
    }
}

ZAV_REGISTER_TEST(client_sources, ClientSources, QApplication)

#include "client_sources.moc"

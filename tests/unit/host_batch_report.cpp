// What the client's report of a batch makes of the services' events.

#include "host/PanelRun.h"
#include "host/core/BatchReport.h"
#include "host/core/Reasons.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

using namespace KOZAV::Backend;
using namespace KOZAV::Host;

namespace {

/// A batch directory, and the events of an import of it, made by hand.
class Batch final
{
public:
    explicit Batch(const QStringList& entries)
    {
        for (const QString& entry : entries) {
            const QString path = m_directory.filePath(entry);
            if (!QDir().mkpath(QFileInfo(path).path()) || !QFile(path).open(QIODevice::WriteOnly))
                qFatal("%s cannot be made", qUtf8Printable(path));
        }
    }

    [[nodiscard]] QString path() const { return m_directory.path(); }
    [[nodiscard]] PanelSource source() const { return {PanelSource::Kind::Batch, path(), QString()}; }

    static OperationEvent event(ServiceOperation operation,
                                OperationOutcome outcome = OperationOutcome::Succeeded)
    {
        OperationEvent event;
        event.operation = operation;
        event.outcome = outcome;
        if (outcome == OperationOutcome::Failed)
            event.reason = ErrorCode::Unavailable;
        if (outcome == OperationOutcome::Unknown)
            event.reason = ErrorCode::OutcomeUnknown;
        if (outcome != OperationOutcome::Succeeded)
            event.message = operationName(operation) + QStringLiteral(" went wrong");
        return event;
    }

    static void lookUp(BatchReport& report, const QString& company,
                       OperationOutcome outcome = OperationOutcome::Succeeded)
    {
        OperationEvent look = event(ServiceOperation::SelectCompanies, outcome);
        look.company = company;
        report.serviceCalled(look);
    }

    /// The calls for one archive of that name, up to the one before the last row.
    static void importArchive(BatchReport& report, const QString& name, const QString& generatedName,
                              OperationOutcome put = OperationOutcome::Succeeded)
    {
        OperationEvent stored = event(ServiceOperation::MongodbPut, put);
        stored.storedName = QStringLiteral("stored-%1").arg(name);
        report.serviceCalled(stored);
        lookUp(report, QString());
        report.serviceCalled(event(ServiceOperation::InputCompanies));
        OperationEvent file = event(ServiceOperation::InputOrigFile, put);
        file.jobName = QFileInfo(name).completeBaseName();
        report.serviceCalled(file);
        OperationEvent flow = event(ServiceOperation::InsertFlowBeforeOrigFile);
        flow.jobName = file.jobName;
        flow.generatedName = generatedName;
        flow.flowKey = QStringLiteral("flow-") + generatedName;
        report.serviceCalled(flow);
    }

    /// The calls for one job of the files a, b, c, ... up to the last row, which ends so.
    static void importJob(BatchReport& report, int number, OperationOutcome lastRow)
    {
        OperationEvent stored = event(ServiceOperation::MongodbPut);
        stored.storedName = QStringLiteral("stored-%1.tgz").arg(number);
        stored.storedBytes = 100 + number;
        report.serviceCalled(stored);
        report.serviceCalled(event(ServiceOperation::SelectCompanies));
        report.serviceCalled(event(ServiceOperation::InputCompanies));
        OperationEvent file = event(ServiceOperation::InputOrigFile);
        file.jobName = QChar('a' + number - 1);
        report.serviceCalled(file);
        OperationEvent flow = event(ServiceOperation::InsertFlowBeforeOrigFile);
        flow.jobName = file.jobName;
        flow.generatedName = QStringLiteral("AB00000%1").arg(number);
        report.serviceCalled(flow);
        report.serviceCalled(event(ServiceOperation::UpdateOrigFileGuid));
        report.serviceCalled(event(ServiceOperation::InputJobCompress, lastRow));
    }

private:
    QTemporaryDir m_directory;
};

QStringList told(const std::vector<Remark>& remarks)
{
    QStringList texts;
    for (const Remark& remark : remarks)
        texts << remark.code + QStringLiteral(": ") + remark.text;
    return texts;
}

/// The rows as "entry result generated name".
QStringList results(const BatchReport& report)
{
    QStringList texts;
    for (const BatchReportRow& row : report.rows())
        texts
            << QStringLiteral("%1 %2 %3").arg(row.entry, resultName(row.result), row.generatedName).trimmed();
    return texts;
}

} // namespace

class HostBatchReport final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void acknowledgedJobsStayImported();
    void lostAnswerOfTheLastRowIsUnknown();
    void lostAnswerBeforeTheLastRowIsSettledByIt();
    void failureBesideAnImportIsAWarning();
    void namesThatAreNoTextAreListed();
    void theNextCompanysFailureIsItsOwn();
    void callsOfNoImportArePassedOver();
    void entriesThatComeOrGoAreToldByTheirNames();
    void whatCouldNotBeSeenAtFirstHasOneRow();
    void foldersAreToldByTheirPaths();
    void aSingleSourceIsOneRow();
    void warningsBelongToTheirSources();
    void aRefutedJobIsNotImported();
    void aStandInIsToldByWhatItStandsFor();
    void everyCodeIsInTheManual();
    void codesAreToldInWords();
    void failuresHaveCodes_data();
    void failuresHaveCodes();
};

void HostBatchReport::acknowledgedJobsStayImported()
{
    const Batch batch({QStringLiteral("甲/a.tgz"), QStringLiteral("甲/b.tgz"), QStringLiteral("甲/c.tgz")});
    BatchReport report(batch.source());
    Batch::lookUp(report, QStringLiteral("甲"));
    Batch::importJob(report, 1, OperationOutcome::Succeeded);
    Batch::importJob(report, 2, OperationOutcome::Succeeded);
    QCOMPARE(report.importedSoFar(), 2);
    // From here on nothing of the site can be reached.
    report.serviceCalled(Batch::event(ServiceOperation::MongodbPut));
    report.serviceCalled(Batch::event(ServiceOperation::SelectCompanies, OperationOutcome::Failed));
    report.serviceCalled(Batch::event(ServiceOperation::UpdateBatchNumber, OperationOutcome::Failed));
    report.finish();
    QCOMPARE(int(report.rows().size()), 3);
    for (int i = 0; i < 2; ++i) {
        const BatchReportRow& row = report.rows()[std::size_t(i)];
        QCOMPARE(row.result, BatchResult::Imported);
        QCOMPARE(row.generatedName, QStringLiteral("AB00000%1").arg(i + 1));
        QCOMPARE(row.storedName, QStringLiteral("stored-%1.tgz").arg(i + 1));
        QCOMPARE(row.bytes, qint64(101 + i));
        QCOMPARE(row.reason, QString());
    }
    QCOMPARE(report.rows()[2].entry, QStringLiteral("c.tgz"));
    QCOMPARE(report.rows()[2].result, BatchResult::NotImported);
    QCOMPARE(report.rows()[2].reason, QStringLiteral("Odbpp_CompanyBll::select went wrong"));
    QCOMPARE(report.rows()[2].warnings.size(), std::size_t(0));
    QCOMPARE(told(report.remarks()),
             QStringList{QStringLiteral("batch-number: 甲: UpdateBatchNumber went wrong")});
    QVERIFY(!report.isSettled());
}

void HostBatchReport::lostAnswerOfTheLastRowIsUnknown()
{
    const Batch batch({QStringLiteral("甲/a.tgz")});
    BatchReport report(batch.source());
    Batch::importJob(report, 1, OperationOutcome::Unknown);
    report.finish();
    QCOMPARE(report.importedSoFar(), 0);
    const BatchReportRow& row = report.rows().front();
    QCOMPARE(row.result, BatchResult::Unknown);
    QCOMPARE(row.generatedName, QStringLiteral("AB000001"));
    QCOMPARE(row.storedName, QStringLiteral("stored-1.tgz"));
    QCOMPARE(row.reason, QStringLiteral("inputJobCompress went wrong"));
    QVERIFY(!report.isSettled());
}

void HostBatchReport::lostAnswerBeforeTheLastRowIsSettledByIt()
{
    const Batch batch({QStringLiteral("甲/a.tgz"), QStringLiteral("甲/b.tgz")});
    BatchReport report(batch.source());
    for (const OperationOutcome lastRow : {OperationOutcome::Succeeded, OperationOutcome::Failed}) {
        report.serviceCalled(Batch::event(ServiceOperation::MongodbPut, OperationOutcome::Unknown));
        report.serviceCalled(Batch::event(ServiceOperation::InputCompanies));
        report.serviceCalled(Batch::event(ServiceOperation::InputJobCompress, lastRow));
    }
    report.finish();
    QCOMPARE(report.rows()[0].result, BatchResult::Imported);
    QCOMPARE(report.rows()[1].result, BatchResult::NotImported);
}

void HostBatchReport::failureBesideAnImportIsAWarning()
{
    const Batch batch({QStringLiteral("甲/a.tgz")});
    BatchReport report(batch.source());
    report.serviceCalled(Batch::event(ServiceOperation::MongodbPut));
    report.serviceCalled(Batch::event(ServiceOperation::UpdateUploadBatchNum, OperationOutcome::Failed));
    report.serviceCalled(Batch::event(ServiceOperation::InputJobCompress));
    report.finish();
    QVERIFY(report.isSettled());
    QCOMPARE(told(report.rows().front().warnings),
             QStringList{QStringLiteral("call-failed: updateUploadBatchNum went wrong")});
    QVERIFY(report.remarks().empty());
}

void HostBatchReport::namesThatAreNoTextAreListed()
{
    const Batch batch({QStringLiteral("甲/a.tgz")});
    const QByteArray name = QFile::encodeName(batch.path() + QStringLiteral("/甲/")).append("caf\xe9.tgz");
    QVERIFY(::rename(QFile::encodeName(batch.path() + QStringLiteral("/甲/a.tgz")).constData(),
                     name.constData()) == 0);
    BatchReport report(batch.source());
    report.finish();
    // The folder's own removal does not see it either.
    QVERIFY(std::remove(name.constData()) == 0);
    QCOMPARE(int(report.rows().size()), 1);
    QVERIFY2(report.rows().front().reason.contains(QStringLiteral("not valid UTF-8")),
             qPrintable(report.rows().front().reason));
}

void HostBatchReport::theNextCompanysFailureIsItsOwn()
{
    const Batch batch({QStringLiteral("a/a.tgz"), QStringLiteral("b/b.tgz")});
    BatchReport report(batch.source());
    Batch::lookUp(report, QStringLiteral("a"));
    OperationEvent stored = Batch::event(ServiceOperation::MongodbPut);
    stored.storedName = QStringLiteral("stored.tgz");
    report.serviceCalled(stored);
    Batch::lookUp(report, QStringLiteral("a"));
    // There is no company "a", so no batch number is written.
    Batch::lookUp(report, QStringLiteral("b"), OperationOutcome::Failed);
    report.finish();
    QCOMPARE(report.rows()[0].reason, QStringLiteral("the site has no company named \"a\""));
    QCOMPARE(report.rows()[0].reasonCode, QStringLiteral("company-unknown"));
    QCOMPARE(report.rows()[1].reason, QStringLiteral("Odbpp_CompanyBll::select went wrong"));
    QCOMPARE(told(report.remarks()),
             QStringList{QStringLiteral("company-look-up: b: Odbpp_CompanyBll::select went wrong")});
}

void HostBatchReport::callsOfNoImportArePassedOver()
{
    const Batch batch({QStringLiteral("a/a.tgz")});
    BatchReport report(batch.source());
    Batch::lookUp(report, QStringLiteral("a"));
    Batch::importArchive(report, QStringLiteral("a.tgz"), QStringLiteral("A1"));
    report.serviceCalled(Batch::event(ServiceOperation::GetInputJobList, OperationOutcome::Failed));
    report.serviceCalled(Batch::event(ServiceOperation::MongodbGet, OperationOutcome::Failed));
    report.serviceCalled(Batch::event(ServiceOperation::InputJobCompress));
    report.serviceCalled(Batch::event(ServiceOperation::UpdateState, OperationOutcome::Failed));
    report.finish();
    QVERIFY(report.rows().front().isPlain());
    QCOMPARE(report.rows().front().flowKey, QStringLiteral("flow-A1"));
    QCOMPARE(report.rows().front().sourcePath, batch.path() + QStringLiteral("/a/a.tgz"));
}

/// b.tgz goes and d.tgz comes between the listing and the import; the file of e.tgz could not be stored.
void HostBatchReport::entriesThatComeOrGoAreToldByTheirNames()
{
    const Batch batch({QStringLiteral("a/a.tgz"), QStringLiteral("a/b.tgz"), QStringLiteral("a/c.tgz"),
                       QStringLiteral("a/e.tgz"), QStringLiteral("a/f.tgz")});
    BatchReport report(batch.source());
    QVERIFY(QFile::remove(batch.path() + QStringLiteral("/a/b.tgz")));
    Batch::lookUp(report, QStringLiteral("a"));
    for (const char* const name : {"a", "c", "d", "e", "f"}) {
        const QString job = QString::fromLatin1(name);
        const bool fails = job == QStringLiteral("e");
        Batch::importArchive(report, job + QStringLiteral(".tgz"), job.toUpper(),
                             fails ? OperationOutcome::Failed : OperationOutcome::Succeeded);
        report.serviceCalled(Batch::event(ServiceOperation::InputJobCompress,
                                          fails ? OperationOutcome::Failed : OperationOutcome::Succeeded));
    }
    report.finish();
    QCOMPARE(results(report),
             QStringList({QStringLiteral("a.tgz imported A"), QStringLiteral("b.tgz not-imported"),
                          QStringLiteral("c.tgz imported C"), QStringLiteral("d.tgz imported D"),
                          QStringLiteral("e.tgz not-imported E"), QStringLiteral("f.tgz imported F")}));
    QCOMPARE(report.rows()[1].reason, QStringLiteral("it was gone when the import came to it"));
    QCOMPARE(report.rows()[1].reasonCode, QStringLiteral("source-missing"));
    QCOMPARE(report.rows()[3].sourcePath, batch.path() + QStringLiteral("/a/d.tgz"));
    QCOMPARE(report.rows()[4].reason, QStringLiteral("MongodbPut went wrong"));
}

/// A link to nothing is no entry of the listing; when the import comes to it, it leads to an archive.
void HostBatchReport::whatCouldNotBeSeenAtFirstHasOneRow()
{
    const Batch batch({QStringLiteral("a/a.tgz")});
    const QString link = batch.path() + QStringLiteral("/a/b.tgz");
    QVERIFY(QFile::link(batch.path() + QStringLiteral("/late"), link));
    const auto import = [&](const QStringList& names) {
        BatchReport report(batch.source());
        Batch::lookUp(report, QStringLiteral("a"));
        for (const QString& name : names) {
            Batch::importArchive(report, name, QFileInfo(name).baseName().toUpper());
            report.serviceCalled(Batch::event(ServiceOperation::InputJobCompress));
        }
        report.finish();
        return results(report);
    };
    QCOMPARE(import({QStringLiteral("a.tgz")}),
             QStringList({QStringLiteral("a.tgz imported A"), QStringLiteral("b.tgz not-imported")}));
    QCOMPARE(import({QStringLiteral("a.tgz"), QStringLiteral("b.tgz")}),
             QStringList({QStringLiteral("a.tgz imported A"), QStringLiteral("b.tgz imported B")}));
}

/// The first folder went, and one came, between the listing and the import.
void HostBatchReport::foldersAreToldByTheirPaths()
{
    const Batch batch({QStringLiteral("a/gone/file"), QStringLiteral("a/there/file")});
    BatchReport report(batch.source());
    QVERIFY(QDir(batch.path() + QStringLiteral("/a/gone")).removeRecursively());
    Batch::lookUp(report, QStringLiteral("a"));
    for (const char* const name : {"late", "there"}) {
        OperationEvent packed = Batch::event(ServiceOperation::FoldersCompressSave2MongoDb);
        packed.subject = batch.path() + QStringLiteral("/a/") + QString::fromLatin1(name);
        packed.storedName = QStringLiteral("%1.zip").arg(QString::fromLatin1(name));
        report.serviceCalled(packed);
        Batch::lookUp(report, QStringLiteral("a"));
        report.serviceCalled(Batch::event(ServiceOperation::InputCompanies));
        report.serviceCalled(Batch::event(ServiceOperation::InputJobCompressByFolder));
    }
    report.finish();
    QCOMPARE(results(report),
             QStringList({QStringLiteral("late imported"), QStringLiteral("gone not-imported"),
                          QStringLiteral("there imported")}));
    QCOMPARE(report.rows()[2].storedName, QStringLiteral("there.zip"));
}

void HostBatchReport::aSingleSourceIsOneRow()
{
    const Batch batch({QStringLiteral("a/a.tgz"), QStringLiteral("a/b.tar")});
    const auto source = [&batch](const char* name) {
        return PanelSource{PanelSource::Kind::Archive, batch.path() + QLatin1String(name),
                           QStringLiteral("甲")};
    };
    BatchReport report(source("/a/a.tgz"));
    Batch::importArchive(report, QStringLiteral("a.tgz"), QStringLiteral("A1"));
    report.serviceCalled(Batch::event(ServiceOperation::InputJobCompress));
    report.finish();
    QCOMPARE(results(report), QStringList{QStringLiteral("a.tgz imported A1")});
    QCOMPARE(report.rows().front().company, QStringLiteral("甲"));

    BatchReport refused(source("/a/b.tar"));
    refused.finish();
    QCOMPARE(results(refused), QStringList{QStringLiteral("b.tar not-imported")});
    QCOMPARE(refused.rows().front().reasonCode, QStringLiteral("no-service"));
    QVERIFY(refused.rows().front().reason.startsWith(QStringLiteral("the panel calls no service")));

    BatchReport nothing({PanelSource::Kind::Archive, QString(), QStringLiteral("甲")});
    nothing.finish();
    QVERIFY(nothing.rows().empty());
}

void HostBatchReport::warningsBelongToTheirSources()
{
    const Batch batch({QStringLiteral("a/a.tgz"), QStringLiteral("a/b.tgz")});
    BatchReport report(batch.source());
    const QString second = batch.path() + QStringLiteral("/a/b.tgz");
    report.warn(second, {QStringLiteral("archive-cut-short"), QStringLiteral("before the end")});
    report.warn(QStringLiteral("/elsewhere"), {QStringLiteral("source-changed"), QStringLiteral("what")});
    report.finish();
    report.warn(second, {QStringLiteral("known-content"), QStringLiteral("after it")});
    QVERIFY(report.rows()[0].warnings.empty());
    QCOMPARE(told(report.rows()[1].warnings),
             QStringList({QStringLiteral("archive-cut-short: before the end"),
                          QStringLiteral("known-content: after it")}));
    QCOMPARE(told(report.remarks()), QStringList{QStringLiteral("source-changed: /elsewhere: what")});
}

void HostBatchReport::aRefutedJobIsNotImported()
{
    for (const bool before : {true, false}) {
        const Batch batch({QStringLiteral("a/a.tgz")});
        BatchReport report(batch.source());
        Batch::lookUp(report, QStringLiteral("a"));
        Batch::importJob(report, 1, OperationOutcome::Succeeded);
        const Remark remark{QStringLiteral("source-changed"), QStringLiteral("it grew")};
        if (before)
            report.refute(batch.path() + QStringLiteral("/a/a.tgz"), remark);
        report.finish();
        if (!before)
            report.refute(batch.path() + QStringLiteral("/a/a.tgz"), remark);
        const BatchReportRow& row = report.rows().front();
        QCOMPARE(row.result, BatchResult::NotImported);
        QCOMPARE(row.reason, QStringLiteral("it grew"));
        QCOMPARE(row.reasonCode, QStringLiteral("source-changed"));
        QCOMPARE(row.generatedName, QStringLiteral("AB000001"));
        QCOMPARE(told(row.warnings), QStringList{QStringLiteral("source-changed: it grew")});
        QVERIFY(!report.isSettled());
    }
}

void HostBatchReport::aStandInIsToldByWhatItStandsFor()
{
    const Batch batch({QStringLiteral("a/a.tgz"), QStringLiteral("a/b.tgz"), QStringLiteral("a/c/file")});
    BatchStandIn standIn;
    standIn.directory = QStringLiteral("/nowhere/batch");
    standIn.original = batch.path();
    standIn.leftOut.insert(batch.path() + QStringLiteral("/a/a.tgz"),
                           {QStringLiteral("known"), QStringLiteral("known-content"), QStringLiteral("A7")});
    BatchReport report({PanelSource::Kind::Batch, standIn.directory, QString()}, standIn);
    Batch::lookUp(report, QStringLiteral("a"));
    Batch::importArchive(report, QStringLiteral("b.tgz"), QStringLiteral("A8"));
    report.serviceCalled(Batch::event(ServiceOperation::InputJobCompress));
    OperationEvent packed = Batch::event(ServiceOperation::FoldersCompressSave2MongoDb);
    packed.subject = standIn.directory + QStringLiteral("/a/c");
    report.serviceCalled(packed);
    report.serviceCalled(Batch::event(ServiceOperation::InputJobCompressByFolder));
    report.warn(standIn.directory + QStringLiteral("/a/b.tgz"),
                {QStringLiteral("source-changed"), QStringLiteral("one")});
    report.warn(batch.path() + QStringLiteral("/a/b.tgz"),
                {QStringLiteral("source-changed"), QStringLiteral("two")});
    report.finish();
    QCOMPARE(results(report),
             QStringList({QStringLiteral("a.tgz left-out A7"), QStringLiteral("b.tgz imported A8"),
                          QStringLiteral("c imported")}));
    QCOMPARE(report.rows()[0].reason, QStringLiteral("known"));
    QCOMPARE(report.rows()[0].reasonCode, QStringLiteral("known-content"));
    QCOMPARE(report.rows()[1].sourcePath, batch.path() + QStringLiteral("/a/b.tgz"));
    QCOMPARE(report.rows()[1].warnings.size(), std::size_t(2));
    QCOMPARE(report.rows()[2].sourcePath, batch.path() + QStringLiteral("/a/c"));
    QVERIFY(report.isSettled());
    QCOMPARE(report.sourcePath(), batch.path());
}

void HostBatchReport::everyCodeIsInTheManual()
{
    QFile manual(QStringLiteral(ZAV_DOCS_DIR "/outcomes.md"));
    QVERIFY(manual.open(QIODevice::ReadOnly));
    QStringList inManual;
    const QString text = QString::fromUtf8(manual.readAll());
    const QString tables = text.mid(text.indexOf(QStringLiteral("| code | meaning | what to do |")));
    for (const QString& line : tables.split(QLatin1Char('\n'))) {
        if (line.startsWith(QStringLiteral("| `")))
            inManual << line;
    }
    QStringList inProgram;
    for (const CodeMeaning& one : codeMeanings())
        inProgram << QStringLiteral("| `%1` | %2 | %3 |")
                         .arg(one.code, QString::fromUtf8(one.meaning), QString::fromUtf8(one.advice));
    QCOMPARE(inManual, inProgram);
}

void HostBatchReport::codesAreToldInWords()
{
    for (const CodeMeaning& one : codeMeanings()) {
        QCOMPARE(reasonText(one.code), QString::fromUtf8(one.meaning));
        QCOMPARE(reasonAdvice(one.code), QString::fromUtf8(one.advice));
        QCOMPARE(isRefusal(one.code), one.use == CodeUse::Refusal);
    }
    QCOMPARE(reasonText(QStringLiteral("of-a-newer-program")), QString());
    QCOMPARE(reasonAdvice(QStringLiteral("of-a-newer-program")), QString());
    QVERIFY(!isRefusal(QStringLiteral("of-a-newer-program")));
}

void HostBatchReport::failuresHaveCodes_data()
{
    QTest::addColumn<int>("reason");
    QTest::addColumn<int>("part");
    QTest::addColumn<bool>("gaveUp");
    QTest::addColumn<QString>("embedded");
    QTest::addColumn<QString>("onServer");
    const auto row = [](const char* name, ErrorCode reason, SitePart part, bool gaveUp, const char* embedded,
                        const char* onServer) {
        QTest::newRow(name) << int(reason) << int(part) << gaveUp << QString::fromLatin1(embedded)
                            << QString::fromLatin1(onServer);
    };
    row("space", ErrorCode::NoSpace, SitePart::Files, false, "no-space", "no-space");
    row("rows", ErrorCode::Unavailable, SitePart::Rows, false, "locked", "unavailable");
    row("files", ErrorCode::Unavailable, SitePart::Files, false, "unavailable", "unavailable");
    row("company", ErrorCode::Unavailable, SitePart::None, false, "company-held", "company-held");
    row("gave up", ErrorCode::Unavailable, SitePart::Rows, true, "gave-up", "gave-up");
    row("access", ErrorCode::NotPermitted, SitePart::Rows, false, "not-permitted", "not-permitted");
    row("lost", ErrorCode::OutcomeUnknown, SitePart::Rows, false, "answer-lost", "answer-lost");
}

void HostBatchReport::failuresHaveCodes()
{
    QFETCH(const int, reason);
    QFETCH(const int, part);
    QFETCH(const bool, gaveUp);
    const Batch batch({QStringLiteral("a/a.tgz")});
    for (const bool rowsAreEmbedded : {true, false}) {
        BatchReport report(batch.source(), {}, rowsAreEmbedded);
        OperationEvent failed = Batch::event(ServiceOperation::MongodbPut, OperationOutcome::Failed);
        failed.reason = ErrorCode(reason);
        failed.part = SitePart(part);
        failed.gaveUp = gaveUp;
        report.serviceCalled(failed);
        report.finish();
        QFETCH(const QString, embedded);
        QFETCH(const QString, onServer);
        QCOMPARE(report.rows().front().reasonCode, rowsAreEmbedded ? embedded : onServer);
    }
}

ZAV_REGISTER_TEST(host_batch_report, HostBatchReport, QCoreApplication)

#include "host_batch_report.moc"

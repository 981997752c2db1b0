// What the client's report of a batch makes of the services' events.

#include "host/BatchReport.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

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

    /// The calls for one job, up to the last row, which ends so.
    static void importJob(BatchReport& report, int number, OperationOutcome lastRow)
    {
        OperationEvent stored = event(ServiceOperation::MongodbPut);
        stored.storedName = QStringLiteral("stored-%1.tgz").arg(number);
        stored.storedBytes = 100 + number;
        report.serviceCalled(stored);
        report.serviceCalled(event(ServiceOperation::SelectCompanies));
        report.serviceCalled(event(ServiceOperation::InputCompanies));
        report.serviceCalled(event(ServiceOperation::InputOrigFile));
        OperationEvent flow = event(ServiceOperation::InsertFlowBeforeOrigFile);
        flow.generatedName = QStringLiteral("AB00000%1").arg(number);
        report.serviceCalled(flow);
        report.serviceCalled(event(ServiceOperation::UpdateOrigFileGuid));
        report.serviceCalled(event(ServiceOperation::InputJobCompress, lastRow));
    }

private:
    QTemporaryDir m_directory;
};

} // namespace

class HostBatchReport final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void acknowledgedJobsStayImported();
    void lostAnswerOfTheLastRowIsUnknown();
    void lostAnswerBeforeTheLastRowIsSettledByIt();
    void failureBesideAnImportIsARemark();
    void namesThatAreNoTextAreListed();
};

void HostBatchReport::acknowledgedJobsStayImported()
{
    const Batch batch({QStringLiteral("甲/a.tgz"), QStringLiteral("甲/b.tgz"), QStringLiteral("甲/c.tgz")});
    BatchReport report(batch.path());
    report.start();
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
    QCOMPARE(report.remarks(), QStringList{QStringLiteral("UpdateBatchNumber went wrong")});
    QVERIFY(!report.allImported());
}

void HostBatchReport::lostAnswerOfTheLastRowIsUnknown()
{
    const Batch batch({QStringLiteral("甲/a.tgz")});
    BatchReport report(batch.path());
    report.start();
    Batch::importJob(report, 1, OperationOutcome::Unknown);
    report.finish();
    QCOMPARE(report.importedSoFar(), 0);
    const BatchReportRow& row = report.rows().front();
    QCOMPARE(row.result, BatchResult::Unknown);
    QCOMPARE(row.generatedName, QStringLiteral("AB000001"));
    QCOMPARE(row.storedName, QStringLiteral("stored-1.tgz"));
    QCOMPARE(row.reason, QStringLiteral("inputJobCompress went wrong"));
    QVERIFY(!report.allImported());
}

void HostBatchReport::lostAnswerBeforeTheLastRowIsSettledByIt()
{
    const Batch batch({QStringLiteral("甲/a.tgz"), QStringLiteral("甲/b.tgz")});
    BatchReport report(batch.path());
    report.start();
    for (const OperationOutcome lastRow : {OperationOutcome::Succeeded, OperationOutcome::Failed}) {
        report.serviceCalled(
            Batch::event(ServiceOperation::FoldersCompressSave2MongoDb, OperationOutcome::Unknown));
        report.serviceCalled(Batch::event(ServiceOperation::InputCompanies));
        report.serviceCalled(Batch::event(ServiceOperation::InputJobCompressByFolder, lastRow));
    }
    report.finish();
    QCOMPARE(report.rows()[0].result, BatchResult::Imported);
    QCOMPARE(report.rows()[1].result, BatchResult::NotImported);
}

void HostBatchReport::failureBesideAnImportIsARemark()
{
    const Batch batch({QStringLiteral("甲/a.tgz")});
    BatchReport report(batch.path());
    report.start();
    report.serviceCalled(Batch::event(ServiceOperation::MongodbPut));
    report.serviceCalled(Batch::event(ServiceOperation::UpdateUploadBatchNum, OperationOutcome::Failed));
    report.serviceCalled(Batch::event(ServiceOperation::InputJobCompress));
    report.finish();
    QVERIFY(report.allImported());
    QCOMPARE(report.remarks(), QStringList{QStringLiteral("updateUploadBatchNum went wrong")});
}

void HostBatchReport::namesThatAreNoTextAreListed()
{
    const Batch batch({QStringLiteral("甲/a.tgz")});
    const QByteArray name = QFile::encodeName(batch.path() + QStringLiteral("/甲/")).append("caf\xe9.tgz");
    QVERIFY(::rename(QFile::encodeName(batch.path() + QStringLiteral("/甲/a.tgz")).constData(),
                     name.constData()) == 0);
    BatchReport report(batch.path());
    report.start();
    report.finish();
    QCOMPARE(int(report.rows().size()), 1);
    QVERIFY2(report.rows().front().reason.contains(QStringLiteral("not valid UTF-8")),
             qPrintable(report.rows().front().reason));
}

ZAV_REGISTER_TEST(host_batch_report, HostBatchReport, QCoreApplication)

#include "host_batch_report.moc"

// The results of a run as a value, and as files.

#include "host/core/Reasons.h"
#include "host/core/RunRecord.h"
#include "host/core/RunReportFile.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

using namespace KOZAV::Host;

namespace {

BatchReportRow rowWith(BatchResult result, const char* reasonCode = "", const char* warningCode = nullptr)
{
    BatchReportRow row;
    row.company = QStringLiteral("甲");
    row.entry = QStringLiteral("料号.zip");
    row.result = result;
    row.reasonCode = QString::fromLatin1(reasonCode);
    if (warningCode)
        row.warnings.push_back({QString::fromLatin1(warningCode), QStringLiteral("particulars")});
    return row;
}

RunRecord runWith(const std::vector<BatchReportRow>& rows)
{
    RunRecord run;
    run.guid = QStringLiteral("r1");
    run.source = QStringLiteral("/batch");
    run.start = QDateTime::fromString(QStringLiteral("2026-01-31T08:15:00.123Z"), Qt::ISODateWithMs);
    run.end = run.start.addSecs(5);
    run.rows = rows;
    run.count();
    return run;
}

/// The records of a text as RFC 4180 has them.
QList<QStringList> csvRecords(const QString& text)
{
    QList<QStringList> records = {{QString()}};
    bool quoted = false;
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        QString& cell = records.last().last();
        if (c == QLatin1Char('"') && quoted && text.mid(i + 1, 1) == QLatin1String("\""))
            cell += text.at(++i);
        else if (c == QLatin1Char('"'))
            quoted = !quoted;
        else if (c == QLatin1Char(',') && !quoted)
            records.last() << QString();
        else if (text.mid(i, 2) == QLatin1String("\r\n") && !quoted)
            records << QStringList(QString()), ++i;
        else
            cell += c;
    }
    records.removeLast();
    return records;
}

QList<QStringList> csvOf(const RunRecord& run)
{
    const QByteArray content = reportContent(run, ReportForm::Csv);
    return csvRecords(QString::fromUtf8(content.mid(3)));
}

} // namespace

class HostRunRecord final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void outcomesAreWhatOperatorsCount_data();
    void outcomesAreWhatOperatorsCount();
    void countsAddUp();
    void rowsComeBackFromJson();
    void foreignJsonIsRead();
    void theFormIsTheSuffix_data();
    void theFormIsTheSuffix();
    void csvIsReadAsItWasWritten();
    void csvHoldsNoFormula_data();
    void csvHoldsNoFormula();
    void jsonIsOneDocument();
    void htmlIsWellFormedAndEscaped();
    void aFileIsWrittenWholeOrNotAtAll();
};

void HostRunRecord::outcomesAreWhatOperatorsCount_data()
{
    QTest::addColumn<int>("result");
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<bool>("warned");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("wrong");
    const auto row = [](const char* name, BatchResult result, const char* code, bool warned, bool wrong) {
        QTest::newRow(name) << int(result) << QByteArray(code) << warned << QString::fromLatin1(name)
                            << wrong;
    };
    row("imported", BatchResult::Imported, "", false, false);
    row("with-warnings", BatchResult::Imported, "", true, false);
    row("refused", BatchResult::NotImported, "suffix-refused", false, true);
    row("failed", BatchResult::NotImported, "no-space", true, true);
    row("unknown", BatchResult::Unknown, "answer-lost", false, true);
    row("left-out", BatchResult::LeftOut, "known-content", false, false);
}

void HostRunRecord::outcomesAreWhatOperatorsCount()
{
    QFETCH(const int, result);
    QFETCH(const QByteArray, code);
    QFETCH(const bool, warned);
    QFETCH(const bool, wrong);
    const Outcome outcome =
        outcomeOf(rowWith(BatchResult(result), code.constData(), warned ? "call-failed" : nullptr));
    QTEST(outcomeName(outcome), "name");
    QCOMPARE(isWrong(outcome), wrong);
    QVERIFY(!outcomeText(outcome).isEmpty());
}

void HostRunRecord::countsAddUp()
{
    const RunRecord run =
        runWith({rowWith(BatchResult::Imported), rowWith(BatchResult::Imported),
                 rowWith(BatchResult::NotImported, "hidden"), rowWith(BatchResult::NotImported, "no-space"),
                 rowWith(BatchResult::Unknown, "answer-lost")});
    QCOMPARE(run.counts.total(), 5);
    QCOMPARE(run.counts.wrong(), 3);
    QCOMPARE(OutcomeCounts::fromJson(run.counts.toJson()).toJson(), run.counts.toJson());
    QCOMPARE(OutcomeCounts::fromJson({{QStringLiteral("failed"), QStringLiteral("x")}}).total(), 0);
}

void HostRunRecord::rowsComeBackFromJson()
{
    BatchReportRow row = rowWith(BatchResult::NotImported, "no-space", "source-gone");
    row.generatedName = QStringLiteral("AB000001");
    row.storedName = QStringLiteral("stored.zip");
    row.bytes = 5'000'000'000;
    row.seconds = 1.5;
    row.reason = QStringLiteral("no space left");
    row.flowKey = QStringLiteral("flow");
    row.sourcePath = QStringLiteral("/batch/甲/料号.zip");
    for (const auto result :
         {BatchResult::Imported, BatchResult::NotImported, BatchResult::Unknown, BatchResult::LeftOut}) {
        row.result = result;
        const BatchReportRow read = rowFromJson(rowJson(row));
        QCOMPARE(rowJson(read), rowJson(row));
        QCOMPARE(read.result, result);
        QCOMPARE(read.bytes, row.bytes);
        QCOMPARE(read.warnings.size(), std::size_t(1));
        QCOMPARE(read.warnings.front().code, QStringLiteral("source-gone"));
    }
}

/// Of a newer program, or of none of ours.
void HostRunRecord::foreignJsonIsRead()
{
    const BatchReportRow row = rowFromJson({{QStringLiteral("result"), QStringLiteral("postponed")},
                                            {QStringLiteral("bytes"), QStringLiteral("many")},
                                            {QStringLiteral("warnings"), QJsonArray{1, QJsonArray{}}}});
    QCOMPARE(row.result, BatchResult::Unknown);
    QCOMPARE(row.bytes, qint64(0));
    QCOMPARE(row.warnings.size(), std::size_t(2));
    QCOMPARE(row.warnings.front().text, QString());
}

void HostRunRecord::theFormIsTheSuffix_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("form");
    QTest::newRow("csv") << QStringLiteral("/a/b.csv") << int(ReportForm::Csv);
    QTest::newRow("json") << QStringLiteral("b.json") << int(ReportForm::Json);
    QTest::newRow("html") << QStringLiteral("b.tar.HTML") << int(ReportForm::Html);
    QTest::newRow("text") << QStringLiteral("b.txt") << -1;
    QTest::newRow("none") << QStringLiteral("/a.csv/b") << -1;
    QTest::newRow("empty") << QString() << -1;
}

void HostRunRecord::theFormIsTheSuffix()
{
    QFETCH(const QString, path);
    const auto form = reportFormOf(path);
    QTEST(form ? int(*form) : -1, "form");
}

void HostRunRecord::csvIsReadAsItWasWritten()
{
    BatchReportRow row = rowWith(BatchResult::NotImported, "no-space", "source-gone");
    row.entry = QStringLiteral("a \"b\", c\r\nd.zip");
    row.reason = QStringLiteral("x,y");
    row.storedName = QStringLiteral("stored.zip");
    row.bytes = 12;
    RunRecord run = runWith({row, rowWith(BatchResult::Imported)});
    run.remarks = {{QStringLiteral("batch-number"), QStringLiteral("甲: lost")}};
    QVERIFY(reportContent(run, ReportForm::Csv)
                .startsWith("\xef\xbb\xbf"
                            "company,entry,"));
    const auto records = csvOf(run);
    QCOMPARE(records.size(), 4);
    for (const QStringList& record : records)
        QCOMPARE(record.size(), 13);
    QCOMPARE(records.at(1).mid(0, 6), QStringList({row.company, row.entry, QStringLiteral("failed"),
                                                   QString(), row.storedName, QStringLiteral("12")}));
    QCOMPARE(records.at(1).mid(7, 4), QStringList({row.reasonCode, reasonText(row.reasonCode),
                                                   reasonAdvice(row.reasonCode), row.reason}));
    QCOMPARE(records.at(1).at(11), QStringLiteral("source-gone: particulars"));
    QCOMPARE(records.at(3).at(2), QStringLiteral("remark"));
    QCOMPARE(records.at(3).at(10), QStringLiteral("甲: lost"));
}

void HostRunRecord::csvHoldsNoFormula_data()
{
    QTest::addColumn<QString>("name");
    for (const char* const name :
         {"=1+1.zip", "+1", "-1", "@SUM(A1)", "\tx", "\r=1", "=HYPERLINK(\"http://x\",\"y\")"})
        QTest::newRow(name) << QString::fromUtf8(name);
    QTest::newRow("wide") << QStringLiteral("＝1");
}

void HostRunRecord::csvHoldsNoFormula()
{
    QFETCH(const QString, name);
    BatchReportRow row = rowWith(BatchResult::Imported);
    row.entry = row.company = row.reason = row.sourcePath = name;
    const QStringList record = csvOf(runWith({row})).at(1);
    for (const int column : {0, 1, 10, 12})
        QCOMPARE(record.at(column), QLatin1Char('\'') + name);
}

void HostRunRecord::jsonIsOneDocument()
{
    const RunRecord run = runWith({rowWith(BatchResult::Imported)});
    const QJsonObject json =
        QJsonDocument::fromJson(reportContent(run, ReportForm::Json, {{QStringLiteral("exit_code"), 0}}))
            .object();
    QCOMPARE(json.value(QLatin1String("exit_code")), QJsonValue(0));
    QCOMPARE(json.value(QLatin1String("directory")), QJsonValue(run.source));
    QCOMPARE(json.value(QLatin1String("start")), QJsonValue(QStringLiteral("2026-01-31T08:15:00.123Z")));
    QCOMPARE(json.value(QLatin1String("counts"))[QLatin1String("imported")], QJsonValue(1));
    QCOMPARE(json.value(QLatin1String("outcomes"))[QLatin1String("imported")], QJsonValue(1));
    QCOMPARE(json.value(QLatin1String("rows"))[0][QLatin1String("outcome")],
             QJsonValue(QStringLiteral("imported")));
}

void HostRunRecord::htmlIsWellFormedAndEscaped()
{
    BatchReportRow row = rowWith(BatchResult::NotImported, "no-space", "source-gone");
    row.entry = QStringLiteral("<script>alert('x')</script>&amp;.zip");
    row.reason = QStringLiteral("\"<b>\" 甲");
    RunRecord run = runWith({row});
    run.remarks = {{QStringLiteral("batch-number"), QStringLiteral("<img src=x>")}};
    QString page = QString::fromUtf8(reportContent(run, ReportForm::Html));
    QVERIFY(page.startsWith(QStringLiteral("<!DOCTYPE html>")));
    for (const char* const foreign : {"<script", "<img", "http:", "https:", "src=", "href="})
        QVERIFY2(!page.remove(QStringLiteral("<img src=x>").toHtmlEscaped()).contains(QLatin1String(foreign)),
                 foreign);
    QVERIFY(page.contains(row.entry.toHtmlEscaped()));
    QVERIFY(page.contains(row.reason.toHtmlEscaped()));
    QVERIFY(page.contains(reasonText(row.reasonCode).toHtmlEscaped()));
    QVERIFY(page.contains(reasonAdvice(row.reasonCode).toHtmlEscaped()));
    // Elements without an end are the only ones that are no XML.
    page.replace(QStringLiteral("<br>"), QStringLiteral("<br/>"))
        .replace(QStringLiteral("<hr>"), QStringLiteral("<hr/>"));
    page.remove(QStringLiteral("<meta charset=\"utf-8\">"));
    QXmlStreamReader xml(page);
    while (!xml.atEnd())
        xml.readNext();
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
}

void HostRunRecord::aFileIsWrittenWholeOrNotAtAll()
{
    const QTemporaryDir folder;
    const RunRecord run = runWith({rowWith(BatchResult::Imported)});
    const QString path = folder.filePath(QStringLiteral("报告.csv"));
    for (int i = 0; i < 2; ++i)
        QCOMPARE(writeReportFile(path, run), QString());
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), reportContent(run, ReportForm::Csv));
    const QString failure = writeReportFile(folder.filePath(QStringLiteral("none/b.csv")), run);
    QVERIFY2(failure.contains(QStringLiteral("none/b.csv cannot be written: ")), qPrintable(failure));
    QVERIFY(writeReportFile(folder.filePath(QStringLiteral("b.txt")), run)
                .contains(QStringLiteral(".csv, .json, .html")));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList(QStringLiteral("报告.csv")));
}

ZAV_REGISTER_TEST(host_run_record, HostRunRecord, QCoreApplication)

#include "host_run_record.moc"

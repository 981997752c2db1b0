// What the client tells of a batch to scripts: what is left out since the site has it, contents that come
// again, links that lead out, the report as JSON, and output that nobody can read.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "host/BatchRun.h"
#include "host/DialogOperator.h"
#include "host/MainWindow.h"
#include "host/PanelBoxes.h"
#include "host/PanelReport.h"
#include "host/ServiceLog.h"
#include "host/core/Reasons.h"
#include "host/site/SiteAccess.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPushButton>
#include <QTest>
#include <QTextStream>

#include <algorithm>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

class ClientKnownBatch final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void whatTheSiteHasIsLeftOut();
    void onlyWholeJobsOfTheCompanyAreKnown();
    void ofTheSameContentTheFirstIsImported();
    void manifestsOfRefusedJobsComeBackToTheirFolders();
    void contentThatComesAgainIsTold();
    void theReportIsOneDocument();
    void linksThatLeadOutAreRefused();
    void outputThatCannotBeWritten_data();
    void outputThatCannotBeWritten();
    void theWindowTellsInItsMessages();
    void aSingleImportIsTold();

private:
    void write(const char* name, const QByteArray& content) const { writeFile(local(path(name)), content); }
    [[nodiscard]] QString path(const char* name) const
    {
        return m_site->path(QStringLiteral("batch/") + QString::fromUtf8(name));
    }
    [[nodiscard]] QStringList arguments(const QStringList& options = {}) const
    {
        return QStringList({QStringLiteral("--config"), m_site->configuration(), QStringLiteral("--batch"),
                            m_site->path(QStringLiteral("batch"))}) +
               options;
    }
    [[nodiscard]] ClientRun import(const QStringList& options = {}) const
    {
        return runClient(arguments(options));
    }
    /// The rows of the JSON report as "entry result generated name", and the exit code.
    [[nodiscard]] QStringList results(const QStringList& options = {}) const;
    static void change(const char* sql);

    std::unique_ptr<FreshSite> m_site;
};

namespace {

const QString skipKnown = QStringLiteral("--skip-known");

QJsonObject documentOf(const ClientRun& run)
{
    QJsonParseError error;
    const auto document = QJsonDocument::fromJson(run.output.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError)
        qWarning("%s: %s", qPrintable(error.errorString()), run.everything().constData());
    return document.object();
}

QString text(const QJsonObject& object, const char* key)
{
    return object.value(QLatin1String(key)).toString();
}

} // namespace

void ClientKnownBatch::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    m_site->addCompany(QStringLiteral("CD"), QStringLiteral("乙"));
}

void ClientKnownBatch::cleanup()
{
    m_site.reset();
}

QStringList ClientKnownBatch::results(const QStringList& options) const
{
    const ClientRun run = import(options + QStringList{QStringLiteral("--json")});
    QStringList rows;
    for (const QJsonValue value : documentOf(run).value(QLatin1String("rows")).toArray()) {
        const QJsonObject row = value.toObject();
        rows << QStringList({text(row, "entry"), text(row, "result"), text(row, "generated_name")})
                    .join(QLatin1Char(' '))
                    .trimmed();
    }
    rows << QString::number(run.exitCode);
    return rows;
}

void ClientKnownBatch::change(const char* sql)
{
    const auto database = Backend::Site::current().database();
    QVERIFY2(database.ok(), qPrintable(database.message()));
    const auto changed = database.value()->change(sql, {}, Backend::Durability::Immediate);
    QVERIFY2(changed.ok() && changed.value() == 1, qPrintable(changed.message()));
}

void ClientKnownBatch::whatTheSiteHasIsLeftOut()
{
    write("甲/a.tgz", "one");
    write("甲/job/steps/features", "two");
    write("甲/job/readme.json", "{}");
    QCOMPARE(results({skipKnown}),
             QStringList({QStringLiteral("a.tgz imported AB000001"), QStringLiteral("job imported AB000002"),
                          QStringLiteral("0")}));
    // A manifest does not count; a new file of the folder does.
    write("甲/job/readme.json", R"({"customer2": "other"})");
    write("甲/new.zip", "three");
    QCOMPARE(results({skipKnown}),
             QStringList({QStringLiteral("a.tgz left-out AB000001"), QStringLiteral("job left-out AB000002"),
                          QStringLiteral("new.zip imported AB000003"), QStringLiteral("0")}));
    QVERIFY(QFile::exists(path("甲/job/readme.json")));
    QCOMPARE(m_site->company(QStringLiteral("AB")).batchNumber, 2);

    const ClientRun nothing = import({skipKnown});
    QCOMPARE(nothing.exitCode, 0);
    QVERIFY2(nothing.output.contains(QStringLiteral("Left out: 3")), nothing.everything().constData());
    QVERIFY2(nothing.output.contains(QStringLiteral("the site has its content as AB000002")),
             nothing.everything().constData());
    QVERIFY2(!nothing.output.contains(QStringLiteral("message: ")), nothing.everything().constData());
    QCOMPARE(m_site->company(QStringLiteral("AB")).batchNumber, 2);

    write("甲/job/steps/features", "TWO");
    QCOMPARE(results({skipKnown}).at(1), QStringLiteral("job imported AB000004"));
    const QDir work(Backend::Site::current().settings()->downloadCache + QStringLiteral("work"));
    QCOMPARE(work.entryList({QStringLiteral("process-*")}, QDir::Dirs), QStringList());
    QCOMPARE(readFile(local(path("甲/a.tgz"))), QByteArray("one"));
}

void ClientKnownBatch::onlyWholeJobsOfTheCompanyAreKnown()
{
    for (const char* const name : {"甲/failed.tgz", "甲/halved.tgz", "甲/voided.tgz", "甲/whole.tgz"})
        write(name, name);
    QCOMPARE(import().exitCode, 0);
    change("UPDATE job_flow SET state = -1, sub_state = -1 WHERE ko_serial_name = 'AB000001'");
    change("DELETE FROM job_compress WHERE flow_guid ="
           " (SELECT guid FROM job_flow WHERE ko_serial_name = 'AB000002')");
    change("UPDATE job_flow SET state = -2, sub_state = -2 WHERE ko_serial_name = 'AB000003'");
    write("乙/whole.tgz", "甲/whole.tgz");
    QCOMPARE(results({skipKnown}),
             QStringList({QStringLiteral("whole.tgz imported CD000001"),
                          QStringLiteral("failed.tgz imported AB000005"),
                          QStringLiteral("halved.tgz imported AB000006"),
                          QStringLiteral("voided.tgz imported AB000007"),
                          QStringLiteral("whole.tgz left-out AB000004"), QStringLiteral("0")}));
}

void ClientKnownBatch::ofTheSameContentTheFirstIsImported()
{
    for (const char* const name : {"甲/a.tgz", "甲/b.tgz", "甲/c.zip", "乙/a.tgz"})
        write(name, "same");
    for (const char* const name : {"甲/e/file", "甲/f/file"})
        write(name, "folder");
    const ClientRun run = import({skipKnown});
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.output.contains(QStringLiteral("Imported: 3")), run.everything().constData());
    QVERIFY2(run.output.contains(QStringLiteral("Left out: 3")), run.everything().constData());
    QCOMPARE(run.output.count(QStringLiteral("the same content as a.tgz of this batch")), 2);
    QCOMPARE(run.output.count(QStringLiteral("the same content as e of this batch")), 1);
    QCOMPARE(int(m_site->jobs().size()), 3);
}

/// The panel deletes it in the folder that the link stands for.
void ClientKnownBatch::manifestsOfRefusedJobsComeBackToTheirFolders()
{
    write("丙/job/file", "nobody's");
    write("丙/job/readme.json", R"({"customer2": "kept"})");
    const ClientRun run = import({skipKnown});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(readFile(local(path("丙/job/readme.json"))), QByteArray(R"({"customer2": "kept"})"));
    QVERIFY2(run.output.contains(path("丙/job")), run.everything().constData());
    QVERIFY2(!run.output.contains(QStringLiteral("/process-")), run.everything().constData());
}

void ClientKnownBatch::contentThatComesAgainIsTold()
{
    write("甲/a.tgz", emptyZip("one"));
    write("甲/job/file", "two");
    QVERIFY(!import().output.contains(QStringLiteral("Warnings")));
    write("乙/b.tgz", emptyZip("three"));
    write("乙/c.tgz", emptyZip("three"));
    const ClientRun run = import();
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.output.contains(QStringLiteral("Warnings: 3")), run.everything().constData());
    QVERIFY2(run.output.contains(QStringLiteral("the site had its content before: AB000001 (甲)")),
             run.everything().constData());
    QVERIFY2(run.output.contains(QStringLiteral("the site had its content before: AB000002 (甲)")),
             run.everything().constData());
    QVERIFY2(run.output.contains(QStringLiteral("the same content as CD000001 (乙) of this run")),
             run.everything().constData());
}

void ClientKnownBatch::theReportIsOneDocument()
{
    write("甲/a.tgz", emptyZip("one"));
    write("甲/notes.txt", "none");
    (void)import();
    const ClientRun run = import({QStringLiteral("--json")});
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.errors.contains(QStringLiteral("message: Information: 原始数据导入完成")),
             run.everything().constData());
    const QJsonObject document = documentOf(run);
    QCOMPARE(document.value(QLatin1String("exit_code")).toInt(), 1);
    QCOMPARE(text(document, "directory"), m_site->path(QStringLiteral("batch")));
    QCOMPARE(text(document, "configuration"), m_site->configuration());
    QVERIFY(!text(document.value(QLatin1String("site")).toObject(), "rows").isEmpty());
    QVERIFY(text(document, "start") <= text(document, "end"));
    QVERIFY(text(document, "start").endsWith(QLatin1Char('Z')));
    const QJsonObject counts = document.value(QLatin1String("counts")).toObject();
    QCOMPARE(counts, QJsonObject({{QStringLiteral("imported"), 1},
                                  {QStringLiteral("not_imported"), 1},
                                  {QStringLiteral("unknown"), 0},
                                  {QStringLiteral("left_out"), 0},
                                  {QStringLiteral("warnings"), 1}}));
    const QJsonArray rows = document.value(QLatin1String("rows")).toArray();
    const QJsonObject imported = rows.first().toObject();
    QCOMPARE(text(imported, "source"), path("甲/a.tgz"));
    QCOMPARE(text(imported, "stored_name"), m_site->jobs().back().storedName);
    QCOMPARE(text(imported, "flow_guid"), m_site->jobs().back().flowGuid);
    QCOMPARE(imported.value(QLatin1String("bytes")).toInt(), emptyZip("one").size());
    QVERIFY(imported.value(QLatin1String("reason")).isNull());
    const QJsonObject warning = imported.value(QLatin1String("warnings")).toArray().first().toObject();
    QCOMPARE(text(warning, "code"), QStringLiteral("known-content"));
    QVERIFY(rows.last().toObject().value(QLatin1String("generated_name")).isNull());

    const ClientRun refused =
        runClient({QStringLiteral("--config"), m_site->configuration(), QStringLiteral("--batch"),
                   m_site->path(QStringLiteral("absent")), QStringLiteral("--json")});
    QCOMPARE(refused.exitCode, 2);
    QCOMPARE(refused.output, QString());
    QVERIFY(refused.errors.contains(QStringLiteral("is not a directory")));
}

void ClientKnownBatch::linksThatLeadOutAreRefused()
{
    const QString outside = m_site->path(QStringLiteral("outside"));
    writeFile(local(outside + QStringLiteral("/x.zip")), "outside");
    write("甲/a.tgz", "inside");
    QVERIFY(QFile::link(path("甲/a.tgz"), path("甲/b.tgz")));
    QCOMPARE(import().exitCode, 0);

    QVERIFY(QFile::link(outside + QStringLiteral("/x.zip"), path("甲/c.zip")));
    QVERIFY(QFile::link(outside, path("乙")));
    const ClientRun refused = import();
    QCOMPARE(refused.exitCode, 2);
    QVERIFY2(refused.output.contains(path("甲/c.zip")), refused.everything().constData());
    QVERIFY2(refused.output.contains(path("乙 -> ") + outside), refused.everything().constData());
    QCOMPARE(int(m_site->jobs().size()), 2);

    const ClientRun allowed = import({skipKnown, QStringLiteral("--allow-links")});
    QCOMPARE(allowed.exitCode, 0);
    QVERIFY2(allowed.output.contains(QStringLiteral("Imported: 2")), allowed.everything().constData());
    QVERIFY2(allowed.output.contains(QStringLiteral("leads-out")), allowed.everything().constData());
    // What a known job's link leads to is looked at as well.
    QCOMPARE(import({skipKnown}).exitCode, 2);
}

void ClientKnownBatch::outputThatCannotBeWritten_data()
{
    QTest::addColumn<QString>("redirection");
    QTest::addColumn<QString>("option");
    for (const char* const option : {"", " --json"}) {
        QTest::addRow("full%s", option) << QStringLiteral(" >/dev/full") << QString::fromLatin1(option);
        QTest::addRow("closed%s", option) << QStringLiteral(" >&-") << QString::fromLatin1(option);
        QTest::addRow("all closed%s", option)
            << QStringLiteral(" <&- >&- 2>&-") << QString::fromLatin1(option);
        QTest::addRow("reader gone%s", option) << QStringLiteral(" | true") << QString::fromLatin1(option);
    }
}

void ClientKnownBatch::outputThatCannotBeWritten()
{
    QFETCH(const QString, redirection);
    QFETCH(const QString, option);
    if (!QFile::exists(QStringLiteral("/dev/full")))
        QSKIP("needs /dev/full");
    constexpr int jobs = 6;
    for (int job = 0; job < jobs; ++job)
        write(qPrintable(QStringLiteral("甲/%1.tgz").arg(job)), QByteArray::number(job));
    const QString code = m_site->path(QStringLiteral("code"));
    const QString command =
        QStringLiteral("( '%1' '%2'%3; echo $? >'%4' )%5")
            .arg(clientProgram(), arguments().join(QStringLiteral("' '")), option, code, redirection);
    const ProgramEnd end = runProgram(QStringLiteral("sh"), {QStringLiteral("-c"), command});
    QCOMPARE(readFile(local(code)).trimmed(), QByteArray("1"));
    QCOMPARE(int(m_site->jobs().size()), jobs);
    for (const auto& job : m_site->jobs())
        QVERIFY(job.complete);
    if (!redirection.contains(QStringLiteral("2>&-")))
        QVERIFY2(end.output.contains("cannot be written to the standard output"), end.output.constData());
}

void ClientKnownBatch::theWindowTellsInItsMessages()
{
    const QString outside = m_site->path(QStringLiteral("outside.zip"));
    writeFile(local(outside), "outside");
    write("甲/notes.txt", "none");
    QVERIFY(QFile::link(outside, path("甲/x.zip")));
    SiteAccess access(m_site->configuration());
    QCOMPARE(access.open(), QString());
    ServiceLog log;
    MainWindow window(access, log);
    QString output;
    QTextStream out(&output);
    BatchOptions options;
    options.directory = m_site->path(QStringLiteral("batch"));
    options.allowLinks = true;
    QCOMPARE(BatchRun(window, access, options, out, out).run(), 1);
    QApplication::processEvents();
    QStringList messages;
    for (int row = 0; row < log.rowCount(); ++row)
        messages << log.data(log.index(row, ServiceLog::Text), Qt::DisplayRole).toString();
    const QString all = messages.join(QLatin1Char('\n'));
    QVERIFY2(all.contains(QStringLiteral("甲/notes.txt was not imported: %1\nnot a job archive")
                              .arg(reasonText(QStringLiteral("suffix-refused")))),
             qPrintable(all));
    QVERIFY2(all.contains(QStringLiteral("甲/x.zip: %1\nit is a link to %2")
                              .arg(reasonText(QStringLiteral("leads-out")), outside)),
             qPrintable(all));
    QCOMPARE(
        all.count(QStringLiteral("甲/x.zip is a link that leads out of the batch directory: ") + outside), 1);
    QVERIFY2(!all.contains(QStringLiteral("甲/x.zip was not imported")), qPrintable(all));
}

void ClientKnownBatch::aSingleImportIsTold()
{
    write("甲/job/file", "content");
    SiteAccess access(m_site->configuration());
    QCOMPARE(access.open(), QString());
    ServiceLog log;
    MainWindow window(access, log);
    DialogOperator answers;
    const auto buttons = window.importPanel()->findChildren<QPushButton*>();
    const auto choose = std::find_if(buttons.begin(), buttons.end(), [](const QPushButton* button) {
        return button->text() == QStringLiteral("选择文件夹");
    });
    QVERIFY(choose != buttons.end());
    answers.chooseDirectory(path("甲/job"));
    (*choose)->click();
    const SingleBox box = singleBoxOf(*window.importPanel());
    box.company->setCurrentText(QStringLiteral("甲"));
    box.importButton->click();
    QCOMPARE(window.panelReport().current()->rows().size(), std::size_t(1));
    const BatchReportRow first = window.panelReport().current()->rows().front();
    QVERIFY(first.isPlain());
    QCOMPARE(first.company + first.entry + first.generatedName, QStringLiteral("甲jobAB000001"));

    box.importButton->click();
    const BatchReportRow again = window.panelReport().current()->rows().front();
    QCOMPARE(again.result, BatchResult::Imported);
    QCOMPARE(again.warnings.front().code, QStringLiteral("known-content"));
    QApplication::processEvents();
    const QModelIndex last = log.index(log.rowCount() - 1, ServiceLog::Text);
    QCOMPARE(log.data(last, Qt::DisplayRole).toString(),
             QStringLiteral("甲/job: %1\nthe site had its content before: AB000001 (甲)")
                 .arg(reasonText(QStringLiteral("known-content"))));
}

ZAV_REGISTER_TEST(client_known_batch, ClientKnownBatch, QApplication)

#include "client_known_batch.moc"

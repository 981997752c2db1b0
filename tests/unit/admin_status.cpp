#include "admin/Application.h"
#include "backend/Site.h"
#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "backend/records/SiteEvents.h"
#include "backend/store/DocumentStore.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "tests/support/AdminSession.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QJsonArray>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using Admin::ExitCode;
using Backend::Site;

/// What "status" tells of a site.
class AdminStatusTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void emptySite();
    void everythingIsCounted();
    void readingOfTheDatabaseIsTold();
    void rowsOfAnEarlierReleaseAreTold();
    void missingPartIsToldBesideTheOther();
    void textShowsTheSame();
    void metricsOfAFullSite();
    void metricsOfAnEmptySite();
    void metricsOfASiteThatIsDown();
    void metricsAreOneForm();

private:
    [[nodiscard]] AdminOutcome run(const QStringList& line) const;
    [[nodiscard]] QJsonObject status() const { return run({text("status"), text("--json")}).json(); }
    /// Three complete imports, of which one went to the robot and one is in quarantine, and one that is not.
    void fill() const;

    std::unique_ptr<FreshSite> m_site;
};

namespace {

Backend::Database& database()
{
    return *Site::current().database().value();
}

Backend::Settings settings()
{
    return Site::current().settings().value();
}

/// Values by the metric with its labels.
using Samples = QMap<QString, double>;

/// Reads the text format, as strictly as a scraper may: each metric has its help, its type and then all of
/// its samples, none twice.
Samples samplesIn(const QString& exposition)
{
    static const QRegularExpression head(text("^# (HELP|TYPE) (zav_[a-z_]+) (.+)$"));
    static const QRegularExpression line(text("^((zav_[a-z_]+)(\\{[a-z_]+=\"([^\"\\\\\n]|\\\\[\\\\\"n])*\"(,["
                                              "a-z_]+=\"([^\"\\\\\n]|\\\\[\\\\\"n])*\")*\\})?) "
                                              "(-?[0-9]+(\\.[0-9]+)?)$"));
    Samples samples;
    QStringList heads;
    QString metric;
    const auto refuse = [](const QString& bad) { qWarning("not in the format: %s", qPrintable(bad)); };
    if (!exposition.endsWith(QLatin1Char('\n'))) {
        refuse(exposition.right(20));
        return {};
    }
    for (const QString& each : exposition.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (const auto found = head.match(each); found.hasMatch()) {
            const QString kind = found.captured(1);
            metric = found.captured(2);
            heads << kind + metric;
            const bool isGauge = kind != text("TYPE") || found.captured(3) == text("gauge");
            if (heads.count(kind + metric) > 1 || !isGauge) {
                refuse(each);
                return {};
            }
        } else if (const auto sample = line.match(each); sample.hasMatch() && sample.captured(2) == metric &&
                                                         heads.last() == text("TYPE") + metric &&
                                                         heads.contains(text("HELP") + metric) &&
                                                         !samples.contains(sample.captured(1))) {
            samples.insert(sample.captured(1), sample.captured(7).toDouble());
        } else {
            refuse(each);
            return {};
        }
    }
    return samples;
}

} // namespace

void AdminStatusTest::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(text("HX"), text("Harbour Circuits"));
}

void AdminStatusTest::cleanup()
{
    m_site.reset();
}

AdminOutcome AdminStatusTest::run(const QStringList& line) const
{
    QBuffer out;
    QBuffer err;
    out.open(QIODevice::WriteOnly);
    err.open(QIODevice::WriteOnly);
    const ExitCode code =
        Admin::runCommandLine(line + QStringList{text("--config"), m_site->configuration()}, out, err);
    return {code, QString::fromUtf8(out.data()), QString::fromUtf8(err.data())};
}

void AdminStatusTest::fill() const
{
    const AdminSession session;
    for (int i = 1; i <= 3; ++i)
        session.importJob("HX", "board", QByteArray(100 * i, 'x'), 0);
    session.importJob("HX", "board", QByteArray(50, 'y'), 0, false);
    const auto jobs = m_site->jobs();
    QVERIFY(DataLib::BLL::Odbpp_JobFlowBll().UpdateState(1, 1, 2, jobs.at(1).flowGuid.toStdString()));
    auto& store = *Site::current().documentStore().value();
    QVERIFY(store.quarantine(storeLocation(settings().documentStore), "HX000003.tgz").ok());
    writeFile((settings().uploadCache + text("copy.tgz")).toStdString(), QByteArray(70, 'z'));
}

void AdminStatusTest::emptySite()
{
    const AdminOutcome outcome = run({text("status"), text("--json")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.code, ExitCode::Success);
    const QJsonObject status = outcome.json();
    QCOMPARE(status[text("companies")].toInt(), 1);
    QCOMPARE(status[text("jobs")][text("total")].toInt(-1), 0);
    QCOMPARE(status[text("jobs")][text("states")].toArray().size(), 0);
    QCOMPARE(status[text("stored")][text("bytes")].toInt(-1), 0);
    for (const char* moment : {"oldest_waiting", "last_import", "last_check"})
        QVERIFY2(status[text(moment)].isNull(), moment);
    for (const char* heap : {"quarantined", "staged"})
        QCOMPARE(status[text(heap)][text("files")].toInt(-1), 0);
    QCOMPARE(status[text("rows")][text("schema")].toInt(), database().schemaVersion().value());
    QCOMPARE(status[text("rows")][text("engine")].toString(), database().engineVersion().value());
    QVERIFY(!status[text("files")][text("engine")].toString().isEmpty());
    QCOMPARE(status[text("rows")][text("identity")], status[text("files")][text("identity")]);
}

void AdminStatusTest::everythingIsCounted()
{
    fill();
    Backend::SiteEvent check;
    check.kind = Backend::eventKind::checked;
    check.userName = text("admin");
    check.outcome = text("clean");
    QVERIFY(Backend::addEvent(database(), check).ok());
    check.outcome = text("findings");
    check.detail = {{text("file-missing"), 2}};
    QVERIFY(Backend::addEvent(database(), check).ok());

    const QJsonObject status = this->status();
    const QJsonObject jobs = status[text("jobs")].toObject();
    QCOMPARE(jobs[text("total")].toInt(), 4);
    QCOMPARE(jobs[text("waiting")].toInt(), 2);
    QCOMPARE(jobs[text("unfinished")].toInt(), 1);
    const QJsonArray states = jobs[text("states")].toArray();
    QCOMPARE(states.size(), 2);
    QCOMPARE(states[0],
             QJsonValue(QJsonObject{{text("state"), 0}, {text("sub_state"), 0}, {text("jobs"), 3}}));
    QCOMPARE(states[1],
             QJsonValue(QJsonObject{{text("state"), 1}, {text("sub_state"), 2}, {text("jobs"), 1}}));
    QCOMPARE(status[text("stored")],
             QJsonValue(QJsonObject{{text("files"), 4}, {text("bytes"), 650}, {text("unknown_lengths"), 0}}));
    QCOMPARE(status[text("quarantined")][text("files")].toInt(), 1);
    QCOMPARE(status[text("quarantined")][text("bytes")].toInt(), 300);
    QVERIFY(!status[text("quarantined")][text("oldest")].toString().isEmpty());
    QCOMPARE(status[text("staged")][text("files")].toInt(), 1);
    QCOMPARE(status[text("staged")][text("bytes")].toInt(), 70);
    QCOMPARE(status[text("oldest_waiting")][text("job")].toString(), text("HX000001"));
    QCOMPARE(status[text("oldest_waiting")][text("time")].toString(), m_site->jobs().front().createdTime);
    QCOMPARE(status[text("last_import")][text("job")].toString(), text("HX000003"));
    const QJsonObject last = status[text("last_check")].toObject();
    QCOMPARE(last[text("outcome")].toString(), text("findings"));
    QCOMPARE(last[text("user")].toString(), text("admin"));
    QCOMPARE(last[text("findings")], QJsonValue(QJsonObject{{text("file-missing"), 2}}));
}

/// The services have an embedded database read through when they begin to use it, and nobody else does.
void AdminStatusTest::readingOfTheDatabaseIsTold()
{
    const QString before = database().readThroughTime().value();
    Site::current().close(); // Waits for the reading.
    const bool embedded = settings().database.driver == text("QSQLITE");
    const QString after = status()[text("read_through")].toString();
    QCOMPARE(after.isEmpty(), !embedded);
    QCOMPARE(status()[text("read_through")].toString(), after);
    QVERIFY(before.isEmpty() || before == after);
}

void AdminStatusTest::rowsOfAnEarlierReleaseAreTold()
{
    fill();
    QVERIFY(database()
                .change("UPDATE orig_file SET stored_length = NULL, stored_sha256 = NULL WHERE id = 1", {},
                        Backend::Durability::Immediate)
                .ok());
    QCOMPARE(status()[text("stored")],
             QJsonValue(QJsonObject{{text("files"), 3}, {text("bytes"), 550}, {text("unknown_lengths"), 1}}));
    const QString shown = run({text("status")}).out;
    QVERIFY2(shown.contains(text("3 files, 550 bytes, and 1 of unknown length")), qPrintable(shown));
}

void AdminStatusTest::missingPartIsToldBesideTheOther()
{
    fill();
    m_site->configure(text("document_store/root"), m_site->path(text("nowhere")));
    m_site->configure(text("document_store/kind"), text("local"));
    const AdminOutcome outcome = run({text("status"), text("--json")});
    QCOMPARE(outcome.code, ExitCode::Configuration);
    const QJsonObject status = outcome.json();
    QCOMPARE(status[text("jobs")][text("total")].toInt(), 4);
    QCOMPARE(status[text("files")][text("code")].toInt(), 5);
    QCOMPARE(status[text("files")][text("place")].toString(), m_site->path(text("nowhere")));
    QVERIFY(!status[text("files")][text("error")].toString().isEmpty());
}

void AdminStatusTest::textShowsTheSame()
{
    fill();
    const QString shown = run({text("status")}).out;
    for (const char* line :
         {"companies +1\n", "jobs +4\n", " waiting +2\n", " unfinished +1\n", " at the robot +1\n",
          "stored +4 files, 650 bytes\n", "quarantined +1 files, 300 bytes, the oldest of 2",
          "staged +1 files, 70 ", "oldest waiting job +HX000001, 2", "last import +HX000003, 2",
          "last check +never\n", ", schema 4, "})
        QVERIFY2(shown.contains(QRegularExpression(text(line))), qPrintable(text(line) + shown));
}

void AdminStatusTest::metricsOfAFullSite()
{
    fill();
    Backend::SiteEvent check;
    check.kind = Backend::eventKind::checked;
    check.outcome = text("findings");
    check.detail = {{text("file-missing"), 2}};
    QVERIFY(Backend::addEvent(database(), check).ok());
    const AdminOutcome outcome = run({text("status"), text("--prometheus")});
    QCOMPARE(outcome.code, ExitCode::Success);
    const Samples samples = samplesIn(outcome.out);
    for (const auto& [sample, value] : std::initializer_list<std::pair<const char*, double>>{
             {"zav_up", 1},
             {"zav_part_up{part=\"rows\"}", 1},
             {"zav_part_up{part=\"files\"}", 1},
             {"zav_companies", 1},
             {"zav_jobs{state=\"0\",sub_state=\"0\"}", 3},
             {"zav_jobs{state=\"1\",sub_state=\"2\"}", 1},
             {"zav_jobs_waiting", 2},
             {"zav_jobs_unfinished", 1},
             {"zav_last_check_clean", 0},
             {"zav_last_check_findings{kind=\"file-missing\"}", 2},
             {"zav_stored_files", 4},
             {"zav_stored_bytes", 650},
             {"zav_quarantined_files", 1},
             {"zav_quarantined_bytes", 300},
             {"zav_staged_files", 1},
             {"zav_staged_bytes", 70}})
        QCOMPARE(samples.value(text(sample), -1), value);
    const QJsonObject status = this->status();
    const QDateTime lastImport =
        QDateTime::fromString(status[text("last_import")][text("time")].toString(), Qt::ISODateWithMs);
    QCOMPARE(samples.value(text("zav_last_import_timestamp_seconds")),
             static_cast<double>(lastImport.toMSecsSinceEpoch()) / 1000);
    const double now = samples.value(text("zav_status_timestamp_seconds"));
    for (const char* time :
         {"zav_oldest_waiting_job_timestamp_seconds", "zav_last_check_timestamp_seconds",
          "zav_quarantined_oldest_timestamp_seconds", "zav_staged_oldest_timestamp_seconds"})
        QVERIFY2(now - samples.value(text(time)) < 3600, time);
    QVERIFY(QString(outcome.out)
                .contains(text("zav_site_info{site=\"") + status[text("rows")][text("identity")].toString()));
    if (const QString tool = QStandardPaths::findExecutable(text("promtool")); !tool.isEmpty()) {
        QProcess promtool;
        promtool.start(tool, {text("check"), text("metrics")});
        promtool.write(outcome.out.toUtf8());
        promtool.closeWriteChannel();
        QVERIFY(promtool.waitForFinished());
        QCOMPARE(promtool.exitCode(), 0);
    }
}

void AdminStatusTest::metricsOfAnEmptySite()
{
    const Samples samples = samplesIn(run({text("status"), text("--prometheus")}).out);
    QCOMPARE(samples.value(text("zav_up"), -1), 1.0);
    QCOMPARE(samples.value(text("zav_stored_bytes"), -1), 0.0);
    for (const QString& sample : samples.keys())
        QVERIFY2(!sample.startsWith(text("zav_last_")) && !sample.startsWith(text("zav_oldest_")) &&
                     !sample.contains(text("_oldest_")),
                 qPrintable(sample));
}

void AdminStatusTest::metricsOfASiteThatIsDown()
{
    m_site->configure(text("document_store/root"), m_site->path(text("nowhere")));
    m_site->configure(text("document_store/kind"), text("local"));
    const AdminOutcome half = run({text("status"), text("--prometheus")});
    QCOMPARE(half.code, ExitCode::Configuration);
    QVERIFY(!half.err.isEmpty());
    const Samples samples = samplesIn(half.out);
    QCOMPARE(samples.value(text("zav_up"), -1), 0.0);
    QCOMPARE(samples.value(text("zav_part_up{part=\"rows\"}"), -1), 1.0);
    QCOMPARE(samples.value(text("zav_part_up{part=\"files\"}"), -1), 0.0);
    QCOMPARE(samples.value(text("zav_companies"), -1), 1.0);

    const AdminOutcome none = runAdmin(m_site->path(text("no.ini")), {text("status"), text("--prometheus")});
    QCOMPARE(none.code, ExitCode::Configuration);
    QCOMPARE(samplesIn(none.out).value(text("zav_up"), -1), 0.0);
    QCOMPARE(samplesIn(none.out).size(), 4);
}

void AdminStatusTest::metricsAreOneForm()
{
    const AdminOutcome both = run({text("status"), text("--prometheus"), text("--json")});
    QCOMPARE(both.code, ExitCode::Usage);
    QVERIFY(both.out.isEmpty());
}

ZAV_REGISTER_TEST(admin_status, AdminStatusTest, QCoreApplication)

#include "admin_status.moc"

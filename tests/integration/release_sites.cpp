// Sites that released programs have made (tests/fixtures/releases, one for each release), in the hands of
// today's: what was told of them is still told, every file comes back, work goes on, and a backup takes it
// all along.

#include "tests/support/AdminSession.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using Admin::ExitCode;

class ReleaseSites final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase_data();
    void init();
    void itIsWhole();
    void whatWasToldIsStillTold_data();
    void whatWasToldIsStillTold();
    void everyFileComesBack();
    void aJobThatWasTakenBackCanBePutBack();
    void aBatchGoesOn();
    void aBackupHoldsItAll();

private:
    [[nodiscard]] QString configuration() const { return path("site/zav.ini"); }
    [[nodiscard]] QString path(const char* name) const { return m_folder->filePath(text(name)); }
    /// What the releasing programs told with --json, kept as NAME.json.
    [[nodiscard]] QJsonArray kept(const char* name, const char* list) const;
    [[nodiscard]] AdminOutcome admin(const QStringList& arguments) const
    {
        return runAdmin(configuration(), arguments);
    }
    /// A job of the company whose source had this suffix, none for a folder.
    [[nodiscard]] QString jobOf(const QJsonObject& company, const char* suffix) const;
    /// Fails the running test function unless a check that reads every file finds nothing.
    static void verifyWhole(const QString& configuration, int files);

    std::unique_ptr<QTemporaryDir> m_folder;
};

namespace {

const QString releases = QStringLiteral(ZAV_FIXTURES_DIR "/releases");
/// Of the jobs of a kept site this one was taken back, so that its file is in quarantine.
const QString voidedJob = QStringLiteral("HX000002");

QString nameOf(const QJsonValue& job)
{
    return job[QStringLiteral("generated_name")].toString();
}

/// Later programs may tell more, and not less or otherwise. @return the first that differs; null where none
/// does
QString difference(const QJsonValue& told, const QJsonValue& before, const QString& place)
{
    if (before.isArray()) {
        const QJsonArray list = before.toArray();
        if (told.toArray().size() != list.size())
            return place + QStringLiteral(": another number of entries");
        for (int i = 0; i < list.size(); ++i) {
            const QString found = difference(told[i], list[i], place + QStringLiteral("/%1").arg(i));
            if (!found.isNull())
                return found;
        }
        return {};
    }
    if (before.isObject()) {
        const QJsonObject object = before.toObject();
        for (auto field = object.begin(); field != object.end(); ++field) {
            const QString found =
                difference(told[field.key()], field.value(), place + QLatin1Char('/') + field.key());
            if (!found.isNull())
                return found;
        }
        return {};
    }
    return told == before ? QString() : place;
}

} // namespace

void ReleaseSites::initTestCase_data()
{
    QTest::addColumn<QString>("release");
    const QStringList all = QDir(releases).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    QVERIFY(all.contains(QStringLiteral("0.1.0")));
    for (const QString& release : all)
        QTest::newRow(qPrintable(release)) << release;
}

void ReleaseSites::init()
{
    QFETCH_GLOBAL(QString, release);
    m_folder = std::make_unique<QTemporaryDir>();
    copyFolder(releases + QLatin1Char('/') + release, m_folder->path());
}

QJsonArray ReleaseSites::kept(const char* name, const char* list) const
{
    const QByteArray content = readFile(local(path(name) + QStringLiteral(".json")));
    return QJsonDocument::fromJson(content).object().value(text(list)).toArray();
}

QString ReleaseSites::jobOf(const QJsonObject& company, const char* suffix) const
{
    for (const QJsonValue job : kept("jobs", "jobs")) {
        if (job[text("company_code")] == company.value(text("code")) && job[text("suffix")] == text(suffix))
            return nameOf(job);
    }
    return {};
}

void ReleaseSites::verifyWhole(const QString& configuration, int files)
{
    const AdminOutcome checked =
        runAdmin(configuration, {text("check"), text("--read-data"), text("--settle=0"), text("--json")});
    QVERIFY2(checked.code == ExitCode::Success, qPrintable(checked.out + checked.err));
    QCOMPARE(checked.json().value(text("findings")).toArray(), QJsonArray());
    QCOMPARE(checked.json().value(text("files_read")).toInt(), files);
}

void ReleaseSites::itIsWhole()
{
    verifyWhole(configuration(), kept("jobs", "jobs").size() - 1);
}

void ReleaseSites::whatWasToldIsStillTold_data()
{
    QTest::addColumn<QString>("verb");
    QTest::addColumn<QString>("list");
    QTest::newRow("jobs") << text("jobs") << text("jobs");
    QTest::newRow("companies") << text("company list") << text("companies");
    QTest::newRow("runs") << text("runs") << text("runs");
}

void ReleaseSites::whatWasToldIsStillTold()
{
    QFETCH(QString, verb);
    QFETCH(QString, list);
    const QString file = QString(verb).replace(QLatin1Char(' '), QLatin1Char('-'));
    const QJsonArray before = kept(qPrintable(file), qPrintable(list));
    QVERIFY(!before.isEmpty());
    const AdminOutcome told = admin(verb.split(QLatin1Char(' ')) + QStringList(text("--json")));
    QCOMPARE(told.code, ExitCode::Success);
    QCOMPARE(difference(told.json().value(list), before, list), QString());
}

void ReleaseSites::everyFileComesBack()
{
    for (const QJsonValue job : kept("jobs", "jobs")) {
        const QString fetched = path("fetched");
        const AdminOutcome got = admin({text("get"), nameOf(job), fetched, text("--force")});
        if (nameOf(job) == voidedJob) {
            QCOMPARE(got.code, ExitCode::NotFound);
            continue;
        }
        QVERIFY2(got.code == ExitCode::Success, qPrintable(got.err));
        const QByteArray sum = QCryptographicHash::hash(readFile(local(fetched)), QCryptographicHash::Sha256);
        QCOMPARE(QString::fromLatin1(sum.toHex()), job[text("stored_sha256")].toString());
    }
}

void ReleaseSites::aJobThatWasTakenBackCanBePutBack()
{
    const AdminOutcome back = admin({text("job"), text("unvoid"), voidedJob, text("--yes")});
    QVERIFY2(back.code == ExitCode::Success, qPrintable(back.out + back.err));
    QCOMPARE(admin({text("get"), voidedJob, path("fetched")}).code, ExitCode::Success);
    verifyWhole(configuration(), kept("jobs", "jobs").size());
}

/// What the old programs stored is known to today's, archives and folders, and numbers go on where they were.
void ReleaseSites::aBatchGoesOn()
{
    const QJsonObject company = kept("company-list", "companies").last().toObject();
    const QString batch = path("batch/") + company.value(text("name")).toString() + QLatin1Char('/');
    const QString archive = jobOf(company, "zip");
    const QString folder = jobOf(company, "");
    QVERIFY(QDir().mkpath(batch));
    QCOMPARE(admin({text("get"), archive, batch + text("a.zip")}).code, ExitCode::Success);
    QCOMPARE(admin({text("get"), folder, path("packed.zip")}).code, ExitCode::Success);
    QCOMPARE(
        runProgram(text("unzip"), {text("-q"), path("packed.zip"), text("-d"), batch + text("b")}).exitCode,
        0);
    writeFile(local(batch + text("c.tgz")), "new");

    const ClientRun run = runClient({text("--config"), configuration(), text("--batch"), path("batch"),
                                     text("--skip-known"), text("--json")});
    QVERIFY2(run.exitCode == 0, run.everything().constData());
    QStringList rows;
    for (const QJsonValue row :
         QJsonDocument::fromJson(run.output.toUtf8()).object().value(text("rows")).toArray())
        rows << row[text("entry")].toString() + QLatin1Char(' ') + row[text("result")].toString() +
                    QLatin1Char(' ') + nameOf(row);
    const QString next = QStringLiteral("%1%2")
                             .arg(company.value(text("code")).toString())
                             .arg(company.value(text("job_count")).toInt() + 1, 6, 10, QLatin1Char('0'));
    QCOMPARE(rows, QStringList({text("a.zip left-out ") + archive, text("b left-out ") + folder,
                                text("c.tgz imported ") + next}));
    verifyWhole(configuration(), kept("jobs", "jobs").size());
}

void ReleaseSites::aBackupHoldsItAll()
{
    const AdminOutcome saved = admin({text("backup"), path("backup")});
    QVERIFY2(saved.code == ExitCode::Success, qPrintable(saved.out + saved.err));
    verifyWhole(path("backup/zav.ini"), kept("jobs", "jobs").size() - 1);
}

ZAV_REGISTER_TEST(release_sites, ReleaseSites, QCoreApplication)

#include "release_sites.moc"

// Verbs that take their time, as processes that get a signal in the middle of their work: at the n-th call of
// the system of a kind that the work makes. They say how they go on, and that command ends the work.

#include "tests/support/AdminSession.h"
#include "tests/support/FreshSite.h"
#include "tests/support/RobotProgram.h"
#include "tests/support/SiteContent.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <functional>
#include <map>
#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using Admin::ExitCode;

namespace {

constexpr int jobs = 6;
constexpr int mostCalls = 5000;

struct StopSignal
{
    const char* name;
    int exitCode;
};
constexpr StopSignal stopSignals[] = {{"INT", 130}, {"TERM", 143}, {"HUP", 129}};

/// A site with jobs, and what a verb needs beside it.
struct Scene
{
    FreshSite site;
    std::unique_ptr<RobotProgram> robot;
    QString other; ///< a configuration

    [[nodiscard]] AdminOutcome run(const QString& line) const
    {
        return runAdmin(site.configuration(), line.split(QLatin1Char(' ')));
    }
    void must(const QString& line) const
    {
        const AdminOutcome done = run(line);
        if (done.code != ExitCode::Success)
            qFatal("%s: %s", qPrintable(line), qPrintable(done.err));
    }
};

QString storedName(int number)
{
    return text("AB%1.tgz").arg(number, 6, 10, QLatin1Char('0'));
}

QString allStoredNames()
{
    QStringList names;
    for (int number = 1; number <= jobs; ++number)
        names << storedName(number);
    return names.join(QLatin1Char(' '));
}

/// What becomes of a command of a shell.
ProgramEnd runShell(const QString& command)
{
    return runProgram(text("/bin/sh"), {text("-c"), command});
}

/// One verb: how the scene is set for it, when the signal comes, and what holds when the work is done.
struct Story
{
    const char* line; ///< "%1" is a path below the site's
    const char* call;
    std::function<void(Scene&)> prepare = [](Scene&) {};
    std::function<void(Scene&)> verify = [](Scene&) {};
};

void isWhole(const QString& configuration)
{
    const AdminOutcome checked = runAdmin(configuration, {text("check"), text("--read-data")});
    QVERIFY2(checked.code == ExitCode::Success, qPrintable(checked.out + checked.err));
}

void quarantineAll(Scene& scene)
{
    scene.must(text("job void --company AB --batch 7 --reason wrong --yes"));
}

void makeOther(Scene& scene)
{
    scene.other = scene.site.path(text("other.ini"));
    QCOMPARE(runAdmin(scene.other, {text("init"), text("--data-root"), scene.site.path(text("other"))}).code,
             ExitCode::Success);
}

void hasTheSameAs(const Scene& scene, const QString& other)
{
    isWhole(other);
    QCOMPARE(difference(readSite(scene.site.configuration()), readSite(other)), QString());
}

/// Leaves a copy of each stored file in the upload cache, as the panels do.
void stageCopies(Scene& scene)
{
    const QString cache = scene.run(text("config get cache/upload")).out.trimmed();
    for (const Backend::JobRecord& job : scene.site.jobs())
        QVERIFY(QFile::copy(scene.site.fetch(job), QDir(cache).filePath(job.storedName)));
}

void takeFilesAway(Scene& scene)
{
    scene.must(text("backup ") + scene.site.path(text("backup")));
    scene.must(text("job void --company AB --batch 7 --reason wrong --yes"));
    scene.must(text("quarantine purge --older-than 0 --yes"));
    changeRows(scene.site.configuration(), "UPDATE job_flow SET state = 0, sub_state = 0");
}

void handToRobot(Scene& scene)
{
    changeRows(scene.site.configuration(), "UPDATE job_flow SET state = 1, sub_state = 2");
    scene.robot = std::make_unique<RobotProgram>(QStringList());
    scene.site.configure(text("robot/port"), QString::number(scene.robot->port()));
}

const std::map<QString, Story>& stories()
{
    static const std::map<QString, Story> all = {
        {text("backup"),
         {"backup %1/backup",
          "fsync",
          {},
          [](Scene& scene) { isWhole(scene.site.path(text("backup/zav.ini"))); }}},
        {text("restore"),
         {"--config %1/other.ini restore %1/backup --data-root %1/other --raise-counters 0", "fsync",
          [](Scene& scene) { scene.must(text("backup ") + scene.site.path(text("backup"))); },
          [](Scene& scene) { isWhole(scene.site.path(text("other.ini"))); }}},
        {text("restore-files"),
         {"restore-files %1/backup", "fsync", takeFilesAway,
          [](Scene& scene) { QCOMPARE(scene.site.storedNames().size(), jobs); }}},
        {text("migrate"),
         {"migrate --to %1/other.ini", "fsync", makeOther,
          [](Scene& scene) { hasTheSameAs(scene, scene.other); }}},
        {text("check"), {"check --read-data", "pread64"}},
        {text("check, going on"), {"check --continue --read-data", "pread64"}},
        {text("job void"),
         {"job void --company AB --batch 7 --reason 'it'\\''s wrong' --yes",
          "renameat2",
          {},
          [](Scene& scene) { QCOMPARE(scene.site.storedNames(), QStringList()); }}},
        {text("job unvoid"),
         {"job unvoid --company AB --batch 7 --yes", "renameat2", quarantineAll,
          [](Scene& scene) { QCOMPARE(scene.site.storedNames().size(), jobs); }}},
        {text("sweep"),
         {"sweep --older-than 0", "fadvise64", stageCopies,
          [](Scene& scene) {
              QCOMPARE(scene.run(text("--json sweep --older-than 0")).json().value(text("files")).toArray(),
                       QJsonArray());
          }}},
        {text("get"),
         {"get AB000001 '%1/fetched file' --force",
          "pread64",
          {},
          [](Scene& scene) { QVERIFY(QFile::exists(scene.site.path(text("fetched file")))); }}},
        {text("quarantine restore"),
         {"quarantine restore NAMES", "renameat2", quarantineAll,
          [](Scene& scene) { QCOMPARE(scene.site.storedNames().size(), jobs); }}},
        {text("quarantine purge"),
         {"quarantine purge --older-than 0 --yes", "unlink", quarantineAll,
          [](Scene& scene) {
              const QJsonObject left = scene.run(text("--json quarantine list")).json();
              QCOMPARE(left.value(text("files")).toArray(), QJsonArray());
          }}},
        {text("job resend"),
         {"job resend --company AB --batch 7 --yes", "connect", handToRobot,
          // None is sent twice.
          [](Scene& scene) { QTRY_COMPARE(scene.robot->lines().size(), jobs); }}},
    };
    return all;
}

} // namespace

class AdminStoppingTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void aStoppedVerbIsGoneOnWith_data();
    void aStoppedVerbIsGoneOnWith();
    void theCommandIsToldToPeopleToo();
    void whoIgnoresHangUpsGoesOn();

private:
    static std::unique_ptr<Scene> sceneFor(const Story& story);
    static QString lineOf(const Story& story, const Scene& scene);
    /// Runs a line of a shell with a signal at the n-th call of a kind.
    static ProgramEnd runAndStop(const QString& line, const Story& story, const char* signal, int number);
};

void AdminStoppingTest::initTestCase()
{
    if (!canInject())
        QSKIP("strace cannot inject signals here");
}

std::unique_ptr<Scene> AdminStoppingTest::sceneFor(const Story& story)
{
    auto scene = std::make_unique<Scene>();
    scene->site.addCompany(text("AB"), text("Acme"));
    const AdminSession importer;
    for (int job = 0; job < jobs; ++job)
        importer.importJob("AB", "board", QByteArray(5000, static_cast<char>('a' + job)), 7);
    if (story.prepare)
        story.prepare(*scene);
    return scene;
}

QString AdminStoppingTest::lineOf(const Story& story, const Scene& scene)
{
    QString line = text(story.line);
    if (!line.startsWith(text("--config")))
        line.prepend(text("--config %1 ").arg(scene.site.configuration()));
    line.replace(text("%1"), scene.site.path(QString()));
    return line.replace(text("NAMES"), allStoredNames());
}

ProgramEnd AdminStoppingTest::runAndStop(const QString& line, const Story& story, const char* signal,
                                         int number)
{
    const QString call = text(story.call);
    return runShell(text("exec strace -f -o /dev/null -e trace=%1 -e inject=%1:signal=%2:when=%3 %4 %5")
                        .arg(call, text(signal), QString::number(number), text(ZAV_ADMIN_PROGRAM), line));
}

void AdminStoppingTest::aStoppedVerbIsGoneOnWith_data()
{
    QTest::addColumn<QString>("name");
    for (const auto& [name, story] : stories())
        QTest::newRow(qPrintable(name)) << name;
}

void AdminStoppingTest::aStoppedVerbIsGoneOnWith()
{
    QFETCH(const QString, name);
    const Story& story = stories().at(name);
    int stops = 0;
    int turn = 0;
    for (int number = 1; number < mostCalls; number += 1 + number / 2, ++turn) {
        const auto scene = sceneFor(story);
        const StopSignal& signal = stopSignals[turn % 3];
        const QString line = lineOf(story, *scene) + text(" --json 2>%1").arg(scene->site.path(text("err")));
        const ProgramEnd end = runAndStop(line, story, signal.name, number);
        if (end.exitCode == 0)
            break;
        if (end.exitCode == -1)
            continue; // killed: before the verb began, or by a second signal, since each thread makes an n-th
                      // call
        const QByteArray err = contentOf(scene->site.path(text("err")));
        QVERIFY2(end.exitCode == signal.exitCode, (end.output + err).constData());
        const QJsonObject told = QJsonDocument::fromJson(err).object();
        QCOMPARE(told.value(text("code")).toInt(), signal.exitCode);
        QCOMPARE(told.value(text("interrupted")), QJsonValue(true));
        QCOMPARE(told.value(text("signal")).toString(), text("SIG") + text(signal.name));
        QVERIFY(told.value(text("done")).isObject());
        const QString goOn = told.value(text("go_on")).toString();
        const ProgramEnd again = runShell(goOn);
        QVERIFY2(again.exitCode == 0, (goOn.toUtf8() + '\n' + again.output).constData());
        if (story.verify)
            story.verify(*scene);
        if (QTest::currentTestFailed())
            return;
        ++stops;
    }
    QVERIFY2(stops > 0, "no run was stopped in the middle of its work");
}

void AdminStoppingTest::theCommandIsToldToPeopleToo()
{
    const Story& story = stories().at(text("job void"));
    const auto scene = sceneFor(story);
    const ProgramEnd end = runAndStop(lineOf(story, *scene) + text(" 2>&1"), story, "INT", 1);
    QCOMPARE(end.exitCode, 130);
    QCOMPARE(
        QString::fromUtf8(end.output),
        text("zav_admin: stopped by SIGINT: the jobs are voided, but not all of their stored files are in "
             "quarantine\nto go on: %1 --config %2 job void --company AB --batch 7 --reason "
             "'it'\\''s wrong' --yes\n")
            .arg(text(ZAV_ADMIN_PROGRAM), scene->site.configuration()));
}

/// As under nohup.
void AdminStoppingTest::whoIgnoresHangUpsGoesOn()
{
    const Story& story = stories().at(text("check"));
    const auto scene = sceneFor(story);
    const QString line =
        text("trap '' HUP; strace -f -o /dev/null -e trace=fadvise64 -e inject=fadvise64:signal=HUP:when=1 "
             "%1 %2")
            .arg(text(ZAV_ADMIN_PROGRAM), lineOf(story, *scene));
    const ProgramEnd end = runShell(line);
    QVERIFY2(end.exitCode == 0, end.output.constData());
}

ZAV_REGISTER_TEST(admin_stopping, AdminStoppingTest, QCoreApplication)

#include "admin_stopping.moc"

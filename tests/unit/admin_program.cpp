#include "backend/Site.h"
#include "tests/support/AdminSession.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;

/// Makes something that is no regular file. @return 0 on success
using MakeNode = int (*)(const char* path);
Q_DECLARE_METATYPE(MakeNode)

/// The program itself: what the shell sees of it.
class AdminProgramTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void helpGoesToStandardOutput_data();
    void helpGoesToStandardOutput();
    void versionIsTheProjects();
    void misuseGoesToStandardError_data();
    void misuseGoesToStandardError();
    void configurationComesFromTheEnvironment();
    void systemsConfigurationIsTheLastPlace();
    void closedOutputIsAFailure();
    void nothingIsPrintedIntoAFile();
    void outputHoldsTheFileAlone();
    void forceReplacesARegularFile();
    void forceReplacesNothingElse_data();
    void forceReplacesNothingElse();
    void damagedFileIsNotGivenOut();
    void fullOutputIsAFailure();
    void readerThatGoesAwayIsAFailure();
};

namespace {

struct Ended
{
    int code = -1;
    QByteArray out;
    QByteArray err;
};

void prepare(QProcess& process, const QStringList& arguments, const QString& configuration,
             const QString& output)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!configuration.isEmpty())
        environment.insert(QStringLiteral("ZAV_CONFIG"), configuration);
    process.setProcessEnvironment(environment);
    if (!output.isEmpty())
        process.setStandardOutputFile(output);
    process.setProgram(QStringLiteral(ZAV_ADMIN_PROGRAM));
    process.setArguments(arguments);
}

Ended endOf(QProcess& process)
{
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit)
        return {-1, {}, process.errorString().toUtf8()};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

Ended run(const QStringList& arguments, const QString& configuration = {}, const QString& output = {})
{
    QProcess process;
    prepare(process, arguments, configuration, output);
    process.start();
    return endOf(process);
}

/// A site with one stored file, too large for a pipe to hold it.
class StoredJob final
{
public:
    StoredJob()
    {
        for (int i = 0; i < 100000; ++i)
            m_content += QCryptographicHash::hash(QByteArray::number(i), QCryptographicHash::Md5);
        const QString data = m_session.file().inFolder(QStringLiteral("data"));
        require(m_session.run({text("init"), text("--data-root"), data}));
        require(m_session.run({text("company"), text("add"), text("--code=HX"), text("--name=N")}));
        Backend::Site::current().setConfigurationPath(configuration());
        if (m_session.importJob("HX", "board", m_content, 1) != "HX000001")
            qFatal("no job was imported");
        Backend::Site::current().close();
    }

    [[nodiscard]] QString configuration() const { return m_session.file().path(); }
    [[nodiscard]] QString inFolder(const char* name) const { return m_session.file().inFolder(text(name)); }
    [[nodiscard]] const QByteArray& content() const { return m_content; }
    [[nodiscard]] QString storedFile() const
    {
        return inFolder("data/store/zav_import/odbpp/files/HX000001.tgz");
    }
    [[nodiscard]] QStringList leftInCache() const
    {
        return QDir(inFolder("data/download"))
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    }

    [[nodiscard]] static QStringList toFile(const QString& path)
    {
        return {text("get"), text("HX000001"), path, text("--force")};
    }

    const QStringList toOutput = {text("get"), text("HX000001"), text("-")};

private:
    static void require(const AdminOutcome& outcome)
    {
        if (outcome.code != Admin::ExitCode::Success)
            qFatal("%s", qPrintable(outcome.err));
    }

    AdminSession m_session;
    QByteArray m_content;
};

QStringList words(const char* line)
{
    return text(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

void AdminProgramTest::helpGoesToStandardOutput_data()
{
    QTest::addColumn<QString>("usage");
    const auto row = [](const char* line, const char* usage) { QTest::newRow(line) << text(usage); };
    for (const char* line : {"--help", "-h", "help"})
        row(line, "[--config FILE] [--json] VERB ...\n");
    for (const char* line : {"help get", "get --help", "get -h", "-h get", "--help get", "get HX000001 -h"})
        row(line, "get JOB FILE [--force]\n");
    for (const char* line :
         {"help company add", "company add -h", "company add --help", "--config x company add -h"})
        row(line, "company add --code CODE --name NAME\n");
    row("help help", "help [VERB...]\n");
}

void AdminProgramTest::helpGoesToStandardOutput()
{
    QFETCH(const QString, usage);
    const Ended ended = run(words(QTest::currentDataTag()));
    QCOMPARE(ended.code, 0);
    QVERIFY2(ended.out.startsWith("Usage: zav_admin " + usage.toUtf8()), ended.out.constData());
    QCOMPARE(ended.err, QByteArray());
}

void AdminProgramTest::versionIsTheProjects()
{
    const Ended ended = run({QStringLiteral("--version")});
    QCOMPARE(ended.code, 0);
    QCOMPARE(ended.out, QByteArray("zav_admin " ZAV_PROJECT_VERSION "\n"));
}

void AdminProgramTest::misuseGoesToStandardError_data()
{
    QTest::addColumn<QByteArray>("message");
    const auto row = [](const char* line, const char* message) {
        QTest::newRow(line) << QByteArray(message);
    };
    row("frobnicate", "unknown verb \"frobnicate\"");
    row("frobnicate -h", "unknown verb \"frobnicate\"");
    row("help frobnicate", "unknown verb \"frobnicate\"");
    row("--frobnicate jobs", "unknown option --frobnicate");
    row("jobs -f", "unknown option -f");
    row("jobs --force", "\"jobs\" has no option --force");
    row("jobs --batch", "option --batch needs a value: --batch N");
    row("jobs --json=yes", "option --json takes no value");
    row("get HX000001", "\"get\" needs FILE; usage: zav_admin get JOB FILE [--force]");
    row("get", "\"get\" needs JOB; usage: zav_admin get JOB FILE [--force]");
    row("jobs more", "\"jobs\" takes no \"more\"");
    row("", "a verb is missing");
}

void AdminProgramTest::misuseGoesToStandardError()
{
    QFETCH(const QByteArray, message);
    const Ended ended = run(words(QTest::currentDataTag()));
    QCOMPARE(ended.code, 2);
    QCOMPARE(ended.out, QByteArray());
    QVERIFY2(ended.err.startsWith("zav_admin: " + message), ended.err.constData());
}

void AdminProgramTest::configurationComesFromTheEnvironment()
{
    const ConfigurationFile file;
    const QString data = file.inFolder(QStringLiteral("data"));
    const Ended made = run({QStringLiteral("init"), QStringLiteral("--data-root"), data}, file.path());
    QCOMPARE(made.code, 0);
    QCOMPARE(made.err, QByteArray());
    QCOMPARE(permissionsOf(file.path()), 0600U);
    const Ended shown =
        run({QStringLiteral("config"), QStringLiteral("get"), QStringLiteral("--json")}, file.path());
    QCOMPARE(shown.code, 0);
    QCOMPARE(QJsonDocument::fromJson(shown.out).object().value(QStringLiteral("file")).toString(),
             file.path());
}

/// In an /etc of its own, which nobody else sees.
void AdminProgramTest::systemsConfigurationIsTheLastPlace()
{
    const ConfigurationFile file;
    file.writeWith("id = 7", "id = 4711");
    const QString home = file.inFolder(QStringLiteral("home"));
    const QString script = QStringLiteral(
        "set -e; d=$(mktemp -d -p \"$0\"); mount -t tmpfs tmpfs $d; mkdir $d/upper $d/work; "
        "mount -t overlay overlay -o lowerdir=/etc,upperdir=$d/upper,workdir=$d/work /etc || exit 99; "
        "mkdir -p /etc/zav_import; cp \"$1\" /etc/zav_import/zav.ini; "
        "unset ZAV_CONFIG; export XDG_CONFIG_HOME=\"$2\"; \"$3\" config get user/id; "
        "mkdir -p \"$2/zav_import\"; sed s/4711/4712/ \"$1\" >\"$2/zav_import/zav.ini\"; \"$3\" config get "
        "user/id");
    QProcess process;
    process.start(QStringLiteral("unshare"),
                  {QStringLiteral("-m"), QStringLiteral("sh"), QStringLiteral("-c"), script, file.folder(),
                   file.path(), home, QStringLiteral(ZAV_ADMIN_PROGRAM)});
    QVERIFY(process.waitForFinished());
    const QByteArray output = process.readAllStandardOutput();
    if (process.exitCode() != 0 && output.isEmpty())
        QSKIP("an /etc of its own cannot be mounted here");
    QCOMPARE(output, QByteArray("4711\n4712\n"));
    QVERIFY(!QFile::exists(QStringLiteral("/etc/zav_import/zav.ini")));
}

void AdminProgramTest::closedOutputIsAFailure()
{
    const Ended ended = run({QStringLiteral("--help")}, {}, QStringLiteral("/dev/full"));
    QCOMPARE(ended.code, 1);
    QVERIFY(ended.err.contains("cannot be written"));
}

/// Its number is not given to the database.
void AdminProgramTest::nothingIsPrintedIntoAFile()
{
    const StoredJob job;
    const QString command = QStringLiteral("exec '%1' --config '%2' jobs >&-");
    QProcess program;
    program.start(QStringLiteral("sh"),
                  {text("-c"), command.arg(QStringLiteral(ZAV_ADMIN_PROGRAM), job.configuration())});
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 1);
    QCOMPARE(run({text("check"), text("--read-data")}, job.configuration()).code, 0);
}

void AdminProgramTest::outputHoldsTheFileAlone()
{
    const StoredJob job;
    const Ended ended = run(job.toOutput, job.configuration());
    QCOMPARE(ended.code, 0);
    QVERIFY(ended.out == job.content());
    const QByteArray sum = QCryptographicHash::hash(job.content(), QCryptographicHash::Sha256).toHex();
    QCOMPARE(ended.err,
             "standard output: " + QByteArray::number(job.content().size()) + " bytes, sha256 " + sum + "\n");
    QCOMPARE(job.leftInCache(), QStringList());

    const Ended told = run(job.toOutput + QStringList(text("--json")), job.configuration());
    QCOMPARE(told.code, 0);
    QVERIFY(told.out == job.content());
    const QJsonObject report = QJsonDocument::fromJson(told.err).object();
    QCOMPARE(report.value(text("sha256")).toString().toLatin1(), sum);
    QCOMPARE(report.value(text("file")).toString(), text("-"));
}

void AdminProgramTest::forceReplacesARegularFile()
{
    const StoredJob job;
    QFile file(job.inFolder("there"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("before") > 0);
    file.close();
    const Ended ended = run(job.toFile(file.fileName()), job.configuration());
    QCOMPARE(ended.err, QByteArray());
    QCOMPARE(ended.code, 0);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll() == job.content());
}

void AdminProgramTest::forceReplacesNothingElse_data()
{
    QTest::addColumn<MakeNode>("make");
    QTest::addColumn<QByteArray>("kind");
    QTest::newRow("FIFO") << MakeNode([](const char* path) { return ::mkfifo(path, 0600); })
                          << QByteArray("a FIFO");
    QTest::newRow("link to a file") << MakeNode([](const char* path) { return ::symlink("zav.ini", path); })
                                    << QByteArray("a symbolic link");
    QTest::newRow("link to nothing") << MakeNode([](const char* path) { return ::symlink("nothing", path); })
                                     << QByteArray("a symbolic link");
    QTest::newRow("folder") << MakeNode([](const char* path) { return ::mkdir(path, 0700); })
                            << QByteArray("a folder");
    // What /dev/null is; that itself is not put at risk.
    QTest::newRow("device") << MakeNode([](const char* path) {
        return ::mknod(path, S_IFCHR | 0666, ::makedev(1, 3));
    }) << QByteArray("a device");
}

void AdminProgramTest::forceReplacesNothingElse()
{
    QFETCH(const MakeNode, make);
    QFETCH(const QByteArray, kind);
    const StoredJob job;
    const QByteArray path = QFile::encodeName(job.inFolder("there"));
    if (make(path.constData()) != 0)
        QSKIP("this user cannot make such a node");
    struct stat before = {};
    struct stat after = {};
    QCOMPARE(::lstat(path.constData(), &before), 0);
    const Ended ended = run(job.toFile(job.inFolder("there")), job.configuration());
    QCOMPARE(ended.code, 2);
    QCOMPARE(ended.out, QByteArray());
    QVERIFY2(ended.err.contains(kind), ended.err.constData());
    QCOMPARE(::lstat(path.constData(), &after), 0);
    QCOMPARE(after.st_ino, before.st_ino);
    QCOMPARE(after.st_mode, before.st_mode);
}

void AdminProgramTest::damagedFileIsNotGivenOut()
{
    const StoredJob job;
    QFile stored(job.storedFile());
    QVERIFY(stored.setPermissions(stored.permissions() | QFile::WriteOwner));
    QVERIFY2(stored.open(QIODevice::ReadWrite), qPrintable(stored.errorString()));
    QVERIFY(stored.seek(job.content().size() / 2));
    QVERIFY(stored.putChar(static_cast<char>(job.content().at(job.content().size() / 2) + 1)));
    stored.close();
    const Ended ended = run(job.toOutput, job.configuration());
    QCOMPARE(ended.code, 9);
    QCOMPARE(ended.out, QByteArray());
    QVERIFY2(ended.err.contains("HX000001"), ended.err.constData());
    QCOMPARE(job.leftInCache(), QStringList());
}

void AdminProgramTest::fullOutputIsAFailure()
{
    const StoredJob job;
    const Ended ended = run(job.toOutput, job.configuration(), QStringLiteral("/dev/full"));
    QCOMPARE(ended.code, 1);
    QVERIFY2(ended.err.contains("the stored file cannot be written to the standard output"),
             ended.err.constData());
    QCOMPARE(job.leftInCache(), QStringList());
}

void AdminProgramTest::readerThatGoesAwayIsAFailure()
{
    const StoredJob job;
    const QString pipe = job.inFolder("pipe");
    QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const int reader = ::open(QFile::encodeName(pipe).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    QVERIFY(reader >= 0);
    QProcess process;
    prepare(process, job.toOutput, job.configuration(), pipe);
    process.start();
    QVERIFY(process.waitForStarted());
    QCOMPARE(::close(reader), 0);
    const Ended ended = endOf(process);
    QCOMPARE(ended.code, 1);
    QVERIFY2(ended.err.contains("the stored file cannot be written to the standard output"),
             ended.err.constData());
    QCOMPARE(job.leftInCache(), QStringList());
}

ZAV_REGISTER_TEST(admin_program, AdminProgramTest, QCoreApplication)

#include "admin_program.moc"

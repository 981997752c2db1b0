#include "backend/Site.h"
#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "backend/records/CompanyClaim.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "tests/support/AdminSession.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using Admin::ExitCode;

Q_DECLARE_METATYPE(ExitCode)

/// Companies, jobs and stored files.
class AdminVerbsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void companiesAreAddedListedAndRenamed();
    void whoHoldsACompanyIsNamed();
    void companyMistakesAreNamed_data();
    void companyMistakesAreNamed();
    void namesCannotDriveTheTerminal();
    void wideNamesKeepTheColumns();
    void jobsAreListed_data();
    void jobsAreListed();
    void jobsHaveAllFields();
    void jobMistakesAreNamed_data();
    void jobMistakesAreNamed();
    void storedFileIsFetched();
    void fetchingReplacesNothingUnasked();
    void fetchingMistakesAreNamed();
    void anotherFileIsNotGivenOut();

private:
    std::string importJob(const char* company, const char* jobName, const QByteArray& content, int batch,
                          bool complete = true) const
    {
        return m_session->importJob(company, jobName, content, batch, complete);
    }

    std::unique_ptr<AdminSession> m_session;
};

void AdminVerbsTest::init()
{
    m_session = std::make_unique<AdminSession>();
    const QString data = m_session->file().inFolder(QStringLiteral("data"));
    QCOMPARE(m_session->run({text("init"), text("--data-root"), data}).err, QString());
    for (const char* name : {"--code=AB --name=Acme", "--code=CD --name=AB"}) {
        const QStringList company = text("company add %1").arg(text(name)).split(QLatin1Char(' '));
        QCOMPARE(m_session->run(company).err, QString());
    }
    Backend::Site::current().setConfigurationPath(m_session->file().path());
}

void AdminVerbsTest::cleanup()
{
    Backend::Site::current().close();
}

void AdminVerbsTest::companiesAreAddedListedAndRenamed()
{
    const AdminOutcome added = m_session->run({text("company"), text("add"), text("--json"), text("--code"),
                                               text("XY"), text("--name"), text("\xe6\xb7\xb1\xe5\x9c\xb3")});
    QCOMPARE(added.err, QString());
    const QJsonObject company = added.json().value(text("company")).toObject();
    QCOMPARE(company.value(text("code")).toString(), text("XY"));
    QCOMPARE(company.value(text("name")).toString(), text("\xe6\xb7\xb1\xe5\x9c\xb3"));
    QCOMPARE(company.value(text("job_count")).toInt(-1), 0);
    const AdminOutcome renamed =
        m_session->run({text("company"), text("rename"), text("--code=XY"), text("--name=Shenzhen")});
    QCOMPARE(renamed.out, text("company XY is now \"Shenzhen\"\n"));
    const QJsonArray list = m_session->run({text("company"), text("list"), text("--json")})
                                .json()
                                .value(text("companies"))
                                .toArray();
    QCOMPARE(list.size(), 3);
    QCOMPARE(list.at(2)[text("name")].toString(), text("Shenzhen"));
    QCOMPARE(list.at(2)[text("id")].toInt(), company.value(text("id")).toInt(-1));
    QVERIFY(m_session->run({text("company"), text("list")}).out.contains(text("XY    Shenzhen")));
}

void AdminVerbsTest::whoHoldsACompanyIsNamed()
{
    const auto settings = Backend::loadSettings(m_session->file().path());
    const auto database = Backend::Database::open(settings->database);
    QVERIFY2(database.ok(), qPrintable(database.message()));
    const auto claim = Backend::CompanyClaim::make(settings->database, 1,
                                                   Backend::CompanyHolder::thisProcess(text("lisa")), {});
    const auto heldBy = [this] {
        return m_session->run({text("company"), text("list"), text("--json")})
            .json()
            .value(text("companies"))[0][text("held_by")];
    };
    QCOMPARE(heldBy(), QJsonValue(QJsonValue::Null));
    QVERIFY(claim->take(*database.value()).value());
    QCOMPARE(heldBy()[text("user")].toString(), text("lisa"));
    QCOMPARE(heldBy()[text("process")].toInt(), int(QCoreApplication::applicationPid()));
    QVERIFY(m_session->run({text("company"), text("list")}).out.contains(text("  lisa on ")));
    QVERIFY(claim->giveBack(*database.value()).ok());
    QCOMPARE(heldBy(), QJsonValue(QJsonValue::Null));
}

void AdminVerbsTest::companyMistakesAreNamed_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<ExitCode>("code");
    QTest::addColumn<QString>("message");
    QTest::newRow("code taken") << QStringList({text("add"), text("--code=AB"), text("--name=New")})
                                << ExitCode::AlreadyExists << text("AB");
    QTest::newRow("code taken in another case")
        << QStringList({text("add"), text("--code=ab"), text("--name=New")}) << ExitCode::AlreadyExists
        << text("the company \"Acme\" has the code \"AB\" already, and the robot does not tell codes apart");
    QTest::newRow("name taken") << QStringList({text("add"), text("--code=N"), text("--name=Acme")})
                                << ExitCode::AlreadyExists << text("Acme");
    QTest::newRow("unfit code") << QStringList({text("add"), text("--code=a b"), text("--name=New")})
                                << ExitCode::Usage << text("1 to 32 characters");
    QTest::newRow("empty name") << QStringList({text("add"), text("--code=N"), text("--name=")})
                                << ExitCode::Usage << text("name");
    QTest::newRow("no name") << QStringList({text("add"), text("--code=N")}) << ExitCode::Usage
                             << text("\"company add\" needs --name NAME");
    QTest::newRow("unknown code") << QStringList({text("rename"), text("--code=ZZ"), text("--name=New")})
                                  << ExitCode::NotFound << text("ZZ");
    QTest::newRow("new name taken") << QStringList({text("rename"), text("--code=CD"), text("--name=Acme")})
                                    << ExitCode::AlreadyExists << text("Acme");
}

void AdminVerbsTest::companyMistakesAreNamed()
{
    QFETCH(QStringList, arguments);
    QFETCH(ExitCode, code);
    QFETCH(QString, message);
    const AdminOutcome outcome = m_session->run(QStringList({text("--json"), text("company")}) + arguments);
    QCOMPARE(outcome.code, code);
    QCOMPARE(outcome.out, QString());
    QCOMPARE(outcome.failure().value(text("code")).toInt(), static_cast<int>(code));
    const QString error = outcome.failure().value(text("error")).toString();
    QVERIFY2(error.contains(message), qPrintable(error));
    QCOMPARE(m_session->run({text("company"), text("list"), text("--json")})
                 .json()
                 .value(text("companies"))
                 .toArray()
                 .size(),
             2);
}

void AdminVerbsTest::namesCannotDriveTheTerminal()
{
    importJob("AB", "job\x1b[2J\n\xc2\x9b", "x", 1);
    for (const QStringList& command :
         {QStringList({text("jobs")}), QStringList({text("jobs"), text("--json")})}) {
        const QString out = m_session->run(command).out;
        QVERIFY(out.contains(text("job\\")));
        for (const QChar c : out)
            QVERIFY(c == QLatin1Char('\n') || c.category() != QChar::Other_Control);
    }
    const AdminOutcome unknown = m_session->run({text("get"), text("a\x1b[2J"), text("f")});
    QCOMPARE(unknown.code, ExitCode::NotFound);
    QVERIFY(!unknown.err.contains(QChar(0x1b)));
}

void AdminVerbsTest::wideNamesKeepTheColumns()
{
    const QString name = text("--name=\xe6\xb7\xb1\xe5\x9c\xb3");
    QCOMPARE(m_session->run({text("company"), text("rename"), text("--code=AB"), name}).err, QString());
    const QStringList lines = m_session->run({text("company"), text("list")}).out.split(QLatin1Char('\n'));
    QCOMPARE(lines.at(1), text(" 1  AB    \xe6\xb7\xb1\xe5\x9c\xb3     0      0"));
    QCOMPARE(lines.at(2), text(" 2  CD    AB       0      0"));
}

void AdminVerbsTest::jobsAreListed_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QStringList>("names");
    const QString one = text("AB000001");
    const QString two = text("AB000002");
    const QString three = text("CD000001");
    const QString failed = text("CD000002");
    QTest::newRow("all") << QStringList() << QStringList({one, two, three, failed});
    QTest::newRow("company by code") << QStringList({text("--company=AB")}) << QStringList({one, two});
    QTest::newRow("company by name") << QStringList({text("--company=Acme")}) << QStringList({one, two});
    QTest::newRow("waiting") << QStringList({text("--state=waiting")}) << QStringList({one, three});
    QTest::newRow("state pair") << QStringList({text("--state"), text("1,2")}) << QStringList({two});
    QTest::newRow("state") << QStringList({text("--state=1")}) << QStringList({two});
    QTest::newRow("failed") << QStringList({text("--state=failed")}) << QStringList({failed});
    QTest::newRow("batch") << QStringList({text("--batch=5")}) << QStringList({two, three});
    QTest::newRow("all conditions") << QStringList(
                                           {text("--batch=5"), text("--company=CD"), text("--state=0,0")})
                                    << QStringList({three});
    QTest::newRow("none") << QStringList({text("--batch=6")}) << QStringList();
    QTest::newRow("at most two") << QStringList({text("--limit=2")}) << QStringList({one, two});
    QTest::newRow("behind the second")
        << QStringList({text("--after"), text("2")}) << QStringList({three, failed});
    QTest::newRow("one behind the first")
        << QStringList({text("--after=1"), text("--limit=1")}) << QStringList({two});
    QTest::newRow("those that fit are counted")
        << QStringList({text("--state=waiting"), text("--limit=2")}) << QStringList({one, three});
    QTest::newRow("of a company behind the first")
        << QStringList({text("--company=AB"), text("--after=1")}) << QStringList({two});
    QTest::newRow("behind all") << QStringList({text("--after=9")}) << QStringList();
}

void AdminVerbsTest::jobsAreListed()
{
    QFETCH(QStringList, options);
    QFETCH(QStringList, names);
    importJob("AB", "one", "1", 4);
    const std::string two = importJob("AB", "two", "2", 5);
    importJob("CD", "three", "3", 5);
    importJob("CD", "four", "4", 0, false);
    std::vector<DataLib::Model::Odbpp_JobFlow> flows;
    QVERIFY(DataLib::BLL::Odbpp_JobFlowBll().select({{"KoSerialName", two}}, {}, flows));
    QVERIFY(DataLib::BLL::Odbpp_JobFlowBll().UpdateState(1, 1, 2, flows.at(0).flowGuid));

    const AdminOutcome outcome = m_session->run(QStringList({text("jobs"), text("--json")}) + options);
    QCOMPARE(outcome.err, QString());
    QStringList found;
    const QJsonArray jobs = outcome.json().value(text("jobs")).toArray();
    for (const QJsonValue& job : jobs)
        found << job[text("generated_name")].toString();
    QCOMPARE(found, names);
    QCOMPARE(m_session->run(QStringList({text("jobs")}) + options).out.count(QLatin1Char('\n')),
             names.size() + 1);
}

void AdminVerbsTest::jobsHaveAllFields()
{
    importJob("AB", "board", "content", 3);
    const QJsonValue job =
        m_session->run({text("jobs"), text("--json")}).json().value(text("jobs")).toArray().at(0);
    QCOMPARE(job[text("job_name")].toString(), text("board"));
    QCOMPARE(job[text("company_code")].toString(), text("AB"));
    QCOMPARE(job[text("company_name")].toString(), text("Acme"));
    QCOMPARE(job[text("batch_number")].toInt(), 3);
    QCOMPARE(job[text("complete")].toBool(), true);
    QCOMPARE(job[text("stored_name")].toString(), text("AB000001.tgz"));
    QCOMPARE(job[text("file_store")].toString(), text("odbpp"));
    QVERIFY(!job[text("flow_guid")].toString().isEmpty());
    QVERIFY(!job[text("created")].toString().isEmpty());
}

void AdminVerbsTest::jobMistakesAreNamed_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<ExitCode>("code");
    QTest::addColumn<QString>("message");
    QTest::newRow("company") << text("--company=ZZ") << ExitCode::NotFound
                             << text("there is no company with the code or name \"ZZ\"");
    QTest::newRow("state")
        << text("--state=done") << ExitCode::Usage
        << text("--state is \"done\"; accepted is a state N, a state pair N,M, waiting, failed or voided");
    QTest::newRow("empty state") << text("--state=") << ExitCode::Usage << text("--state is \"\"");
    QTest::newRow("batch") << text("--batch=x") << ExitCode::Usage
                           << text("--batch is \"x\"; accepted is a batch number");
    QTest::newRow("negative batch") << text("--batch=-1") << ExitCode::Usage << text("--batch is \"-1\"");
    QTest::newRow("no jobs") << text("--limit=0") << ExitCode::Usage
                             << text("--limit is \"0\"; accepted is a number from 1 on");
    QTest::newRow("behind a name") << text("--after=AB000001") << ExitCode::Usage
                                   << text("--after is \"AB000001\"");
    QTest::newRow("option of another verb")
        << text("--code=AB") << ExitCode::Usage << text("\"jobs\" has no option --code");
}

void AdminVerbsTest::jobMistakesAreNamed()
{
    QFETCH(QString, option);
    QFETCH(ExitCode, code);
    QFETCH(QString, message);
    const AdminOutcome outcome = m_session->run({text("jobs"), option});
    QCOMPARE(outcome.code, code);
    QVERIFY2(outcome.err.contains(message), qPrintable(outcome.err));
}

void AdminVerbsTest::storedFileIsFetched()
{
    const QByteArray content(100000, 'x');
    importJob("AB", "board", content, 1);
    const QString target = m_session->file().inFolder(QStringLiteral("back.tgz"));
    const AdminOutcome outcome = m_session->run({text("get"), text("AB000001"), target, text("--json")});
    QCOMPARE(outcome.err, QString());
    const QString sum =
        QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex());
    QCOMPARE(outcome.json().value(text("sha256")).toString(), sum);
    QCOMPARE(outcome.json().value(text("bytes")).toInt(), 100000);
    QCOMPARE(outcome.json().value(text("file")).toString(), target);
    QFile file(target);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), content);
    const AdminOutcome again = m_session->run({text("get"), text("AB000001"), target, text("--force")});
    QCOMPARE(again.out, QStringLiteral("%1: 100000 bytes, sha256 %2\n").arg(target, sum));
}

void AdminVerbsTest::fetchingReplacesNothingUnasked()
{
    importJob("AB", "board", "content", 1);
    const QByteArray before = m_session->file().content();
    const AdminOutcome refused = m_session->run({text("get"), text("AB000001"), m_session->file().path()});
    QCOMPARE(refused.code, ExitCode::AlreadyExists);
    QVERIFY2(refused.err.contains(text("--force")), qPrintable(refused.err));
    QCOMPARE(m_session->file().content(), before);
    const QString link = m_session->file().inFolder(QStringLiteral("link"));
    QVERIFY(QFile::link(QStringLiteral("/nowhere/at/all"), link));
    QCOMPARE(m_session->run({text("get"), text("AB000001"), link}).code, ExitCode::AlreadyExists);
}

void AdminVerbsTest::fetchingMistakesAreNamed()
{
    importJob("AB", "board", "content", 1);
    const QString target = m_session->file().inFolder(QStringLiteral("back"));
    QCOMPARE(m_session->run({text("get"), text("AB000009"), target}).code, ExitCode::NotFound);
    QCOMPARE(
        m_session->run({text("get"), text("AB000001"), m_session->file().folder(), text("--force")}).code,
        ExitCode::Usage);
    QCOMPARE(m_session->run({text("get"), text("AB000001")}).err,
             text("zav_admin: \"get\" needs FILE; usage: zav_admin get JOB FILE [--force]\n"));
    QVERIFY(m_session->run({text("get"), text("AB000001"), text("/nowhere/back")}).code != ExitCode::Success);

    const QString stored =
        m_session->file().inFolder(QStringLiteral("data/store/zav_import/odbpp/files/AB000001.tgz"));
    QVERIFY(QFile::exists(stored));
    QVERIFY(QFile::remove(stored));
    QCOMPARE(m_session->run({text("get"), text("AB000001"), target}).code != ExitCode::Success, true);
    QVERIFY(!QFile::exists(target));
}

/// As where somebody has moved files of the store by hand, each with its sum.
void AdminVerbsTest::anotherFileIsNotGivenOut()
{
    for (const char* name : {"one", "two"})
        importJob("AB", name, QByteArray("content of ") + name, 1);
    const QString target = m_session->file().inFolder(QStringLiteral("back"));
    QCOMPARE(m_session->run({text("get"), text("AB000001"), target}).code, ExitCode::Success);
    const QByteArray before = contentOf(target);
    QCOMPARE(before, QByteArray("content of one"));
    swapStoredFiles(m_session->file().path(), text("AB000001.tgz"), text("AB000002.tgz"));
    for (const QString& path : {target, text("-")}) {
        const AdminOutcome outcome =
            m_session->run({text("get"), text("AB000001"), path, text("--force"), text("--json")});
        QCOMPARE(outcome.code, ExitCode::Corrupt);
        QCOMPARE(outcome.out, QString());
        const QString error = outcome.failure().value(text("error")).toString();
        for (const char* told : {"\"AB000001.tgz\"", "\"AB000001\"", "14 bytes"})
            QVERIFY2(error.contains(text(told)), qPrintable(error));
    }
    QCOMPARE(contentOf(target), before);
    swapStoredFiles(m_session->file().path(), text("AB000001.tgz"), text("AB000002.tgz"));
    QCOMPARE(m_session->run({text("get"), text("AB000001"), target, text("--force")}).code,
             ExitCode::Success);

    const QJsonObject job =
        m_session->run({text("jobs"), text("--json")}).json().value(text("jobs")).toArray().at(0).toObject();
    QCOMPARE(job.value(text("stored_length")).toInt(), before.size());
    QCOMPARE(job.value(text("stored_sha256")).toString(),
             QString::fromLatin1(QCryptographicHash::hash(before, QCryptographicHash::Sha256).toHex()));
    QVERIFY(job.value(text("content_length")).isNull());
    QVERIFY(job.value(text("content_sha256")).isNull());
}

ZAV_REGISTER_TEST(admin_verbs, AdminVerbsTest, QCoreApplication)

#include "admin_verbs.moc"

// What zav_client makes of a site that is not there, or not all there.

#include "backend/Site.h"
#include "backend/SiteCreation.h"
#include "backend/store/DocumentStore.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Test;

class ClientSites : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstStartOfTheWindowAsksBeforeItMakesAnything();
    void aLostSiteIsNotMadeAgain();
    void otherStartsMakeNothing_data();
    void otherStartsMakeNothing();
    void lostPartIsRefused_data();
    void lostPartIsRefused();
};

namespace {

constexpr int longestWaitMs = 60000;
const QString noConfiguration = QStringLiteral("there is no configuration file");

/// An empty home of a user, with no configuration named in the environment.
class Home final
{
public:
    [[nodiscard]] QString path(const QString& name) const { return m_folder.filePath(name); }
    [[nodiscard]] QString configuration() const { return path(QStringLiteral("config/zav_import/zav.ini")); }
    [[nodiscard]] QProcessEnvironment environment(const QString& named = {}) const
    {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.remove(QStringLiteral("ZAV_CONFIG"));
        if (!named.isEmpty())
            environment.insert(QStringLiteral("ZAV_CONFIG"), named);
        environment.insert(QStringLiteral("HOME"), m_folder.path());
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), path(QStringLiteral("config")));
        environment.insert(QStringLiteral("XDG_DATA_HOME"), path(QStringLiteral("data")));
        return environment;
    }
    /// Names of everything that belongs to a site.
    [[nodiscard]] QStringList made() const
    {
        QStringList names;
        for (const char* folder : {"", "config/zav_import", "data/zav_import"})
            names +=
                QDir(path(QLatin1String(folder)))
                    .entryList({QStringLiteral("*.ini"), QStringLiteral("*.db*"), QStringLiteral("store"),
                                QStringLiteral("upload"), QStringLiteral("download")},
                               QDir::AllEntries);
        return names;
    }

private:
    QTemporaryDir m_folder;
};

/// Starts the client, lets it run until it has written text, and ends it. A window stays open, and its
/// refusal is a dialog that somebody has to close. @return all that it has written
QString outputUntil(const QString& text, const QStringList& arguments, const QProcessEnvironment& environment)
{
    QProcess client;
    client.setProcessEnvironment(environment);
    client.start(QStringLiteral(ZAV_CLIENT),
                 QStringList({QStringLiteral("-platform"), QStringLiteral("offscreen")}) + arguments);
    QString output;
    while (!output.contains(text) && client.waitForReadyRead(longestWaitMs))
        output += QString::fromUtf8(client.readAllStandardOutput());
    client.kill();
    client.waitForFinished(longestWaitMs);
    return output + QString::fromUtf8(client.readAllStandardOutput());
}

} // namespace

/// What the dialog makes then is told by host_first_run.
void ClientSites::firstStartOfTheWindowAsksBeforeItMakesAnything()
{
    const Home home;
    const QString asked =
        QStringLiteral("First start: there is no site yet, and what is to be used is asked for");
    const QString output = outputUntil(asked, {}, home.environment());
    QVERIFY2(output.contains(asked), qPrintable(output));
    QCOMPARE(home.made(), QStringList());
}

void ClientSites::aLostSiteIsNotMadeAgain()
{
    const Home home;
    const QString data = home.path(QStringLiteral("data/zav_import"));
    const auto made = Backend::createSite({home.configuration(), data});
    QVERIFY2(made.ok(), qPrintable(made.message()));
    QVERIFY(QFile::remove(data + QStringLiteral("/site.db")));
    const QString output = outputUntil(QStringLiteral("zav_admin restore"), {}, home.environment());
    QVERIFY2(!output.contains(QStringLiteral("First start")) && output.contains(QStringLiteral("error: ")),
             qPrintable(output));
    QVERIFY(!QFile::exists(data + QStringLiteral("/site.db")));
}

void ClientSites::otherStartsMakeNothing_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("named"); // in the environment
    const QString absent = QStringLiteral("/nonexistent/zav.ini");
    const QString empty;
    QTest::newRow("batch") << QStringList({QStringLiteral("--batch"), QStringLiteral("/tmp")}) << empty;
    QTest::newRow("import") << QStringList({QStringLiteral("--import"), QStringLiteral("HX000001")}) << empty;
    QTest::newRow("mistyped, batch") << QStringList({QStringLiteral("--config"), absent,
                                                     QStringLiteral("--batch"), QStringLiteral("/tmp")})
                                     << empty;
    QTest::newRow("mistyped, window") << QStringList({QStringLiteral("--config"), absent}) << empty;
    QTest::newRow("mistyped in the environment") << QStringList() << absent;
}

void ClientSites::otherStartsMakeNothing()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, named);
    const Home home;
    const QString output = outputUntil(noConfiguration, arguments, home.environment(named));
    QVERIFY2(output.contains(QStringLiteral("error: ") + noConfiguration), qPrintable(output));
    QVERIFY2(output.contains(QStringLiteral("\"zav_admin init\" makes one")), qPrintable(output));
    QCOMPARE(home.made(), QStringList());
}

void ClientSites::lostPartIsRefused_data()
{
    QTest::addColumn<QString>("part");
    QTest::addColumn<QStringList>("arguments");
    for (const char* part : {"database deleted", "database emptied", "store deleted", "store unmounted"}) {
        const QString name = QString::fromLatin1(part);
        QTest::newRow(qPrintable(name + QStringLiteral(", window"))) << name << QStringList();
        QTest::newRow(qPrintable(name + QStringLiteral(", batch")))
            << name << QStringList({QStringLiteral("--batch"), QStringLiteral("/tmp")});
        QTest::newRow(qPrintable(name + QStringLiteral(", import")))
            << name << QStringList({QStringLiteral("--import"), QStringLiteral("HX000001")});
    }
}

void ClientSites::lostPartIsRefused()
{
    QFETCH(QString, part);
    QFETCH(QStringList, arguments);
    const FreshSite site;
    const Backend::Settings settings = Backend::Site::current().settings().value();
    Backend::Site::current().close();
    const QString database = settings.database.file;
    const QString root = settings.documentStore.root;
    if (part.startsWith(QLatin1String("database")))
        QVERIFY(QFile::remove(database));
    if (part == QLatin1String("database emptied")) {
        QFile file(database);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    if (part.startsWith(QLatin1String("store")))
        QVERIFY(QDir(root).removeRecursively());
    if (part == QLatin1String("store unmounted"))
        QVERIFY(QDir().mkdir(root));

    arguments << QStringLiteral("--config") << site.configuration();
    const QString told = QStringLiteral("zav_admin restore");
    const QString output = outputUntil(told, arguments, QProcessEnvironment::systemEnvironment());
    QVERIFY2(output.contains(QStringLiteral("error: ")) && output.contains(told), qPrintable(output));
    if (part == QLatin1String("database deleted"))
        QVERIFY(!QFile::exists(database));
    if (part == QLatin1String("database emptied"))
        QCOMPARE(QFile(database).size(), 0);
    if (part == QLatin1String("store deleted"))
        QVERIFY(!QFile::exists(root));
    if (part == QLatin1String("store unmounted"))
        QVERIFY(QDir(root).isEmpty());
}

ZAV_REGISTER_TEST(client_sites, ClientSites, QCoreApplication)

#include "client_sites.moc"

// What the client reads in a job-information text.

#include "host/CamImport.h"
#include "services/ui/Import_Info.h"
#include "tests/support/TestProgram.h"
#include "ui/import_list/JobInformation.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Host;

class HostAnnouncement : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts_data();
    void texts();
    void whatThePanelSaysIsUnderstood_data();
    void whatThePanelSaysIsUnderstood();
};

void HostAnnouncement::texts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QString>("jobName"); // empty: not understood
    QTest::addColumn<int>("origin");
    using Origin = JobAnnouncement::Origin;
    QTest::newRow("site") << QStringLiteral("board|AB000001") << QStringLiteral("board")
                          << QStringLiteral("AB000001") << int(Origin::Site);
    QTest::newRow("web") << QStringLiteral("upload|AB000001|ISWEB") << QStringLiteral("upload")
                         << QStringLiteral("AB000001") << int(Origin::Web);
    QTest::newRow("robot") << QStringLiteral("file|AB000001|ROBOT") << QStringLiteral("file")
                           << QStringLiteral("AB000001") << int(Origin::Robot);
    QTest::newRow("empty prefix") << QStringLiteral("|AB000001") << QStringLiteral("")
                                  << QStringLiteral("AB000001") << int(Origin::Site);
    QTest::newRow("bars in the prefix") << QStringLiteral("a|b|AB000001") << QStringLiteral("a|b")
                                        << QStringLiteral("AB000001") << int(Origin::Site);
    QTest::newRow("job called ISWEB")
        << QStringLiteral("a|ISWEB") << QStringLiteral("a") << QStringLiteral("ISWEB") << int(Origin::Site);
    QTest::newRow("no bar") << QStringLiteral("AB000001") << QStringLiteral("") << QStringLiteral("") << 0;
    QTest::newRow("no job") << QStringLiteral("a|") << QStringLiteral("") << QStringLiteral("") << 0;
    QTest::newRow("empty") << QStringLiteral("") << QStringLiteral("") << QStringLiteral("") << 0;
}

void HostAnnouncement::texts()
{
    QFETCH(QString, text);
    QFETCH(QString, prefix);
    QFETCH(QString, jobName);
    QFETCH(int, origin);
    const auto announcement = readAnnouncement(text);
    QCOMPARE(announcement.has_value(), !jobName.isEmpty());
    if (!announcement)
        return;
    QCOMPARE(announcement->prefix, prefix);
    QCOMPARE(announcement->jobName, jobName);
    QCOMPARE(int(announcement->origin), origin);
}

void HostAnnouncement::whatThePanelSaysIsUnderstood_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("fileName");
    QTest::newRow("site") << -1 << QString();
    QTest::newRow("web") << 0 << QStringLiteral("up.load.tgz");
    QTest::newRow("robot") << 1 << QStringLiteral("up.load.tgz");
    QTest::newRow("robot without a file") << 1 << QString();
}

void HostAnnouncement::whatThePanelSaysIsUnderstood()
{
    QFETCH(int, mode);
    QFETCH(QString, fileName);
    const UI::Import_Info info{"key", "AB000042", "source|name", "company", fileName};
    const auto announcement = readAnnouncement(UI::jobInformation(mode, info, QStringLiteral("AB000042")));
    QVERIFY(announcement.has_value());
    QCOMPARE(announcement->jobName, QStringLiteral("AB000042"));
}

ZAV_REGISTER_TEST(host_announcement, HostAnnouncement, QCoreApplication)

#include "host_announcement.moc"

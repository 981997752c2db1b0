#include "tests/support/FlawText.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <cstdio>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

constexpr const char* insertCompany =
    "INSERT INTO company (code, name, created_time, updated_time) VALUES (?, ?, ?, 't')";

/// Role of another process: fills the disk with rows, two in a transaction, and writes what it was told and
/// what the database then holds: "<code> <rows added> <rows there> <code of the integrity check>".
int fill(const QStringList& arguments)
{
    const QString& file = arguments.at(2);
    DatabaseSettings settings;
    settings.file = file;
    const Result<std::unique_ptr<Database>> opened = Database::create(settings);
    if (!opened.ok())
        return 1;
    Database& database = *opened.value();
    const QString filling(20000, QLatin1Char('x'));
    int added = 0;
    Status status;
    while (status.ok()) {
        status = database.transaction([&] {
            for (const char* half : {"a", "b"}) {
                const QString key = QString::number(added) + QLatin1String(half);
                const Result<qint64> row =
                    database.insert(insertCompany, {key, key, filling}, Durability::Immediate);
                if (!row.ok())
                    return row.status();
            }
            return Status();
        });
        added += status.ok() ? 2 : 0;
    }
    std::printf("%d %d %d %d\n", static_cast<int>(status.code()), added,
                valueOf(database, "SELECT count(*) FROM company").toInt(),
                static_cast<int>(flawsOf(database).size()));
    return 0;
}

} // namespace

class DatabaseFullDiskTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void aTransactionThatFindsNoRoomIsUndoneWhole();
};

void DatabaseFullDiskTest::aTransactionThatFindsNoRoomIsUndoneWhole()
{
    const TemporaryDatabase place;
    const QString mount = QStringLiteral("mount -t tmpfs -o size=2m tmpfs \"$0\" || exit 77; exec \"$@\"");
    OtherProcess process(
        QStringLiteral("unshare"),
        {QStringLiteral("-m"), QStringLiteral("sh"), QStringLiteral("-c"), mount, place.folder()},
        {QStringLiteral("--fill"), place.file()});
    const int exitCode = process.wait();
    if (exitCode != 0)
        QSKIP("a small disk cannot be mounted here");
    const QStringList report = process.output().trimmed().split(QLatin1Char(' '));
    QCOMPARE(report.size(), 4);
    QCOMPARE(report.at(0), QString::number(static_cast<int>(ErrorCode::NoSpace)));
    QVERIFY(report.at(1).toInt() > 0);
    QCOMPARE(report.at(2), report.at(1));
    QCOMPARE(report.at(3), QStringLiteral("0"));
}

ZAV_REGISTER_ROLE("--fill", fill, QCoreApplication)
ZAV_REGISTER_TEST(database_full_disk, DatabaseFullDiskTest, QCoreApplication)

#include "database_full_disk.moc"

#include "import/ImportRules.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/BatchDirectory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <limits>
#include <memory>

using namespace KOZAV;
using UI::BatchEntryKind;

class PanelRulesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_directory = std::make_unique<QTemporaryDir>(); }
    void cleanup() { m_directory.reset(); }

    void acceptedSuffix_data();
    void acceptedSuffix();
    void generatedJobName_data();
    void generatedJobName();
    void companiesAreTheDirectoriesByNameWithoutCase();
    void companiesOfAnEmptyOrMissingDirectory();
    void jobsAreFoldersAndFilesByNameWithoutCase();
    void jobsOfAnEmptyOrMissingDirectory();
    void entryKind_data();
    void entryKind();
    void entryPathIsTheAbsolutePathAndTheName();
    void entryPathOfARelativeDirectoryIsAbsolute();

private:
    [[nodiscard]] QString path(const QString& name) const
    {
        return m_directory->path() + QLatin1Char('/') + name;
    }
    void make(const QStringList& names) const;

    std::unique_ptr<QTemporaryDir> m_directory;
};

Q_DECLARE_METATYPE(KOZAV::UI::BatchEntryKind)

namespace {

QStringList namesOf(const QFileInfoList& entries)
{
    QStringList names;
    for (const QFileInfo& entry : entries)
        names << entry.fileName();
    return names;
}

} // namespace

/// A name that ends in a slash is a folder.
void PanelRulesTest::make(const QStringList& names) const
{
    for (const QString& name : names) {
        if (name.endsWith(QLatin1Char('/'))) {
            QVERIFY(QDir().mkpath(path(name)));
            continue;
        }
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
}

void PanelRulesTest::acceptedSuffix_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<bool>("accepted");
    for (const char* const suffix : {"zip", "rar", "tgz", "kos"})
        QTest::newRow(suffix) << QString::fromLatin1(suffix) << true;
    for (const char* const suffix :
         {"", "tar", "ZIP", "Rar", "TGZ", "Kos", "zi", "zipx", " zip", "zip ", ".zip", "gz", "7z"})
        QTest::addRow("'%s'", suffix) << QString::fromLatin1(suffix) << false;
}

void PanelRulesTest::acceptedSuffix()
{
    QFETCH(QString, suffix);
    QFETCH(bool, accepted);
    QCOMPARE(Import::isAcceptedSuffix(suffix), accepted);
}

void PanelRulesTest::generatedJobName_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("first") << QByteArray("AB") << 1 << QByteArray("AB000001");
    QTest::newRow("42") << QByteArray("AB") << 42 << QByteArray("AB000042");
    QTest::newRow("six digits") << QByteArray("AB") << 999999 << QByteArray("AB999999");
    QTest::newRow("seven digits") << QByteArray("AB") << 1000000 << QByteArray("AB1000000");
    QTest::newRow("largest") << QByteArray("AB") << std::numeric_limits<int>::max()
                             << QByteArray("AB2147483647");
    QTest::newRow("zero") << QByteArray("AB") << 0 << QByteArray("AB000000");
    QTest::newRow("no code") << QByteArray("") << 7 << QByteArray("000007");
    QTest::newRow("small letters stay") << QByteArray("ab") << 7 << QByteArray("ab000007");
    QTest::newRow("not ASCII") << QByteArray("甲Ö") << 7 << QByteArray("甲Ö000007");
    QTest::newRow("place marker") << QByteArray("%1") << 7 << QByteArray("%1000007");
}

void PanelRulesTest::generatedJobName()
{
    QFETCH(QByteArray, code);
    QFETCH(int, number);
    QFETCH(QByteArray, name);
    QCOMPARE(QByteArray::fromStdString(Import::generatedJobName(code.toStdString(), number)), name);
}

void PanelRulesTest::companiesAreTheDirectoriesByNameWithoutCase()
{
    make({QStringLiteral("b/"), QStringLiteral("A/"), QStringLiteral("C/"), QStringLiteral(".hidden/"),
          QStringLiteral("a2/"), QStringLiteral("file.zip"), QStringLiteral("甲/")});
    QCOMPARE(namesOf(UI::batchCompanies(m_directory->path())),
             (QStringList{QStringLiteral("A"), QStringLiteral("a2"), QStringLiteral("b"), QStringLiteral("C"),
                          QStringLiteral("甲")}));
}

void PanelRulesTest::companiesOfAnEmptyOrMissingDirectory()
{
    QCOMPARE(namesOf(UI::batchCompanies(m_directory->path())), QStringList());
    QCOMPARE(namesOf(UI::batchCompanies(path(QStringLiteral("missing")))), QStringList());
}

void PanelRulesTest::jobsAreFoldersAndFilesByNameWithoutCase()
{
    make({QStringLiteral("b/"), QStringLiteral("A.zip"), QStringLiteral("C/"), QStringLiteral(".hidden/"),
          QStringLiteral(".x.zip"), QStringLiteral("a2.txt"), QStringLiteral("D.kos")});
    QCOMPARE(namesOf(UI::batchJobs(m_directory->path())),
             (QStringList{QStringLiteral("A.zip"), QStringLiteral("a2.txt"), QStringLiteral("b"),
                          QStringLiteral("C"), QStringLiteral("D.kos")}));
}

void PanelRulesTest::jobsOfAnEmptyOrMissingDirectory()
{
    QCOMPARE(namesOf(UI::batchJobs(m_directory->path())), QStringList());
    QCOMPARE(namesOf(UI::batchJobs(path(QStringLiteral("missing")))), QStringList());
}

void PanelRulesTest::entryKind_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<BatchEntryKind>("kind");
    QTest::newRow("folder") << QStringLiteral("job/") << BatchEntryKind::JobFolder;
    QTest::newRow("folder with a suffix") << QStringLiteral("job.zip/") << BatchEntryKind::JobFolder;
    QTest::newRow("zip") << QStringLiteral("job.zip") << BatchEntryKind::JobArchive;
    QTest::newRow("rar") << QStringLiteral("job.rar") << BatchEntryKind::JobArchive;
    QTest::newRow("tgz") << QStringLiteral("a.b.tgz") << BatchEntryKind::JobArchive;
    QTest::newRow("kos") << QStringLiteral("job.kos") << BatchEntryKind::JobArchive;
    QTest::newRow("tar") << QStringLiteral("job.tar") << BatchEntryKind::NotAccepted;
    QTest::newRow("capitals") << QStringLiteral("job.ZIP") << BatchEntryKind::NotAccepted;
    QTest::newRow("no suffix") << QStringLiteral("zip") << BatchEntryKind::NotAccepted;
    QTest::newRow("text") << QStringLiteral("notes.txt") << BatchEntryKind::NotAccepted;
}

void PanelRulesTest::entryKind()
{
    QFETCH(QString, name);
    QFETCH(BatchEntryKind, kind);
    make({name});
    const QFileInfoList entries = UI::batchJobs(m_directory->path());
    QCOMPARE(entries.size(), 1);
    QCOMPARE(UI::batchEntryKind(entries.first()), kind);
}

void PanelRulesTest::entryPathIsTheAbsolutePathAndTheName()
{
    make({QStringLiteral("A/"), QStringLiteral("A/x y.zip")});
    const QFileInfoList companies = UI::batchCompanies(m_directory->path());
    QCOMPARE(UI::batchEntryPath(companies.value(0)), path(QStringLiteral("A")));
    QCOMPARE(UI::batchEntryPath(UI::batchJobs(path(QStringLiteral("A"))).value(0)),
             path(QStringLiteral("A/x y.zip")));
}

void PanelRulesTest::entryPathOfARelativeDirectoryIsAbsolute()
{
    make({QStringLiteral("A/")});
    const QString before = QDir::currentPath();
    QDir::setCurrent(m_directory->path());
    const QString found = UI::batchEntryPath(UI::batchCompanies(QStringLiteral(".")).value(0));
    const QString current = QDir::currentPath();
    QDir::setCurrent(before);
    QCOMPARE(found, current + QStringLiteral("/A"));
}

ZAV_REGISTER_TEST(panel_rules, PanelRulesTest, QCoreApplication)

#include "panel_rules.moc"

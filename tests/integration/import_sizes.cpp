// Imports of real sizes: many jobs, many files in a job, one huge file.

#include "tests/support/FolderTree.h"
#include "tests/support/FreshSite.h"
#include "tests/support/OperatedPanel.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QTest>

#include <algorithm>

using namespace KOZAV;
using namespace KOZAV::Test;

class ImportSizes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tenThousandJobsInACompany();
    void twentyThousandFilesInAJob();
    void fiveGigabytesInAFile();
};

void ImportSizes::tenThousandJobsInACompany()
{
    constexpr int count = 10000;
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    const QString companyPath = site.path(QStringLiteral("batch/甲/"));
    QVERIFY(QDir().mkpath(companyPath));
    for (int i = 0; i < count; ++i) {
        QFile file(companyPath + QStringLiteral("job%1.tgz").arg(i, 5, 10, QLatin1Char('0')));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.write(QByteArray::number(i)) > 0);
    }

    OperatedPanel panel;
    panel.importBatch(site.path(QStringLiteral("batch")));
    QCOMPARE(panel.complaint(), QString());

    const auto jobs = site.jobs();
    QCOMPARE(int(jobs.size()), count);
    QVERIFY(std::all_of(jobs.begin(), jobs.end(), [](const auto& job) { return job.complete; }));
    QCOMPARE(jobs.back().generatedName, QStringLiteral("AB010000"));
    QCOMPARE(site.company(QStringLiteral("AB")).jobCount, count);
    QCOMPARE(site.company(QStringLiteral("AB")).batchNumber, 1);
    QCOMPARE(site.storedNames().size(), count);
    for (const int i : {0, count / 2, count - 1})
        QCOMPARE(contentOf(site.fetch(jobs[std::size_t(i)])), QByteArray::number(i));
}

void ImportSizes::twentyThousandFilesInAJob()
{
    constexpr int count = 20000;
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    const QString folder = site.path(QStringLiteral("batch/甲/job"));
    for (int i = 0; i < count; ++i) {
        const QString directory = folder + QStringLiteral("/symbols/s%1").arg(i / 100);
        if (i % 100 == 0)
            QVERIFY(QDir().mkpath(directory));
        QFile file(directory + QStringLiteral("/features%1").arg(i));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.write(QByteArray("P 0 ").repeated(50) + QByteArray::number(i)) > 0);
    }
    const auto files = filesOf(folder);
    QCOMPARE(files.size(), count);

    OperatedPanel panel;
    panel.importBatch(site.path(QStringLiteral("batch")));
    QCOMPARE(panel.complaint(), QString());

    const auto jobs = site.jobs();
    QCOMPARE(int(jobs.size()), 1);
    const QString unpacked = site.path(QStringLiteral("unpacked"));
    QVERIFY(QDir().mkpath(unpacked));
    run(QStringLiteral("unzip"),
        {QStringLiteral("-q"), site.fetch(jobs.front()), QStringLiteral("-d"), unpacked});
    QCOMPARE(filesOf(unpacked), files);
}

void ImportSizes::fiveGigabytesInAFile()
{
    constexpr qint64 size = 5LL * 1024 * 1024 * 1024;
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    const QString folder = site.path(QStringLiteral("batch/甲/job"));
    QVERIFY(QDir().mkpath(folder));
    QFile file(folder + QStringLiteral("/features"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(size - 4));
    QVERIFY(file.seek(size - 4));
    QCOMPARE(file.write("last"), qint64(4));
    file.close();

    OperatedPanel panel;
    panel.importBatch(site.path(QStringLiteral("batch")));
    QCOMPARE(panel.complaint(), QString());

    const auto jobs = site.jobs();
    QCOMPARE(int(jobs.size()), 1);
    QVERIFY(jobs.front().complete);
    const QString script = QStringLiteral("import sys,zipfile\n"
                                          "info = zipfile.ZipFile(sys.argv[1]).infolist()\n"
                                          "print([(i.filename, i.file_size) for i in info])\n");
    QCOMPARE(run(QStringLiteral("python3"), {QStringLiteral("-c"), script, site.fetch(jobs.front())}),
             "[('features', " + QByteArray::number(size) + ")]\n");
    run(QStringLiteral("unzip"), {QStringLiteral("-tq"), site.fetch(jobs.front())});
}

ZAV_REGISTER_TEST(import_sizes, ImportSizes, QApplication)

#include "import_sizes.moc"

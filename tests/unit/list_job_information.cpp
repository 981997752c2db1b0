#include "tests/support/TestProgram.h"
#include "ui/import_list/JobInformation.h"

#include <QApplication>
#include <QTest>

#include <limits>

using KOZAV::UI::Import_Info;
using KOZAV::UI::jobInformation;

class ListJobInformationTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void text_data();
    void text();
    void fileNameWithoutADotIsKeptWhole_data();
    void fileNameWithoutADotIsKeptWhole();
    void otherFieldsDoNotMatter();
    void recordIsNotChanged();
};

namespace {

Import_Info info(const QString& source, const QString& file)
{
    return {"flow", "AB000042", source.toStdString(), "company", file};
}

} // namespace

void ListJobInformationTest::text_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("job");
    QTest::addColumn<QString>("expected");
    const auto add = [](const char* row, int mode, const char* source, const char* file, const char* job,
                        const char* expected) {
        QTest::newRow(row) << mode << QString::fromUtf8(source) << QString::fromUtf8(file)
                           << QString::fromUtf8(job) << QString::fromUtf8(expected);
    };
    const int largest = std::numeric_limits<int>::max();
    const int smallest = std::numeric_limits<int>::min();

    add("plain, no mode", -1, "board", "", "AB000042", "board|AB000042");
    add("plain, mode 0", 0, "board", "", "AB000042", "board|AB000042");
    add("plain, smallest mode", smallest, "board", "", "AB000042", "board|AB000042");
    add("plain, dots are kept", -1, "board.v1.tgz", "", "AB000042", "board.v1.tgz|AB000042");
    add("plain, no source", -1, "", "", "AB000042", "|AB000042");
    add("plain, UTF-8", 0, "板\U0001F600", "", "料号", "板\U0001F600|料号");
    add("plain, bar in the source", -1, "a|b", "", "AB000042", "a|b|AB000042");
    add("plain, case is kept", -1, "BoArd", "", "aB000042", "BoArd|aB000042");

    add("web, no mode", -1, "board", "up.tgz", "AB000042", "up|AB000042|ISWEB");
    add("web, mode 0", 0, "board", "up.tgz", "AB000042", "up|AB000042|ISWEB");
    add("web, smallest mode", smallest, "board", "up.tgz", "AB000042", "up|AB000042|ISWEB");
    add("web, several dots", -1, "board", "up.v1.tar.gz", "AB000042", "up.v1.tar|AB000042|ISWEB");
    add("web, no dot", -1, "board", "upload", "AB000042", "upload|AB000042|ISWEB");
    add("web, leading dot", -1, "board", ".kos", "AB000042", "|AB000042|ISWEB");
    add("web, last character a dot", -1, "board", "up.", "AB000042", "up|AB000042|ISWEB");
    add("web, two dots at the end", -1, "board", "up..", "AB000042", "up.|AB000042|ISWEB");
    add("web, only a dot", -1, "board", ".", "AB000042", "|AB000042|ISWEB");
    add("web, dot in a folder", -1, "board", "dir.v1/up", "AB000042", "dir|AB000042|ISWEB");
    add("web, blanks", -1, "board", " up .zip", "AB000042", " up |AB000042|ISWEB");
    add("web, only a blank", -1, "board", " ", "AB000042", " |AB000042|ISWEB");
    add("web, UTF-8", 0, "board", "上传\U0001F600.zip", "料号", "上传\U0001F600|料号|ISWEB");
    add("web, Chinese full stop", -1, "board", "上传。zip", "AB000042", "上传。zip|AB000042|ISWEB");
    add("web, full-width dot", -1, "board", "上传．zip", "AB000042", "上传．zip|AB000042|ISWEB");
    add("web, dot in the job name", -1, "board", "up.zip", "AB.42", "up|AB.42|ISWEB");

    add("robot, mode 1", 1, "board", "done.tgz", "AB000042", "done|AB000042|ROBOT");
    add("robot, mode 2", 2, "board", "done.tgz", "AB000042", "done|AB000042|ROBOT");
    add("robot, mode 5", 5, "board", "done.tgz", "AB000042", "done|AB000042|ROBOT");
    add("robot, largest mode", largest, "board", "done.tgz", "AB000042", "done|AB000042|ROBOT");
    add("robot, no file name", 1, "board", "", "AB000042", "|AB000042|ROBOT");
    add("robot, no dot", 1, "board", "done", "AB000042", "done|AB000042|ROBOT");
    add("robot, several dots", 5, "board", "a.b.c", "AB000042", "a.b|AB000042|ROBOT");
    add("robot, leading dot", 5, "board", ".kos", "AB000042", "|AB000042|ROBOT");
    add("no job name", -1, "board", "", "", "board|");
}

void ListJobInformationTest::text()
{
    QFETCH(int, mode);
    QFETCH(QString, source);
    QFETCH(QString, file);
    QFETCH(QString, job);
    QFETCH(QString, expected);
    QCOMPARE(jobInformation(mode, info(source, file), job), expected);
}

void ListJobInformationTest::fileNameWithoutADotIsKeptWhole_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("expected");
    QTest::newRow("web") << 0 << QStringLiteral("file-without-suffix|AB000042|ISWEB");
    QTest::newRow("robot") << 1 << QStringLiteral("file-without-suffix|AB000042|ROBOT");
}

void ListJobInformationTest::fileNameWithoutADotIsKeptWhole()
{
    QFETCH(int, mode);
    QFETCH(QString, expected);
    const Import_Info record = info(QStringLiteral("board"), QStringLiteral("file-without-suffix"));
    QCOMPARE(jobInformation(mode, record, QStringLiteral("AB000042")), expected);
}

void ListJobInformationTest::otherFieldsDoNotMatter()
{
    const Import_Info some{"flow", "job", "source", "company", QString()};
    const Import_Info others{"flow2", "job2", "source", "company2", QString()};
    QCOMPARE(jobInformation(-1, some, QStringLiteral("x")), jobInformation(-1, others, QStringLiteral("x")));
}

void ListJobInformationTest::recordIsNotChanged()
{
    const Import_Info record{"flow", "job", "source", "company", QStringLiteral("up.zip")};
    static_cast<void>(jobInformation(1, record, QStringLiteral("x")));
    QCOMPARE(record.fileName, QStringLiteral("up.zip"));
    QCOMPARE(jobInformation(1, record, QStringLiteral("x")), QStringLiteral("up|x|ROBOT"));
}

ZAV_REGISTER_TEST(list_job_information, ListJobInformationTest, QApplication)

#include "list_job_information.moc"

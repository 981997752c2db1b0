#include "DocumentStoreContract.h"

#include "WeirdTexts.h"
#include "services/common/Common.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <tuple>

namespace KOZAV::Test {

namespace {

int put(const std::string& localPath, const std::string& name)
{
    const DataLib::Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    return Common::MongodbPut(config.mongoDbName, config.mongoFsName, localPath, name);
}

int get(const QString& localPath, const std::string& name)
{
    const DataLib::Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    return Common::MongodbGet(config.mongoDbName, config.mongoFsName,
                              QFile::encodeName(localPath).toStdString(), name);
}

QByteArray content(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

/// Bytes in which no piece looks like another.
QByteArray varied(int size)
{
    QByteArray bytes(size, '\0');
    quint32 state = 2463534242U;
    for (char& byte : bytes) {
        state ^= state << 13U;
        state ^= state >> 17U;
        state ^= state << 5U;
        byte = static_cast<char>(state & 0xffU);
    }
    return bytes;
}

/// Makes a folder, FIFO or device at path, or a link to "../linked". @return whether that could be done, or
/// errno
bool makeOfKind(const QString& kind, const QString& path)
{
    constexpr unsigned memoryDevices = 1;
    constexpr unsigned nullDevice = 3;
    const QByteArray name = QFile::encodeName(path);
    if (kind == QLatin1String("folder"))
        return ::mkdir(name.constData(), S_IRWXU) == 0;
    if (kind == QLatin1String("FIFO"))
        return ::mkfifo(name.constData(), S_IRUSR | S_IWUSR) == 0;
    if (kind == QLatin1String("device"))
        return ::mknod(name.constData(), S_IFCHR | S_IRUSR | S_IWUSR, makedev(memoryDevices, nullDevice)) ==
               0;
    return ::symlink("../linked", name.constData()) == 0;
}

/// What stays the same of what lies at path as long as nothing else is put there.
std::tuple<ino_t, mode_t, dev_t> identityOf(const QString& path)
{
    struct stat found = {};
    if (::lstat(QFile::encodeName(path).constData(), &found) != 0)
        qFatal("%s is gone", qPrintable(path));
    return {found.st_ino, found.st_mode, found.st_rdev};
}

} // namespace

void DocumentStoreContract::storedFileComesBackEqual_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {0, 1, 4095, 4096, 261119, 261120, 261121, 522240, 3000000})
        QTest::newRow(QByteArray::number(size).constData()) << size;
}

void DocumentStoreContract::storedFileComesBackEqual()
{
    QFETCH(const int, size);
    const QByteArray bytes = varied(size);
    QCOMPARE(put(m_site->writeFile(QStringLiteral("source"), bytes), "name.tgz"), 0);
    const QString target = m_site->path(QStringLiteral("target"));
    QCOMPARE(get(target, "name.tgz"), 0);
    QVERIFY(content(target) == bytes);
}

void DocumentStoreContract::sourceFileStays()
{
    const std::string source = m_site->writeFile(QStringLiteral("source"), "content");
    QCOMPARE(put(source, "name.tgz"), 0);
    QCOMPARE(content(m_site->path(QStringLiteral("source"))), QByteArray("content"));
}

void DocumentStoreContract::sameContentUnderATakenNameIsASuccess()
{
    QCOMPARE(put(m_site->writeFile(QStringLiteral("one"), "content"), "name.tgz"), 0);
    QCOMPARE(put(m_site->writeFile(QStringLiteral("two"), "content"), "name.tgz"), 0);
    QCOMPARE(ContractSite::storedNames().size(), size_t{1});
}

void DocumentStoreContract::otherContentUnderATakenNameIsRefused()
{
    QCOMPARE(put(m_site->writeFile(QStringLiteral("one"), "content"), "name.tgz"), 0);
    for (const char* other : {"CONTENT", "conten", "content ", ""}) {
        ContractSite::expectFailure("MongodbPut", "");
        QVERIFY(put(m_site->writeFile(QStringLiteral("two"), other), "name.tgz") != 0);
    }
    const QString target = m_site->path(QStringLiteral("target"));
    QCOMPARE(get(target, "name.tgz"), 0);
    QCOMPARE(content(target), QByteArray("content"));
    QCOMPARE(ContractSite::storedNames().size(), size_t{1});
}

void DocumentStoreContract::missingSourceIsRefused()
{
    ContractSite::expectFailure("MongodbPut", "");
    QVERIFY(put(m_site->path(QStringLiteral("nothing")).toStdString(), "name.tgz") != 0);
    QVERIFY(ContractSite::storedNames().empty());
}

void DocumentStoreContract::folderAsSourceIsRefused()
{
    ContractSite::expectFailure("MongodbPut", "");
    QVERIFY(put(m_site->folder().toStdString(), "name.tgz") != 0);
    QVERIFY(ContractSite::storedNames().empty());
}

void DocumentStoreContract::unfitNamesAreRefused_data()
{
    QTest::addColumn<std::string>("name");
    const auto row = [](const char* what, const std::string& name) { QTest::newRow(what) << name; };
    row("empty", "");
    row("dot", ".");
    row("two dots", "..");
    row("path", "a/b");
    row("absolute path", "/tmp/zav-contract");
    row("way out", "../outside");
    row("NUL", std::string("a\0b", 3));
}

void DocumentStoreContract::unfitNamesAreRefused()
{
    QFETCH(const std::string, name);
    const std::string source = m_site->writeFile(QStringLiteral("source"), "content");
    const QString target = QString::fromStdString(m_site->writeFile(QStringLiteral("target"), "before"));
    ContractSite::expectFailure("MongodbPut", "");
    QVERIFY(put(source, name) != 0);
    ContractSite::expectFailure("MongodbGet", "");
    QVERIFY(get(target, name) != 0);
    const DataLib::Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    ContractSite::expectFailure("MongodbPut", "");
    QVERIFY(Common::MongodbPut(name, config.mongoFsName, source, "name") != 0);
    ContractSite::expectFailure("MongodbPut", "");
    QVERIFY(Common::MongodbPut(config.mongoDbName, name, source, "name") != 0);
    QCOMPARE(content(target), QByteArray("before"));
    QVERIFY(ContractSite::storedNames().empty());
}

void DocumentStoreContract::locationsAreApart()
{
    const DataLib::Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    const std::string source = m_site->writeFile(QStringLiteral("source"), "content");
    QCOMPARE(Common::MongodbPut("otherdb", config.mongoFsName, source, "name.tgz"), 0);
    QCOMPARE(Common::MongodbPut(config.mongoDbName, "otherfs", source, "name.tgz"), 0);
    QVERIFY(ContractSite::storedNames().empty());
    ContractSite::expectFailure("MongodbGet", "");
    QVERIFY(get(m_site->path(QStringLiteral("target")), "name.tgz") != 0);
    QCOMPARE(Common::MongodbGet("otherdb", config.mongoFsName,
                                m_site->path(QStringLiteral("target")).toStdString(), "name.tgz"),
             0);
}

void DocumentStoreContract::missingFileLeavesTheTargetAsItWas()
{
    const QString present = QString::fromStdString(m_site->writeFile(QStringLiteral("target"), "before"));
    const QString absent = m_site->path(QStringLiteral("absent"));
    const QStringList files = QDir(m_site->folder()).entryList(QDir::Files | QDir::Hidden);
    for (const QString& target : {present, absent}) {
        ContractSite::expectFailure("MongodbGet", "");
        QVERIFY(get(target, "nothing.tgz") != 0);
    }
    QCOMPARE(content(present), QByteArray("before"));
    QCOMPARE(QDir(m_site->folder()).entryList(QDir::Files | QDir::Hidden), files);
}

void DocumentStoreContract::fetchingReplacesTheTarget()
{
    QCOMPARE(put(m_site->writeFile(QStringLiteral("source"), "short"), "name.tgz"), 0);
    const QString target =
        QString::fromStdString(m_site->writeFile(QStringLiteral("target"), "much longer before"));
    QCOMPARE(get(target, "name.tgz"), 0);
    QCOMPARE(content(target), QByteArray("short"));
}

void DocumentStoreContract::fetchingReplacesRegularFilesOnly_data()
{
    QTest::addColumn<QString>("kind");
    for (const char* kind : {"folder", "link to a file", "dangling link", "FIFO", "device"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

void DocumentStoreContract::fetchingReplacesRegularFilesOnly()
{
    QFETCH(const QString, kind);
    QCOMPARE(put(m_site->writeFile(QStringLiteral("source"), "content"), "name.tgz"), 0);
    const QDir targets(m_site->path(QStringLiteral("targets")));
    QVERIFY(QDir().mkdir(targets.path()));
    const QString target = targets.filePath(QStringLiteral("target"));
    if (kind == QLatin1String("link to a file"))
        m_site->writeFile(QStringLiteral("linked"), "linked");
    if (!makeOfKind(kind, target)) {
        QCOMPARE(errno, EPERM);
        QSKIP("a device cannot be made by this user here");
    }
    const QString linked = m_site->path(QStringLiteral("linked"));
    const bool isLinked = QFile::exists(linked);
    const auto before = identityOf(target);
    QVERIFY(get(target, "name.tgz") != 0);
    QVERIFY(identityOf(target) == before);
    QCOMPARE(targets.entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList(QStringLiteral("target")));
    QCOMPARE(QFile::exists(linked), isLinked);
    if (isLinked)
        QCOMPARE(content(linked), QByteArray("linked"));
}

void DocumentStoreContract::unwritableTargetIsAFailure()
{
    QCOMPARE(put(m_site->writeFile(QStringLiteral("source"), "content"), "name.tgz"), 0);
    ContractSite::expectFailure("MongodbGet", "");
    QVERIFY(get(m_site->path(QStringLiteral("no/such/folder/target")), "name.tgz") != 0);
    ContractSite::expectFailure("MongodbGet", "");
    QVERIFY(get(m_site->folder(), "name.tgz") != 0);
}

void DocumentStoreContract::namesAreKeptAsTheyAre_data()
{
    QTest::addColumn<std::string>("name");
    const auto row = [](const char* what, const std::string& name) { QTest::newRow(what) << name; };
    row("quotes", "O'Neil \"and\" `sons`.tgz");
    row("statement", "'; DROP TABLE company;--.tgz");
    row("wildcards", "100%_?*[a].tgz");
    row("Chinese", "\xE6\x96\x99\xE5\x8F\xB7.zip");
    row("four-byte characters", "\xF0\x9F\x93\xA6.tgz");
    row("newline", "a\nb.tgz");
    row("blanks", "  a  ");
    row("only a suffix", ".zip");
    row("dots", "...");
    row("backslash", "a\\b");
    row("case", "NAME.TGZ");
    row("200 bytes", std::string(200, 'n'));
}

void DocumentStoreContract::namesAreKeptAsTheyAre()
{
    QFETCH(const std::string, name);
    QCOMPARE(put(m_site->writeFile(QStringLiteral("other"), "other"), "name.tgz"), 0);
    QCOMPARE(put(m_site->writeFile(QStringLiteral("source"), "content"), name), 0);
    const std::vector<std::string> names = ContractSite::storedNames();
    QCOMPARE(names.size(), size_t{2});
    QVERIFY(names.at(0) == name || names.at(1) == name);
    const QString target = m_site->path(QStringLiteral("target"));
    QCOMPARE(get(target, name), 0);
    QCOMPARE(content(target), QByteArray("content"));
}

} // namespace KOZAV::Test

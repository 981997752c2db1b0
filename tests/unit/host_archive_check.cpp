// Whether archives are there to their end.

#include "host/core/ArchiveCheck.h"
#include "host/core/ReadAlong.h"
#include "tests/support/FolderTree.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV::Host;
using namespace KOZAV::Test;

using Kind = ArchiveFlaw::Kind;

Q_DECLARE_METATYPE(ArchiveFlaw::Kind)

namespace {

/// Writes whole archives into the folder that is its argument. Nothing on Debian writes rar archives: these
/// are put together byte by byte, one file each that is not compressed.
const char* const writer = R"(
import gzip, io, os, struct, sys, tarfile, zipfile, zlib
folder = sys.argv[1]
data = os.urandom(300000)
def save(name, content):
    with open(folder + '/' + name, 'wb') as f:
        f.write(content)
def zipped(comment=b'', method=zipfile.ZIP_DEFLATED):
    out = io.BytesIO()
    with zipfile.ZipFile(out, 'w', method) as z:
        for i in range(3):
            z.writestr('job/%d' % i, data[:1000 * (i + 1)])
        z.comment = comment
    return out.getvalue()
save('zip', zipped())
save('zip-commented', zipped(b'a comment that holds PK\5\6 ' * 50))
save('zip-stored', zipped(method=zipfile.ZIP_STORED))
save('zip-behind-a-program', b'#!/bin/sh\nexit 0\n' + zipped())
with zipfile.ZipFile(folder + '/zip-empty', 'w'):
    pass
zipfile.ZIP64_LIMIT, zipfile.ZIP_FILECOUNT_LIMIT = 100, 1
save('zip64', zipped())
out = io.BytesIO()
with tarfile.open(fileobj=out, mode='w:gz') as t:
    info = tarfile.TarInfo('job/data')
    info.size = len(data)
    t.addfile(info, io.BytesIO(data))
save('tgz', out.getvalue())
save('tgz-two-members', out.getvalue() + gzip.compress(b'more'))
save('tgz-on-tape', out.getvalue() + bytes(10240))
def vint(n):
    b = bytearray()
    while True:
        b.append((n & 127) | (128 if n > 127 else 0))
        n >>= 7
        if not n:
            return bytes(b)
def block(body):
    sized = vint(len(body)) + body
    return struct.pack('<I', zlib.crc32(sized)) + sized
file5 = (vint(2) + vint(2) + vint(5000) + vint(4) + vint(5000) + vint(0o644)
         + struct.pack('<I', zlib.crc32(data[:5000])) + vint(0) + vint(1) + vint(4) + b'data')
save('rar5', b'Rar!\x1a\7\1\0' + block(vint(1) + vint(0) + vint(0)) + block(file5) + data[:5000]
     + block(vint(5) + vint(0) + vint(0)))
def block4(kind, flags, rest):
    sized = struct.pack('<BHH', kind, flags, 7 + len(rest)) + rest
    return struct.pack('<H', zlib.crc32(sized) & 0xffff) + sized
file4 = struct.pack('<IIBIIBBHI', 5000, 5000, 3, zlib.crc32(data[:5000]), 0x50000000, 20, 0x30, 4, 0o100644) + b'data'
save('rar4', b'Rar!\x1a\7\0' + block4(0x73, 0, bytes(6)) + block4(0x74, 0x8000, file4) + data[:5000]
     + block4(0x7b, 0x4000, b''))
)";

ArchiveFlaw check(const QString& path)
{
    const std::atomic<bool> never{false};
    return checkArchive(path, never);
}

} // namespace

class HostArchiveCheck final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void wholeArchives_data();
    void wholeArchives();
    void cutArchives_data();
    void cutArchives();
    void damagedArchives_data();
    void damagedArchives();
    void whatIsNoArchive();
    void anyBytesEndTheCheck();
    void cancelledInTheMiddle();
    void archivesAreReadInTheirOrder();

private:
    void addKinds() const;
    [[nodiscard]] QByteArray whole(const QString& name) const;
    [[nodiscard]] QString changed(const QByteArray& content) const;

    QTemporaryDir m_folder;
};

void HostArchiveCheck::initTestCase()
{
    run(QStringLiteral("python3"), {QStringLiteral("-c"), QLatin1String(writer), m_folder.path()});
}

void HostArchiveCheck::addKinds() const
{
    QTest::addColumn<QString>("name");
    for (const char* name : {"zip", "zip-commented", "zip-stored", "zip-behind-a-program", "zip-empty",
                             "zip64", "tgz", "tgz-two-members", "tgz-on-tape", "rar5", "rar4"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

QByteArray HostArchiveCheck::whole(const QString& name) const
{
    QFile file(m_folder.filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A file of this content.
QString HostArchiveCheck::changed(const QByteArray& content) const
{
    QFile file(m_folder.filePath(QStringLiteral("changed")));
    file.remove(); // over an old file some file systems write through
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s", qUtf8Printable(file.errorString()));
    return file.fileName();
}

void HostArchiveCheck::wholeArchives_data()
{
    addKinds();
}

void HostArchiveCheck::wholeArchives()
{
    QFETCH(QString, name);
    const ArchiveFlaw flaw = check(m_folder.filePath(name));
    QVERIFY2(flaw.kind == Kind::None, qPrintable(flaw.text));
}

void HostArchiveCheck::cutArchives_data()
{
    addKinds();
}

/// Cut off at many places, and, as programs do that reserve the space first, with zeros from there on.
void HostArchiveCheck::cutArchives()
{
    QFETCH(QString, name);
    const QByteArray content = whole(name);
    // What is cut off of the padding of a tape, or of a second member, leaves a whole archive.
    const bool isPadded = name == QLatin1String("tgz-on-tape");
    const int end = isPadded ? content.size() - 10240 : content.size();
    for (int cut = 1; cut <= 40; ++cut) {
        const int kept = end - std::max(1, end * cut / 41);
        const ArchiveFlaw flaw = check(changed(content.left(kept)));
        QVERIFY2(flaw.kind == Kind::CutShort || flaw.kind == Kind::Unknown,
                 qPrintable(QStringLiteral("%1 of %2: %3").arg(kept).arg(end).arg(flaw.text)));
        const ArchiveFlaw filled = check(changed(content.left(kept) + QByteArray(end - kept, '\0')));
        // Nobody knows what a comment says, and of a rar archive the data is not read.
        const bool isUnseen = name.startsWith(QLatin1String("rar")) || name == QLatin1String("zip-commented");
        const bool isSame = content.mid(kept, end - kept).count('\0') == end - kept;
        QVERIFY2(isSame || isUnseen || filled.kind != Kind::None,
                 qPrintable(QStringLiteral("%1 of %2, then zeros").arg(kept).arg(end)));
    }
}

void HostArchiveCheck::damagedArchives_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("fromEnd");
    QTest::addColumn<Kind>("kind");
    QTest::newRow("gzip's length") << QStringLiteral("tgz") << 1 << Kind::Damaged;
    QTest::newRow("gzip's sum") << QStringLiteral("tgz") << 8 << Kind::Damaged;
    QTest::newRow("gzip's data") << QStringLiteral("tgz") << 1000 << Kind::Damaged;
    QTest::newRow("place of the directory") << QStringLiteral("zip") << 4 << Kind::CutShort;
    QTest::newRow("length of the directory") << QStringLiteral("zip") << 9 << Kind::CutShort;
    QTest::newRow("number of entries") << QStringLiteral("zip") << 12 << Kind::CutShort;
    QTest::newRow("place of the large directory") << QStringLiteral("zip64") << 22 + 20 + 4 << Kind::CutShort;
}

void HostArchiveCheck::damagedArchives()
{
    QFETCH(QString, name);
    QFETCH(int, fromEnd);
    QFETCH(Kind, kind);
    QByteArray content = whole(name);
    content[content.size() - fromEnd] = char(content.at(content.size() - fromEnd) ^ 0x55);
    const ArchiveFlaw flaw = check(changed(content));
    QVERIFY2(flaw.kind == kind, qPrintable(flaw.text));
    QVERIFY(!flaw.text.isEmpty());
}

void HostArchiveCheck::whatIsNoArchive()
{
    QCOMPARE(check(changed({})).kind, Kind::CutShort);
    QCOMPARE(check(changed("text")).kind, Kind::Unknown);
    QCOMPARE(check(changed(QByteArray(100000, '\0'))).kind, Kind::Unknown);
    QCOMPARE(check(m_folder.filePath(QStringLiteral("absent"))).kind, Kind::Gone);
    QCOMPARE(check(m_folder.path()).kind, Kind::Damaged);
}

/// Numbers of all sizes at all places of the small archives: no look beyond the file, and an end.
void HostArchiveCheck::anyBytesEndTheCheck()
{
    for (const char* name : {"zip-empty", "zip", "zip64", "rar5", "rar4"}) {
        const QByteArray content = whole(QString::fromLatin1(name));
        const int first = std::max(0, content.size() - 400);
        for (int at = first; at < content.size(); ++at) {
            QByteArray hostile = content;
            hostile.replace(at, std::min(4, hostile.size() - at),
                            QByteArray(std::min(4, hostile.size() - at), '\xff'));
            check(changed(hostile));
        }
    }
    QCOMPARE(check(changed("PK\5\6" + QByteArray(18, '\xff'))).kind, Kind::CutShort);
}

void HostArchiveCheck::cancelledInTheMiddle()
{
    const std::atomic<bool> cancelled{true};
    const QString cut = changed(whole(QStringLiteral("tgz")).left(1000));
    QCOMPARE(checkArchive(cut, cancelled).kind, Kind::None);
}

void HostArchiveCheck::archivesAreReadInTheirOrder()
{
    const QString cut = changed(whole(QStringLiteral("tgz")).left(1000));
    ReadAlong reader;
    for (int round = 0; round < 50; ++round) {
        reader.add({QStringLiteral("whole"), m_folder.filePath(QStringLiteral("tgz")), cut});
        reader.add({QStringLiteral("cut"), m_folder.filePath(QStringLiteral("absent")), cut});
    }
    reader.finish();
    const auto read = reader.takeRead();
    QCOMPARE(int(read.size()), 100);
    for (std::size_t i = 0; i < read.size(); ++i) {
        QCOMPARE(read[i].archive.storedName, i % 2 == 0 ? QStringLiteral("whole") : QStringLiteral("cut"));
        QCOMPARE(read[i].flaw.kind, i % 2 == 0 ? Kind::None : Kind::CutShort);
    }
    reader.add({QStringLiteral("left behind"), m_folder.filePath(QStringLiteral("tgz")), {}});
}

ZAV_REGISTER_TEST(host_archive_check, HostArchiveCheck, QCoreApplication)

#include "host_archive_check.moc"

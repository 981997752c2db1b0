#include "backend/pack/FolderListing.h"
#include "tests/support/PackBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <unistd.h>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

using Link = QPair<const char*, const char*>; // where it is, where it leads

class PackLinksTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void arePackedWhereTheyStayInside_data();
    void arePackedWhereTheyStayInside();
    void areNeverFollowed();
};

Q_DECLARE_METATYPE(QList<Link>)

void PackLinksTest::arePackedWhereTheyStayInside_data()
{
    QTest::addColumn<QList<Link>>("links");
    QTest::addColumn<QString>("refused"); // name of the link that is refused, if any
    const QString none;
    QTest::newRow("beside") << QList<Link>{{"link", "file"}} << none;
    QTest::newRow("deeper") << QList<Link>{{"link", "sub/deep/file"}} << none;
    QTest::newRow("up and down") << QList<Link>{{"sub/deep/link", "../../file"}} << none;
    QTest::newRow("to the folder itself") << QList<Link>{{"sub/up", ".."}} << none;
    QTest::newRow("to nothing, inside") << QList<Link>{{"link", "sub/missing"}} << none;
    QTest::newRow("over another link") << QList<Link>{{"a", "sub/deep"}, {"b", "a/file"}} << none;
    QTest::newRow("absolute") << QList<Link>{{"link", "/etc/passwd"}} << QStringLiteral("link");
    QTest::newRow("to the root") << QList<Link>{{"link", "/"}} << QStringLiteral("link");
    QTest::newRow("out") << QList<Link>{{"link", ".."}} << QStringLiteral("link");
    QTest::newRow("out and back in") << QList<Link>{{"link", "../job/file"}} << QStringLiteral("link");
    QTest::newRow("out from below") << QList<Link>{{"sub/link", "../../x"}} << QStringLiteral("link");
    QTest::newRow("to itself") << QList<Link>{{"link", "link"}} << QStringLiteral("link");
    QTest::newRow("in a circle") << QList<Link>{{"a", "b"}, {"b", "a"}} << QStringLiteral("a");
    // By its text the second link stays in sub, but its first part leads up to the folder.
    QTest::newRow("out over another link")
        << QList<Link>{{"sub/deep/up", "../.."}, {"zlink", "sub/deep/up/../x"}} << QStringLiteral("zlink");
}

void PackLinksTest::arePackedWhereTheyStayInside()
{
    QFETCH(const QList<Link>, links);
    QFETCH(const QString, refused);
    PackBox box;
    writeFile(box.in("file"), "content");
    writeFile(box.in("sub/deep/file"), "content");
    for (const Link& link : links)
        QCOMPARE(::symlink(link.second, box.in(link.first).c_str()), 0);
    const auto packed = box.pack();
    if (refused.isNull()) {
        QVERIFY2(packed.ok(), qPrintable(packed.message()));
        QCOMPARE(entriesByPython(box.archive()).size(), 4 + links.size());
        return;
    }
    QCOMPARE(packed.code(), ErrorCode::InvalidArgument);
    QVERIFY2(packed.message().contains(QLatin1Char('/') + refused + QStringLiteral(": the symbolic link")),
             qPrintable(packed.message()));
    QVERIFY(namesOf(box.archiveFolder()).isEmpty());
}

void PackLinksTest::areNeverFollowed()
{
    PackBox box;
    writeFile(box.in("sub/file"), "content");
    QCOMPARE(::symlink("sub", box.in("link").c_str()), 0);
    const auto listing = listFolder(box.folder());
    QVERIFY(listing.ok());
    QCOMPARE(listing->entries.size(), size_t(3));
    QCOMPARE(listing->entries.at(0).name, std::string("link"));
    QCOMPARE(listing->entries.at(0).linkTarget, std::string("sub"));
}

ZAV_REGISTER_TEST(pack_links, PackLinksTest, QCoreApplication)

#include "pack_links.moc"

// What the client foresees of an import, without a window: in pieces, on a thread of its own, of batches and
// of single sources.

#include "backend/HostInterface.h"
#include "host/core/Foresight.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <memory>

#include <sys/stat.h>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

class HostForesightTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void theWalkComesFirst();
    void aCancelledLookHasNoLastPiece();
    void singleSources_data();
    void singleSources();
    void whatTheSiteCannotBeAskedStaysOpen();
    void needsAreCountedForWhatIsStored();
    void looksOnAThreadOfItsOwn();
    void aNewerChoiceEndsTheOlder();

private:
    void write(const char* name, const QByteArray& content) const { writeFile(local(path(name)), content); }
    [[nodiscard]] QString path(const char* name) const { return m_site->path(QString::fromUtf8(name)); }
    [[nodiscard]] PanelSource batch(const char* name = "batch") const
    {
        return {PanelSource::Kind::Batch, path(name), QString()};
    }

    std::unique_ptr<FreshSite> m_site;
};

namespace {

/// All pieces of a look, and what they make together.
struct Looked
{
    std::vector<ForesightPiece> pieces;
    Foreseen foreseen;
};

Looked lookAt(const PanelSource& source)
{
    Looked looked;
    const std::atomic<bool> cancelled = false;
    foresee(source, 0, cancelled, [&looked](ForesightPiece&& piece) {
        piece.addTo(looked.foreseen);
        looked.pieces.push_back(std::move(piece));
    });
    return looked;
}

/// "entry outlook code, codes of the warnings".
QStringList entriesOf(const Foreseen& foreseen)
{
    QStringList texts;
    for (const ForeseenEntry& entry : foreseen.entries) {
        QStringList parts = {entry.entry, outlookName(entry.outlook), entry.reasonCode};
        for (const Remark& warning : entry.warnings)
            parts << warning.code;
        parts.removeAll(QString());
        texts << parts.join(QLatin1Char(' '));
    }
    return texts;
}

QStringList codesOf(const std::vector<Remark>& remarks)
{
    QStringList codes;
    for (const Remark& remark : remarks)
        codes << remark.code;
    return codes;
}

} // namespace

void HostForesightTest::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
}

void HostForesightTest::cleanup()
{
    m_site.reset();
}

void HostForesightTest::theWalkComesFirst()
{
    write("batch/甲/a.zip", emptyZip("a"));
    write("batch/甲/b.zip", emptyZip("b").chopped(1));
    write("batch/甲/notes.txt", "notes");
    write("batch/丙/c.zip", emptyZip("c"));
    const Looked looked = lookAt(batch());
    const ForesightPiece& first = looked.pieces.front();
    QVERIFY(first.walk && !first.isLast);
    QCOMPARE(entriesOf(*first.walk), QStringList({QStringLiteral("c.zip open"), QStringLiteral("a.zip open"),
                                                  QStringLiteral("b.zip open"),
                                                  QStringLiteral("notes.txt not-imported suffix-refused")}));
    QCOMPARE(int(first.walk->companies.size()), 2);
    QCOMPARE(first.walk->companies[0].name, QStringLiteral("丙"));
    QCOMPARE(first.walk->companies[0].isKnown, std::optional(false));
    QCOMPARE(first.walk->companies[1].isKnown, std::optional(true));
    QCOMPARE(first.walk->companies[1].entries, 3);
    QVERIFY(std::none_of(looked.pieces.begin() + 1, looked.pieces.end(),
                         [](const ForesightPiece& piece) { return piece.walk.has_value(); }));
    QVERIFY(looked.pieces.back().isLast);
    QCOMPARE(
        entriesOf(looked.foreseen),
        QStringList({QStringLiteral("c.zip not-imported company-unknown"), QStringLiteral("a.zip imported"),
                     QStringLiteral("b.zip imported archive-cut-short"),
                     QStringLiteral("notes.txt not-imported suffix-refused")}));
    QCOMPARE(looked.foreseen.warned(), 1);
    QVERIFY(!looked.foreseen.allImported());
}

void HostForesightTest::aCancelledLookHasNoLastPiece()
{
    write("batch/甲/a.zip", emptyZip("a"));
    std::atomic<bool> cancelled = false;
    int pieces = 0;
    foresee(batch(), 1, cancelled, [&](ForesightPiece&& piece) {
        ++pieces;
        QVERIFY(!piece.isLast);
        cancelled = true;
    });
    QCOMPARE(pieces, 1);
}

void HostForesightTest::singleSources_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("company");
    QTest::addColumn<QString>("entry");
    const QString own = QStringLiteral("甲");
    QTest::newRow("archive") << QStringLiteral("a.zip") << own << QStringLiteral("a.zip imported");
    QTest::newRow("for which no service is called")
        << QStringLiteral("a.tar") << own << QStringLiteral("a.tar not-imported no-service");
    QTest::newRow("unknown company") << QStringLiteral("a.zip") << QStringLiteral("丙")
                                     << QStringLiteral("a.zip not-imported company-unknown");
    QTest::newRow("that is gone") << QStringLiteral("gone.zip") << own
                                  << QStringLiteral("gone.zip not-imported source-missing");
    QTest::newRow("pipe") << QStringLiteral("pipe.zip") << own
                          << QStringLiteral("pipe.zip not-imported source-unreadable");
    // The single import leaves manifests where they are, and packs what lies there.
    QTest::newRow("folder") << QStringLiteral("folder") << own << QStringLiteral("folder imported");
    QTest::newRow("folder with a pipe for a manifest")
        << QStringLiteral("odd") << own << QStringLiteral("odd not-imported invalid-value");
}

void HostForesightTest::singleSources()
{
    QFETCH(QString, name);
    QFETCH(QString, company);
    QFETCH(QString, entry);
    write("a.zip", emptyZip("a"));
    write("a.tar", "tar");
    write("folder/readme.json", "{");
    QCOMPARE(::mkfifo(local(path("pipe.zip")).c_str(), 0600), 0);
    makeFolder(local(path("odd")));
    QCOMPARE(::mkfifo(local(path("odd/readme.json")).c_str(), 0600), 0);
    const QString file = m_site->path(name);
    const auto kind = QFileInfo(file).isDir() ? PanelSource::Kind::JobFolder : PanelSource::Kind::Archive;
    QCOMPARE(entriesOf(lookAt({kind, file, company}).foreseen), QStringList(entry));
}

void HostForesightTest::whatTheSiteCannotBeAskedStaysOpen()
{
    write("batch/甲/a.zip", emptyZip("a"));
    write("batch/甲/notes.txt", "notes");
    Backend::setConfigurationFile(path("no-such.ini"));
    const Foreseen foreseen = lookAt(batch()).foreseen;
    Backend::setConfigurationFile(m_site->configuration());
    QCOMPARE(entriesOf(foreseen), QStringList({QStringLiteral("a.zip open"),
                                               QStringLiteral("notes.txt not-imported suffix-refused")}));
    QVERIFY(!foreseen.companies.front().isKnown);
    QVERIFY(codesOf(foreseen.remarks).contains(QStringLiteral("company-look-up")));
    QVERIFY(!foreseen.allImported());
}

/// A job of an unknown company is stored before it is refused.
void HostForesightTest::needsAreCountedForWhatIsStored()
{
    write("batch/甲/a.kos", QByteArray(1000, 'a'));
    write("batch/甲/b/file", QByteArray(300, 'b'));
    write("batch/甲/c/file", QByteArray(200, 'c'));
    write("batch/甲/notes.txt", QByteArray(4000, 'n'));
    write("batch/丙/d.kos", QByteArray(50, 'd'));
    const Foreseen foreseen = lookAt(batch()).foreseen;
    QCOMPARE(foreseen.bytes(), 1550);
    // Staged copies of both archives and the longer folder's, and all that is stored, on one disk.
    QCOMPARE(int(foreseen.spaces.size()), 1);
    QCOMPARE(foreseen.spaces.front().needed, 2 * 1050);
    QCOMPARE(foreseen.spaces.front().neededAtMost, 2 * 1050 + 300 + 500);
    QVERIFY(foreseen.spaces.front().free > 0);
}

void HostForesightTest::looksOnAThreadOfItsOwn()
{
    write("batch/甲/a.zip", emptyZip("a"));
    Foresight foresight;
    Foreseen foreseen;
    bool ended = false;
    connect(&foresight, &Foresight::found, this, [&](const ForesightPiece& piece) {
        QCOMPARE(QThread::currentThread(), thread());
        piece.addTo(foreseen);
        ended = piece.isLast;
    });
    foresight.look(batch());
    QVERIFY(foreseen.entries.empty());
    QTRY_VERIFY(ended);
    QCOMPARE(entriesOf(foreseen), QStringList(QStringLiteral("a.zip imported")));
}

void HostForesightTest::aNewerChoiceEndsTheOlder()
{
    for (int i = 0; i < 200; ++i)
        write(qPrintable(QStringLiteral("older/甲/%1.zip").arg(i)), emptyZip("older"));
    write("batch/甲/a.zip", emptyZip("a"));
    Foresight foresight;
    QStringList walked;
    bool ended = false;
    connect(&foresight, &Foresight::found, this, [&](const ForesightPiece& piece) {
        if (piece.walk)
            walked << QDir(piece.walk->source.path).dirName();
        ended = ended || piece.isLast;
    });
    for (int i = 0; i < 5; ++i)
        foresight.look(batch("older"));
    foresight.look(batch());
    QTRY_VERIFY(ended);
    QCOMPARE(walked, QStringList(QStringLiteral("batch")));
    foresight.look(batch("older"));
    foresight.cancel();
    QCoreApplication::processEvents();
    QCOMPARE(walked, QStringList(QStringLiteral("batch")));
}

ZAV_REGISTER_TEST(host_foresight, HostForesightTest, QCoreApplication)

#include "host_foresight.moc"

// The client's texts and Qt's in the language that is chosen; the panels, which the client works by their own
// texts, in any.

#include "host/ClientState.h"
#include "host/DialogOperator.h"
#include "host/JobListDock.h"
#include "host/Language.h"
#include "host/PanelBoxes.h"
#include "host/site/SiteAccess.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

QString countText(int count)
{
    return QCoreApplication::translate("KOZAV::Host::MainWindow", "%n source file(s)", nullptr, count);
}

} // namespace

class HostLanguage : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void localesGetTheirLanguage_data();
    void localesGetTheirLanguage();
    void choiceIsRemembered();
    void viewsSpeakIt_data();
    void viewsSpeakIt();
    void dialogsOfQtSpeakIt();
    void panelsAreWorkedInAnyLanguage_data();
    void panelsAreWorkedInAnyLanguage();
};

void HostLanguage::localesGetTheirLanguage_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("language");
    QTest::newRow("Chinese") << "zh_CN"
                             << "zh_CN";
    QTest::newRow("as the system names it") << "zh-Hans-CN"
                                            << "zh_CN";
    QTest::newRow("Chinese of another place") << "zh_TW"
                                              << "zh_CN";
    QTest::newRow("English") << "en_GB"
                             << "en";
    QTest::newRow("one that there is none of") << "de_DE"
                                               << "en";
    QTest::newRow("none") << "C"
                          << "en";
    QTest::newRow("that of the tests") << ""
                                       << "en";
}

void HostLanguage::localesGetTheirLanguage()
{
    QFETCH(QString, locale);
    QTEST(languageOfLocale(locale), "language");
}

void HostLanguage::choiceIsRemembered()
{
    const QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path()));
    ClientState::keep();
    QCOMPARE(chosenLanguage(), QString());
    chooseLanguage(QStringLiteral("zh_CN"));
    QCOMPARE(chosenLanguage(), QStringLiteral("zh_CN"));
    chooseLanguage(QStringLiteral("tlh"));
    QCOMPARE(chosenLanguage(), QString());
    chooseLanguage(QString());
    QVERIFY(!ClientState::general().contains(QStringLiteral("language")));
    for (const OfferedLanguage& offer : offeredLanguages())
        QVERIFY(!offer.name.isEmpty() && Language(offer.code).code() == offer.code);
    QCOMPARE(Language(QStringLiteral("tlh")).code(), QStringLiteral("en"));
}

void HostLanguage::viewsSpeakIt_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("one");
    QTest::addColumn<QString>("many");
    QTest::newRow("Chinese") << "zh_CN"
                             << "料号导入"
                             << "共 1 个原始文件"
                             << "共 12 个原始文件";
    QTest::newRow("English") << "en"
                             << "Job import"
                             << "1 source file"
                             << "12 source files";
}

void HostLanguage::viewsSpeakIt()
{
    QFETCH(QString, language);
    const Language installed(language);
    const JobListDock dock;
    QTEST(dock.windowTitle(), "title");
    QTEST(countText(1), "one");
    QTEST(countText(12), "many");
    QCOMPARE(QLocale().language(), QLocale(language).language());
}

void HostLanguage::dialogsOfQtSpeakIt()
{
    const auto cancelText = [] {
        const QMessageBox box(QMessageBox::Question, QString(), QString(), QMessageBox::Cancel);
        return box.button(QMessageBox::Cancel)->text();
    };
    const auto fileDialogLabel = [] {
        QFileDialog dialog;
        dialog.setOption(QFileDialog::DontUseNativeDialog);
        return dialog.findChild<QLabel*>(QStringLiteral("lookInLabel"))->text();
    };
    const QString english = fileDialogLabel();
    QCOMPARE(cancelText().remove(QLatin1Char('&')), QStringLiteral("Cancel"));
    {
        const Language chinese(QStringLiteral("zh_CN"));
        QCOMPARE(cancelText(), QStringLiteral("取消"));
        QVERIFY(fileDialogLabel() != english);
    }
    QCOMPARE(fileDialogLabel(), english);
}

void HostLanguage::panelsAreWorkedInAnyLanguage_data()
{
    QTest::addColumn<QString>("language");
    for (const OfferedLanguage& offer : offeredLanguages())
        QTest::newRow(qPrintable(offer.code)) << offer.code;
}

/// A batch of a company that there is and one that there is not, worked as an unattended run works it.
void HostLanguage::panelsAreWorkedInAnyLanguage()
{
    QFETCH(QString, language);
    const Language installed(language);
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("Acme"));
    for (const char* const company : {"Acme", "Nobody"}) {
        const QString folder = site.path(QStringLiteral("batch/") + QString::fromLatin1(company));
        QVERIFY(QDir().mkpath(folder));
        QFile job(folder + QStringLiteral("/job.tgz"));
        QVERIFY(job.open(QIODevice::WriteOnly) && job.write("content") > 0);
    }
    SiteAccess access(site.configuration());
    QCOMPARE(access.open(), QString());
    UI::ZAV_ImportFromFile_Widget panel(nullptr);
    panel.show();
    const BatchBox box = batchBoxOf(panel);
    QVERIFY(box.openButton && box.clearButton && box.importButton && box.directory && box.progress);
    QVERIFY(singleBoxOf(panel).clearButton && singleBoxOf(panel).importButton);

    DialogOperator dialogs;
    QStringList read;
    connect(&dialogs, &DialogOperator::messageRead, this, [&read](const QString& title, const QString& text) {
        read << title + QStringLiteral(": ") + text.section(QLatin1Char(' '), 0, 0);
    });
    dialogs.chooseDirectory(site.path(QStringLiteral("batch")));
    box.openButton->click();
    QCOMPARE(box.directory->text(), site.path(QStringLiteral("batch")));
    box.importButton->click();
    QCOMPARE(int(site.jobs().size()), 1);
    QCOMPARE(read.size(), 3);
    QVERIFY2(read[0].startsWith(QStringLiteral("公司名不存在: ")), qPrintable(read[0]));
    QCOMPARE(read[1], QStringLiteral("Information: 原始数据导入完成"));
    QCOMPARE(read[2], QStringLiteral("Information: 当前批号：1"));
}

ZAV_REGISTER_TEST(host_language, HostLanguage, QApplication)

#include "host_language.moc"

#include "tests/support/ListPanelHarness.h"
#include "tests/support/MarkingTranslator.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QPushButton>
#include <QTest>

using KOZAV::Test::ListPanelHarness;
using KOZAV::Test::MarkingTranslator;
using KOZAV::Test::ShownDialog;

/// Where each message box comes from.
enum class Occasion { NoRow, OtherJob, Confirmation, NoFlow, NoServer };

Q_DECLARE_METATYPE(Occasion)

class ListMessagesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void box_data();
    void box();
    void titleIsTranslated_data();
    void titleIsTranslated();
    void otherTextsAreNotOfferedForTranslation_data();
    void otherTextsAreNotOfferedForTranslation();
    void confirmationHasNoDefaultButton();
    void confirmationNamesTheJob_data();
    void confirmationNamesTheJob();
};

namespace {

void bringAbout(Occasion occasion, ListPanelHarness& harness)
{
    const bool asks = occasion == Occasion::Confirmation;
    harness.openFor(occasion == Occasion::OtherJob ? "AB000041" : "AB000042");
    if (occasion == Occasion::NoFlow)
        harness.services.results.flows.clear();
    if (occasion != Occasion::NoRow)
        harness.chooseJob(QStringLiteral("AB000042"));
    harness.dialogs.expectMessage(asks ? QMessageBox::Cancel : QMessageBox::Ok);
    if (occasion == Occasion::NoFlow || occasion == Occasion::NoServer)
        harness.reportSuccess();
    else
        harness.press(harness.importButton());
}

} // namespace

void ListMessagesTest::box_data()
{
    QTest::addColumn<Occasion>("occasion");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("buttons");
    const QString information = QStringLiteral("Information");
    const int ok = QMessageBox::Ok;
    QTest::newRow("no row") << Occasion::NoRow << information << QStringLiteral("请选择一行数据") << ok;
    QTest::newRow("other job") << Occasion::OtherJob << information << QStringLiteral("请选择相同料号！")
                               << ok;
    QTest::newRow("confirmation") << Occasion::Confirmation << information
                                  << QStringLiteral("确认导入job:AB000042到ZAV系统吗?")
                                  << int(QMessageBox::Yes | QMessageBox::Cancel);
    QTest::newRow("no flow") << Occasion::NoFlow << QStringLiteral("提示:")
                             << QStringLiteral("Flow表中此jobname未找到,Flow表更新失败") << ok;
    QTest::newRow("no server") << Occasion::NoServer << information
                               << QStringLiteral("Server connect failed!") << ok;
}

void ListMessagesTest::box()
{
    QFETCH(Occasion, occasion);
    QFETCH(QString, title);
    QFETCH(QString, text);
    QFETCH(int, buttons);
    ListPanelHarness harness;
    harness.open();
    bringAbout(occasion, harness);
    VERIFY_DIALOGS(harness);
    QCOMPARE(harness.dialogs.shown().size(), std::size_t(1));
    const ShownDialog& shown = harness.dialogs.shown().front();
    QCOMPARE(shown.kind, ShownDialog::Kind::Message);
    QCOMPARE(shown.title, title);
    QCOMPARE(shown.text, text);
    QCOMPARE(shown.furtherText, QString());
    QCOMPARE(shown.icon, QMessageBox::Information);
    QCOMPARE(int(shown.buttons), buttons);
}

void ListMessagesTest::titleIsTranslated_data()
{
    box_data();
}

void ListMessagesTest::titleIsTranslated()
{
    QFETCH(Occasion, occasion);
    QFETCH(QString, title);
    QFETCH(QString, text);
    ListPanelHarness harness;
    harness.open();
    MarkingTranslator translator;
    translator.set(QStringLiteral("QObject"), QStringLiteral("Information"), QStringLiteral("信息"));
    bringAbout(occasion, harness);
    VERIFY_DIALOGS(harness);
    const ShownDialog& shown = harness.dialogs.shown().front();
    QCOMPARE(shown.title, title == QStringLiteral("Information") ? QStringLiteral("信息") : title);
    QCOMPARE(shown.text, text);
}

void ListMessagesTest::otherTextsAreNotOfferedForTranslation_data()
{
    box_data();
}

void ListMessagesTest::otherTextsAreNotOfferedForTranslation()
{
    QFETCH(Occasion, occasion);
    QFETCH(QString, title);
    QFETCH(QString, text);
    ListPanelHarness harness;
    harness.open();
    MarkingTranslator translator;
    const QString asked = QStringLiteral("确认导入job:");
    for (const char* const context : {"QObject", "KOZAV::UI::ZAV_Import_Widget"}) {
        for (const QString& literal : {title, text, asked, QStringLiteral("到ZAV系统吗?")}) {
            if (literal != QStringLiteral("Information"))
                translator.set(QLatin1String(context), literal, QStringLiteral("translated"));
        }
    }
    bringAbout(occasion, harness);
    VERIFY_DIALOGS(harness);
    QCOMPARE(harness.dialogs.shown().front().title, title);
    QCOMPARE(harness.dialogs.shown().front().text, text);
}

void ListMessagesTest::confirmationHasNoDefaultButton()
{
    ListPanelHarness harness;
    harness.open();
    bringAbout(Occasion::Confirmation, harness);
    QCOMPARE(harness.dialogs.shown().front().defaultButton, QMessageBox::NoButton);
    VERIFY_DIALOGS(harness);
}

void ListMessagesTest::confirmationNamesTheJob_data()
{
    QTest::addColumn<QString>("job");
    QTest::newRow("small letters") << QStringLiteral("ab000042");
    QTest::newRow("Chinese") << QStringLiteral("料号\U0001F600");
    QTest::newRow("blanks") << QStringLiteral(" a b ");
    QTest::newRow("place markers") << QStringLiteral("%1%2%n");
    QTest::newRow("dots") << QStringLiteral("a.b.tgz");
}

void ListMessagesTest::confirmationNamesTheJob()
{
    QFETCH(QString, job);
    ListPanelHarness harness;
    harness.listJobs({job});
    harness.open();
    harness.openFor(job.toUtf8().constData());
    harness.chooseJob(job);
    harness.dialogs.expectMessage(QMessageBox::Cancel);
    harness.press(harness.importButton());
    VERIFY_DIALOGS(harness);
    QCOMPARE(harness.dialogs.shown().front().text,
             QStringLiteral("确认导入job:") + job + QStringLiteral("到ZAV系统吗?"));
}

ZAV_REGISTER_TEST(list_messages, ListMessagesTest, QApplication)

#include "list_messages.moc"

#include "host/AboutDialog.h"
#include "host/site/SiteAccess.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <algorithm>

using namespace KOZAV::Host;
using namespace KOZAV::Test;

class HostAboutDialog : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void versionsAndPlacesAreShownAndCopied();
    void closesByKeyboard();
};

void HostAboutDialog::versionsAndPlacesAreShownAndCopied()
{
    const FreshSite site;
    SiteAccess access(site.configuration());
    QCOMPARE(access.open(), QString());
    AboutDialog dialog(access, QStringLiteral("/state/zav_client.log"));
    const QString text = dialog.text();
    const QStringList expected = {QStringLiteral("Qt: ") + QString::fromLatin1(qVersion()),
                                  QStringLiteral("Database: SQLite 3."),
                                  QStringLiteral("Site: ") + access.identity(),
                                  QStringLiteral("Configuration: ") + site.configuration(),
                                  QStringLiteral("Place of the database: ") +
                                      site.path(QStringLiteral("data/site.db")),
                                  QStringLiteral("Upload cache: ") + site.path(QStringLiteral("data/upload")),
                                  QStringLiteral("Log file: /state/zav_client.log")};
    for (const QString& line : expected)
        QVERIFY2(text.contains(line), qPrintable(line + QStringLiteral(" in\n") + text));

    dialog.findChild<QPushButton*>(QStringLiteral("copyFacts"))->click();
    QCOMPARE(QApplication::clipboard()->text(), text);
    const auto labels = dialog.findChildren<QLabel*>();
    QVERIFY(std::any_of(labels.begin(), labels.end(),
                        [&site](const QLabel* label) { return label->text() == site.configuration(); }));
    for (const QLabel* label : labels)
        QVERIFY(label->textFormat() == Qt::PlainText || label->buddy());
}

void HostAboutDialog::closesByKeyboard()
{
    const FreshSite site;
    SiteAccess access(site.configuration());
    QCOMPARE(access.open(), QString());
    AboutDialog dialog(access, QString());
    dialog.show();
    QVERIFY(!dialog.text().contains(QStringLiteral("Log file")));
    QTest::keyClick(&dialog, Qt::Key_Escape);
    QVERIFY(!dialog.isVisible());
}

ZAV_REGISTER_TEST(host_about_dialog, HostAboutDialog, QApplication)

#include "host_about_dialog.moc"

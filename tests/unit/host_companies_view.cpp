// The companies page, on a site of its own.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/records/CompanyClaim.h"
#include "host/CompaniesView.h"
#include "host/core/CompaniesModel.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

class HostCompaniesViewTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void theFirstCompanyIsAdded();
    void whatIsWrongIsToldWhileItIsTyped_data();
    void whatIsWrongIsToldWhileItIsTyped();
    void aTakenCodeIsTold();
    void aCompanyIsRenamedInItsCell();
    void aHeldCompanyKeepsItsName();

private:
    template <typename Widget>
    [[nodiscard]] Widget* part(const char* name) const
    {
        return m_view->findChild<Widget*>(QString::fromLatin1(name));
    }
    [[nodiscard]] bool showView();
    void type(const char* field, const char* text) const
    {
        QTest::keyClicks(part<QLineEdit>(field), QString::fromUtf8(text));
    }
    void rename(const char* name) const;

    std::unique_ptr<FreshSite> m_site;
    std::unique_ptr<CompaniesView> m_view;
};

void HostCompaniesViewTest::init()
{
    m_site = std::make_unique<FreshSite>();
}

void HostCompaniesViewTest::cleanup()
{
    m_view.reset();
    m_site.reset();
}

bool HostCompaniesViewTest::showView()
{
    m_view = std::make_unique<CompaniesView>();
    QSignalSpy loaded(m_view->findChild<CompaniesModel*>(), &CompaniesModel::loaded);
    m_view->show();
    return loaded.wait();
}

/// Puts another name into the cell of the first company.
void HostCompaniesViewTest::rename(const char* name) const
{
    auto* table = part<QTableView>("companies");
    table->selectRow(0);
    part<QPushButton>("companyRename")->click();
    auto* editor = table->viewport()->findChild<QLineEdit*>();
    QVERIFY(editor);
    editor->setText(QString::fromUtf8(name));
    QTest::keyClick(editor, Qt::Key_Return);
}

void HostCompaniesViewTest::theFirstCompanyIsAdded()
{
    QVERIFY(showView());
    QVERIFY(part<QLabel>("companiesEmpty")->isVisible());
    QVERIFY(part<QLabel>("companiesEmpty")->text().startsWith(QStringLiteral("There are no companies yet.")));
    part<QPushButton>("companiesFirst")->click();
    QSignalSpy changed(m_view.get(), &CompaniesView::companiesChanged);
    type("companyCode", "AB");
    QVERIFY(!part<QPushButton>("companyAdd")->isEnabled());
    type("companyName", "Acme");
    QTest::keyClick(part<QLineEdit>("companyName"), Qt::Key_Return);
    QVERIFY(changed.wait());
    QTRY_COMPARE(part<QTableView>("companies")->model()->rowCount(), 1);
    QTRY_VERIFY(part<QTableView>("companies")->isVisible());
    QCOMPARE(m_site->company(QStringLiteral("AB")).companyLabel, std::string("Acme"));
    QVERIFY(part<QLineEdit>("companyCode")->text().isEmpty());
    QCOMPARE(part<QLabel>("companyState")->text(), QStringLiteral("The company \"Acme\" has been added."));
}

void HostCompaniesViewTest::whatIsWrongIsToldWhileItIsTyped_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("flaw");
    QTest::addColumn<bool>("accepted");
    const QString box = QString::fromUtf8("\xF0\x9F\x93\xA6");
    const QString none;
    QTest::newRow("nothing yet") << none << none << none << false;
    QTest::newRow("only a code") << QStringLiteral("AB") << none << none << false;
    QTest::newRow("good") << QStringLiteral("AB") << QStringLiteral("A b/c") << none << true;
    QTest::newRow("blank") << QStringLiteral("A B") << QStringLiteral("Acme")
                           << QStringLiteral("A code has 1 to 32") << false;
    QTest::newRow("slash") << QStringLiteral("A/") << QStringLiteral("Acme")
                           << QStringLiteral("A code has 1 to 32") << false;
    QTest::newRow("longest") << box.repeated(32) << box.repeated(255) << none << true;
    QTest::newRow("long code") << box.repeated(33) << QStringLiteral("Acme")
                               << QStringLiteral("A code has 1 to 32") << false;
    QTest::newRow("long name") << QStringLiteral("AB") << box.repeated(256)
                               << QStringLiteral("A name has 1 to 255") << false;
}

void HostCompaniesViewTest::whatIsWrongIsToldWhileItIsTyped()
{
    QFETCH(QString, code);
    QFETCH(QString, name);
    QFETCH(QString, flaw);
    QFETCH(bool, accepted);
    m_view = std::make_unique<CompaniesView>();
    part<QLineEdit>("companyCode")->setText(code);
    part<QLineEdit>("companyName")->setText(name);
    const QString told = part<QLabel>("companyFlaw")->text();
    QVERIFY2(flaw.isEmpty() ? told.isEmpty() : told.startsWith(flaw), qPrintable(told));
    QCOMPARE(part<QPushButton>("companyAdd")->isEnabled(), accepted);
}

void HostCompaniesViewTest::aTakenCodeIsTold()
{
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("Acme"));
    QVERIFY(showView());
    QSignalSpy refused(m_view->findChild<CompaniesModel*>(), &CompaniesModel::refused);
    type("companyCode", "ab");
    type("companyName", "Other");
    part<QPushButton>("companyAdd")->click();
    QVERIFY(refused.wait());
    const QString told = part<QLabel>("companyState")->text();
    QVERIFY2(told.contains(QStringLiteral("the company \"Acme\" has the code \"AB\" already")),
             qPrintable(told));
    QCOMPARE(part<QLineEdit>("companyCode")->text(), QStringLiteral("ab"));
}

void HostCompaniesViewTest::aCompanyIsRenamedInItsCell()
{
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("Acme"));
    QVERIFY(showView());
    QSignalSpy changed(m_view.get(), &CompaniesView::companiesChanged);
    QVERIFY(!part<QPushButton>("companyRename")->isEnabled());
    rename("\xe6\xb7\xb1\xe5\x9c\xb3");
    QVERIFY(changed.wait());
    QCOMPARE(m_site->company(QStringLiteral("AB")).companyLabel, std::string("\xe6\xb7\xb1\xe5\x9c\xb3"));
    auto* table = part<QTableView>("companies");
    QTRY_COMPARE(table->model()->index(0, CompaniesModel::NameColumn).data().toString(),
                 QString::fromUtf8("\xe6\xb7\xb1\xe5\x9c\xb3"));
    // It stays chosen.
    QCOMPARE(table->selectionModel()->selectedRows().size(), 1);
}

void HostCompaniesViewTest::aHeldCompanyKeepsItsName()
{
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("Acme"));
    const auto settings = Backend::Site::current().settings();
    auto& database = *Backend::Site::current().database().value();
    const auto claim =
        Backend::CompanyClaim::make(settings->database, m_site->company(QStringLiteral("AB")).companyId,
                                    Backend::CompanyHolder::thisProcess(QStringLiteral("lisa")), {});
    QVERIFY(claim->take(database).value());
    QVERIFY(showView());
    const auto* model = part<QTableView>("companies")->model();
    QVERIFY(model->index(0, CompaniesModel::HolderColumn)
                .data()
                .toString()
                .startsWith(QStringLiteral("lisa on ")));
    QSignalSpy refused(m_view->findChild<CompaniesModel*>(), &CompaniesModel::refused);
    rename("Beta");
    QVERIFY(refused.wait());
    QVERIFY(
        part<QLabel>("companyState")->text().contains(QStringLiteral("is held for an import by lisa on ")));
    QCOMPARE(m_site->company(QStringLiteral("AB")).companyLabel, std::string("Acme"));
    QVERIFY(claim->giveBack(database).ok());
}

ZAV_REGISTER_TEST(host_companies_view, HostCompaniesViewTest, QApplication)

#include "host_companies_view.moc"

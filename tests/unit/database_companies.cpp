#include "backend/records/CompanyClaim.h"
#include "backend/records/SiteEvents.h"
#include "backend/records/SiteRecords.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class DatabaseCompaniesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void addedCompaniesAreListedInTheirOrder();
    void codesAndNamesAreChecked_data();
    void codesAndNamesAreChecked();
    void takenCodeOrNameIsNamed_data();
    void takenCodeOrNameIsNamed();
    void codesAreComparedWithoutCase_data();
    void codesAreComparedWithoutCase();
    void renamingKeepsTheRest();
    void aHeldCompanyIsNotRenamed();
    void renamingIsRefused_data();
    void renamingIsRefused();

private:
    std::unique_ptr<TemporaryDatabase> m_place;
    std::unique_ptr<Database> m_database;
};

void DatabaseCompaniesTest::init()
{
    m_database.reset();
    m_place = std::make_unique<TemporaryDatabase>();
    m_database = m_place->open();
    QVERIFY(m_database);
}

void DatabaseCompaniesTest::addedCompaniesAreListedInTheirOrder()
{
    const auto zeta = addCompany(*m_database, QStringLiteral("Z"), QStringLiteral("Zeta"));
    const auto alpha =
        addCompany(*m_database, QStringLiteral("A"), QString::fromUtf8("\xE7\x94\xB2 & \"S\xC3\xB6hne\""));
    QVERIFY(zeta.ok() && alpha.ok());
    const auto listed = listCompanies(*m_database);
    QCOMPARE(listed->size(), size_t{2});
    QCOMPARE(listed->at(0).companyId, zeta->companyId);
    QCOMPARE(listed->at(0).companyLabel, std::string("Zeta"));
    QCOMPARE(listed->at(1).companyCode, std::string("A"));
    QCOMPARE(listed->at(1).companyLabel, alpha->companyLabel);
    QCOMPARE(listed->at(1).createdTime, alpha->createdTime);
    QCOMPARE(listed->at(1).jobCount, 0);
    QCOMPARE(listed->at(1).batchNumber, 0);
}

void DatabaseCompaniesTest::codesAndNamesAreChecked_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("name");
    QTest::addColumn<ErrorCode>("outcome");
    const QString box = QString::fromUtf8("\xF0\x9F\x93\xA6");
    const auto row = [](const char* what, const QString& code, const QString& name, ErrorCode outcome) {
        QTest::newRow(what) << code << name << outcome;
    };
    row("longest", QString(32, QLatin1Char('c')), QString(255, QLatin1Char('n')), ErrorCode::None);
    row("longest of four-byte characters", box.repeated(32), box.repeated(255), ErrorCode::None);
    row("empty code", {}, QStringLiteral("n"), ErrorCode::InvalidArgument);
    row("empty name", QStringLiteral("c"), {}, ErrorCode::InvalidArgument);
    row("long code", QString(33, QLatin1Char('c')), QStringLiteral("n"), ErrorCode::InvalidArgument);
    row("long name", QStringLiteral("c"), QString(256, QLatin1Char('n')), ErrorCode::InvalidArgument);
    row("blank in code", QStringLiteral("a b"), QStringLiteral("n"), ErrorCode::InvalidArgument);
    row("wide blank in code", QStringLiteral("a") + QChar(0x3000), QStringLiteral("n"),
        ErrorCode::InvalidArgument);
    row("slash in code", QStringLiteral("a/b"), QStringLiteral("n"), ErrorCode::InvalidArgument);
    row("backslash in code", QStringLiteral("a\\b"), QStringLiteral("n"), ErrorCode::InvalidArgument);
    row("newline in code", QStringLiteral("a\n"), QStringLiteral("n"), ErrorCode::InvalidArgument);
    row("newline in name", QStringLiteral("c"), QStringLiteral("a\nb"), ErrorCode::InvalidArgument);
    row("NUL in name", QStringLiteral("c"), QStringLiteral("a") + QChar(QChar::Null),
        ErrorCode::InvalidArgument);
    row("blanks in name", QStringLiteral("c"), QStringLiteral("a b"), ErrorCode::None);
    row("statement as name", QStringLiteral("c"), QStringLiteral("'; DROP TABLE company;--"),
        ErrorCode::None);
}

void DatabaseCompaniesTest::codesAndNamesAreChecked()
{
    QFETCH(const QString, code);
    QFETCH(const QString, name);
    QFETCH(const ErrorCode, outcome);
    const auto added = addCompany(*m_database, code, name);
    QCOMPARE(added.code(), outcome);
    QCOMPARE(listCompanies(*m_database)->size(), size_t(added.ok() ? 1 : 0));
    if (added.ok())
        QCOMPARE(listCompanies(*m_database)->front().companyLabel, name.toStdString());
}

void DatabaseCompaniesTest::takenCodeOrNameIsNamed_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");
    QTest::newRow("code") << QStringLiteral("A") << QStringLiteral("Other") << QStringLiteral("code \"A\"");
    QTest::newRow("name") << QStringLiteral("B") << QStringLiteral("Alpha")
                          << QStringLiteral("name \"Alpha\"");
    QTest::newRow("case of the code")
        << QStringLiteral("a") << QStringLiteral("Other")
        << QStringLiteral("the company \"Alpha\" has the code \"A\" already, and the robot");
    QTest::newRow("both") << QStringLiteral("A") << QStringLiteral("Alpha") << QStringLiteral("code \"A\"");
}

void DatabaseCompaniesTest::takenCodeOrNameIsNamed()
{
    QFETCH(const QString, code);
    QFETCH(const QString, name);
    QFETCH(const QString, text);
    QVERIFY(addCompany(*m_database, QStringLiteral("A"), QStringLiteral("Alpha")).ok());
    const auto again = addCompany(*m_database, code, name);
    QCOMPARE(again.code(), ErrorCode::AlreadyExists);
    QVERIFY2(again.message().contains(text), qPrintable(again.message()));
    QCOMPARE(listCompanies(*m_database)->size(), size_t{1});
}

void DatabaseCompaniesTest::codesAreComparedWithoutCase_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("other");
    QTest::addColumn<bool>("refused");
    const auto row = [](const char* code, const char* other, bool refused) {
        QTest::addRow("%s and %s", code, other)
            << QString::fromUtf8(code) << QString::fromUtf8(other) << refused;
    };
    row("HX", "hx", true);
    row("hX", "Hx", true);
    row("\xC3\x84\xD0\x96", "\xC3\xA4\xD0\xB6", true); // beyond ASCII
    row("web", "Web", true);
    row("HX", "HX1", false);
    row("a", "\xC3\xA4", false); // one letter to some collations
    row("s", "\xC5\xBF", false);
}

void DatabaseCompaniesTest::codesAreComparedWithoutCase()
{
    QFETCH(const QString, code);
    QFETCH(const QString, other);
    QFETCH(const bool, refused);
    QVERIFY(addCompany(*m_database, code, QStringLiteral("Alpha")).ok());
    const auto added = addCompany(*m_database, other, QStringLiteral("Other"));
    QCOMPARE(added.code(), refused ? ErrorCode::AlreadyExists : ErrorCode::None);
    QCOMPARE(added.message().contains(code), refused);
}

void DatabaseCompaniesTest::renamingKeepsTheRest()
{
    const auto before = addCompany(*m_database, QStringLiteral("A"), QStringLiteral("Alpha"));
    const CompanyRename order{QStringLiteral("A"), QStringLiteral("Beta"), 7, QStringLiteral("lisa")};
    QVERIFY(renameCompany(*m_database, m_place->settings(), order).ok());
    QVERIFY(renameCompany(*m_database, m_place->settings(), order).ok());
    const auto after = listCompanies(*m_database)->front();
    QCOMPARE(after.companyLabel, std::string("Beta"));
    QCOMPARE(after.companyCode, before->companyCode);
    QCOMPARE(after.companyId, before->companyId);
    QCOMPARE(after.createdTime, before->createdTime);
    // The second one changed nothing.
    const auto events = listEvents(*m_database);
    QCOMPARE(events->size(), size_t{1});
    const SiteEvent& event = events->front();
    QCOMPARE(event.kind, QString(eventKind::companyRenamed));
    QCOMPARE(event.subject, QStringLiteral("Beta"));
    QCOMPARE(event.userId, 7);
    QCOMPARE(event.userName, QStringLiteral("lisa"));
    QCOMPARE(event.detail, QJsonObject({{QStringLiteral("code"), QStringLiteral("A")},
                                        {QStringLiteral("before"), QStringLiteral("Alpha")}}));
}

void DatabaseCompaniesTest::aHeldCompanyIsNotRenamed()
{
    const auto company = addCompany(*m_database, QStringLiteral("A"), QStringLiteral("Alpha"));
    const auto claim = CompanyClaim::make(m_place->settings(), company->companyId,
                                          CompanyHolder::thisProcess(QStringLiteral("lisa")), {});
    QVERIFY(claim->take(*m_database).value());
    const CompanyRename order{QStringLiteral("A"), QStringLiteral("Beta"), 1, {}};
    const Status refused = renameCompany(*m_database, m_place->settings(), order);
    QCOMPARE(refused.code(), ErrorCode::Unavailable);
    QVERIFY2(refused.message().contains(QStringLiteral("held for an import by lisa on ")),
             qPrintable(refused.message()));
    QCOMPARE(listCompanies(*m_database)->front().companyLabel, std::string("Alpha"));
    QCOMPARE(listEvents(*m_database)->size(), size_t{0});
    QVERIFY(claim->giveBack(*m_database).ok());
    QVERIFY(renameCompany(*m_database, m_place->settings(), order).ok());
    QVERIFY(listHeldCompanies(*m_database, m_place->settings())->empty());
}

void DatabaseCompaniesTest::renamingIsRefused_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("name");
    QTest::addColumn<ErrorCode>("outcome");
    QTest::newRow("unknown") << QStringLiteral("X") << QStringLiteral("New") << ErrorCode::NotFound;
    QTest::newRow("case of the code") << QStringLiteral("a") << QStringLiteral("New") << ErrorCode::NotFound;
    QTest::newRow("taken") << QStringLiteral("A") << QStringLiteral("Beta") << ErrorCode::AlreadyExists;
    QTest::newRow("empty") << QStringLiteral("A") << QString() << ErrorCode::InvalidArgument;
}

void DatabaseCompaniesTest::renamingIsRefused()
{
    QFETCH(const QString, code);
    QFETCH(const QString, name);
    QFETCH(const ErrorCode, outcome);
    QVERIFY(addCompany(*m_database, QStringLiteral("A"), QStringLiteral("Alpha")).ok());
    QVERIFY(addCompany(*m_database, QStringLiteral("B"), QStringLiteral("Beta")).ok());
    QCOMPARE(renameCompany(*m_database, m_place->settings(), {code, name, 1, {}}).code(), outcome);
    QCOMPARE(listCompanies(*m_database)->front().companyLabel, std::string("Alpha"));
}

ZAV_REGISTER_TEST(database_companies, DatabaseCompaniesTest, QCoreApplication)

#include "database_companies.moc"

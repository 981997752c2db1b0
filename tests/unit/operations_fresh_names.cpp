// Identifiers that a store need not look for are so once.

#include "backend/operations/FreshNames.h"
#include "services/common/Common.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Backend;

class FreshNamesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void anIdentifierIsFreshOnce_data();
    void anIdentifierIsFreshOnce();
    void whatNobodyHasMadeMayBeTaken();
    void theOldestAreForgotten();
    void identifiersOfTheServiceAreRemembered();
};

void FreshNamesTest::anIdentifierIsFreshOnce_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::newRow("alone") << QString();
    QTest::newRow("with a suffix") << QStringLiteral(".zip");
    QTest::newRow("with two") << QStringLiteral(".tar.gz");
}

void FreshNamesTest::anIdentifierIsFreshOnce()
{
    QFETCH(const QString, suffix);
    const std::string name = "0a1b-2c" + suffix.toStdString();
    FreshNames names;
    names.remember("0a1b-2c");
    QCOMPARE(names.useOf(name), NameUse::Fresh);
    QCOMPARE(names.useOf(name), NameUse::MayBeTaken);
    QCOMPARE(names.useOf("0a1b-2c.other"), NameUse::MayBeTaken);
}

void FreshNamesTest::whatNobodyHasMadeMayBeTaken()
{
    FreshNames names;
    names.remember("0a1b-2c");
    for (const char* name : {"", ".", ".zip", "0a1b", "0a1b-2cd.zip", "x0a1b-2c", "0a1b-2c zip"})
        QCOMPARE(names.useOf(name), NameUse::MayBeTaken);
    QCOMPARE(names.useOf("0a1b-2c"), NameUse::Fresh);
}

void FreshNamesTest::theOldestAreForgotten()
{
    constexpr int many = 100'000;
    FreshNames names;
    for (int i = 0; i < many; ++i)
        names.remember(std::to_string(i));
    QCOMPARE(names.useOf("0"), NameUse::MayBeTaken);
    QCOMPARE(names.useOf(std::to_string(many - 1)), NameUse::Fresh);
}

void FreshNamesTest::identifiersOfTheServiceAreRemembered()
{
    const std::string identifier = Common::commonInterface()->getGUID();
    QCOMPARE(FreshNames::ofThisProcess().useOf(identifier + ".tgz"), NameUse::Fresh);
}

ZAV_REGISTER_TEST(operations_fresh_names, FreshNamesTest, QCoreApplication)

#include "operations_fresh_names.moc"

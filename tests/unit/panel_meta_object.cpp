#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QTest>

#include <type_traits>
#include <utility>

using namespace KOZAV;
using KOZAV::Test::PanelHarness;
using Panel = KOZAV::UI::ZAV_ImportFromFile_Widget;

using JobNames = std::map<int, std::string>;

// What a host binds to: the kinds, the argument types and the results of the public operations.
static_assert(std::is_base_of_v<QWidget, Panel>);
static_assert(std::is_constructible_v<Panel, QWidget*>);
static_assert(std::is_same_v<decltype(&Panel::l2Folders), int (Panel::*)(QString, QString, QString, int)>);
static_assert(
    std::is_same_v<decltype(&Panel::l2FoldersSingleImport), void (Panel::*)(QString, QString, QString)>);
static_assert(std::is_same_v<decltype(&Panel::l2rartgzzip), int (Panel::*)(QString, QString, QString, int)>);
static_assert(std::is_same_v<decltype(&Panel::l2rartgzzipSingleImport), void (Panel::*)(QString, QString)>);
static_assert(std::is_same_v<decltype(&Panel::readmejson),
                             QString (Panel::*)(std::string, std::string&, std::string&)>);
static_assert(std::is_same_v<decltype(&Panel::execCAMRobot), void (Panel::*)(const std::string&)>);
static_assert(std::is_same_v<decltype(&Panel::getFilesFrommogodbUuidTypeOriginName),
                             void (Panel::*)(QString, QString, QString)>);
static_assert(std::is_same_v<decltype(&Panel::setJobNameMap), void (Panel::*)(const JobNames&)>);
static_assert(std::is_same_v<decltype(&Panel::emitimportJobInfo), void (Panel::*)(const QString&, int)>);

template <typename Class, typename = void>
struct HasPublicInit : std::false_type
{
};
template <typename Class>
struct HasPublicInit<Class, std::void_t<decltype(std::declval<Class&>().init())>> : std::true_type
{
};
template <typename Class, typename = void>
struct HasPublicInitConnections : std::false_type
{
};
template <typename Class>
struct HasPublicInitConnections<Class, std::void_t<decltype(std::declval<Class&>().initConnections())>>
    : std::true_type
{
};
static_assert(!HasPublicInit<Panel>::value);
static_assert(!HasPublicInitConnections<Panel>::value);

class PanelMetaObjectTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void className();
    void baseClass();
    void numberOfMethods();
    void methodTable_data();
    void methodTable();
    void jobInfoSignalIsInvokedThroughTheMetaObject();
    void setJobNameMapChangesNothing();
    void setJobNameMapIsInvokedThroughTheMetaObject();
};

namespace {

QMetaMethod method(int index)
{
    const QMetaObject& table = Panel::staticMetaObject;
    return table.method(table.methodOffset() + index);
}

} // namespace

void PanelMetaObjectTest::className()
{
    QCOMPARE(Panel::staticMetaObject.className(), "KOZAV::UI::ZAV_ImportFromFile_Widget");
}

void PanelMetaObjectTest::baseClass()
{
    QCOMPARE(Panel::staticMetaObject.superClass(), &QWidget::staticMetaObject);
}

void PanelMetaObjectTest::numberOfMethods()
{
    const QMetaObject& table = Panel::staticMetaObject;
    QCOMPARE(table.methodCount() - table.methodOffset(), 9);
    QCOMPARE(table.propertyCount() - table.propertyOffset(), 0);
    QCOMPARE(table.constructorCount(), 0);
}

void PanelMetaObjectTest::methodTable_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("signature");
    QTest::addColumn<QList<QByteArray>>("parameters");
    const int aSignal = QMetaMethod::Signal;
    const int aSlot = QMetaMethod::Slot;
    const QList<QByteArray> none;

    QTest::newRow("job info") << 0 << aSignal << QByteArray("emitimportJobInfo(QString,int)")
                              << QList<QByteArray>{"_jobName", "_id"};
    QTest::newRow("open folder") << 1 << aSlot << QByteArray("on_m_pOpenFolderPB_clicked()") << none;
    QTest::newRow("batch import") << 2 << aSlot << QByteArray("on_m_pMultiImportPB_clicked()") << none;
    QTest::newRow("open file") << 3 << aSlot << QByteArray("on_m_pOpenFilePB_clicked()") << none;
    QTest::newRow("open dir") << 4 << aSlot << QByteArray("on_m_pOpenDirPB_clicked()") << none;
    QTest::newRow("batch clear") << 5 << aSlot << QByteArray("on_m_pMultiImportPathClearPB_clicked()")
                                 << none;
    QTest::newRow("single clear") << 6 << aSlot << QByteArray("on_m_pSingleImportPathClearPB_clicked()")
                                  << none;
    QTest::newRow("single import") << 7 << aSlot << QByteArray("on_m_pSingleImportPB_clicked()") << none;
    QTest::newRow("job name map") << 8 << aSlot << QByteArray("setJobNameMap(std::map<int,std::string>)")
                                  << QList<QByteArray>{"_JobNameMap"};
}

void PanelMetaObjectTest::methodTable()
{
    QFETCH(int, index);
    QFETCH(int, kind);
    QFETCH(QByteArray, signature);
    QFETCH(QList<QByteArray>, parameters);

    QCOMPARE(int(method(index).methodType()), kind);
    QCOMPARE(method(index).methodSignature(), signature);
    QCOMPARE(method(index).parameterNames(), parameters);
    QCOMPARE(int(method(index).access()), int(QMetaMethod::Public));
    QCOMPARE(QByteArray(method(index).typeName()), QByteArray("void"));
}

void PanelMetaObjectTest::jobInfoSignalIsInvokedThroughTheMetaObject()
{
    PanelHarness harness;
    harness.open();
    QSignalSpy spy(&harness.panel(), &Panel::emitimportJobInfo);
    QVERIFY(QMetaObject::invokeMethod(&harness.panel(), "emitimportJobInfo",
                                      Q_ARG(QString, QStringLiteral("AB000042")), Q_ARG(int, 9)));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.first().at(0).toString(), QStringLiteral("AB000042"));
    QCOMPARE(spy.first().at(1).toInt(), 9);
    VERIFY_DIALOGS(harness);
}

void PanelMetaObjectTest::setJobNameMapChangesNothing()
{
    PanelHarness harness;
    harness.open();
    QSignalSpy spy(&harness.panel(), &Panel::emitimportJobInfo);
    harness.panel().setJobNameMap({{1, "AB000001"}, {2, "AB000002"}});
    harness.panel().setJobNameMap({});
    COMPARE_JOURNAL(harness, {});
    QCOMPARE(spy.count(), 0);
    QCOMPARE(harness.view().batchPath->text(), QString());
    QCOMPARE(harness.view().singlePath->text(), QString());
    QCOMPARE(harness.view().fileName->text(), QString());
    QCOMPARE(harness.view().company->count(), 1);
    VERIFY_DIALOGS(harness);
}

void PanelMetaObjectTest::setJobNameMapIsInvokedThroughTheMetaObject()
{
    PanelHarness harness;
    harness.open();
    const JobNames names{{1, "AB000001"}};
    QVERIFY(method(8).invoke(&harness.panel(), Qt::DirectConnection,
                             QGenericArgument("std::map<int,std::string>", &names)));
    COMPARE_JOURNAL(harness, {});
}

ZAV_REGISTER_TEST(panel_meta_object, PanelMetaObjectTest, QApplication)

#include "panel_meta_object.moc"

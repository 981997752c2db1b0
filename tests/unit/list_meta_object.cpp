#include "tests/support/ListPanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QTest>

#include <type_traits>
#include <utility>

using KOZAV::Test::ListPanelHarness;
using KOZAV::UI::Import_Info;
using Panel = KOZAV::UI::ZAV_Import_Widget;

// What a host binds to.
static_assert(std::is_base_of_v<QWidget, Panel>);
static_assert(std::is_constructible_v<Panel, int, QWidget*>);
static_assert(std::is_constructible_v<Panel, QWidget*>);
static_assert(!std::is_default_constructible_v<Panel>);
static_assert(std::is_destructible_v<Panel>);
static_assert(std::is_same_v<decltype(&Panel::setFlowGuid), void (Panel::*)(const Import_Info&)>);
static_assert(std::is_same_v<decltype(&Panel::emitCAMImportJobInfo), void (Panel::*)(QString)>);
static_assert(std::is_same_v<decltype(&Panel::webJobHaveSent), void (Panel::*)()>);
static_assert(std::is_same_v<decltype(&Panel::robotImportComplete), void (Panel::*)()>);

// What a host cannot call directly. A member that is out of reach makes the second overload the only one.
#define DEFINE_REACHES(name, expression)                                                                     \
    template <typename Widget>                                                                               \
    constexpr auto reaches_##name(int)->decltype(std::declval<Widget&>().expression, true)                   \
    {                                                                                                        \
        return true;                                                                                         \
    }                                                                                                        \
    template <typename Widget>                                                                               \
    constexpr bool reaches_##name(...)                                                                       \
    {                                                                                                        \
        return false;                                                                                        \
    }

namespace {

const QString someText;

DEFINE_REACHES(webJobHaveSent, webJobHaveSent())
DEFINE_REACHES(InitImportTableWidget, InitImportTableWidget())
DEFINE_REACHES(FillImportTableWidget, FillImportTableWidget())
DEFINE_REACHES(clearTableData, clearTableData())
DEFINE_REACHES(sendMsgToServer, sendMsgToServer())
DEFINE_REACHES(on_m_pImportPB_Clicked, on_m_pImportPB_Clicked())
DEFINE_REACHES(updateImportJobTable, updateImportJobTable())
DEFINE_REACHES(slotImportJobList, slotImportJobList())
DEFINE_REACHES(on_m_pFilterLE_textEdited, on_m_pFilterLE_textEdited(someText))
DEFINE_REACHES(s_hasImportSuccess, s_hasImportSuccess())
DEFINE_REACHES(on_m_pFilterCMB_currentIndexChanged, on_m_pFilterCMB_currentIndexChanged(0))
DEFINE_REACHES(on_import_import_to_ZAV, on_import_import_to_ZAV(someText, someText, someText))
DEFINE_REACHES(on_m_pSocket_readyRead, on_m_pSocket_readyRead())

QMetaMethod method(int index)
{
    const QMetaObject& table = Panel::staticMetaObject;
    return table.method(table.methodOffset() + index);
}

} // namespace

class ListMetaObjectTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void className();
    void baseClass();
    void numberOfMethods();
    void methodTable_data();
    void methodTable();
    void parameterNames();
    void signalsAreWithinAHostsReach();
    void helpersAndSlotsAreNotWithinAHostsReach();
    void jobInfoSignalIsInvokedThroughTheMetaObject();
};

void ListMetaObjectTest::className()
{
    QCOMPARE(Panel::staticMetaObject.className(), "KOZAV::UI::ZAV_Import_Widget");
}

void ListMetaObjectTest::baseClass()
{
    QCOMPARE(Panel::staticMetaObject.superClass(), &QWidget::staticMetaObject);
}

void ListMetaObjectTest::numberOfMethods()
{
    const QMetaObject& table = Panel::staticMetaObject;
    QCOMPARE(table.methodCount() - table.methodOffset(), 11);
    QCOMPARE(table.propertyCount() - table.propertyOffset(), 0);
    QCOMPARE(table.enumeratorCount() - table.enumeratorOffset(), 0);
    QCOMPARE(table.constructorCount(), 0);
}

void ListMetaObjectTest::methodTable_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("signature");
    const int aSignal = QMetaMethod::Signal;
    const int aSlot = QMetaMethod::Slot;
    const auto add = [](int index, int kind, const char* signature) {
        QTest::newRow(signature) << index << kind << QByteArray(signature);
    };
    add(0, aSignal, "emitCAMImportJobInfo(QString)");
    add(1, aSignal, "webJobHaveSent()");
    add(2, aSignal, "robotImportComplete()");
    add(3, aSlot, "on_m_pImportPB_Clicked()");
    add(4, aSlot, "updateImportJobTable()");
    add(5, aSlot, "slotImportJobList()");
    add(6, aSlot, "on_m_pFilterLE_textEdited(QString)");
    add(7, aSlot, "s_hasImportSuccess()");
    add(8, aSlot, "on_m_pFilterCMB_currentIndexChanged(int)");
    add(9, aSlot, "on_import_import_to_ZAV(QString,QString,QString)");
    add(10, aSlot, "on_m_pSocket_readyRead()");
}

void ListMetaObjectTest::methodTable()
{
    QFETCH(int, index);
    QFETCH(int, kind);
    QFETCH(QByteArray, signature);

    QCOMPARE(method(index).methodSignature(), signature);
    QCOMPARE(int(method(index).methodType()), kind);
    const bool isSignal = kind == QMetaMethod::Signal;
    QCOMPARE(int(method(index).access()), int(isSignal ? QMetaMethod::Public : QMetaMethod::Private));
    QCOMPARE(QByteArray(method(index).typeName()), QByteArray("void"));
}

void ListMetaObjectTest::parameterNames()
{
    QCOMPARE(method(0).parameterNames(), QList<QByteArray>{"_jobName"});
    QCOMPARE(method(8).parameterNames(), QList<QByteArray>{"index"});
}

void ListMetaObjectTest::signalsAreWithinAHostsReach()
{
    QVERIFY(reaches_webJobHaveSent<Panel>(0));
}

void ListMetaObjectTest::helpersAndSlotsAreNotWithinAHostsReach()
{
    QVERIFY(!reaches_InitImportTableWidget<Panel>(0));
    QVERIFY(!reaches_FillImportTableWidget<Panel>(0));
    QVERIFY(!reaches_clearTableData<Panel>(0));
    QVERIFY(!reaches_sendMsgToServer<Panel>(0));
    QVERIFY(!reaches_on_m_pImportPB_Clicked<Panel>(0));
    QVERIFY(!reaches_updateImportJobTable<Panel>(0));
    QVERIFY(!reaches_slotImportJobList<Panel>(0));
    QVERIFY(!reaches_on_m_pFilterLE_textEdited<Panel>(0));
    QVERIFY(!reaches_s_hasImportSuccess<Panel>(0));
    QVERIFY(!reaches_on_m_pFilterCMB_currentIndexChanged<Panel>(0));
    QVERIFY(!reaches_on_import_import_to_ZAV<Panel>(0));
    QVERIFY(!reaches_on_m_pSocket_readyRead<Panel>(0));
}

void ListMetaObjectTest::jobInfoSignalIsInvokedThroughTheMetaObject()
{
    ListPanelHarness harness;
    harness.open();
    QSignalSpy spy(&harness.panel(), &Panel::emitCAMImportJobInfo);
    QVERIFY(QMetaObject::invokeMethod(&harness.panel(), "emitCAMImportJobInfo",
                                      Q_ARG(QString, QStringLiteral("AB000042"))));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.first().at(0).toString(), QStringLiteral("AB000042"));
    VERIFY_DIALOGS(harness);
}

ZAV_REGISTER_TEST(list_meta_object, ListMetaObjectTest, QApplication)

#include "list_meta_object.moc"

#include "tests/support/ListPanelHarness.h"

#include "services/ui/ZAV_UICommon.h"
#include "tests/support/RobotPeer.h"

#include <QComboBox>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>

namespace KOZAV::Test {

namespace {

template <typename Widget>
Widget& onlyChild(const QWidget& panel)
{
    const auto found = panel.findChildren<Widget*>(QString(), Qt::FindDirectChildrenOnly);
    if (found.size() != 1)
        qFatal("The panel has %d children of %s", int(found.size()), Widget::staticMetaObject.className());
    return *found.first();
}

QPushButton& buttonWithText(const QWidget& panel, const QString& text)
{
    for (QPushButton* const button : panel.findChildren<QPushButton*>()) {
        if (button->text() == text)
            return *button;
    }
    qFatal("The panel has no button '%s'", qUtf8Printable(text));
}

QString cellText(const QTableWidget& table, int row, int column)
{
    const QTableWidgetItem* const item = table.item(row, column);
    return item == nullptr ? QStringLiteral("(no item)") : item->text();
}

} // namespace

DataLib::Model::Odbpp_Job_C inputJob(const char* flowId, int jobId, const char* jobName)
{
    DataLib::Model::Odbpp_Job_C job;
    job.flowId = flowId;
    job.jobId = jobId;
    job.jobName = jobName;
    return job;
}

DataLib::Model::Odbpp_JobFlow jobFlow(const char* flowGuid, const char* koSerialName)
{
    DataLib::Model::Odbpp_JobFlow flow;
    flow.flowGuid = flowGuid;
    flow.koSerialName = koSerialName;
    return flow;
}

ListPanelHarness::ListPanelHarness()
    : services(RecordingServices::instance())
{
    services.reset();
    services.results.config.robotHost = "127.0.0.1";
    services.results.config.robotPort = RobotPeer::closedPort();
    services.results.user.loginName = "login";
    services.results.user.userId = 5;
    services.results.user.userName = "operator";
    services.results.inputJobs = {inputJob("flow-41", 41, "AB000041"), inputJob("flow-42", 42, "AB000042"),
                                  inputJob("flow-43", 43, "AB000043")};
    services.results.flows = {jobFlow("key-41", "AB000041"), jobFlow("key-42", "AB000042"),
                              jobFlow("key-43", "AB000043")};
    noteMessages();
}

ListPanelHarness::~ListPanelHarness()
{
    destroy();
}

void ListPanelHarness::listJobs(const QStringList& names)
{
    services.results.inputJobs.clear();
    int number = 0;
    for (const QString& name : names) {
        ++number;
        const std::string flowId = "flow-" + std::to_string(number);
        services.results.inputJobs.push_back(inputJob(flowId.c_str(), number, name.toUtf8().constData()));
    }
}

void ListPanelHarness::useRobot(const RobotPeer& peer)
{
    services.results.config.robotHost = "127.0.0.1";
    services.results.config.robotPort = peer.port();
}

void ListPanelHarness::build()
{
    adopt(new UI::ZAV_Import_Widget(nullptr));
}

void ListPanelHarness::build(int mode)
{
    adopt(new UI::ZAV_Import_Widget(mode, nullptr));
}

void ListPanelHarness::open()
{
    build();
    show();
    services.takeJournal().clear();
}

void ListPanelHarness::open(int mode)
{
    build(mode);
    show();
    services.takeJournal().clear();
}

void ListPanelHarness::show() const
{
    m_panel->show();
    if (!QTest::qWaitForWindowExposed(m_panel))
        qFatal("The panel does not appear");
}

void ListPanelHarness::destroy()
{
    delete m_panel.data();
}

QLineEdit& ListPanelHarness::filter() const
{
    return onlyChild<QLineEdit>(*m_panel);
}

QComboBox& ListPanelHarness::mode() const
{
    return onlyChild<QComboBox>(*m_panel);
}

QTableWidget& ListPanelHarness::table() const
{
    return onlyChild<QTableWidget>(*m_panel);
}

QPushButton& ListPanelHarness::importButton() const
{
    return buttonWithText(*m_panel, QStringLiteral("导入"));
}

QPushButton& ListPanelHarness::refreshButton() const
{
    return buttonWithText(*m_panel, QStringLiteral("刷新"));
}

QStringList ListPanelHarness::jobNames() const
{
    QStringList names;
    for (int row = 0; row < table().rowCount(); ++row)
        names << cellText(table(), row, 2);
    return names;
}

QStringList ListPanelHarness::rows() const
{
    const QTableWidget& jobs = table();
    QStringList texts;
    for (int row = 0; row < jobs.rowCount(); ++row)
        texts << cellText(jobs, row, 0) + QLatin1Char('/') + cellText(jobs, row, 1) + QLatin1Char('/') +
                     cellText(jobs, row, 2);
    return texts;
}

void ListPanelHarness::press(QPushButton& button) const
{
    QTest::mouseClick(&button, Qt::LeftButton);
}

void ListPanelHarness::chooseJob(const QString& jobName) const
{
    const int row = jobNames().indexOf(jobName);
    if (row < 0)
        qFatal("The table does not list the job %s", qUtf8Printable(jobName));
    QTableWidgetItem* const item = table().item(row, 2);
    table().scrollToItem(item);
    QTest::mouseClick(table().viewport(), Qt::LeftButton, Qt::NoModifier,
                      table().visualItemRect(item).center());
}

void ListPanelHarness::typeFilter(const QString& text) const
{
    QInputMethodEvent typed;
    typed.setCommitString(text);
    QCoreApplication::sendEvent(&filter(), &typed);
}

void ListPanelHarness::clearFilter() const
{
    filter().selectAll();
    QTest::keyClick(&filter(), Qt::Key_Delete);
}

void ListPanelHarness::openFor(const char* jobName, const QString& fileName) const
{
    m_panel->setFlowGuid({"opened-flow", jobName, "source", "company", fileName});
}

void ListPanelHarness::reportSuccess() const
{
    Q_EMIT UI::ZAV_UICommon::interface()->hasImportSuccess();
}

void ListPanelHarness::adopt(UI::ZAV_Import_Widget* panel)
{
    destroy();
    m_panel = panel;
    using Panel = UI::ZAV_Import_Widget;
    QObject::connect(panel, &Panel::webJobHaveSent, panel, [this] { services.note(call("webJobHaveSent")); });
    QObject::connect(panel, &Panel::robotImportComplete, panel,
                     [this] { services.note(call("robotImportComplete")); });
    QObject::connect(panel, &Panel::emitCAMImportJobInfo, panel,
                     [this](const QString& text) { services.note(call("emitCAMImportJobInfo", text)); });
}

void ListPanelHarness::noteMessages()
{
    dialogs.observer = [this](const ShownDialog& dialog) {
        if (dialog.kind == ShownDialog::Kind::Message)
            services.note(call("message", dialog.title, dialog.text));
    };
}

} // namespace KOZAV::Test

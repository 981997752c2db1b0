#include "tests/support/PanelHarness.h"

#include "tests/support/RobotPeer.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPushButton>
#include <QTest>

namespace KOZAV::Test {

DataLib::Model::Odbpp_Company company(int companyId, const char* companyCode, const char* companyLabel,
                                      int jobCount, int batchNumber)
{
    DataLib::Model::Odbpp_Company row;
    row.companyId = companyId;
    row.companyCode = companyCode;
    row.companyLabel = companyLabel;
    row.jobCount = jobCount;
    row.batchNumber = batchNumber;
    return row;
}

PanelHarness::PanelHarness()
    : services(RecordingServices::instance())
{
    services.reset();
    auto& config = services.results.config;
    config.mongoDbName = "jobs_db";
    config.mongoFsName = "jobs_fs";
    config.uploadCacheDir = makeFolder(QStringLiteral("upload")).toStdString() + '/';
    config.downloadCacheDir = makeFolder(QStringLiteral("download")).toStdString() + '/';
    config.robotHost = "127.0.0.1";
    config.robotPort = RobotPeer::closedPort();
    services.results.user.loginName = "login";
    services.results.user.userId = 5;
    services.results.user.userName = "operator";
    services.results.companies = {company(7, "AB", "甲公司", 41, 4)};
}

PanelHarness::~PanelHarness() = default;

void PanelHarness::open()
{
    m_panel = std::make_unique<UI::ZAV_ImportFromFile_Widget>(nullptr);
    m_view = std::make_unique<PanelView>(*m_panel);
    m_panel->show();
    if (!QTest::qWaitForWindowExposed(m_panel.get()))
        qFatal("The panel does not appear");
    services.takeJournal().clear();
}

QString PanelHarness::path(const QString& name) const
{
    return m_directory.path() + QLatin1Char('/') + name;
}

QString PanelHarness::makeFolder(const QString& name) const
{
    if (!QDir().mkpath(path(name)))
        qFatal("Cannot make the folder %s", qUtf8Printable(name));
    return path(name);
}

QString PanelHarness::makeFile(const QString& name, const QByteArray& content) const
{
    QString filePath = path(name);
    QDir().mkpath(QFileInfo(filePath).absolutePath());
    QFile file(filePath);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("Cannot make the file %s", qUtf8Printable(name));
    return filePath;
}

void PanelHarness::press(QPushButton* button) const
{
    QTest::mouseClick(button, Qt::LeftButton);
}

void PanelHarness::chooseBatchDirectory(const QString& directory)
{
    dialogs.expectFileDialog({directory});
    press(view().openFolder);
}

void PanelHarness::chooseFile(const QString& file)
{
    dialogs.expectFileDialog({file});
    press(view().openFile);
}

void PanelHarness::chooseFolder(const QString& folder)
{
    dialogs.expectFileDialog({folder});
    press(view().openDir);
}

void PanelHarness::importSingle(int messages)
{
    for (int message = 0; message < messages; ++message)
        dialogs.expectMessage();
    press(view().singleImport);
}

void PanelHarness::importBatch(int otherMessages)
{
    for (int message = 0; message < otherMessages + 2; ++message)
        dialogs.expectMessage();
    press(view().batchImport);
}

void PanelHarness::selectCompany(const QString& name) const
{
    const int index = view().company->findText(name);
    if (index < 0)
        qFatal("The panel does not list the company %s", qUtf8Printable(name));
    view().company->setCurrentIndex(index);
}

void PanelHarness::noteMessages()
{
    dialogs.observer = [this](const ShownDialog& dialog) {
        if (dialog.kind == ShownDialog::Kind::Message)
            services.note(call("message", dialog.title, dialog.text));
    };
}

} // namespace KOZAV::Test

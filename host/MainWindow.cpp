#include "host/MainWindow.h"

#include "host/OrigFileModel.h"
#include "host/SiteAccess.h"
#include "services/ui/ZAV_UICommon.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QEvent>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QSplitter>
#include <QStatusBar>
#include <QTableView>
#include <QVBoxLayout>

namespace KOZAV::Host {

MainWindow::MainWindow(SiteAccess& site, QWidget* parent)
    : QMainWindow(parent)
    , m_site(site)
    , m_importPanel(new UI::ZAV_ImportFromFile_Widget(this))
    , m_files(new OrigFileModel(site, this))
    , m_fileTable(nullptr)
{
    setWindowTitle(QStringLiteral("料号数据管理"));
    resize(1180, 820);

    auto* splitter = new QSplitter(Qt::Vertical, this);
    splitter->addWidget(m_importPanel);
    splitter->addWidget(buildFileTable());
    splitter->setStretchFactor(1, 1);
    splitter->setChildrenCollapsible(false);
    setCentralWidget(splitter);

    m_importPanel->setAccessibleName(QStringLiteral("原始数据导入"));
    if (auto* bar = m_importPanel->findChild<QProgressBar*>())
        bar->installEventFilter(this);
    auto* siteLabel = new QLabel(site.description(), this);
    siteLabel->setTextFormat(Qt::PlainText);
    statusBar()->addWidget(siteLabel);

    connect(UI::ZAV_UICommon::interface(), &UI::ZAV_UICommon::origFileTableRefreshRequested, this,
            &MainWindow::reloadFiles);
    reloadFiles();
}

QWidget* MainWindow::buildFileTable()
{
    auto* box = new QWidget(this);
    auto* layout = new QVBoxLayout(box);
    auto* title = new QLabel(QStringLiteral("原始文件"), box);
    title->setObjectName(QStringLiteral("sectionTitle"));
    layout->addWidget(title);

    m_fileTable = new QTableView(box);
    m_fileTable->setModel(m_files);
    m_fileTable->setAccessibleName(QStringLiteral("原始文件"));
    m_fileTable->setAlternatingRowColors(true);
    m_fileTable->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_fileTable->setSelectionMode(QAbstractItemView::SingleSelection);
    m_fileTable->setWordWrap(false);
    m_fileTable->verticalHeader()->hide();
    m_fileTable->verticalHeader()->setDefaultSectionSize(28);
    QHeaderView* header = m_fileTable->horizontalHeader();
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->setStretchLastSection(true);
    const int widths[] = {190, 190, 130, 310, 90, 160, 90};
    for (int column = 0; column < OrigFileModel::ColumnCount; ++column)
        header->resizeSection(column, widths[column]);
    layout->addWidget(m_fileTable);
    return box;
}

void MainWindow::reloadFiles()
{
    m_files->reload();
    statusBar()->showMessage(QStringLiteral("共 %1 个原始文件").arg(m_files->rowCount()), 5000);
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event)
{
    // A batch import blocks the event loop from here on: paint its request not to close the program now.
    if (event->type() == QEvent::Show && watched->parent() != nullptr)
        repaint();
    return QMainWindow::eventFilter(watched, event);
}

} // namespace KOZAV::Host

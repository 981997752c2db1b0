#include "ui/import_list/ZAV_Import_Widget.h"

#include "services/ui/ZAV_UICommon.h"
#include "ui/import_from_file/StyleSheets.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSpacerItem>
#include <QTableWidget>
#include <QVBoxLayout>

namespace KOZAV::UI {

ZAV_Import_Widget::ZAV_Import_Widget(int mode, QWidget* parent)
    : QWidget(parent)
    , m_mode(mode)
{
    buildControls();
    buildLayout();
    InitImportTableWidget();
    FillImportTableWidget();
    connectControls();
}

ZAV_Import_Widget::ZAV_Import_Widget(QWidget* parent)
    : ZAV_Import_Widget(-1, parent)
{
}

ZAV_Import_Widget::~ZAV_Import_Widget() = default;

void ZAV_Import_Widget::setFlowGuid(const Import_Info& importInfo)
{
    m_importInfo = importInfo;
}

void ZAV_Import_Widget::buildControls()
{
    m_pFilterLE = new QLineEdit(this);
    m_pFilterLE->setPlaceholderText(QStringLiteral("请输入搜索项"));
    m_pFilterCMB = new QComboBox(this);
    m_pFilterCMB->addItem(QStringLiteral("全部"));
    m_pFilterCMB->setCurrentIndex(0);
    m_pTopSI = new QSpacerItem(3, 1, QSizePolicy::Expanding, QSizePolicy::Minimum);

    m_pImportTW = new QTableWidget(this);
    m_pImportTW->setStyleSheet(g_styleTableWidget);
    m_pImportTW->setAlternatingRowColors(true);

    m_pImportPB = new QPushButton(QStringLiteral("导入"), this);
    m_pRefreshPB = new QPushButton(QStringLiteral("刷新"), this);
    m_pImportPB->setStyleSheet(g_styleBlueButton);
    m_pRefreshPB->setStyleSheet(g_styleBlueButton);
    m_pBottomSI = new QSpacerItem(2, 1, QSizePolicy::Expanding, QSizePolicy::Minimum);
}

void ZAV_Import_Widget::buildLayout()
{
    m_pTopHL = new QHBoxLayout;
    m_pTopHL->addWidget(m_pFilterLE);
    m_pTopHL->addWidget(m_pFilterCMB);
    m_pTopHL->addItem(m_pTopSI);
    m_pBottomHL = new QHBoxLayout;
    m_pBottomHL->addItem(m_pBottomSI);
    m_pBottomHL->addWidget(m_pRefreshPB);
    m_pBottomHL->addWidget(m_pImportPB);
    m_pMainVL = new QVBoxLayout(this);
    m_pMainVL->addLayout(m_pTopHL);
    m_pMainVL->addWidget(m_pImportTW);
    m_pMainVL->addLayout(m_pBottomHL);
}

void ZAV_Import_Widget::connectControls()
{
    ZAV_UICommon* notifications = ZAV_UICommon::interface();
    connect(m_pImportPB, SIGNAL(clicked()), this, SLOT(on_m_pImportPB_Clicked()));
    connect(m_pRefreshPB, SIGNAL(clicked()), this, SLOT(updateImportJobTable()));
    connect(notifications, SIGNAL(refreshImportJobTable()), this, SLOT(updateImportJobTable()));
    connect(notifications, SIGNAL(import_to_ZAV(const QString&, const QString&, const QString&)), this,
            SLOT(on_import_import_to_ZAV(const QString&, const QString&, const QString&)));
    connect(m_pFilterLE, SIGNAL(textEdited(const QString&)), this,
            SLOT(on_m_pFilterLE_textEdited(const QString&)));
    connect(m_pFilterCMB, SIGNAL(currentIndexChanged(int)), this,
            SLOT(on_m_pFilterCMB_currentIndexChanged(int)));
    connect(notifications, SIGNAL(hasImportSuccess()), this, SLOT(s_hasImportSuccess()));
}

void ZAV_Import_Widget::InitImportTableWidget()
{
    m_pImportTW->setColumnCount(3);
    m_pImportTW->setHorizontalHeaderLabels(
        {QStringLiteral("flowId"), QStringLiteral("jobId"), QStringLiteral("料号名称")});
    m_pImportTW->setColumnHidden(0, true);
    m_pImportTW->setColumnHidden(1, true);
    m_pImportTW->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_pImportTW->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pImportTW->setSelectionBehavior(QAbstractItemView::SelectRows);
}

void ZAV_Import_Widget::showInformation(const QString& text)
{
    QMessageBox::information(this, QObject::tr("Information"), text, QMessageBox::Ok);
}

} // namespace KOZAV::UI

#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include "services/bll/Odbpp_CompanyBll.h"
#include "ui/import_from_file/StyleSheets.h"

#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSpacerItem>
#include <QVBoxLayout>
#include <QVariant>

#include <vector>

namespace KOZAV::UI {

namespace {

QPushButton* styledButton(const QString& text, const QString& styleSheet, QWidget* parent)
{
    auto* button = new QPushButton(text, parent);
    button->setStyleSheet(styleSheet);
    return button;
}

} // namespace

ZAV_ImportFromFile_Widget::ZAV_ImportFromFile_Widget(QWidget* parent)
    : QWidget(parent)
{
    init();
}

ZAV_ImportFromFile_Widget::~ZAV_ImportFromFile_Widget() = default;

void ZAV_ImportFromFile_Widget::init()
{
    initMultiImportBox();
    initSingleImportBox();

    m_pBottomSI = new QSpacerItem(1, 2, QSizePolicy::Minimum, QSizePolicy::Expanding);
    m_pMainVL = new QVBoxLayout(this);
    m_pMainVL->addWidget(m_pMultiImportGB);
    m_pMainVL->addWidget(m_pSingleImportGB);
    m_pMainVL->addItem(m_pBottomSI);

    m_nSingleImportType = 0;
    initConnections();
}

void ZAV_ImportFromFile_Widget::initMultiImportBox()
{
    m_pMultiImportGB = new QGroupBox(QStringLiteral("批量导入"), this);
    m_pMultiImportGB->setStyleSheet(g_styleGroupBox);

    m_pOpenFolderPB = styledButton(QStringLiteral("打开"), g_styleGreyButton, m_pMultiImportGB);
    m_pMultiImportPathLE = new QLineEdit(m_pMultiImportGB);
    m_pMultiImportPathLE->setReadOnly(true);
    m_pMultiImportPathClearPB = styledButton(QStringLiteral("清空"), g_styleGreyButton, m_pMultiImportGB);
    m_pMultiImportPathHL = new QHBoxLayout;
    m_pMultiImportPathHL->addWidget(m_pOpenFolderPB);
    m_pMultiImportPathHL->addWidget(m_pMultiImportPathLE);
    m_pMultiImportPathHL->addWidget(m_pMultiImportPathClearPB);

    m_pMultiImportPB = styledButton(QStringLiteral("导入"), g_styleBlueButton, m_pMultiImportGB);
    m_pMultiImportSI = new QSpacerItem(2, 1, QSizePolicy::Expanding, QSizePolicy::Minimum);
    m_pMultiImportHL = new QHBoxLayout;
    m_pMultiImportHL->addItem(m_pMultiImportSI);
    m_pMultiImportHL->addWidget(m_pMultiImportPB);

    m_pProcessingLB = new QLabel(QStringLiteral("处理中，请勿进行其他操作或关闭程序！"), m_pMultiImportGB);
    m_pProgressBar = new QProgressBar(m_pMultiImportGB);
    m_pProgressBar->setMaximumHeight(30);
    m_pProgressBar->setMaximumWidth(300);
    m_pProgressHL = new QHBoxLayout;
    m_pProcessingLB->setVisible(false);
    m_pProgressBar->setVisible(false);
    m_pProgressHL->addWidget(m_pProcessingLB);
    m_pProgressHL->addWidget(m_pProgressBar);

    m_pMultiImportVL = new QVBoxLayout(m_pMultiImportGB);
    m_pMultiImportVL->addLayout(m_pMultiImportPathHL);
    m_pMultiImportVL->addLayout(m_pMultiImportHL);
    m_pMultiImportVL->addLayout(m_pProgressHL);
}

void ZAV_ImportFromFile_Widget::initSingleImportBox()
{
    m_pSingleImportGB = new QGroupBox(QStringLiteral("导入"), this);
    m_pSingleImportGB->setStyleSheet(g_styleGroupBox);

    m_pOpenFilePB = styledButton(QStringLiteral("选择文件"), g_styleGreyButton, m_pSingleImportGB);
    m_pOpenDirPB = styledButton(QStringLiteral("选择文件夹"), g_styleGreyButton, m_pSingleImportGB);
    m_pSingleImportPathLE = new QLineEdit(m_pSingleImportGB);
    m_pSingleImportPathClearPB = styledButton(QStringLiteral("清空"), g_styleGreyButton, m_pSingleImportGB);

    m_pCompanyLB = new QLabel(QStringLiteral("单个导入前请选择公司名："), m_pSingleImportGB);
    m_pCompanyHL = new QHBoxLayout;
    m_pCompanyHL->addWidget(m_pCompanyLB);
    m_pCompanyCMB = new QComboBox(this);
    m_pCompanyHL->addWidget(m_pCompanyCMB);
    fillCompanyList();

    m_pSingleImportPathHL = new QHBoxLayout;
    m_pSingleImportPathHL->addWidget(m_pOpenFilePB);
    m_pSingleImportPathHL->addWidget(m_pOpenDirPB);
    m_pSingleImportPathHL->addWidget(m_pSingleImportPathLE);
    m_pSingleImportPathHL->addWidget(m_pSingleImportPathClearPB);

    m_pFileNameLB = new QLabel(QStringLiteral("文件名："), m_pSingleImportGB);
    m_pFileNameLE = new QLineEdit(m_pSingleImportGB);
    m_pFileNameHL = new QHBoxLayout;
    m_pFileNameHL->addWidget(m_pFileNameLB);
    m_pFileNameHL->addWidget(m_pFileNameLE);

    m_pSingleImportPB = styledButton(QStringLiteral("导入"), g_styleBlueButton, m_pSingleImportGB);
    m_pSingleImportSI = new QSpacerItem(2, 1, QSizePolicy::Expanding, QSizePolicy::Minimum);
    m_pSingleImportHL = new QHBoxLayout;
    // The combo box stands in the last row. Qt takes a widget out of its former layout by itself only where
    // that layout is already installed on the widget's parent, which these rows are not yet.
    m_pCompanyHL->removeWidget(m_pCompanyCMB);
    m_pSingleImportHL->addWidget(m_pCompanyCMB);
    m_pSingleImportHL->addItem(m_pSingleImportSI);
    m_pSingleImportHL->addWidget(m_pSingleImportPB);

    m_pSingleImportVL = new QVBoxLayout(m_pSingleImportGB);
    m_pSingleImportVL->addLayout(m_pSingleImportPathHL);
    m_pSingleImportVL->addLayout(m_pFileNameHL);
    m_pSingleImportVL->addLayout(m_pCompanyHL);
    m_pSingleImportVL->addLayout(m_pSingleImportHL);
}

void ZAV_ImportFromFile_Widget::fillCompanyList()
{
    DataLib::BLL::Odbpp_CompanyBll companyBll;
    std::vector<DataLib::Model::Odbpp_Company> companies;
    companyBll.select({}, {}, companies);
    for (const auto& company : companies) {
        if (company.companyCode == "web")
            continue;
        m_pCompanyCMB->insertItem(m_pCompanyCMB->count(), QIcon(),
                                  QString::fromStdString(company.companyLabel), QVariant());
    }
}

void ZAV_ImportFromFile_Widget::initConnections()
{
    connect(m_pOpenFolderPB, SIGNAL(clicked()), this, SLOT(on_m_pOpenFolderPB_clicked()));
    connect(m_pMultiImportPB, SIGNAL(clicked()), this, SLOT(on_m_pMultiImportPB_clicked()));
    connect(m_pMultiImportPathClearPB, SIGNAL(clicked()), this, SLOT(on_m_pMultiImportPathClearPB_clicked()));
    connect(m_pOpenFilePB, SIGNAL(clicked()), this, SLOT(on_m_pOpenFilePB_clicked()));
    connect(m_pOpenDirPB, SIGNAL(clicked()), this, SLOT(on_m_pOpenDirPB_clicked()));
    connect(m_pSingleImportPathClearPB, SIGNAL(clicked()), this,
            SLOT(on_m_pSingleImportPathClearPB_clicked()));
    connect(m_pSingleImportPB, SIGNAL(clicked()), this, SLOT(on_m_pSingleImportPB_clicked()));
}

void ZAV_ImportFromFile_Widget::setJobNameMap(const std::map<int, std::string>&)
{
    // The panel takes no job names from its host: _JobNameMap stays empty.
}

void ZAV_ImportFromFile_Widget::showCompanyNotFound(const QString& companyName)
{
    QMessageBox::information(this, QStringLiteral("公司名不存在"),
                             QStringLiteral("公司名 ") + companyName + QStringLiteral(" 不存在"),
                             QMessageBox::Ok);
}

} // namespace KOZAV::UI

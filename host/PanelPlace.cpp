// A panel is deleted with nothing of it on the stack: no slot, no dialog or box of it, no list that is
// dropped down. A thread of the CAM import may be fetching by it as well. Neither tells its end to this
// object in all cases, so a panel that is to go is looked at again until it can.

#include "host/PanelPlace.h"

#include "host/CamImport.h"
#include "host/PanelBoxes.h"
#include "host/PanelRun.h"
#include "host/core/RunGate.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QWheelEvent>

namespace KOZAV::Host {

namespace {

constexpr int retryMs = 200;

} // namespace

PanelPlace::PanelPlace(QWidget* parent)
    : QWidget(parent)
    , m_scroll(new QScrollArea(this))
    , m_notice(new QLabel(this))
    , m_addCompany(new QPushButton(tr("Add a &company…"), this))
    , m_dismiss(new QPushButton(tr("&Understood"), this))
{
    m_notice->setObjectName(QStringLiteral("panelNotice"));
    m_notice->setTextFormat(Qt::PlainText);
    m_notice->setWordWrap(true);
    m_addCompany->setObjectName(QStringLiteral("addCompanyButton"));
    m_dismiss->setObjectName(QStringLiteral("dismissNoticeButton"));
    m_scroll->setWidgetResizable(true);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setFocusPolicy(Qt::NoFocus);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_addCompany);
    buttons->addWidget(m_dismiss);
    auto* notice = new QVBoxLayout;
    notice->setContentsMargins(9, 6, 9, 0);
    notice->addWidget(m_notice);
    notice->addLayout(buttons);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(notice);
    layout->addWidget(m_scroll, 1);

    m_retry.setInterval(retryMs);
    connect(&m_retry, &QTimer::timeout, this, &PanelPlace::renewWhenIdle);
    connect(m_addCompany, &QPushButton::clicked, this, &PanelPlace::companiesWanted);
    connect(m_dismiss, &QPushButton::clicked, this, [this] {
        m_dropped.clear();
        showNotice();
    });
    place(new UI::ZAV_ImportFromFile_Widget(this));
    m_companies = listed();
    showNotice();
}

void PanelPlace::setUsers(PanelRun& run, CamImport& camImport)
{
    m_run = &run;
    m_camImport = &camImport;
}

/// The scroll area deletes the panel that it had.
void PanelPlace::place(UI::ZAV_ImportFromFile_Widget* panel)
{
    if (QWidget* former = m_scroll->takeWidget())
        former->deleteLater();
    m_panel = panel;
    m_panel->setAccessibleName(tr("Source data import"));
    const SingleBox single = singleBoxOf(*panel);
    const BatchBox batch = batchBoxOf(*panel);
    single.company->installEventFilter(this);
    single.company->setAccessibleName(tr("Company of the single import"));
    single.path->setAccessibleName(tr("Chosen archive or job folder"));
    batch.directory->setAccessibleName(tr("Chosen batch directory"));
    batch.importButton->setAccessibleName(tr("Import the batch"));
    single.importButton->setAccessibleName(tr("Import the single source"));
    batch.clearButton->setAccessibleName(tr("Clear the batch directory's field"));
    single.clearButton->setAccessibleName(tr("Clear the single source's fields"));
    m_scroll->setWidget(panel);
    m_scroll->setMinimumWidth(panel->minimumSizeHint().width() +
                              m_scroll->verticalScrollBar()->sizeHint().width());
    panel->show();
}

QStringList PanelPlace::listed() const
{
    const QComboBox* box = singleBoxOf(*m_panel).company;
    QStringList names;
    for (int index = 0; index < box->count(); ++index)
        names << box->itemText(index);
    return names;
}

void PanelPlace::showCompanies(const QStringList& names)
{
    m_companies = names;
    renewWhenIdle();
}

bool PanelPlace::isIdle() const
{
    return m_run && !m_run->isRunning() && !RunGate::isClosed() && !m_camImport->isRunning() &&
           !QApplication::activeModalWidget() && !QApplication::activePopupWidget() &&
           QApplication::mouseButtons() == Qt::NoButton;
}

void PanelPlace::renewWhenIdle()
{
    if (m_companies == listed())
        m_retry.stop();
    else if (isIdle())
        renew();
    else
        m_retry.start();
}

QStringList PanelPlace::chosen() const
{
    QStringList choices;
    if (!m_run->batchChoice().isEmpty())
        choices << tr("batch directory %1").arg(m_run->batchChoice());
    if (!m_run->singleChoice().isEmpty())
        choices << tr("single source %1").arg(m_run->singleChoice());
    return choices;
}

void PanelPlace::renew()
{
    m_retry.stop();
    QStringList dropped = chosen();
    const QComboBox* former = singleBoxOf(*m_panel).company;
    const QString company = former->currentText();
    const bool hadKeyboard = m_panel->isAncestorOf(QApplication::focusWidget());

    place(new UI::ZAV_ImportFromFile_Widget(this));
    // What it lists is what counts, also where the site has changed once more.
    m_companies = listed();
    QComboBox* box = singleBoxOf(*m_panel).company;
    if (const int same = box->findText(company); same >= 0)
        box->setCurrentIndex(same);
    else if (!company.isEmpty())
        dropped << tr("company %1").arg(company);
    if (hadKeyboard)
        batchBoxOf(*m_panel).openButton->setFocus(Qt::OtherFocusReason);

    m_run->setPanel(*m_panel);
    m_camImport->setPanel(*m_panel);
    Q_EMIT renewed();
    if (!dropped.isEmpty()) {
        m_dropped = tr("The companies of the site have changed, and the panel with them. Choose again: %1")
                        .arg(dropped.join(QStringLiteral("; ")));
        Q_EMIT choiceDropped(m_dropped);
    }
    showNotice();
}

void PanelPlace::showNotice()
{
    const bool none = m_companies.isEmpty();
    m_notice->setText(none ? tr("There is no company yet. Jobs are imported for a company: add one first.")
                           : m_dropped);
    m_notice->setVisible(!m_notice->text().isEmpty());
    m_addCompany->setVisible(none);
    m_dismiss->setVisible(!none && !m_dropped.isEmpty());
}

bool PanelPlace::eventFilter(QObject* watched, QEvent* event)
{
    const auto* box = qobject_cast<QComboBox*>(watched);
    if (box && event->type() == QEvent::Wheel && !box->view()->isVisible()) {
        // Not taken, so that it goes on to the scroll area.
        event->ignore();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace KOZAV::Host

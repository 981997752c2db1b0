#include "host/PanelTidying.h"

#include "host/PanelRun.h"
#include "host/site/SiteAccess.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QTimer>

namespace KOZAV::Host {

using Backend::OperationEvent;
using Backend::ServiceOperation;
using Backend::ServiceWait;

namespace {

/// Of the box that the panel shows for an entry whose company is not found or refuses it a number.
const QString& refusalTitle()
{
    static const QString title = QStringLiteral("公司名不存在");
    return title;
}

} // namespace

PanelTidying::PanelTidying(SiteAccess& site, const PanelRun& run, QObject* parent)
    : QObject(parent)
    , m_site(site)
    , m_run(run)
{
    connect(&run, &PanelRun::begins, this, &PanelTidying::begin);
    connect(&run, &PanelRun::ended, this, &PanelTidying::end);
    connect(&site, &SiteAccess::serviceCalled, this, &PanelTidying::noteCall);
    connect(&site, &SiteAccess::serviceWaits, this, [this](const ServiceWait& wait) {
        if (wait.gaveUp && wait.cause == ServiceWait::Cause::Part)
            giveUp();
    });
}

void PanelTidying::begin()
{
    m_staged.clear();
    m_gaveUp = m_answersAll = false;
}

void PanelTidying::end()
{
    QCoreApplication::instance()->removeEventFilter(this);
    m_gaveUp = m_answersAll = false;
    m_site.removeStagedCopies(m_staged);
    m_staged.clear();
}

void PanelTidying::noteCall(const OperationEvent& event)
{
    if (!m_run.isRunning())
        return;
    const bool isArchive = event.operation == ServiceOperation::MongodbPut;
    if (isArchive)
        m_staged << event.storedName;
    // With each entry it may be another company's turn, which can be imported.
    if (isArchive || event.operation == ServiceOperation::FoldersCompressSave2MongoDb)
        m_gaveUp = false;
    if (event.gaveUp)
        giveUp();
}

/// Boxes are looked for only from here on: a filter of the application sees every event.
void PanelTidying::giveUp()
{
    m_gaveUp = m_run.isRunning();
    if (m_gaveUp)
        QCoreApplication::instance()->installEventFilter(this);
}

void PanelTidying::answerAll()
{
    m_answersAll = true;
    giveUp();
}

bool PanelTidying::eventFilter(QObject* watched, QEvent* event)
{
    if ((m_gaveUp || m_answersAll) && event->type() == QEvent::Show) {
        auto* box = qobject_cast<QMessageBox*>(watched);
        // The box runs an event loop of its own, in which it is answered.
        if (box && box->parent() == &m_run.panel() && (m_answersAll || box->windowTitle() == refusalTitle()))
            QTimer::singleShot(0, box, &QDialog::accept);
    }
    return QObject::eventFilter(watched, event);
}

} // namespace KOZAV::Host

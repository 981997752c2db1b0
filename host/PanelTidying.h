#pragma once

#include "backend/HostInterface.h"

#include <QObject>
#include <QStringList>

namespace KOZAV::Host {

class PanelRun;
class SiteAccess;

/// Tidies up after the file import panel, which leaves the staged copy of each archive where it made it, and
/// has one message box for whatever goes wrong: when an import has ended, the copies that it made go. The
/// boxes are answered of entries that the services have not tried, since the batch has given up waiting for a
/// server or a company, or since the operator has ended it: one would come for each of them, and what became
/// of those the report tells.
class PanelTidying final : public QObject
{
    Q_OBJECT
public:
    /// @param run  of the panel; outlives this object, as the site does
    PanelTidying(SiteAccess& site, const PanelRun& run, QObject* parent = nullptr);

    /// Answers all boxes of the panel until its run has ended: the operator has ended it.
    void answerAll();

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void begin();
    void end();
    void noteCall(const Backend::OperationEvent& event);
    void giveUp();

    SiteAccess& m_site;
    const PanelRun& m_run;
    QStringList m_staged;  ///< names of the copies, as the run's calls stored them
    bool m_gaveUp = false; ///< whether the entry that is imported is one of those
    bool m_answersAll = false;
};

} // namespace KOZAV::Host

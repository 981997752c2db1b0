#pragma once

#include "host/core/RunRecord.h"

#include <QJsonObject>
#include <QObject>
#include <QTimer>

#include <vector>

namespace KOZAV::Host {

class PanelReport;
class PanelRun;
class SiteAccess;
class SourceWatch;

/// Makes the results of each run of the file import panel, has them kept with the site and shown. What is
/// found of a source after its run changes the results, here as in what is kept.
class RunResults final : public QObject
{
    Q_OBJECT
public:
    /// To be made after all that follow the run to tell something of it, and before who shows its report.
    /// All of them outlive this object.
    RunResults(SiteAccess& site, const PanelRun& run, PanelReport& reports, const SourceWatch& sources,
               QObject* parent = nullptr);
    ~RunResults() override;

    /// The results of a run are made by conclude() alone from now on: for who has more to tell of a run after
    /// it has ended.
    void waitForConclusion() { m_waits = true; }
    /// Makes the results of the last run of what its report says now, and has them kept. Where that fails,
    /// the report and the results have a remark that says so, and it is tried again when the site can be
    /// reached.
    const RunRecord& conclude();

    /// Of the last run; without a key before the first.
    [[nodiscard]] const RunRecord& last() const { return m_last; }

Q_SIGNALS:
    /// A run has ended.
    void concluded(const KOZAV::Host::RunRecord& run);
    /// More is known of the last one.
    void amended(const KOZAV::Host::RunRecord& run);
    /// What the site keeps has changed.
    void kept();

private:
    void makeLast(const QString& guid);
    void keepLast();
    void amend();
    QString keepUnkept();

    SiteAccess& m_site;
    PanelReport& m_reports;
    RunRecord m_last;
    std::vector<RunRecord> m_unkept; ///< what could not be written yet
    QTimer m_late;                   ///< runs while something found late is not written yet
    bool m_waits = false;
};

/// What the results of a run do not know of where they were made: further members of their JSON document.
QJsonObject besideResults(const SiteAccess& site, int exitCode);

} // namespace KOZAV::Host

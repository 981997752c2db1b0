#pragma once

#include "tests/support/FreshSite.h"
#include "tests/support/RobotPeer.h"

#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <vector>

namespace KOZAV::Test {

/// What the trials of this program have come to.
struct TrialTally
{
    int points = 0;
    int lost = 0;              ///< a job, its content or its manifest is nowhere at the end
    int falselySuccessful = 0; ///< told as imported, or exit code 0, and not there whole
    int falselyFailed = 0;     ///< told as not imported, and there whole
    int duplicates = 0;        ///< a job is there more than once at the end
    int unexplained = 0;       ///< findings of a check that the fault does not explain, or cannot be mended
    QMap<QString, int> found;  ///< the kinds that checks have found after the faults, and how often

    /// One line with all figures.
    [[nodiscard]] QString text() const;
};

/// How a run of the client that was disturbed has ended.
struct DisturbedRun
{
    bool killed = false;
    int exitCode = 0;
    QString output;
};

/// A site, a small batch and a robot, and the judge of what a disturbed import has left of them.
///
/// The judge asks the site itself, never the client: a job is there when its import is complete, it is
/// neither failed nor voided, and its stored file is fetched and is the batch's. What the client has told is
/// compared with that. Then an administrator's check and repair have their turn, then the operator, who
/// imports what is missing: at the end every job is there once, and every manifest in its folder or in its
/// job's rows.
class ImportTrial final
{
public:
    /// @param tally     counts what the judge finds; outlives this object
    /// @param oneWaits  the batch is imported already, and what is disturbed is the request for a job of it
    explicit ImportTrial(TrialTally& tally, bool oneWaits = false);

    [[nodiscard]] const FreshSite& site() const { return m_site; }
    [[nodiscard]] QString batch() const;
    [[nodiscard]] quint16 robotPort() const { return m_robot.port(); }
    /// Arguments of the client for the import or the request.
    [[nodiscard]] QStringList arguments() const;

    /// Sets site and batch back, on an embedded site only. No client may be running.
    void restore();

    /// Judges a disturbed run, counts it, and has the operator do the rest.
    /// @param explained  kinds of findings of a check that the fault explains
    /// @return what is wrong; empty where nothing is
    QString judge(const DisturbedRun& run, const QSet<QString>& explained);

private:
    struct Entry
    {
        QString name; ///< in the batch
        QString base; ///< of the job
        QByteArray content;
    };
    /// One of a check.
    struct Finding
    {
        QString kind;
        QString text;
    };

    void judgeBatch(const DisturbedRun& run, const QSet<QString>& explained);
    void judgeRequest(const DisturbedRun& run, const QSet<QString>& explained);
    void compareWithReport(const DisturbedRun& run);
    void checkAndRepair(const QSet<QString>& explained);
    void importTheRest();
    void expectAllOnce();
    void expectManifest(const DisturbedRun& run);
    void expectCleanSite();
    [[nodiscard]] std::vector<Backend::JobRecord> wholeJobs(const Entry& entry) const;
    [[nodiscard]] std::vector<Finding> check(const QStringList& repair);
    [[nodiscard]] int documentsReceived();
    void complain(int& figure, const QString& what);

    TrialTally& m_tally;
    FreshSite m_site;
    const bool m_oneWaits;
    RobotPeer m_robot{RobotPeer::Mode::Answer};
    std::vector<Entry> m_entries;
    QTemporaryDir m_template;
    QString m_waitingJob;
    int m_documentsBefore = 0;
    QStringList m_faults; ///< of the trial that is being judged
};

} // namespace KOZAV::Test

#pragma once

#include "backend/HostInterface.h"

#include <QByteArray>
#include <QFile>
#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

namespace KOZAV::Host {

class PanelRun;
class PanelReport;
class SiteAccess;

/// Keeps the job manifests of a batch until their jobs are imported. The panel reads a folder's readme.json
/// and deletes it before it packs the folder: of a job that is then refused, or whose import ends with the
/// program, the manifest's texts stand nowhere else.
///
/// Before a batch starts, copies of all manifests are written into the work folder. A copy is dropped when
/// the last row of its job is written with the manifest's texts; of a row with others, which the panel writes
/// where it could not read the manifest, the report has a warning. After the batch, and at the next start
/// where the program was ended, the others go back into their folders; never over anything that is there. A
/// readme.json that is no regular file is neither followed nor read.
class ManifestKeeper final : public QObject
{
    Q_OBJECT
public:
    /// @param run  of the file import panel; outlives this object, as the site does
    ManifestKeeper(SiteAccess& site, const PanelRun& run, PanelReport& reports, QObject* parent = nullptr);
    /// Puts back what a batch that was prepared and not run has left to do.
    ~ManifestKeeper() override;

    /// Puts back what programs that were ended have left, and removes their work files.
    void recover();

    /// A job of the batch under way is not imported after all, or not with what its manifest says: the
    /// manifest goes back as well.
    void keepAgain(const QString& folder);

    /// What was told so far, in words.
    [[nodiscard]] const QStringList& remarks() const { return m_remarks; }

Q_SIGNALS:
    /// A manifest is in the job folder again.
    void putBack(const QString& folder);
    /// It is not, or was not kept at all.
    void lost(const QString& folder, const QString& reason);

private:
    struct Copy
    {
        int number = -1;   ///< of its line in the journal
        QByteArray digest; ///< of the manifest's texts, which may be long
    };

    void keep(const QString& batchDirectory);
    void serviceCalled(const Backend::OperationEvent& event);
    void lastRowCalled(const Backend::OperationEvent& event);
    void restore();
    void restoreFrom(const QString& journal);
    bool restoreOne(const QString& folder, const QByteArray& content, bool mayWait);
    void tellLost(const QString& folder, const QString& reason);

    SiteAccess& m_site;
    PanelReport& m_reports;
    QFile m_journal;             ///< open while there are copies
    QHash<QString, Copy> m_kept; ///< by their job folders
    QString m_current;           ///< the folder that was stored last; empty: none that has a copy
    QString m_storedName;        ///< what it was stored as
    QStringList m_remarks;
    int m_batches = 0;
};

} // namespace KOZAV::Host

#pragma once

#include "services/ServicesExport.h"

#include <QObject>
#include <QString>

namespace KOZAV::UI {

/// Notifications between the panels and their host. Lives on the GUI thread.
class KOZAV_SERVICES_API ZAV_UICommon : public QObject
{
    Q_OBJECT
public:
    /// The shared object; owned by the library, valid for the life of the process.
    static ZAV_UICommon* interface();

    /// Asks the host to reload its table of original files: emits origFileTableRefreshRequested().
    void refreshOrigFileTable();

    /// Hands a job-information text to the host: emits emitCAMImportJobInfo().
    void sendemitCAMImportJobInfo(const QString& jobInfo);

Q_SIGNALS:
    /// The list of waiting jobs has changed.
    void refreshImportJobTable();
    /// A processed job is to be uploaded; the meaning of the texts is the host's and the database API's.
    void import_to_ZAV(const QString& first, const QString& second, const QString& third);
    /// The CAM import of the announced job has succeeded.
    void hasImportSuccess();
    /// For the host: the table of original files is to be reloaded.
    void origFileTableRefreshRequested();
    /// For the host: a job is to be imported, as the text says.
    void emitCAMImportJobInfo(const QString& jobInfo);

private:
    explicit ZAV_UICommon(QObject* parent = nullptr);
};

} // namespace KOZAV::UI

#pragma once

#include "host/odb/Matrix.h"

#include <QMetaType>
#include <QString>

namespace KOZAV::Host {

/// An ODB++ job as it lies unpacked on disk.
struct OdbJob
{
    QString folder; ///< the job's own folder
    QString name;   ///< the folder's name
    Matrix matrix;
    QString error; ///< why the folder holds no job that can be opened; empty where it does
};

/// Opens the job in an unpacked folder, recognised by its content: a "matrix/matrix" file in the folder
/// itself or in one folder within it (job archives hold the job's folder).
OdbJob openOdbJob(const QString& folder);

} // namespace KOZAV::Host

Q_DECLARE_METATYPE(KOZAV::Host::OdbJob)

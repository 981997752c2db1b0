#pragma once

#include <QtGlobal>

#include <functional>

namespace KOZAV::Backend {

/// How far a migration has come.
struct MigrationProgress
{
    enum class Phase { Checking, Files, Rows, Verifying };

    Phase phase = Phase::Checking;
    qint64 files = 0; ///< done, of filesTotal
    qint64 filesTotal = 0;
    qint64 bytes = 0; ///< done, of the bytes of files that have to be copied
    qint64 bytesTotal = 0;
    qint64 rows = 0; ///< done in this phase, of rowsTotal
    qint64 rowsTotal = 0;
};

/// Is told of every step, on any thread, one call at a time.
using MigrationObserver = std::function<void(const MigrationProgress&)>;

} // namespace KOZAV::Backend

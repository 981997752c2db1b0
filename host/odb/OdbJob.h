#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>

#include <vector>

namespace KOZAV::Host {

/// A step (a board, a panel, ...) of an ODB++ job.
struct MatrixStep
{
    int column = 0;
    QString name;
};

/// A layer of an ODB++ job. Texts are as the matrix has them.
struct MatrixLayer
{
    int row = 0;
    QString context; ///< "BOARD" or "MISC"
    QString type;    ///< "SIGNAL", "DRILL", "SOLDER_MASK", ...
    QString name;
    QString polarity;
    QString startName; ///< first and last layer that a drill goes through; empty: all
    QString endName;
    [[nodiscard]] bool isBoard() const
    {
        return context.compare(QLatin1String("BOARD"), Qt::CaseInsensitive) == 0;
    }
};

/// The matrix of an ODB++ job: which steps and layers it has.
struct Matrix
{
    std::vector<MatrixStep> steps;   ///< by column
    std::vector<MatrixLayer> layers; ///< by row, from the top of the board down
    QString error;                   ///< what is wrong and in which line; empty where it was read
};

/// Reads the text of "matrix/matrix": blocks "STEP { KEY=VALUE ... }" and "LAYER { ... }". Other blocks and
/// keys are passed over. A matrix without a step or without a layer is an error.
Matrix readMatrix(const QByteArray& text);

/// An ODB++ job as it lies unpacked on disk.
struct OdbJob
{
    QString folder; ///< the job's own folder
    QString name;   ///< the folder's name
    Matrix matrix;
    QString error; ///< why the folder holds no job that can be opened; empty where it does
};

/// Opens the job in an unpacked folder, recognised by its content: a "matrix/matrix" file in the folder
/// itself or in one folder within it (job archives hold the job's folder). Only a regular file is read, and
/// no symbolic link is followed to it.
OdbJob openOdbJob(const QString& folder);

} // namespace KOZAV::Host

Q_DECLARE_METATYPE(KOZAV::Host::OdbJob)

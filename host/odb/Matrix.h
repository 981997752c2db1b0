#pragma once

#include <QByteArray>
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

} // namespace KOZAV::Host

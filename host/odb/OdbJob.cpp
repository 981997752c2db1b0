// The matrix is the table of contents of an ODB++ job: blocks of KEY=VALUE lines, one for each step and each
// layer. Keys and names of blocks count without case, blocks of other kinds are passed over, and a missing
// name or number is an error with its line, because a stack with a layer left out would look like a good one.
// A job is known by its matrix, not by the name of its folder: archives hold the job with or without a folder
// around it.

#include "host/odb/OdbJob.h"

#include "host/odb/WorkFolder.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QList>
#include <QStringList>

#include <algorithm>

namespace KOZAV::Host {

namespace {

using Fields = QHash<QString, QString>;

/// Reads line by line; a block is taken when it is closed.
class MatrixReader final
{
public:
    Matrix read(const QByteArray& text)
    {
        for (const QByteArray& line : text.split('\n')) {
            ++m_line;
            if (!readLine(QString::fromUtf8(line.trimmed())))
                return m_matrix;
        }
        finish();
        return m_matrix;
    }

private:
    bool fail(const QString& what)
    {
        m_matrix.error = QStringLiteral("matrix line %1: %2").arg(m_line).arg(what);
        return false;
    }

    bool readLine(const QString& line)
    {
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            return true;
        if (m_block.isEmpty())
            return openBlock(line);
        if (line == QLatin1String("}"))
            return closeBlock();
        const auto equals = line.indexOf(QLatin1Char('='));
        if (equals < 1)
            return fail(QStringLiteral("\"%1\" is not of the form KEY=VALUE").arg(line.left(40)));
        m_fields.insert(line.left(equals).trimmed().toUpper(), line.mid(equals + 1).trimmed());
        return true;
    }

    bool openBlock(const QString& line)
    {
        if (!line.endsWith(QLatin1Char('{')) || line.size() < 2)
            return fail(QStringLiteral("\"%1\" does not begin a block").arg(line.left(40)));
        m_block = line.chopped(1).trimmed().toUpper();
        m_fields.clear();
        return true;
    }

    bool closeBlock()
    {
        const QString block = m_block;
        m_block.clear();
        if (block == QLatin1String("STEP"))
            return takeStep();
        return block != QLatin1String("LAYER") || takeLayer();
    }

    bool number(const QString& key, int& value)
    {
        bool ok = false;
        value = m_fields.value(key).toInt(&ok);
        return ok || fail(QStringLiteral("%1 is missing or not a number").arg(key));
    }

    bool takeStep()
    {
        MatrixStep step;
        step.name = m_fields.value(QStringLiteral("NAME"));
        if (step.name.isEmpty())
            return fail(QStringLiteral("the step has no name"));
        if (!number(QStringLiteral("COL"), step.column))
            return false;
        m_matrix.steps.push_back(step);
        return true;
    }

    bool takeLayer()
    {
        MatrixLayer layer;
        layer.name = m_fields.value(QStringLiteral("NAME"));
        if (layer.name.isEmpty())
            return fail(QStringLiteral("the layer has no name"));
        if (!number(QStringLiteral("ROW"), layer.row))
            return false;
        layer.context = m_fields.value(QStringLiteral("CONTEXT"));
        layer.type = m_fields.value(QStringLiteral("TYPE"));
        layer.polarity = m_fields.value(QStringLiteral("POLARITY"));
        layer.startName = m_fields.value(QStringLiteral("START_NAME"));
        layer.endName = m_fields.value(QStringLiteral("END_NAME"));
        m_matrix.layers.push_back(layer);
        return true;
    }

    void finish()
    {
        if (!m_block.isEmpty())
            fail(QStringLiteral("the last block is not closed"));
        else if (m_matrix.steps.empty())
            fail(QStringLiteral("there is no step"));
        else if (m_matrix.layers.empty())
            fail(QStringLiteral("there is no layer"));
        std::stable_sort(m_matrix.steps.begin(), m_matrix.steps.end(),
                         [](const MatrixStep& a, const MatrixStep& b) { return a.column < b.column; });
        std::stable_sort(m_matrix.layers.begin(), m_matrix.layers.end(),
                         [](const MatrixLayer& a, const MatrixLayer& b) { return a.row < b.row; });
    }

    int m_line = 0;
    QString m_block;
    Fields m_fields;
    Matrix m_matrix;
};

} // namespace

Matrix readMatrix(const QByteArray& text)
{
    return MatrixReader().read(text);
}

namespace {

/// A matrix is a small text; what is larger is none.
constexpr qint64 largestMatrix = 64LL * 1024 * 1024;

/// Where a job may lie in an unpacked folder: in the folder itself (an empty text), or in one within it.
QStringList jobFolders(const QString& folder)
{
    return QStringList(QString()) +
           QDir(folder).entryList(QDir::Dirs | QDir::NoSymLinks | QDir::NoDotAndDotDot | QDir::Hidden);
}

QString matrixPath(const QString& jobFolder)
{
    const QString inTheJob = QStringLiteral("matrix/matrix");
    return jobFolder.isEmpty() ? inTheJob : jobFolder + QLatin1Char('/') + inTheJob;
}

OdbJob readJob(const QString& folder, QFile& matrix)
{
    OdbJob job;
    job.folder = folder;
    job.name = QDir(folder).dirName();
    if (matrix.size() > largestMatrix) {
        job.error =
            QStringLiteral("the matrix cannot be read: it is longer than %1 bytes").arg(largestMatrix);
        return job;
    }
    job.matrix = readMatrix(matrix.read(largestMatrix));
    job.error = job.matrix.error;
    return job;
}

bool isAbsence(const std::error_code& error)
{
    return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
}

} // namespace

OdbJob openOdbJob(const QString& folder)
{
    WorkFolder work;
    QString refusal;
    for (const QString& jobFolder : work.open(folder) ? QStringList() : jobFolders(folder)) {
        QFile matrix;
        const std::error_code error = work.openFile(matrixPath(jobFolder), matrix);
        if (!error)
            return readJob(QDir(folder).filePath(jobFolder), matrix);
        if (refusal.isEmpty() && !isAbsence(error))
            refusal =
                QStringLiteral("%1 cannot be read: %2").arg(matrixPath(jobFolder), WorkFolder::reason(error));
    }
    OdbJob none;
    none.error =
        refusal.isEmpty() ? QStringLiteral("there is no matrix/matrix: this is not an ODB++ job") : refusal;
    return none;
}

} // namespace KOZAV::Host

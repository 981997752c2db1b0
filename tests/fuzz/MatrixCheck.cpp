// The matrix of an ODB++ job: an input is the file's bytes.

#include "host/odb/OdbJob.h"
#include "tests/fuzz/FuzzTarget.h"

#include <QRegularExpression>

#include <algorithm>

namespace KOZAV::Test {

namespace {

using Host::Matrix;
using Host::MatrixLayer;
using Host::MatrixStep;
using Host::readMatrix;

QByteArray written(const Matrix& matrix)
{
    QString text;
    for (const MatrixStep& step : matrix.steps)
        text += QStringLiteral("STEP {\nCOL=%1\nNAME=%2\n}\n").arg(QString::number(step.column), step.name);
    for (const MatrixLayer& layer : matrix.layers) {
        text += QStringLiteral("LAYER {\nROW=%1\nCONTEXT=%2\nTYPE=%3\nNAME=%4\nPOLARITY=%5\nSTART_NAME=%6\n"
                               "END_NAME=%7\n}\n")
                    .arg(QString::number(layer.row), layer.context, layer.type, layer.name, layer.polarity,
                         layer.startName, layer.endName);
    }
    return text.toUtf8();
}

bool sameLayer(const MatrixLayer& a, const MatrixLayer& b)
{
    return a.row == b.row && a.context == b.context && a.type == b.type && a.name == b.name &&
           a.polarity == b.polarity && a.startName == b.startName && a.endName == b.endName;
}

bool same(const Matrix& a, const Matrix& b)
{
    return a.error == b.error &&
           std::equal(a.steps.begin(), a.steps.end(), b.steps.begin(), b.steps.end(),
                      [](const MatrixStep& x, const MatrixStep& y) {
                          return x.column == y.column && x.name == y.name;
                      }) &&
           std::equal(a.layers.begin(), a.layers.end(), b.layers.begin(), b.layers.end(), sameLayer);
}

QString errorViolation(const Matrix& matrix, const QByteArray& text)
{
    static const QRegularExpression form(QStringLiteral("^matrix line (\\d+): ."),
                                         QRegularExpression::DotMatchesEverythingOption);
    const auto match = form.match(matrix.error);
    const int line = match.captured(1).toInt();
    if (line < 1 || line > text.count('\n') + 1 || matrix.error.size() > 200)
        return QStringLiteral("the error is '%1'").arg(matrix.error);
    return {};
}

/// What was read is complete, in order, bounded by the text, and the same when it is written and read again.
QString contentViolation(const Matrix& matrix, const QByteArray& text)
{
    const auto nameless = [](const auto& part) { return part.name.isEmpty(); };
    const auto& [steps, layers, error] = matrix;
    if (steps.empty() || layers.empty() || std::any_of(steps.begin(), steps.end(), nameless) ||
        std::any_of(layers.begin(), layers.end(), nameless))
        return QStringLiteral("an incomplete matrix is taken for a good one");
    if (static_cast<int>(steps.size() + layers.size()) > text.count('}'))
        return QStringLiteral("there are more steps and layers than blocks");
    if (!std::is_sorted(steps.begin(), steps.end(),
                        [](const auto& a, const auto& b) { return a.column < b.column; }) ||
        !std::is_sorted(layers.begin(), layers.end(),
                        [](const auto& a, const auto& b) { return a.row < b.row; }))
        return QStringLiteral("the matrix is not in order");
    const Matrix again = readMatrix(written(matrix));
    return same(matrix, again) ? QString()
                               : QStringLiteral("written again, it is another matrix: ") + again.error;
}

FuzzVerdict check(const QByteArray& input)
{
    const Matrix matrix = readMatrix(input);
    const bool read = matrix.error.isEmpty();
    const bool atEnd = !read && matrix.error.contains(QLatin1String("there is no"));
    return {read ? contentViolation(matrix, input) : errorViolation(matrix, input), read    ? "matrix"
                                                                                    : atEnd ? "incomplete"
                                                                                            : "refused"};
}

const RegisteredFuzzTarget registered({"matrix",
                                       check,
                                       {"STEP {\n",
                                        "LAYER {\n",
                                        "}\n",
                                        "{",
                                        "}",
                                        "=",
                                        "\n",
                                        "\r\n",
                                        "NAME=",
                                        "ROW=",
                                        "COL=1\n",
                                        "ROW=-1\n",
                                        "NAME=a\n",
                                        "CONTEXT=BOARD\n",
                                        "TYPE=SIGNAL\n",
                                        "#",
                                        "99999999999",
                                        "\xef\xbb\xbf",
                                        "\xe3\x80\x80",
                                        "\xff",
                                        QByteArray(1, '\0')},
                                       {"matrix", "incomplete", "refused"},
                                       30'000});

} // namespace

} // namespace KOZAV::Test

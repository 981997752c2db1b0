#include "samples/JobGenerator.h"

#include "samples/Folders.h"
#include "samples/JobTexts.h"
#include "samples/JobTree.h"
#include "samples/SizeText.h"
#include "samples/StepWriter.h"
#include "samples/SymbolTable.h"
#include "samples/WriteError.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace KOZAV::Samples {

namespace {

constexpr int kMaximumSteps = 20;
constexpr int kMaximumLayers = 64;

/// What a step with one feature in each layer takes, rounded up.
quint64 smallestStep(std::size_t layers)
{
    return 14000 + layers * 2150;
}

quint64 smallestSize(int steps, int copperLayers)
{
    return 24000 + static_cast<quint64>(steps) * smallestStep(layerStack(copperLayers).size());
}

void writeMatrixAndMisc(JobTree& tree, const JobPlan& plan)
{
    std::vector<QByteArray> steps;
    for (const StepPlan& step : plan.steps)
        steps.push_back(step.name);
    for (const char* folder : {"matrix", "misc", "fonts", "input", "user"})
        tree.makeFolder(QString::fromLatin1(folder));
    tree.writeWithSum(QStringLiteral("matrix/matrix"), matrixText(steps, plan.layers));
    tree.writeWithSum(QStringLiteral("misc/info"), jobInfo(plan));
    tree.writeWithSum(QStringLiteral("misc/attrlist"), jobAttributes(plan));
    tree.write(QStringLiteral("misc/sysattr"), systemAttributes(plan));
    tree.write(QStringLiteral("misc/job_name"), plan.name + "\n");
    tree.write(QStringLiteral("misc/last_save"),
               plan.savedAt.toString(QStringLiteral("yyyyMMdd.HHmmss")).toLatin1() + "\n");
    tree.write(QStringLiteral("fonts/standard"), standardFont(plan.seed));
}

void writeSymbols(JobTree& tree, const JobPlan& plan)
{
    for (const QByteArray& symbol : userSymbols()) {
        const QString folder = QStringLiteral("symbols/") + QString::fromLatin1(symbol);
        tree.makeFolder(folder);
        tree.writeWithSum(folder + QStringLiteral("/features"), userSymbolFeatures(symbol, plan.board));
    }
}

void writeSteps(JobTree& tree, const JobPlan& plan)
{
    quint64 weightLeft = 0;
    quint64 reserved = 0;
    for (const StepPlan& step : plan.steps) {
        weightLeft += step.weight();
        reserved += smallestStep(plan.layers.size());
    }
    for (const StepPlan& step : plan.steps) {
        const quint64 used = tree.bytes() + reserved;
        const quint64 left = plan.bytes > used ? plan.bytes - used : 0;
        const quint64 share = smallestStep(plan.layers.size()) + left * step.weight() / weightLeft;
        StepWriter(tree, plan, step, tree.bytes() + share).write();
        weightLeft -= step.weight();
        reserved -= smallestStep(plan.layers.size());
    }
}

JobResult writeFolder(const QString& path, const JobPlan& plan)
{
    JobTree tree(path, plan.savedAt);
    RemovalGuard unfinished(path);
    writeMatrixAndMisc(tree, plan);
    writeSymbols(tree, plan);
    writeSteps(tree, plan);
    stampTree(path, plan.savedAt);
    unfinished.keep();
    return {QString(), path, tree.files(), tree.bytes(), 0, plan.savedAt};
}

JobResult writePacked(const JobRequest& request, const QString& archivePath, const JobPlan& plan)
{
    if (QFileInfo::exists(archivePath))
        throw WriteError(QStringLiteral("%1 exists already").arg(archivePath));
    makeFolder(request.directory);
    const QTemporaryDir work(request.directory + QStringLiteral("/.zav_samples-XXXXXX"));
    if (!work.isValid())
        throw WriteError(
            QStringLiteral("cannot make a folder in %1: %2").arg(request.directory, work.errorString()));
    JobResult result = writeFolder(work.filePath(QString::fromLatin1(plan.name)), plan);
    const ArchiveResult packed = writeArchive(
        {result.path, QString::fromLatin1(plan.name), archivePath, *request.archive, plan.savedAt});
    if (!packed.ok())
        throw WriteError(packed.error);
    stampTree(archivePath, plan.savedAt);
    result.path = archivePath;
    result.archiveBytes = packed.bytes;
    return result;
}

QString archiveName(const JobRequest& request)
{
    if (!request.archiveName.isEmpty())
        return request.archiveName;
    return request.name + QLatin1Char('.') + archiveSuffix(*request.archive);
}

std::optional<QString> invalidName(const QString& name)
{
    static const QRegularExpression kJobName(QStringLiteral("\\A[A-Za-z0-9_+-]{1,64}\\z"));
    if (kJobName.match(name).hasMatch())
        return std::nullopt;
    return QStringLiteral("\"%1\" is no job name: 1 to 64 letters, digits, \"_\", \"+\" or \"-\"").arg(name);
}

std::optional<QString> outside(const char* what, int number, int last)
{
    if (number >= 1 && number <= last)
        return std::nullopt;
    return QStringLiteral("the number of %1 must be 1 to %2, not %3")
        .arg(QString::fromLatin1(what))
        .arg(last)
        .arg(number);
}

std::optional<QString> invalidSize(const JobRequest& request)
{
    if (request.bytes < kSmallestJob || request.bytes > kLargestJob)
        return QStringLiteral("a job has %1 to %2, not %3")
            .arg(readableSize(kSmallestJob), readableSize(kLargestJob), readableSize(request.bytes));
    const quint64 smallest = smallestSize(request.steps, request.layers);
    if (request.bytes >= smallest)
        return std::nullopt;
    return QStringLiteral("a job with so many steps and layers takes at least %1K")
        .arg((smallest + 1023) / 1024);
}

} // namespace

std::optional<QString> invalidJobRequest(const JobRequest& request)
{
    if (auto error = invalidName(request.name))
        return error;
    if (auto error = outside("steps", request.steps, kMaximumSteps))
        return error;
    if (auto error = outside("layers", request.layers, kMaximumLayers))
        return error;
    return invalidSize(request);
}

JobResult generateJob(const JobRequest& request)
{
    JobResult result;
    if (const auto error = invalidJobRequest(request)) {
        result.error = *error;
        return result;
    }
    const QString name = request.name.toLower();
    const JobPlan plan = planJob(name.toLatin1(), request.seed, request.bytes, request.steps, request.layers);
    const QDir directory(request.directory);
    try {
        return request.archive ? writePacked(request, directory.filePath(archiveName(request)), plan)
                               : writeFolder(directory.filePath(name), plan);
    } catch (const WriteError& error) {
        result.error = error.text();
        return result;
    }
}

} // namespace KOZAV::Samples

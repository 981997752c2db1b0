#include "host/core/BatchLinks.h"

#include "ui/import_from_file/BatchDirectory.h"

#include <QFileInfo>

#include <optional>

namespace KOZAV::Host {

namespace {

std::optional<LinkOut> leadingOut(const QFileInfo& entry, const QString& root)
{
    if (!entry.isSymLink())
        return std::nullopt;
    const QString target = entry.canonicalFilePath();
    if (target == root || target.startsWith(root + QLatin1Char('/')))
        return std::nullopt;
    return LinkOut{UI::batchEntryPath(entry), target};
}

} // namespace

std::vector<LinkOut> linksOutOf(const QString& batchDirectory)
{
    std::vector<LinkOut> links;
    if (batchDirectory.isEmpty())
        return links;
    const QString root = QFileInfo(batchDirectory).canonicalFilePath();
    for (const QFileInfo& company : UI::batchCompanies(batchDirectory)) {
        if (const auto link = leadingOut(company, root)) {
            // What it holds lies where it leads to.
            links.push_back(*link);
            continue;
        }
        for (const QFileInfo& job : UI::batchJobs(UI::batchEntryPath(company))) {
            if (const auto link = leadingOut(job, root))
                links.push_back(*link);
        }
    }
    return links;
}

} // namespace KOZAV::Host

#include "samples/BatchListing.h"

#include "samples/SizeText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace KOZAV::Samples {

namespace {

QString entryKindName(EntryKind kind)
{
    switch (kind) {
    case EntryKind::Folder:
        return QStringLiteral("folder");
    case EntryKind::Archive:
        return QStringLiteral("archive");
    case EntryKind::Refused:
        return QStringLiteral("refused");
    }
    return {};
}

QJsonObject jsonOf(const BatchEntry& entry)
{
    return {{QStringLiteral("name"), entry.name},
            {QStringLiteral("kind"), entryKindName(entry.kind)},
            {QStringLiteral("manifest"), manifestKindName(entry.manifest)},
            {QStringLiteral("resource"), entry.texts.resource},
            {QStringLiteral("customer2"), entry.texts.customer2},
            {QStringLiteral("customer3"), entry.texts.customer3},
            {QStringLiteral("files"), static_cast<qint64>(entry.files)},
            {QStringLiteral("bytes"), static_cast<qint64>(entry.bytes)}};
}

QJsonArray jsonOf(const std::vector<BatchEntry>& entries)
{
    QJsonArray array;
    for (const BatchEntry& entry : entries)
        array.append(jsonOf(entry));
    return array;
}

QJsonObject jsonOf(const BatchCompany& company)
{
    return {{QStringLiteral("name"), company.name},
            {QStringLiteral("code"), company.code},
            {QStringLiteral("known"), company.isKnown()},
            {QStringLiteral("entries"), jsonOf(company.entries)}};
}

QString lineOf(const BatchEntry& entry)
{
    QString line = QStringLiteral("  %1  %2").arg(entryKindName(entry.kind), -7).arg(entry.name);
    line += QStringLiteral("  (%1 files, %2").arg(entry.files).arg(readableSize(entry.bytes));
    if (entry.manifest != ManifestKind::None)
        line += QStringLiteral(", manifest %1").arg(manifestKindName(entry.manifest));
    return line + QStringLiteral(")\n");
}

} // namespace

QByteArray jsonListing(const BatchRequest& request, const BatchResult& result)
{
    QJsonArray companies;
    for (const BatchCompany& company : result.companies)
        companies.append(jsonOf(company));
    const QJsonObject listing{{QStringLiteral("directory"), request.directory},
                              {QStringLiteral("seed"), QString::number(request.seed)},
                              {QStringLiteral("companies"), companies},
                              {QStringLiteral("outside"), jsonOf(result.outside)}};
    return QJsonDocument(listing).toJson();
}

QString textListing(const BatchResult& result)
{
    QString text;
    for (const BatchCompany& company : result.companies) {
        text += company.isKnown() ? QStringLiteral("%1 [%2]\n").arg(company.name, company.code)
                                  : QStringLiteral("%1 (known to no site)\n").arg(company.name);
        for (const BatchEntry& entry : company.entries)
            text += lineOf(entry);
    }
    text += QStringLiteral("beside the companies\n");
    for (const BatchEntry& entry : result.outside)
        text += lineOf(entry);
    return text;
}

} // namespace KOZAV::Samples

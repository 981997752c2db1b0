#include "host/core/ForesightModel.h"

#include "host/core/Reasons.h"

#include <QLocale>

#include <algorithm>

namespace KOZAV::Host {

namespace {

/// What was found of an entry, in the operator's language: the reason, or its warnings.
QStringList meaningsOf(const ForeseenEntry& entry)
{
    QStringList texts;
    if (!entry.reasonCode.isEmpty())
        texts << reasonText(entry.reasonCode);
    for (const Remark& warning : entry.warnings)
        texts << reasonText(warning.code);
    texts.removeAll(QString());
    return texts;
}

/// A code's meaning and advice, and beneath it the particulars as logs and scripts have them.
QString meaningWith(const QString& code, const QString& text)
{
    QStringList parts = {reasonText(code), reasonAdvice(code)};
    parts.removeAll(QString());
    return parts.join(QLatin1Char(' ')) + QLatin1Char('\n') + text;
}

} // namespace

QString bytesText(qint64 bytes)
{
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

void ForesightModel::add(const ForesightPiece& piece)
{
    if (piece.walk) {
        beginResetModel();
        piece.addTo(m_foreseen);
        endResetModel();
        return;
    }
    piece.addTo(m_foreseen);
    if (piece.entries.empty())
        return;
    const auto isLess = [](const auto& one, const auto& other) { return one.first < other.first; };
    const auto [first, last] = std::minmax_element(piece.entries.begin(), piece.entries.end(), isLess);
    Q_EMIT dataChanged(index(static_cast<int>(first->first), 0),
                       index(static_cast<int>(last->first), WhyColumn));
}

void ForesightModel::clear()
{
    beginResetModel();
    m_foreseen = {};
    endResetModel();
}

const ForeseenEntry& ForesightModel::entry(int row) const
{
    return m_foreseen.entries[static_cast<std::size_t>(row)];
}

bool ForesightModel::matches(int row, Show show, const QString& text) const
{
    const ForeseenEntry& one = entry(row);
    const bool isImported = one.outlook == Outlook::Imported;
    if ((show == Show::Imported && !isImported) ||
        (show == Show::Warned && (!isImported || one.warnings.empty())) ||
        (show == Show::NotImported && one.outlook != Outlook::NotImported) ||
        (show == Show::Open && one.outlook != Outlook::Open))
        return false;
    if (text.isEmpty())
        return true;
    const QString all = one.company + QLatin1Char('\n') + one.entry + QLatin1Char('\n') +
                        meaningsOf(one).join(QLatin1Char('\n'));
    const QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    return std::all_of(words.begin(), words.end(),
                       [&all](const QString& word) { return all.contains(word, Qt::CaseInsensitive); });
}

QString ForesightModel::details(int row) const
{
    const ForeseenEntry& one = entry(row);
    QStringList texts;
    if (!one.reasonCode.isEmpty())
        texts << meaningWith(one.reasonCode, one.reason);
    for (const Remark& warning : one.warnings)
        texts << meaningWith(warning.code, warning.text);
    return texts.join(QStringLiteral("\n\n"));
}

int ForesightModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_foreseen.entries.size());
}

int ForesightModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : WhyColumn + 1;
}

QVariant ForesightModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const ForeseenEntry& one = entry(index.row());
    if (role == sortRole && index.column() == BytesColumn)
        return one.bytes;
    if (role == Qt::TextAlignmentRole && index.column() == BytesColumn)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole && role != sortRole)
        return {};
    switch (index.column()) {
    case CompanyColumn:
        return one.company;
    case EntryColumn:
        return one.entry;
    case OutlookColumn:
        if (one.outlook == Outlook::NotImported)
            return tr("no");
        if (one.outlook == Outlook::Open)
            return tr("not known yet");
        return one.warnings.empty() ? tr("yes") : tr("yes, with warnings");
    case WhyColumn:
        return meaningsOf(one).join(QLatin1Char(' '));
    case BytesColumn:
        return one.bytes < 0 ? QString() : bytesText(one.bytes);
    default:
        return {};
    }
}

QVariant ForesightModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    const QStringList titles = {tr("Company"), tr("Entry"), tr("Imported?"), tr("Size"), tr("Why")};
    return titles.value(section);
}

} // namespace KOZAV::Host

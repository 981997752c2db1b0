#include "terminal/TextTable.h"

#include "terminal/PrintableText.h"

#include <algorithm>

namespace KOZAV::Terminal {

TextTable::TextTable(QStringList header)
{
    m_rows.push_back(std::move(header));
}

void TextTable::alignRight(const std::set<int>& columns)
{
    m_rightAligned = columns;
}

void TextTable::addRow(const QStringList& cells)
{
    QStringList row;
    for (const QString& cell : cells)
        row << printable(cell);
    m_rows.push_back(row);
}

std::vector<int> TextTable::columnWidths() const
{
    std::vector<int> widths = m_taken;
    widths.resize(static_cast<std::size_t>(m_rows.front().size()), 0);
    for (const QStringList& row : m_rows) {
        for (int column = 0; column < row.size(); ++column) {
            int& width = widths[static_cast<std::size_t>(column)];
            width = std::max(width, displayWidth(row[column]));
        }
    }
    return widths;
}

QString TextTable::takeLines()
{
    const bool isFirst = m_taken.empty();
    m_taken = columnWidths();
    QString lines = linesFrom(isFirst ? 0 : 1, m_taken);
    m_rows.resize(1);
    return lines;
}

QString TextTable::toString() const
{
    return linesFrom(0, columnWidths());
}

QString TextTable::linesFrom(std::size_t first, const std::vector<int>& widths) const
{
    QString text;
    for (std::size_t number = first; number < m_rows.size(); ++number) {
        const QStringList& row = m_rows[number];
        QString line;
        for (int column = 0; column < row.size(); ++column) {
            const QString padding(widths[static_cast<std::size_t>(column)] - displayWidth(row[column]),
                                  QLatin1Char(' '));
            if (column > 0)
                line += QLatin1String("  ");
            line += m_rightAligned.count(column) > 0 ? padding + row[column] : row[column] + padding;
        }
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        text += line + QLatin1Char('\n');
    }
    return text;
}

} // namespace KOZAV::Terminal

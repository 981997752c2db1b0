#pragma once

#include <QString>
#include <QStringList>

#include <set>
#include <vector>

namespace KOZAV::Terminal {

/// A table for terminals: a header line and aligned columns. Cells are made printable.
class TextTable final
{
public:
    explicit TextTable(QStringList header);

    /// Columns (from 0) whose cells stand at the right, as numbers do.
    void alignRight(const std::set<int>& columns);
    /// A row of as many cells as the header has.
    void addRow(const QStringList& cells);
    [[nodiscard]] int rowCount() const { return static_cast<int>(m_rows.size()) - 1; }

    /// The lines of the rows since the last call, and takes them off: for tables that are written as they
    /// grow. The header comes with the first ones; columns only get wider.
    [[nodiscard]] QString takeLines();

    /// Every line ends with a newline. Without rows: the header alone.
    [[nodiscard]] QString toString() const;

private:
    [[nodiscard]] std::vector<int> columnWidths() const;
    [[nodiscard]] QString linesFrom(std::size_t first, const std::vector<int>& widths) const;

    std::vector<QStringList> m_rows; ///< the header first
    std::set<int> m_rightAligned;
    std::vector<int> m_taken; ///< widths of what was taken so far; empty: nothing was
};

} // namespace KOZAV::Terminal

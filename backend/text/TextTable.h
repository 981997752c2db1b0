#pragma once

#include "kozav_backend_export.h"

#include <QString>
#include <QStringList>

#include <set>
#include <vector>

namespace KOZAV::Backend {

/// Columns that a text takes in a terminal: East Asian wide and fullwidth characters take two, combining
/// marks none.
KOZAV_BACKEND_EXPORT int displayWidth(const QString& text);

/// The text with control characters written as escapes ("\n", "\x1b"), so that a stored name cannot drive a
/// terminal.
KOZAV_BACKEND_EXPORT QString printable(const QString& text);

/// A table for terminals: a header line and aligned columns. Cells are made printable.
class KOZAV_BACKEND_EXPORT TextTable final
{
public:
    explicit TextTable(QStringList header);

    /// Columns (from 0) whose cells stand at the right, as numbers do.
    void alignRight(const std::set<int>& columns);
    /// A row of as many cells as the header has.
    void addRow(const QStringList& cells);
    [[nodiscard]] int rowCount() const { return static_cast<int>(m_rows.size()) - 1; }

    /// Every line ends with a newline. Without rows: the header alone.
    [[nodiscard]] QString toString() const;

private:
    [[nodiscard]] std::vector<int> columnWidths() const;

    std::vector<QStringList> m_rows; ///< the header first
    std::set<int> m_rightAligned;
};

} // namespace KOZAV::Backend

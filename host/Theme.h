#pragma once

#include <QColor>
#include <QString>

#include <vector>

class QApplication;
class QTableView;

namespace KOZAV::Host {

/// Gives the whole client the panels' theme, and to all that the panels do not have a look that goes with it.
void applyTheme(QApplication& application);
/// The style sheet of both.
[[nodiscard]] QString clientStyleSheet();

/// Colours of texts that say how something is, to be read on every background of the client.
[[nodiscard]] QColor goodTextColor();
[[nodiscard]] QColor warningTextColor();
[[nodiscard]] QColor badTextColor();

/// How the client's tables look: whole rows, alternating colours, the given column widths, the last column to
/// the edge; their rows can be copied.
void applyTableLook(QTableView& table, const std::vector<int>& columnWidths);

/// The text as a tool tip shows it: one with markup, which Qt would take for its own, as the characters it
/// has.
QString plainToolTip(const QString& text);

} // namespace KOZAV::Host

#pragma once

#include <QString>

class QAbstractItemView;
class QWidget;

namespace KOZAV::Host {

/// The selected rows of a view as text: a line for each, in the order in which they stand, with tabs between
/// what is seen of its columns. A tab or an end of line in a cell becomes a blank.
[[nodiscard]] QString selectedRows(const QAbstractItemView& view);

/// Gives the view a context menu with its actions, the first of which copies the selected rows.
void offerCopying(QAbstractItemView& view);

/// Copies the selected rows of the view that the widget is, or lies in. @return false where there are none
bool copyRowsOf(QWidget* widget);

} // namespace KOZAV::Host

#include "host/TableLook.h"

#include <QHeaderView>
#include <QTableView>

namespace KOZAV::Host {

void applyTableLook(QTableView& table, const std::vector<int>& columnWidths)
{
    table.setAlternatingRowColors(true);
    table.setSelectionBehavior(QAbstractItemView::SelectRows);
    table.setSelectionMode(QAbstractItemView::SingleSelection);
    table.setWordWrap(false);
    table.setTabKeyNavigation(false);
    table.verticalHeader()->hide();
    table.verticalHeader()->setDefaultSectionSize(28);
    QHeaderView* header = table.horizontalHeader();
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setHighlightSections(false);
    header->setStretchLastSection(true);
    int column = 0;
    for (const int width : columnWidths)
        header->resizeSection(column++, width);
}

} // namespace KOZAV::Host

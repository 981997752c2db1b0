#include "host/RowCopy.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QMenu>
#include <QTableView>

#include <algorithm>
#include <vector>

namespace KOZAV::Host {

namespace {

/// The columns that are seen, from the left.
std::vector<int> seenColumns(const QAbstractItemView& view)
{
    const auto* table = qobject_cast<const QTableView*>(&view);
    const int count = view.model()->columnCount(view.rootIndex());
    std::vector<int> columns;
    for (int place = 0; place < count; ++place) {
        const int column = table ? table->horizontalHeader()->logicalIndex(place) : place;
        if (!table || !table->isColumnHidden(column))
            columns.push_back(column);
    }
    return columns;
}

} // namespace

QString selectedRows(const QAbstractItemView& view)
{
    if (!view.selectionModel())
        return {};
    QModelIndexList rows = view.selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    const std::vector<int> columns = seenColumns(view);
    QString text;
    for (const QModelIndex& row : rows) {
        QStringList cells;
        for (const int column : columns)
            cells << row.sibling(row.row(), column).data().toString().simplified();
        text += cells.join(QLatin1Char('\t')) + QLatin1Char('\n');
    }
    return text;
}

void offerCopying(QAbstractItemView& view)
{
    auto* copy = new QAction(QCoreApplication::translate("KOZAV::Host::RowCopy", "&Copy rows"), &view);
    copy->setObjectName(QStringLiteral("copyRows"));
    QObject::connect(copy, &QAction::triggered, &view, [&view] { copyRowsOf(&view); });
    view.addAction(copy);
    view.setContextMenuPolicy(Qt::ActionsContextMenu);
}

bool copyRowsOf(QWidget* widget)
{
    for (; widget; widget = widget->parentWidget()) {
        if (const auto* view = qobject_cast<const QAbstractItemView*>(widget)) {
            const QString text = selectedRows(*view);
            if (!text.isEmpty())
                QApplication::clipboard()->setText(text);
            return !text.isEmpty();
        }
    }
    return false;
}

} // namespace KOZAV::Host

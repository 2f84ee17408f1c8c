#include "widgets/selectionmodelnodeselect.h"

SelectionModelNoDeselect::SelectionModelNoDeselect(QAbstractItemModel *model, QObject *parent)
    : QItemSelectionModel(model, parent)
{
}

void SelectionModelNoDeselect::select(const QModelIndex &index, QItemSelectionModel::SelectionFlags command)
{
    // An invalid index is what a click on empty space selects.
    if (index.isValid()) {
        QItemSelectionModel::select(index, command);
    }
}

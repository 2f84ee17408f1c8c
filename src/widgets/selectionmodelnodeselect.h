#pragma once

#include <QItemSelectionModel>

/// A selection model that keeps its selection when the user clicks on empty space.
class SelectionModelNoDeselect final : public QItemSelectionModel
{
    Q_OBJECT

public:
    SelectionModelNoDeselect(QAbstractItemModel *model, QObject *parent);

    using QItemSelectionModel::select;

public slots:
    void select(const QModelIndex &index, QItemSelectionModel::SelectionFlags command) override;
};

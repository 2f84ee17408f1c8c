#pragma once

#include <QElapsedTimer>
#include <QSet>
#include <QTimer>
#include <QTreeWidget>

class CellDelegate;
class DeviceItem;

/// The list of devices, made for thousands of rows that change by themselves. Its rows are DeviceItems. A row
/// keeps its values and says that they changed; some 16 times a second the list takes up what was said, sorts
/// if it must, and paints. In a list that is at rest a change shows at once. Sorting is the list's own
/// business: the toolkit's would follow every single row.
class DeviceList final : public QTreeWidget
{
    Q_OBJECT

public:
    explicit DeviceList(QWidget *parent = nullptr);

    void setSelectionModel(QItemSelectionModel *selectionModel) override;
    /// Takes the row over. It comes last, and finds its place when the list next takes up what changed.
    void addRow(DeviceItem *row);
    /// Removes these rows and deletes them.
    void removeRows(const QSet<QTreeWidgetItem *> &rows);
    /// The row of an index of this list.
    const DeviceItem *rowOf(const QModelIndex &index) const;
    /// What the list says in its middle while it has no rows, and while all of them are filtered out.
    void setHints(const QString &empty, const QString &allHidden);
    /// What it says there now; empty beside rows.
    QString hint() const;

    /// Said by the rows: a cell of this column has another value.
    void valueChanged(int column);
    /// Said by the rows: a colour has changed.
    void lookChanged();

    /// Whether something changed that is not yet taken up.
    bool hasChanges() const { return m_changes.isActive(); }

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void startDrag(Qt::DropActions supportedActions) override;
    void paintEvent(QPaintEvent *event) override;
    void drawRow(QPainter *painter, const QStyleOptionViewItem &option,
                 const QModelIndex &index) const override;

private:
    bool isPlain(const QStyleOptionViewItem &option, const QModelIndex &index) const;
    void takeUpChanges();
    void sortRows();
    bool sortIsDue() const;
    QModelIndex lastInView() const;
    QTreeWidgetItem *currentWithout(const QSet<QTreeWidgetItem *> &rows) const;
    QVector<int> selectedRowsInOrder() const;
    QString selectedText() const;

    /// Belongs to the list.
    CellDelegate *m_delegate;
    /// Runs from a change until it is taken up.
    QTimer m_changes;
    QElapsedTimer m_sinceUpdate;
    /// One bit for each column that has changed since the rows were sorted.
    quint32 m_unsorted = 0;
    QElapsedTimer m_sinceSort;
    /// Milliseconds that sorting took when it was last done.
    qint64 m_sortTime = 0;
    QString m_emptyHint;
    QString m_allHiddenHint;
};

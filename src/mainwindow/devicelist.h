#pragma once

#include <QSet>
#include <QTimer>
#include <QTreeWidget>

/// The list of devices, made for thousands of rows that change by themselves. Painting it costs about as much
/// as handling a hundred answers, and so does finding the places of new rows; so both are done a few times a
/// second while answers come in, and not for each of them. What the user does in a list that is at rest shows
/// at once.
class DeviceList final : public QTreeWidget
{
    Q_OBJECT

public:
    explicit DeviceList(QWidget *parent = nullptr);

    /// Removes these rows and deletes them.
    void removeRows(const QSet<QTreeWidgetItem *> &rows);
    /// Adds a row and takes it over; its place among the others follows within a tenth of a second.
    void addRow(QTreeWidgetItem *row);

    void dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                     const QVector<int> &roles = QVector<int>()) override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void pauseSorting();

    bool m_changed = false;
    /// Runs while nothing is painted.
    QTimer m_paintPause;
    /// Runs while rows stay where they are.
    QTimer m_sortPause;
};

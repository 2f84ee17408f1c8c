#include "mainwindow/devicelist.h"

#include "common/plainline.h"

#include <QAccessible>
#include <QHeaderView>
#include <QStyledItemDelegate>

#include <algorithm>
#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds paintPause = 60ms;
constexpr std::chrono::milliseconds sortPause = 100ms;

/// Longer than any text that a device means to show.
constexpr int maximumCellText = 256;

/// Shows a cell's text in one line of bounded length, whatever a device put into it: line breaks would make
/// every row as high as the one that holds them.
class CellDelegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QString displayText(const QVariant &value, const QLocale &locale) const override
    {
        return plainLine(QStyledItemDelegate::displayText(value, locale), maximumCellText);
    }
};

} // namespace

DeviceList::DeviceList(QWidget *parent)
    : QTreeWidget(parent)
{
    setItemDelegate(new CellDelegate(this));
    m_paintPause.setSingleShot(true);
    m_paintPause.setInterval(paintPause);
    connect(&m_paintPause, &QTimer::timeout, this, [this] { viewport()->setUpdatesEnabled(true); });
    m_sortPause.setSingleShot(true);
    m_sortPause.setInterval(sortPause);
    connect(&m_sortPause, &QTimer::timeout, this, [this] { setSortingEnabled(true); });
}

void DeviceList::addRow(QTreeWidgetItem *row)
{
    pauseSorting();
    addTopLevelItem(row);
}

void DeviceList::removeRows(const QSet<QTreeWidgetItem *> &rows)
{
    // With a current or selected row among them the list would look for the next one, and lay itself out, row
    // by row.
    const int current = currentIndex().row();
    setCurrentIndex(QModelIndex());
    clearSelection();
    for (int i = topLevelItemCount() - 1; i >= 0; --i) {
        if (rows.contains(topLevelItem(i))) {
            delete takeTopLevelItem(i);
        }
    }
    if (current >= 0 && topLevelItemCount() > 0) {
        // Where the keyboard goes on.
        setCurrentItem(topLevelItem(std::min(current, topLevelItemCount() - 1)), 0,
                       QItemSelectionModel::NoUpdate);
    }
}

void DeviceList::pauseSorting()
{
    if (!isSortingEnabled()) {
        return;
    }
    setSortingEnabled(false);
    // The mark in the header stays, and so does what a click on it means for the sorting to come.
    header()->setSortIndicatorShown(true);
    header()->setSectionsClickable(true);
    m_sortPause.start();
}

void DeviceList::dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                             const QVector<int> &roles)
{
    m_changed = true;
    if (QAccessible::isActive()) {
        QTreeWidget::dataChanged(topLeft, bottomRight, roles);
    } else {
        // Without looking where in the list the cell is, which takes the longer the more rows there are.
        viewport()->update();
    }
}

void DeviceList::paintEvent(QPaintEvent *event)
{
    QTreeWidget::paintEvent(event);
    if (m_changed) {
        m_changed = false;
        // Switched on again, the viewport is painted as a whole, so nothing of the pause is lost.
        viewport()->setUpdatesEnabled(false);
        m_paintPause.start();
    }
}

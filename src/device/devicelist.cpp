#include "device/devicelist.h"

#include "common/plainline.h"
#include "device/celldelegate.h"
#include "device/deviceitem.h"

#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QDrag>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <chrono>

using namespace std::chrono_literals;

namespace {

/// Between two times at which changes are taken up. Short enough that nobody sees it, and long enough that
/// painting costs little beside what it shows.
constexpr std::chrono::milliseconds updatePause = 60ms;

/// Sorting a long list over and over leaves the rest of the time for everything else.
constexpr int sortingShare = 10;

constexpr quint32 allColumns = ~0U;

constexpr quint32 bitOf(int column)
{
    return 1U << static_cast<unsigned>(column);
}

/// A cell for a spreadsheet, which must not take what a device says for a formula.
QString asTableCell(const QString &text)
{
    // A quotation mark would go on to the next one, over all cells in between.
    static const QString beginnings = QStringLiteral("=+-@\"");
    const QString line = plainLine(text, maximumCellText);
    return line.isEmpty() || !beginnings.contains(line.front()) ? line : QLatin1Char(' ') + line;
}

} // namespace

DeviceList::DeviceList(QWidget *parent)
    : QTreeWidget(parent)
    , m_delegate(new CellDelegate(this))
{
    setItemDelegate(m_delegate);
    header()->setSectionsClickable(true);
    header()->setSortIndicatorShown(true);
    header()->setTextElideMode(Qt::ElideRight);
    connect(header(), &QHeaderView::sortIndicatorChanged, this, &DeviceList::sortRows);
    m_changes.setSingleShot(true);
    connect(&m_changes, &QTimer::timeout, this, &DeviceList::takeUpChanges);
}

void DeviceList::setSelectionModel(QItemSelectionModel *selectionModel)
{
    QTreeWidget::setSelectionModel(selectionModel);
    // Whenever it is painted the header asks for each of its sections whether all rows are selected, and that
    // looks at all rows. Nothing of it shows: so the header knows of no selection.
    header()->setSelectionModel(new QItemSelectionModel(model(), header()));
}

void DeviceList::addRow(DeviceItem *row)
{
    addTopLevelItem(row);
    m_unsorted = allColumns;
    lookChanged();
}

void DeviceList::removeRows(const QSet<QTreeWidgetItem *> &rows)
{
    if (rows.size() == topLevelItemCount()) {
        clear();
        return;
    }
    // With a current or selected row among them the list would look for the next one, and lay itself out, row
    // by row.
    QTreeWidgetItem *const current = currentWithout(rows);
    setCurrentIndex(QModelIndex());
    clearSelection();
    for (int end = topLevelItemCount(); end > 0;) {
        int begin = end;
        while (begin > 0 && rows.contains(topLevelItem(begin - 1))) {
            --begin;
        }
        if (begin < end) {
            model()->removeRows(begin, end - begin);
        }
        end = begin - 1;
    }
    if (current) {
        setCurrentItem(current, 0, QItemSelectionModel::NoUpdate);
    }
}

/// Where the keyboard goes on once these rows are gone: where it is, or in the next row below or above that
/// is shown.
QTreeWidgetItem *DeviceList::currentWithout(const QSet<QTreeWidgetItem *> &rows) const
{
    if (!currentItem() || !rows.contains(currentItem())) {
        return currentItem();
    }
    const int current = currentIndex().row();
    const auto stays = [this, &rows](int row) {
        return !rows.contains(topLevelItem(row)) && !topLevelItem(row)->isHidden();
    };
    for (int row = current + 1; row < topLevelItemCount(); ++row) {
        if (stays(row)) {
            return topLevelItem(row);
        }
    }
    for (int row = current - 1; row >= 0; --row) {
        if (stays(row)) {
            return topLevelItem(row);
        }
    }
    return nullptr;
}

const DeviceItem *DeviceList::rowOf(const QModelIndex &index) const
{
    return static_cast<const DeviceItem *>(itemFromIndex(index));
}

void DeviceList::setHints(const QString &empty, const QString &allHidden)
{
    m_emptyHint = empty;
    m_allHiddenHint = allHidden;
    viewport()->update();
}

void DeviceList::keyPressEvent(QKeyEvent *event)
{
    if (!event->matches(QKeySequence::Copy)) {
        QTreeWidget::keyPressEvent(event);
        return;
    }
    const QString text = selectedText();
    if (!text.isEmpty()) {
        QApplication::clipboard()->setText(text);
    }
}

void DeviceList::mousePressEvent(QMouseEvent *event)
{
    // From a row that is not selected yet the mouse goes on to select, and with a key to choose among rows.
    setDragEnabled(event->button() == Qt::LeftButton && event->modifiers() == Qt::NoModifier &&
                   selectionModel()->isSelected(indexAt(event->pos())));
    QTreeWidget::mousePressEvent(event);
}

void DeviceList::startDrag(Qt::DropActions supportedActions)
{
    Q_UNUSED(supportedActions)
    auto *const rows = new QMimeData;
    rows->setText(selectedText());
    auto *const drag = new QDrag(this);
    drag->setMimeData(rows);
    drag->exec(Qt::CopyAction);
}

QVector<int> DeviceList::selectedRowsInOrder() const
{
    QVector<int> rows;
    const QItemSelection selection = selectionModel()->selection();
    for (const QItemSelectionRange &range : selection) {
        for (int row = range.top(); row <= range.bottom(); ++row) {
            if (!topLevelItem(row)->isHidden()) {
                rows.append(row);
            }
        }
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

/// The selected rows as they are shown: a line each, with tabs between the columns.
QString DeviceList::selectedText() const
{
    QString text;
    const QVector<int> rows = selectedRowsInOrder();
    for (const int row : rows) {
        const auto *const item = static_cast<const DeviceItem *>(topLevelItem(row));
        QStringList cells;
        for (int place = 0; place < columnCount(); ++place) {
            const int column = header()->logicalIndex(place);
            if (!isColumnHidden(column)) {
                cells.append(asTableCell(item->shownText(column, locale())));
            }
        }
        text += cells.join(QLatin1Char('\t')) + QLatin1Char('\n');
    }
    return text;
}

QString DeviceList::hint() const
{
    if (indexAt(QPoint(0, 0)).isValid()) {
        return {};
    }
    return topLevelItemCount() == 0 ? m_emptyHint : m_allHiddenHint;
}

void DeviceList::paintEvent(QPaintEvent *event)
{
    QTreeWidget::paintEvent(event);
    const QString text = hint();
    if (text.isEmpty()) {
        return;
    }
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::PlaceholderText));
    const int margin = 2 * fontMetrics().height();
    painter.drawText(viewport()->rect().adjusted(margin, margin, -margin, -margin),
                     Qt::AlignCenter | Qt::TextWordWrap, text);
}

void DeviceList::valueChanged(int column)
{
    m_unsorted |= bitOf(column);
    lookChanged();
}

void DeviceList::lookChanged()
{
    if (m_changes.isActive()) {
        return;
    }
    const qint64 passed = m_sinceUpdate.isValid() ? m_sinceUpdate.elapsed() : updatePause / 1ms;
    m_changes.start(static_cast<int>(std::max<qint64>(updatePause / 1ms - passed, 0)));
}

void DeviceList::takeUpChanges()
{
    m_sinceUpdate.start();
    if (sortColumn() >= 0 && (m_unsorted & bitOf(sortColumn())) != 0) {
        if (sortIsDue()) {
            // Layout and painting follow in turns of their own.
            sortRows();
            return;
        }
        m_changes.start(updatePause);
    }
    // Only the rows in view: what is out of view is asked for when it comes into view. Of a single row the
    // toolkit would paint one cell.
    dataChanged(indexAt(QPoint(0, 0)), lastInView());
    viewport()->update();
}

bool DeviceList::sortIsDue() const
{
    return !m_sinceSort.isValid() || m_sinceSort.elapsed() >= sortingShare * m_sortTime;
}

void DeviceList::sortRows()
{
    QElapsedTimer clock;
    clock.start();
    model()->sort(sortColumn(), header()->sortIndicatorOrder());
    m_unsorted = 0;
    m_sortTime = clock.elapsed();
    m_sinceSort.start();
}

void DeviceList::drawRow(QPainter *painter, const QStyleOptionViewItem &option,
                         const QModelIndex &index) const
{
    if (!isPlain(option, index)) {
        QTreeWidget::drawRow(painter, option, index);
        return;
    }
    QStyleOptionViewItem row(option);
    row.showDecorationSelected = true;
    row.state.setFlag(QStyle::State_Selected, selectionModel()->isSelected(index));
    m_delegate->paintPlainRow(painter, row, *rowOf(index));
}

/// Most rows are. The others are left to the toolkit, which knows what each style makes of them.
bool DeviceList::isPlain(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    return isEnabled() && !alternatingRowColors() && itemDelegate() == m_delegate &&
           index.row() != currentIndex().row() &&
           !(viewport()->underMouse() &&
             option.rect.contains(option.rect.x(), viewport()->mapFromGlobal(QCursor::pos()).y()));
}

QModelIndex DeviceList::lastInView() const
{
    const QModelIndex last = indexAt(QPoint(0, viewport()->height() - 1));
    return last.isValid() ? last : model()->index(topLevelItemCount() - 1, 0);
}

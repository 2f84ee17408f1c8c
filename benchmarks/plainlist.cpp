#include "plainlist.h"

#include "report.h"
#include "waiting.h"

#include <QElapsedTimer>
#include <QEvent>
#include <QRegExp>

using namespace std::chrono_literals;

namespace {

class PaintWatcher final : public QObject
{
public:
    explicit PaintWatcher(QWidget *watched) { watched->installEventFilter(this); }
    bool painted() const { return m_painted; }
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        m_painted = m_painted || event->type() == QEvent::Paint;
        return QObject::eventFilter(watched, event);
    }

private:
    bool m_painted = false;
};

} // namespace

PlainList::PlainList(const QTreeWidget &original)
    : m_list(std::make_unique<QTreeWidget>())
{
    const int columns = original.columnCount();
    m_list->setColumnCount(columns);
    m_list->setUniformRowHeights(true);
    m_list->setRootIsDecorated(false);
    QList<QTreeWidgetItem *> rows;
    for (int i = 0; i < original.topLevelItemCount(); ++i) {
        auto *const row = new QTreeWidgetItem;
        for (int column = 0; column < columns; ++column) {
            row->setData(column, Qt::DisplayRole, original.topLevelItem(i)->data(column, Qt::DisplayRole));
        }
        rows.append(row);
    }
    m_list->addTopLevelItems(rows);
    for (int column = 0; column < columns; ++column) {
        m_list->setColumnHidden(column, original.isColumnHidden(column));
    }
    m_list->setSortingEnabled(true);
    m_list->resize(original.size());
    m_list->show();
}

PlainList::~PlainList() = default;

void PlainList::filter(const QString &pattern)
{
    const QRegExp expression(pattern, Qt::CaseInsensitive);
    for (int i = 0; i < m_list->topLevelItemCount(); ++i) {
        QTreeWidgetItem *const row = m_list->topLevelItem(i);
        bool matches = pattern.isEmpty();
        for (int column = 0; !matches && column < m_list->columnCount(); ++column) {
            matches = !m_list->isColumnHidden(column) && expression.indexIn(row->text(column)) >= 0;
        }
        row->setHidden(!matches);
    }
}

void PlainList::resizeColumns()
{
    for (int column = 0; column < m_list->columnCount(); ++column) {
        if (!m_list->isColumnHidden(column)) {
            m_list->resizeColumnToContents(column);
        }
    }
}

double timeToPaint(QTreeWidget &list, const std::function<void()> &action)
{
    constexpr double nanosecondsPerMillisecond = 1e6;
    QElapsedTimer time;
    time.start();
    action();
    // What was painted before the action is over doesn't count, and what has not changed is painted as well.
    const PaintWatcher watcher(list.viewport());
    list.viewport()->update();
    if (!waitUntil([&] { return watcher.painted(); }, 60s)) {
        report::giveUp(QStringLiteral("the list is not painted"));
    }
    return static_cast<double>(time.nsecsElapsed()) / nanosecondsPerMillisecond;
}

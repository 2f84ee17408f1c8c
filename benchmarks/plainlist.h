#pragma once

#include <QTreeWidget>

#include <functional>
#include <memory>

/// A list as the toolkit has it, with the cells of another one, in a window of the same size: what the
/// program's list is measured against.
class PlainList final
{
public:
    explicit PlainList(const QTreeWidget &original);
    ~PlainList();
    Q_DISABLE_COPY_MOVE(PlainList)

    QTreeWidget &list() { return *m_list; }
    /// Shows the rows with a match in a visible column; all of them if the pattern is empty.
    void filter(const QString &pattern);
    void resizeColumns();

private:
    std::unique_ptr<QTreeWidget> m_list;
};

/// Milliseconds from the begin of an action until the list has been painted after it.
double timeToPaint(QTreeWidget &list, const std::function<void()> &action);

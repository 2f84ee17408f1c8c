#include "mainwindow/rowcounts.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

void RowCounts::update(DeviceItem *row, RowState state)
{
    const auto known = m_counted.find(row);
    if (known == m_counted.end()) {
        count(*m_counted.insert(row, {state, 0}), 1);
        return;
    }
    count(*known, -1);
    known->state = state;
    count(*known, 1);
}

void RowCounts::setSelected(DeviceItem *row, bool selected)
{
    const auto known = m_counted.find(row);
    if (known != m_counted.end()) {
        count(*known, -1);
        known->selected = selected ? ++m_lastSelected : 0;
        count(*known, 1);
    }
}

QList<DeviceItem *> RowCounts::selectedRows() const
{
    std::vector<std::pair<quint64, DeviceItem *>> selected;
    for (auto row = m_counted.begin(); row != m_counted.end(); ++row) {
        if (row->selected != 0) {
            selected.emplace_back(row->selected, row.key());
        }
    }
    std::sort(selected.begin(), selected.end());
    QList<DeviceItem *> rows;
    std::transform(selected.begin(), selected.end(), std::back_inserter(rows),
                   [](const auto &row) { return row.second; });
    return rows;
}

void RowCounts::remove(DeviceItem *row)
{
    const auto known = m_counted.find(row);
    if (known != m_counted.end()) {
        count(*known, -1);
        m_counted.erase(known);
    }
}

void RowCounts::count(const CountedRow &row, int sign)
{
    const auto add = [sign](int &total, bool counts) { total += counts ? sign : 0; };
    add(m_totals.rows, true);
    add(m_totals.active, row.state.active);
    const bool selected = row.selected != 0;
    add(m_totals.selected, selected);
    add(m_totals.selectedDiscovered, selected && row.state.discovered);
    add(m_totals.selectedServed, selected && row.state.served);
}

SelectionRules selectionRules(const RowCounts::Totals &totals)
{
    SelectionRules rules;
    rules.remove = totals.selected > 0;
    rules.configureDevice = totals.selected == 1 && totals.selectedDiscovered == 1;
    rules.webInterface = totals.selected > 0 && totals.selectedDiscovered == totals.selected;
    rules.operate = totals.selected > 0 && totals.selectedServed == totals.selected;
    return rules;
}

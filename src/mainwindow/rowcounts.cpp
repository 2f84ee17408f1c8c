#include "mainwindow/rowcounts.h"

void RowCounts::update(const DeviceItem *row, RowState state)
{
    const auto known = m_counted.find(row);
    if (known == m_counted.end()) {
        count(*m_counted.insert(row, {state, false}), 1);
        return;
    }
    count(*known, -1);
    known->state = state;
    count(*known, 1);
}

void RowCounts::setSelected(const DeviceItem *row, bool selected)
{
    const auto known = m_counted.find(row);
    if (known != m_counted.end()) {
        count(*known, -1);
        known->selected = selected;
        count(*known, 1);
    }
}

void RowCounts::remove(const DeviceItem *row)
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
    add(m_totals.selected, row.selected);
    add(m_totals.selectedDiscovered, row.selected && row.state.discovered);
    add(m_totals.selectedServed, row.selected && row.state.served);
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

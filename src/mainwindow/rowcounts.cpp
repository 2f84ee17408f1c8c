#include "mainwindow/rowcounts.h"

void RowCounts::update(const DeviceItem *row, RowState state)
{
    const auto known = m_states.find(row);
    if (known == m_states.end()) {
        m_states.insert(row, state);
    } else {
        count(*known, -1);
        *known = state;
    }
    count(state, 1);
}

void RowCounts::remove(const DeviceItem *row)
{
    const auto known = m_states.find(row);
    if (known != m_states.end()) {
        count(*known, -1);
        m_states.erase(known);
    }
}

void RowCounts::count(RowState state, int sign)
{
    const auto add = [sign](int &total, bool counts) { total += counts ? sign : 0; };
    add(m_totals.rows, true);
    add(m_totals.active, state.active);
    add(m_totals.selected, state.selected);
    add(m_totals.selectedDiscovered, state.selected && state.discovered);
    add(m_totals.selectedServed, state.selected && state.served);
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

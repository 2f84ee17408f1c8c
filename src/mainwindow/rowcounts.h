#pragma once

#include <QHash>
#include <QList>

class DeviceItem;

/// What counts about a row of the device list, besides being selected.
struct RowState
{
    bool active = false;
    bool discovered = false;
    bool served = false;
};

/// How many rows there are of which kind, kept up to date row by row, so that an answer costs the same
/// however long the list is.
class RowCounts final
{
public:
    struct Totals
    {
        int rows = 0;
        /// Readings arrived recently.
        int active = 0;
        int selected = 0;
        /// Selected, and heard in discovery recently.
        int selectedDiscovered = 0;
        /// Selected, and the web server answered recently.
        int selectedServed = 0;
    };

    /// Counts a new row, which is not selected, or takes in how a known one has changed.
    void update(DeviceItem *row, RowState state);
    /// Ignores a row that is not counted, as one is that is being removed. A row that is selected, be it once
    /// more, comes after all that are.
    void setSelected(DeviceItem *row, bool selected);
    void remove(DeviceItem *row);

    const Totals &totals() const { return m_totals; }
    /// In the order of selecting, wherever the rows are by now.
    QList<DeviceItem *> selectedRows() const;

private:
    struct CountedRow
    {
        RowState state;
        /// Grows with each row that is selected; 0: this one isn't.
        quint64 selected = 0;
    };

    void count(const CountedRow &row, int sign);

    QHash<DeviceItem *, CountedRow> m_counted;
    Totals m_totals;
    quint64 m_lastSelected = 0;
};

/// Which of the actions that need a selection may be used.
struct SelectionRules
{
    bool configureDevice = false;
    bool webInterface = false;
    bool remove = false;
    /// Login, configuration, history and firmware.
    bool operate = false;
};

[[nodiscard]] SelectionRules selectionRules(const RowCounts::Totals &totals);

#pragma once

#include <QHash>

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
    void update(const DeviceItem *row, RowState state);
    /// Ignores a row that is not counted, as one is that is being removed.
    void setSelected(const DeviceItem *row, bool selected);
    void remove(const DeviceItem *row);

    const Totals &totals() const { return m_totals; }

private:
    struct CountedRow
    {
        RowState state;
        bool selected = false;
    };

    void count(const CountedRow &row, int sign);

    QHash<const DeviceItem *, CountedRow> m_counted;
    Totals m_totals;
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

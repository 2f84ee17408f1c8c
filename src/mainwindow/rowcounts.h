#pragma once

#include <QHash>

class DeviceItem;

/// What counts about a row of the device list.
struct RowState
{
    bool active = false;
    bool discovered = false;
    bool served = false;
    bool selected = false;
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

    /// Takes in the state of a row, new or known.
    void update(const DeviceItem *row, RowState state);
    void remove(const DeviceItem *row);
    bool contains(const DeviceItem *row) const { return m_states.contains(row); }

    const Totals &totals() const { return m_totals; }

private:
    void count(RowState state, int sign);

    QHash<const DeviceItem *, RowState> m_states;
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

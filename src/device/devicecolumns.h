#pragma once

#include <array>

/// The columns of the device list, in their order. The row number in this table is the column number in the
/// list; the header texts are also the keys under which a device answers the information query.
struct DeviceColumn
{
    const char *header;
    /// What the device is asked to fill the cell with; null where the cell is filled otherwise.
    const char *informationTemplate;
    /// Before the user chose columns.
    bool hidden;
};

/// Column numbers that code needs by name.
namespace Column {
enum Number : int {
    SystemName = 0,
    Ip = 1,
    Mac = 2,
    FirstSeen = 3,
    LastSeen = 4,
    Type = 8,
    Sensor1 = 9,
    Uptime = 13,
    HttpType = 20,
    Status = 21,
    AccessRights = 23,
    HistoryStart = 25,
    Count = 27
};
} // namespace Column

/// How many sensors of a device have a column.
inline constexpr int sensorColumns = 4;

extern const std::array<DeviceColumn, Column::Count> deviceColumns;

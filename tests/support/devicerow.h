#pragma once

#include "device/device.h"

#include <QSignalSpy>
#include <QTreeWidget>

class DeviceItem;
namespace simulator {
struct DeviceInfo;
class Fleet;
} // namespace simulator

/// What a simulated device would answer to discovery.
DiscoveryDevice recordOf(const simulator::DeviceInfo &info);

/// A device list of one row, without a window around it. Only the first three columns are visible.
class DeviceRow final
{
public:
    /// A device that was never discovered.
    DeviceRow();
    /// A device of the fleet that has just answered to discovery.
    DeviceRow(const simulator::Fleet &fleet, int index);
    ~DeviceRow();
    Q_DISABLE_COPY_MOVE(DeviceRow)

    QTreeWidget &list() { return m_list; }
    DeviceItem &item() { return *m_item; }
    Device &device();
    /// The row with its device goes.
    void remove();

    QString text(int column) const;
    QVariant value(int column) const;
    /// How often the row has announced news.
    int newDataCount() const { return m_newData.count(); }
    int requestEndedCount() const { return m_requestEnded.count(); }

private:
    QTreeWidget m_list;
    /// Belongs to the list.
    DeviceItem *m_item;
    QSignalSpy m_newData;
    QSignalSpy m_requestEnded;
};

#pragma once

#include "device/device.h"

#include <QTreeWidgetItem>

/// A row of the device list, with the device that it shows: the two are made and go together. Belongs to the
/// list; only the main window makes and deletes rows.
class DeviceItem final : public QTreeWidgetItem
{
public:
    DeviceItem();
    ~DeviceItem() override;

    Device &device() { return m_device; }
    const Device &device() const { return m_device; }

private:
    Device m_device;
};

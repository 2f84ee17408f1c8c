#pragma once

#include "device/device.h"
#include "device/deviceview.h"

#include <QColor>
#include <QTreeWidgetItem>

/// A row of the device list, with the device that it shows: the two are made and go together. Only the row
/// writes its cells. Belongs to the list; only the main window makes and deletes rows.
class DeviceItem final : public QTreeWidgetItem, private DeviceView
{
public:
    DeviceItem();
    ~DeviceItem() override;

    Device &device() { return m_device; }
    const Device &device() const { return m_device; }

private:
    void showRecord(const DiscoveryDevice &record, const QDateTime &firstSeen,
                    const QDateTime &lastSeen) override;
    void showInfo(const deviceinfo::DeviceInfo &info) override;
    void showStatus(const QString &text) override;
    void showScheme(bool useHttps) override;
    void showAccessRights(qint32 loginGroup) override;
    void showAges() override;
    void applyFilter(const QRegExp &pattern) override;
    void showSensors(const deviceinfo::DeviceInfo &info);
    bool matches(const QRegExp &pattern) const;

    /// What the row is painted with; invalid before the first colouring.
    struct Colors
    {
        QColor discovery;
        QColor data;
        QColor web;
        bool operator==(const Colors &other) const
        {
            return discovery == other.discovery && data == other.data && web == other.web;
        }
    };
    Colors m_shownColors;
    Device m_device;
};

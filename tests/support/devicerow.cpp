#include "devicerow.h"

#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "fleet.h"

DiscoveryDevice recordOf(const simulator::DeviceInfo &info)
{
    DiscoveryDevice record;
    record.setAddress(QHostAddress(info.address));
    record.setNetmask(QHostAddress(info.netmask));
    record.setGateway(QHostAddress(info.gateway));
    record.setStaticAddress(QHostAddress(info.staticAddress));
    record.setMacText(QString::fromStdString(simulator::macText(info.mac)));
    record.setHostname(QString::fromStdString(info.hostName));
    record.setVariant(info.variant);
    return record;
}

DeviceRow::DeviceRow()
    : m_item(new DeviceItem)
    , m_newData(&m_item->device(), &Device::newData)
    , m_requestEnded(&m_item->device(), &Device::requestEnded)
{
    m_list.setColumnCount(Column::Count);
    for (int i = Column::FirstSeen; i < Column::Count; ++i) {
        m_list.setColumnHidden(i, true);
    }
    m_list.addTopLevelItem(m_item);
}

DeviceRow::DeviceRow(const simulator::Fleet &fleet, int index)
    : DeviceRow()
{
    m_item->device().updateFromDiscovery(recordOf(fleet.device(index)));
}

DeviceRow::~DeviceRow() = default;

Device &DeviceRow::device()
{
    return m_item->device();
}

void DeviceRow::remove()
{
    delete m_item;
    m_item = nullptr;
}

QString DeviceRow::text(int column) const
{
    return m_item->text(column);
}

QVariant DeviceRow::value(int column) const
{
    return m_item->data(column, Qt::DisplayRole);
}

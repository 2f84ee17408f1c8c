#include "device/deviceitem.h"

DeviceItem::DeviceItem()
    : QTreeWidgetItem(Type)
    , m_device(this, nullptr)
{
}

DeviceItem::~DeviceItem() = default;

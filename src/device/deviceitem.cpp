#include "device/deviceitem.h"

#include "device/agecolor.h"
#include "device/devicecolumns.h"
#include "device/deviceinfo.h"

#include <QBrush>
#include <QGuiApplication>
#include <QHeaderView>
#include <QPalette>
#include <QRegExp>
#include <QSignalBlocker>
#include <QTreeWidget>

DeviceItem::DeviceItem()
    : QTreeWidgetItem(Type)
    , m_device(this)
{
    DeviceItem::showScheme(false);
    for (int i = 0; i < sensorColumns; ++i) {
        setTextAlignment(Column::Sensor1 + i, Qt::AlignRight);
    }
}

DeviceItem::~DeviceItem() = default;

void DeviceItem::showRecord(const DiscoveryDevice &record, const QDateTime &firstSeen,
                            const QDateTime &lastSeen)
{
    setText(Column::SystemName, record.hostname());
    // A device that has only been read from a file has no address yet.
    if (m_device.wasDiscovered()) {
        setText(Column::Ip, record.address().toString());
    }
    setText(Column::Mac, record.macText());
    setData(Column::FirstSeen, Qt::DisplayRole, firstSeen.toLocalTime());
    setData(Column::LastSeen, Qt::DisplayRole, lastSeen.toLocalTime());
}

void DeviceItem::showInfo(const deviceinfo::DeviceInfo &info)
{
    for (int i = 0; i < Column::Count; ++i) {
        const auto index = static_cast<std::size_t>(i);
        if (deviceColumns[index].informationTemplate) {
            setText(i, info.texts[index]);
        }
    }
    showSensors(info);
    setData(Column::Uptime, Qt::DisplayRole, QVariant::fromValue(info.uptime));
    setText(Column::Type, info.deviceType);
    showAccessRights(info.loginGroup);
    setData(Column::HistoryStart, Qt::DisplayRole, info.historyStart);
}

void DeviceItem::showSensors(const deviceinfo::DeviceInfo &info)
{
    const QColor normal = QGuiApplication::palette().color(QPalette::Current, QPalette::Text);
    for (int i = 0; i < sensorColumns; ++i) {
        const auto &sensor = info.sensors[static_cast<std::size_t>(i)];
        const bool alarm = sensor && sensor->alarm;
        setData(Column::Sensor1 + i, Qt::ForegroundRole, alarm ? QColor(255, 0, 0) : normal);
        setText(Column::Sensor1 + i, sensor ? sensor->text : QString());
    }
}

void DeviceItem::showStatus(const QString &text)
{
    setText(Column::Status, text);
}

void DeviceItem::showScheme(bool useHttps)
{
    setText(Column::HttpType, useHttps ? QStringLiteral("https") : QStringLiteral("http"));
}

void DeviceItem::showAccessRights(qint32 loginGroup)
{
    setText(Column::AccessRights, deviceinfo::accessRightsText(loginGroup));
}

void DeviceItem::showAges()
{
    QTreeWidget *const list = treeWidget();
    if (!list) {
        return;
    }
    const Colors colors{ageColor(m_device.discoveryAge()), ageColor(m_device.dataAge()),
                        ageColor(m_device.webAge())};
    if (colors == m_shownColors) {
        return;
    }
    m_shownColors = colors;
    {
        // No colour changes the order of the rows, but the list would look whether it does, cell by cell.
        const QSignalBlocker blocker(list->model());
        // One brush for many cells: making them costs more than setting them.
        const QVariant discovery = QBrush(colors.discovery);
        const QVariant data = QBrush(colors.data);
        const QVariant web = QBrush(colors.web);
        for (int i = 0; i < list->columnCount(); ++i) {
            const bool fromDiscovery = i <= Column::LastSeen;
            setData(i, Qt::BackgroundRole,
                    fromDiscovery               ? discovery
                    : i == Column::AccessRights ? web
                                                : data);
        }
    }
    list->viewport()->update();
}

void DeviceItem::applyFilter(const QRegExp &pattern)
{
    const bool hide = pattern.isValid() && !pattern.isEmpty() && !matches(pattern);
    // Even an unchanged one makes the list lay out all of its rows again.
    if (isHidden() != hide) {
        setHidden(hide);
    }
}

bool DeviceItem::matches(const QRegExp &pattern) const
{
    const QTreeWidget *const list = treeWidget();
    for (int i = 0; list && i < list->columnCount(); ++i) {
        if (!list->isColumnHidden(i) && data(i, Qt::DisplayRole).toString().indexOf(pattern) >= 0) {
            return true;
        }
    }
    return false;
}

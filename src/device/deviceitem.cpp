#include "device/deviceitem.h"

#include "common/plainline.h"
#include "device/agecolor.h"
#include "device/deviceinfo.h"
#include "device/devicelist.h"

#include <QBrush>
#include <QDateTime>
#include <QGuiApplication>
#include <QLocale>
#include <QPalette>
#include <QRegExp>

namespace {

bool isColumn(int column)
{
    return column >= 0 && column < Column::Count;
}

bool isSensor(int column)
{
    return column >= Column::Sensor1 && column < Column::Sensor1 + sensorColumns;
}

std::size_t indexOf(int column)
{
    return static_cast<std::size_t>(column);
}

} // namespace

DeviceItem::DeviceItem()
    : QTreeWidgetItem(Type)
    , m_device(this)
{
    // The toolkit counts the columns of an item by what it keeps itself.
    QTreeWidgetItem::setData(Column::Count - 1, Qt::UserRole, QVariant());
    DeviceItem::showScheme(false);
}

DeviceItem::~DeviceItem() = default;

QVariant DeviceItem::data(int column, int role) const
{
    if (!isColumn(column)) {
        return QTreeWidgetItem::data(column, role);
    }
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return m_values[indexOf(column)];
    case Qt::BackgroundRole:
        return QBrush(ageBackground(column));
    case Qt::ForegroundRole:
        return isSensor(column) ? QVariant(sensorColor(column)) : QVariant();
    case Qt::TextAlignmentRole:
        return isSensor(column) ? QVariant(Qt::AlignRight) : QVariant();
    case Qt::AccessibleTextRole:
        return plainLine(shownText(column, treeWidget() ? treeWidget()->locale() : QLocale()),
                         maximumCellText);
    default:
        return QTreeWidgetItem::data(column, role);
    }
}

void DeviceItem::setData(int column, int role, const QVariant &value)
{
    if (!isColumn(column) || (role != Qt::DisplayRole && role != Qt::EditRole)) {
        QTreeWidgetItem::setData(column, role, value);
        return;
    }
    QVariant &kept = m_values[indexOf(column)];
    if (kept == value) {
        return;
    }
    kept = value;
    if (column == m_sortKeyColumn) {
        m_sortKey.reset();
    }
    if (auto *const list = qobject_cast<DeviceList *>(treeWidget())) {
        list->valueChanged(column);
    }
}

bool DeviceItem::operator<(const QTreeWidgetItem &other) const
{
    const int column = treeWidget() ? treeWidget()->sortColumn() : 0;
    return isColumn(column) && sortKey(column) < static_cast<const DeviceItem &>(other).sortKey(column);
}

DeviceItem::SortKey DeviceItem::makeSortKey(const QVariant &value)
{
    // The toolkit's own can't be had.
    static const QCollator collator;
    const QDateTime time = value.userType() == QMetaType::QDateTime ? value.toDateTime() : QDateTime();
    // Times beyond, which only a device can make up, have no text, and come with the empty cells.
    constexpr int lastYear = 9999;
    if (!time.isValid() || time.date().year() < 0 || time.date().year() > lastYear) {
        return collator.sortKey(value.toString());
    }
    // By the clock on the wall, which is what the cell shows.
    constexpr qint64 day = 24LL * 60 * 60 * 1000;
    return time.date().toJulianDay() * day + time.time().msecsSinceStartOfDay();
}

const DeviceItem::SortKey &DeviceItem::sortKey(int column) const
{
    if (!m_sortKey || m_sortKeyColumn != column) {
        m_sortKey = makeSortKey(m_values[indexOf(column)]);
        m_sortKeyColumn = column;
    }
    return *m_sortKey;
}

QString DeviceItem::shownText(int column, const QLocale &locale) const
{
    const QVariant &value = m_values[indexOf(column)];
    return value.userType() == QMetaType::QDateTime
               ? locale.toString(value.toDateTime(), QLocale::ShortFormat)
               : value.toString();
}

QColor DeviceItem::ageBackground(int column) const
{
    return ageColor(column <= Column::LastSeen       ? m_device.discoveryAge()
                    : column == Column::AccessRights ? m_device.webAge()
                                                     : m_device.dataAge());
}

QColor DeviceItem::sensorColor(int column) const
{
    if (!isSensor(column)) {
        return {};
    }
    return hasAlarm(column) ? QColor(255, 0, 0)
                            : QGuiApplication::palette().color(QPalette::Current, QPalette::Text);
}

bool DeviceItem::hasAlarm(int column) const
{
    return isSensor(column) && m_alarms.test(indexOf(column - Column::Sensor1));
}

Qt::Alignment DeviceItem::alignment(int column)
{
    return isSensor(column) ? Qt::Alignment(Qt::AlignRight) : Qt::AlignLeft | Qt::AlignVCenter;
}

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
        if (deviceColumns[indexOf(i)].informationTemplate) {
            setText(i, info.texts[indexOf(i)]);
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
    for (int i = 0; i < sensorColumns; ++i) {
        const auto &sensor = info.sensors[indexOf(i)];
        m_alarms.set(indexOf(i), sensor && sensor->alarm);
        setText(Column::Sensor1 + i, sensor ? sensor->text : QString());
    }
}

void DeviceItem::showStatus(const QString &text)
{
    setText(Column::Status, text.left(maximumCellText));
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
    if (auto *const list = qobject_cast<DeviceList *>(treeWidget())) {
        list->lookChanged();
    }
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

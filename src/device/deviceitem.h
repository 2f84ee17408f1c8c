#pragma once

#include "device/device.h"
#include "device/devicecolumns.h"
#include "device/deviceview.h"

#include <QCollator>
#include <QColor>
#include <QTreeWidgetItem>
#include <QVariant>

#include <array>
#include <bitset>
#include <optional>
#include <variant>

/// Characters of a cell that are shown and read out; more than any device means to show.
inline constexpr int maximumCellText = 256;

/// A row of the device list, with the device that it shows: the two are made and go together. It keeps what
/// its cells show; colours follow from the device's ages when somebody asks for them. Only the row writes its
/// cells. Belongs to the list; only the main window makes and deletes rows.
class DeviceItem final : public QTreeWidgetItem, private DeviceView
{
public:
    DeviceItem();
    ~DeviceItem() override;

    Device &device() { return m_device; }
    const Device &device() const { return m_device; }

    QVariant data(int column, int role) const override;
    void setData(int column, int role, const QVariant &value) override;
    /// The order of the texts that the cells of the list's sort column stand for.
    bool operator<(const QTreeWidgetItem &other) const override;

    /// The text that a cell shows; still with whatever characters the device sent.
    QString shownText(int column, const QLocale &locale) const;
    /// By the age of what the cell shows.
    QColor ageBackground(int column) const;
    /// Invalid where the text has no colour of its own.
    QColor sensorColor(int column) const;
    /// Whether the cell shows a reading that the device warns of.
    bool hasAlarm(int column) const;
    static Qt::Alignment alignment(int column);

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

    /// A time, which is in order by itself, or a text in the order of the user's language.
    using SortKey = std::variant<QCollatorSortKey, qint64>;
    static SortKey makeSortKey(const QVariant &value);
    const SortKey &sortKey(int column) const;

    std::array<QVariant, Column::Count> m_values;
    std::bitset<sensorColumns> m_alarms;
    /// Made when the row is first compared; of the value in m_sortKeyColumn.
    mutable std::optional<SortKey> m_sortKey;
    mutable int m_sortKeyColumn = -1;
    Device m_device;
};

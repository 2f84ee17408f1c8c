#pragma once

#include "device/devicesession.h"
#include "discovery/discoverydevice.h"
#include "web/deviceprotocol.h"

#include <QDateTime>
#include <QObject>
#include <QString>

class DeviceView;
class QJsonObject;
class QRegExp;

/// One device of the network: what it last said in discovery, what it last said of itself, and how long ago
/// that was. Its view shows it. Lives inside its row. GUI thread only.
class Device final : public DeviceSession
{
    Q_OBJECT

public:
    /// `view`: outlives the device.
    explicit Device(DeviceView *view, QObject *parent = nullptr);

    /// Takes over what the device said in discovery.
    void updateFromDiscovery(const DiscoveryDevice &discoveryDevice);
    /// Sets what outlives the program: host name, MAC, and the times of the first and the last answer.
    void writeJson(QJsonObject &object) const;
    /// Takes over what writeJson() set; a value that is missing or of another type counts as empty. The
    /// device counts as stale, and has no address, until it answers.
    void readJson(const QJsonObject &object);
    /// The MAC text that writeJson() set, as it stands there.
    static QString storedMac(const QJsonObject &object);
    /// Adds refresh cycles to the three ages. 0 only brings the colours up to date with the palette.
    void addAge(int cycles);
    void resetDiscoveryAge();
    void resetDataAge();
    void resetWebAge();
    /// Refresh cycles since the last answer to discovery.
    int discoveryAge() const { return m_discoveryAge; }
    /// Refresh cycles since the last readings.
    int dataAge() const { return m_dataAge; }
    /// Refresh cycles since the web server last answered with readings or refused them.
    int webAge() const { return m_webAge; }

    /// Hides the row unless a visible column holds a match. A pattern that is empty or invalid shows it.
    void applyFilter(const QRegExp &pattern);

    const DiscoveryDevice &record() const { return m_record; }
    /// Whether the record is what the device itself said.
    bool wasDiscovered() const { return m_wasDiscovered; }
    QString deviceType() const { return m_deviceType; }
    /// An AccessLevel, or whatever else the device said.
    qint32 loginGroup() const { return m_loginGroup; }
    bool mayAccess(AccessLevel level) const { return m_loginGroup >= static_cast<qint32>(level); }
    QDateTime historyStart() const { return m_historyStart; }
    QDateTime deviceTime() const { return m_deviceTime; }
    /// Readings are due at the next answer to discovery.
    bool queryPending() const { return m_queryPending; }
    void setQueryPending(bool pending) { m_queryPending = pending; }
    /// The device takes part in the running firmware update.
    bool updateMember() const { return m_updateMember; }
    void setUpdateMember(bool member) { m_updateMember = member; }

signals:
    void newDiscovery(const DiscoveryDevice &discoveryDevice);
    /// One of the ages changed.
    void agesChanged();

private:
    QHostAddress address() const override { return m_record.address(); }
    void takeStatus(const QString &text) override;
    void takeScheme(bool useHttps) override;
    void takeAnswer() override;
    void takeInfo(const deviceinfo::DeviceInfo &info) override;
    void takeRefusal() override;
    void tellAges();

    DeviceView *const m_view;
    DiscoveryDevice m_record;
    bool m_wasDiscovered = false;
    QString m_deviceType;
    /// UTC; null until the device was seen.
    QDateTime m_firstSeen;
    QDateTime m_lastSeen;
    bool m_updateMember = false;
    bool m_queryPending = true;
    qint32 m_loginGroup = static_cast<qint32>(AccessLevel::Unknown);
    QDateTime m_historyStart;
    QDateTime m_deviceTime;
    int m_discoveryAge = 0;
    int m_dataAge = 0;
    int m_webAge = 0;
};

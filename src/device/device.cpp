#include "device/device.h"

#include "device/deviceinfo.h"
#include "device/deviceview.h"

#include <QJsonObject>

namespace {

/// Of a device that was read from the device list file: no longer recent, not yet lost.
constexpr int storedAge = 2;

const QLatin1String hostnameKey("hostname");
const QLatin1String macKey("mac");
const QLatin1String firstSeenKey("first_seen");
const QLatin1String lastSeenKey("last_seen");

} // namespace

Device::Device(DeviceView *view, QObject *parent)
    : DeviceSession(parent)
    , m_view(view)
{
}

void Device::updateFromDiscovery(const DiscoveryDevice &discoveryDevice)
{
    m_lastSeen = QDateTime::currentDateTimeUtc();
    if (m_firstSeen.isNull()) {
        m_firstSeen = m_lastSeen;
    }
    if (discoveryDevice.address() != m_record.address() && !sidCookie().name().isEmpty()) {
        // The session stays behind, and with it what the device lets it do; the next answer tells what is
        // left.
        m_loginGroup = static_cast<qint32>(AccessLevel::Unknown);
    }
    m_record = discoveryDevice;
    m_wasDiscovered = true;
    m_view->showRecord(m_record, m_firstSeen, m_lastSeen);
    resetDiscoveryAge();
    emit newDiscovery(m_record);
}

void Device::writeJson(QJsonObject &object) const
{
    object.insert(hostnameKey, m_record.hostname());
    object.insert(macKey, m_record.macText());
    object.insert(firstSeenKey, m_firstSeen.toString(Qt::ISODate));
    object.insert(lastSeenKey, m_lastSeen.toString(Qt::ISODate));
}

QString Device::storedMac(const QJsonObject &object)
{
    return object.value(macKey).toString();
}

void Device::readJson(const QJsonObject &object)
{
    m_record.setHostname(object.value(hostnameKey).toString());
    m_record.setMacText(storedMac(object));
    m_firstSeen = QDateTime::fromString(object.value(firstSeenKey).toString(), Qt::ISODate);
    m_lastSeen = QDateTime::fromString(object.value(lastSeenKey).toString(), Qt::ISODate);
    m_discoveryAge = storedAge;
    m_dataAge = storedAge;
    m_webAge = storedAge;
    tellAges();
    m_view->showRecord(m_record, m_firstSeen, m_lastSeen);
}

void Device::applyFilter(const QRegExp &pattern)
{
    m_view->applyFilter(pattern);
}

void Device::takeStatus(const QString &text)
{
    m_view->showStatus(text);
}

void Device::takeScheme(bool useHttps)
{
    m_view->showScheme(useHttps);
}

void Device::takeAnswer()
{
    resetDataAge();
    resetWebAge();
}

void Device::takeInfo(const deviceinfo::DeviceInfo &info)
{
    m_deviceType = info.deviceType;
    m_loginGroup = info.loginGroup;
    m_historyStart = info.historyStart;
    m_deviceTime = info.deviceTime;
    m_view->showInfo(info);
}

void Device::takeRefusal()
{
    m_loginGroup = static_cast<qint32>(AccessLevel::None);
    m_view->showAccessRights(m_loginGroup);
    resetWebAge();
}

void Device::addAge(int cycles)
{
    m_discoveryAge += cycles;
    m_dataAge += cycles;
    m_webAge += cycles;
    tellAges();
}

void Device::resetDiscoveryAge()
{
    m_discoveryAge = 0;
    tellAges();
}

void Device::resetDataAge()
{
    m_dataAge = 0;
    tellAges();
}

void Device::resetWebAge()
{
    m_webAge = 0;
    tellAges();
}

void Device::tellAges()
{
    emit agesChanged();
    m_view->showAges();
}

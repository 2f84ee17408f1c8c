#pragma once

#include <QtGlobal>

class DiscoveryDevice;
class QDateTime;
class QRegExp;
class QString;

namespace deviceinfo {
struct DeviceInfo;
}

/// What shows a device to the user. The device tells it of everything that changes.
class DeviceView
{
public:
    virtual ~DeviceView() = default;

    /// `firstSeen`, `lastSeen`: UTC; null where the device was not seen.
    virtual void showRecord(const DiscoveryDevice &record, const QDateTime &firstSeen,
                            const QDateTime &lastSeen) = 0;
    virtual void showInfo(const deviceinfo::DeviceInfo &info) = 0;
    /// How the last request went: "200 OK".
    virtual void showStatus(const QString &text) = 0;
    virtual void showScheme(bool useHttps) = 0;
    virtual void showAccessRights(qint32 loginGroup) = 0;
    /// The ages have changed, or the palette has.
    virtual void showAges() = 0;
    /// Shows the device only if it matches.
    virtual void applyFilter(const QRegExp &pattern) = 0;
};

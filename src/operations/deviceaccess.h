#pragma once

#include <QHostAddress>
#include <QList>
#include <QNetworkCookie>
#include <QString>

class Device;
class QNetworkAccessManager;
class QObject;

/// What an operation needs to know of a device in order to speak to it. A copy, so that a running operation
/// stays with what it was started with when the device answers discovery anew or gets another address.
struct DeviceAccess
{
    explicit DeviceAccess(const Device &device);
    DeviceAccess() = default;

    /// "http://10.0.0.7:80/".
    QString baseUrl;
    QHostAddress address;
    bool useHttps = false;
    /// The session; empty if nobody is logged in.
    QList<QNetworkCookie> cookies;
    QString hostname;
    /// "0E:5A:11:00:1F:A2".
    QString mac;

    /// An HTTP client of its own for the device, within the session.
    QNetworkAccessManager *createNetworkManager(QObject *parent) const;
};

#include "operations/deviceaccess.h"

#include "device/device.h"
#include "web/deviceprotocol.h"
#include "web/webmanager.h"

#include <QNetworkCookieJar>
#include <QUrl>

DeviceAccess::DeviceAccess(const Device &device)
    : baseUrl(device.webInterfaceUrl())
    , address(device.record().address())
    , useHttps(device.useHttps())
    , cookies(device.cookies())
    , hostname(device.record().hostname())
    , mac(device.record().macText())
{
}

QNetworkAccessManager *DeviceAccess::createNetworkManager(QObject *parent) const
{
    auto *const manager = new WebManager(parent);
    manager->cookieJar()->setCookiesFromUrl(cookies, QUrl(deviceprotocol::origin(useHttps, address)));
    return manager;
}

#include "operations/deviceaccess.h"

#include "common/http.h"
#include "device/device.h"

#include <QNetworkAccessManager>
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
    QNetworkAccessManager *const manager = http::createManager(parent);
    manager->cookieJar()->setCookiesFromUrl(cookies, QUrl(http::origin(useHttps, address)));
    return manager;
}

#include "web/webmanager.h"

#include "web/webengine.h"
#include "web/webreply.h"

#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QNetworkProxy>

namespace {

/// A device has one session and perhaps a language. It may send hundreds of cookies with each answer, and all
/// that are kept go back with every request: the last ones count.
class CookieJar final : public QNetworkCookieJar
{
public:
    using QNetworkCookieJar::QNetworkCookieJar;

    bool insertCookie(const QNetworkCookie &cookie) override
    {
        constexpr int mostCookies = 32;
        constexpr int longestCookie = 4096; // bytes
        if (cookie.name().size() + cookie.value().size() > longestCookie ||
            !QNetworkCookieJar::insertCookie(cookie)) {
            return false;
        }
        QList<QNetworkCookie> all = allCookies();
        if (all.size() > mostCookies) {
            all.removeFirst();
            setAllCookies(all);
        }
        return true;
    }
};

} // namespace

WebManager::WebManager(QObject *parent)
    : QNetworkAccessManager(parent)
{
    setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    setCookieJar(new CookieJar(this));
}

WebManager::~WebManager()
{
    // Requests that are out use the connection.
    qDeleteAll(findChildren<WebReply *>(QString(), Qt::FindDirectChildrenOnly));
    WebEngine::closeKept(this);
}

QNetworkReply *WebManager::createRequest(Operation operation, const QNetworkRequest &request,
                                         QIODevice *outgoingData)
{
    const QString scheme = request.url().scheme();
    const bool isWeb = scheme == QLatin1String("http") || scheme == QLatin1String("https");
    if (!isWeb || (operation != GetOperation && operation != PostOperation)) {
        // The URL of a device without an address has no scheme. Qt refuses it, in its own words.
        return QNetworkAccessManager::createRequest(operation, request, outgoingData);
    }
    QNetworkRequest withCookies(request);
    const QList<QNetworkCookie> cookies = cookieJar()->cookiesForUrl(request.url());
    if (!cookies.isEmpty()) {
        withCookies.setHeader(QNetworkRequest::CookieHeader, QVariant::fromValue(cookies));
    }
    return new WebReply(this, operation, withCookies, outgoingData);
}

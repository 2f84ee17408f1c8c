#include "common/http.h"

#include "common/floodwatch.h"

#include <QHostAddress>
#include <QIODevice>
#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QUrl>

#include <algorithm>
#include <cstring>

namespace http {

namespace {

constexpr int firstSuccess = 200;
constexpr int lastSuccess = 399;

/// Can't be read a second time, so that nobody sends its content again.
class PassingBody final : public QIODevice
{
public:
    explicit PassingBody(const QByteArray &content)
        : m_content(content)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    bool isSequential() const override { return true; }
    /// Called by the client when it would send once more; the inherited one complains in the log.
    bool reset() override { return false; }
    qint64 bytesAvailable() const override
    {
        return m_content.size() - m_position + QIODevice::bytesAvailable();
    }

protected:
    qint64 readData(char *data, qint64 maximum) override
    {
        const qint64 size = std::min<qint64>(maximum, m_content.size() - m_position);
        if (size == 0) {
            return -1;
        }
        std::memcpy(data, m_content.constData() + m_position, static_cast<std::size_t>(size));
        m_position += size;
        return size;
    }
    qint64 writeData(const char *data, qint64 maximum) override
    {
        Q_UNUSED(data)
        Q_UNUSED(maximum)
        return -1;
    }

private:
    const QByteArray m_content;
    qint64 m_position = 0;
};

} // namespace

QString origin(bool useHttps, const QHostAddress &address)
{
    return (useHttps ? QLatin1String("https://") : QLatin1String("http://")) + address.toString();
}

QString baseUrl(bool useHttps, const QHostAddress &address, int port)
{
    return origin(useHttps, address) + QLatin1Char(':') + QString::number(port) + QLatin1Char('/');
}

QNetworkAccessManager *createManager(QObject *parent)
{
    auto *const manager = new QNetworkAccessManager(parent);
    manager->setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    manager->setCookieJar(new QNetworkCookieJar(manager));
    return manager;
}

int status(const QNetworkReply *reply)
{
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

bool isSuccess(int status)
{
    return status >= firstSuccess && status <= lastSuccess;
}

QString redirectTarget(const QNetworkReply *reply)
{
    return reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl().toString();
}

bool redirectsToHttps(const QNetworkReply *reply)
{
    constexpr int seeOther = 303;
    return status(reply) == seeOther && redirectTarget(reply).startsWith(QLatin1String("https://"));
}

QNetworkRequest deviceRequest(const QUrl &url)
{
    QNetworkRequest request(url);
    request.setRawHeader(QByteArrayLiteral("Accept-Encoding"), QByteArrayLiteral("identity"));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    return request;
}

void boundAnswer(QNetworkReply *reply)
{
    constexpr qint64 readBufferSize = 1024LL * 1024;
    // The client hears of the limit only after it has begun, which it does later.
    QMetaObject::invokeMethod(
        reply, [reply] { reply->setReadBufferSize(readBufferSize); }, Qt::QueuedConnection);
    watchForFlood(reply);
}

QNetworkReply *postOnce(QNetworkAccessManager *manager, QNetworkRequest request, const QByteArray &body)
{
    // A device that hangs up after each answer, and doesn't say so, may just be doing that.
    manager->clearConnectionCache();
    request.setHeader(QNetworkRequest::ContentLengthHeader, body.size());
    request.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
    auto *const content = new PassingBody(body);
    QNetworkReply *const reply = manager->post(request, content);
    content->setParent(reply);
    return reply;
}

} // namespace http

#include "web/deviceprotocol.h"

#include "web/webmanager.h"

#include <QDateTime>
#include <QDebug>
#include <QHostAddress>
#include <QHttpMultiPart>
#include <QNetworkReply>
#include <QUrl>

namespace deviceprotocol {

namespace {

constexpr int firstSuccess = 200;
constexpr int lastSuccess = 399;

QNetworkRequest requestFor(const QString &baseUrl, const QString &path)
{
    QNetworkRequest request(QUrl(baseUrl + path));
    // A few kilobytes can unpack to all of our memory.
    request.setRawHeader(QByteArrayLiteral("Accept-Encoding"), QByteArrayLiteral("identity"));
    return request;
}

QNetworkReply *postForm(QNetworkAccessManager *manager, const QString &baseUrl, const char *path,
                        const QByteArray &form)
{
    QNetworkRequest request = requestFor(baseUrl, QLatin1String(path));
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QByteArrayLiteral("application/x-www-form-urlencoded"));
    return manager->post(request, form);
}

/// Encoded in such a way that whoever decodes it gets what was typed.
QByteArray credentials(const QString &user, const QString &password)
{
    return "login_user=" + QUrl::toPercentEncoding(user) +
           "&login_password=" + QUrl::toPercentEncoding(password);
}

/// A part with nothing but its name: the devices know no others.
QHttpPart namedPart(const char *name)
{
    QHttpPart part;
    part.setRawHeader(QByteArrayLiteral("Content-Disposition"),
                      QByteArrayLiteral("form-data; name=\"") + name + '"');
    return part;
}

QHttpPart namedPart(const char *name, const QByteArray &body)
{
    QHttpPart part = namedPart(name);
    part.setBody(body);
    return part;
}

QNetworkReply *postParts(QNetworkAccessManager *manager, const QString &baseUrl, const char *path,
                         QHttpMultiPart *parts)
{
    const QNetworkRequest request = requestFor(baseUrl, QLatin1String(path));
    qDebug() << "upload" << request.url();
    QNetworkReply *const reply = manager->post(request, parts);
    parts->setParent(reply);
    return reply;
}

QString secondsAtStartOf(const QDate &day)
{
    return QString::number(day.startOfDay(Qt::LocalTime).toSecsSinceEpoch());
}

} // namespace

QString origin(bool useHttps, const QHostAddress &address)
{
    return (useHttps ? QLatin1String("https://") : QLatin1String("http://")) + address.toString();
}

QString baseUrl(bool useHttps, const QHostAddress &address, int port)
{
    return origin(useHttps, address) + QLatin1Char(':') + QString::number(port) + QLatin1Char('/');
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
    return status(reply) == statusSeeOther && redirectTarget(reply).startsWith(QLatin1String("https://"));
}

bool isPacked(const QNetworkReply *reply)
{
    const QByteArray encoding = reply->rawHeader(QByteArrayLiteral("Content-Encoding"));
    return !encoding.isEmpty() && encoding != "identity";
}

QByteArray takeArrived(QNetworkReply *reply)
{
    return reply->isOpen() ? reply->read(reply->bytesAvailable()) : QByteArray();
}

QNetworkReply *queryInformation(QNetworkAccessManager *manager, const QString &baseUrl,
                                const QByteArray &informationTemplate)
{
    QNetworkRequest request = requestFor(baseUrl, QStringLiteral("admin/proctpl.cgi"));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("text"));
    request.setAttribute(WebManager::MayBeRepeatedAttribute, true);
    return manager->post(request, informationTemplate);
}

QNetworkReply *logIn(QNetworkAccessManager *manager, const QString &baseUrl, const QString &user,
                     const QString &password)
{
    return postForm(manager, baseUrl, "login.cgi", "btnapp=Submit&" + credentials(user, password));
}

QNetworkReply *fetchConfiguration(QNetworkAccessManager *manager, const QString &baseUrl,
                                  bool includePasswords)
{
    const QString passwords = includePasswords ? QStringLiteral("&incl_passwords=on") : QString();
    return manager->get(requestFor(baseUrl, QLatin1String("tpl/document.cgi?tpl/j/config.tpl") + passwords));
}

QNetworkReply *sendConfiguration(QNetworkAccessManager *manager, const QString &baseUrl,
                                 const QByteArray &configuration)
{
    auto *const parts = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    parts->append(namedPart("image", configuration));
    parts->append(namedPart("redir", QByteArray()));
    parts->append(namedPart("form_fw_up", QByteArrayLiteral("Submit")));
    return postParts(manager, baseUrl, "admin/config.cgi", parts);
}

QNetworkReply *fetchHistory(QNetworkAccessManager *manager, const QString &baseUrl, const HistorySpan &span)
{
    return manager->get(requestFor(baseUrl, QLatin1String("tpl/document.cgi?tpl/j/csv.tpl&start=") +
                                                secondsAtStartOf(span.first) + QLatin1String("&end=") +
                                                secondsAtStartOf(span.last.addDays(1)) +
                                                QLatin1String("&step=") + QString::number(span.stepSeconds)));
}

QNetworkReply *sendFirmware(QNetworkAccessManager *manager, const QString &baseUrl, int buffer,
                            QIODevice *image)
{
    auto *const parts = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    parts->append(namedPart("buffer", QByteArray::number(buffer)));
    QHttpPart part = namedPart("image");
    part.setBodyDevice(image);
    image->setParent(parts);
    parts->append(part);
    return postParts(manager, baseUrl, "admin/upload.cgi", parts);
}

QNetworkReply *activateFirmware(QNetworkAccessManager *manager, const QString &baseUrl, int buffer)
{
    return postForm(manager, baseUrl, "admin/upgrade.cgi",
                    "buffer=" + QByteArray::number(buffer) +
                        "&redir=/wait.shtml?url%3D/%26text%3D4&form_fw_ac=Submit");
}

QNetworkReply *logInForUpdate(QNetworkAccessManager *manager, const QString &baseUrl, const QString &user,
                              const QString &password)
{
    return postForm(manager, baseUrl, "login.cgi", credentials(user, password) + "&redir=/&btnapp=Submit");
}

QNetworkReply *announceConfiguration(QNetworkAccessManager *manager, const QString &baseUrl)
{
    return postForm(manager, baseUrl, "admin/postform.cgi", "config_upgrading=&redir=/&btnapp=Submit");
}

QNetworkReply *reset(QNetworkAccessManager *manager, const QString &baseUrl)
{
    return postForm(manager, baseUrl, "admin/reset.cgi", "redir=/&btnapp=Submit");
}

QNetworkReply *fetchStartPage(QNetworkAccessManager *manager, const QHostAddress &address, int httpPort)
{
    // Without the slash at the end.
    QString url = baseUrl(false, address, httpPort);
    url.chop(1);
    return manager->get(requestFor(url, QString()));
}

} // namespace deviceprotocol

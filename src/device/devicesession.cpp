#include "device/devicesession.h"

#include "common/plainline.h"
#include "common/settings.h"
#include "device/deviceinfo.h"
#include "web/deviceprotocol.h"
#include "web/webmanager.h"

#include <QCoreApplication>
#include <QDebug>
#include <QNetworkCookieJar>
#include <QTimer>
#include <QUrl>

#include <utility>

namespace {

void logError(const QNetworkReply *reply)
{
    qDebug().noquote().nospace() << "Fehler bei HTTP-Anfrage: " << forLog(reply->errorString()) << "  "
                                 << reply->url().toString() << " statusCode "
                                 << deviceprotocol::status(reply);
}

/// The same for all devices: made once.
const QByteArray &informationTemplate()
{
    static const QByteArray text = deviceinfo::queryTemplate();
    return text;
}

} // namespace

DeviceSession::DeviceSession(QObject *parent)
    : QObject(parent)
{
}

DeviceSession::~DeviceSession()
{
    // A client that was replaced goes by itself, with its reply.
    if (!requestOutstanding() || !m_networkManager) {
        delete m_networkManager;
        return;
    }
    // The application owns what nobody waits for any more, until the reply ends or counts as hanging. What
    // arrives is thrown away.
    WebManager *const manager = m_networkManager;
    manager->setParent(QCoreApplication::instance());
    connect(manager, &QNetworkAccessManager::finished, manager, &QObject::deleteLater);
    connect(m_pendingReply, &QNetworkReply::readyRead, manager,
            [reply = m_pendingReply] { deviceprotocol::takeArrived(reply); });
    QTimer::singleShot(m_giveUpAge, manager, &QObject::deleteLater);
}

QString DeviceSession::webInterfaceUrl() const
{
    if (address().toIPv4Address() == 0) {
        return {};
    }
    const int port = settings::value(m_useHttps ? settings::scanHttpsPort : settings::scanHttpPort);
    return deviceprotocol::baseUrl(m_useHttps, address(), port);
}

QList<QNetworkCookie> DeviceSession::cookies() const
{
    const bool isLoggedIn = !m_sidCookie.name().isEmpty() && isWhereItLoggedIn();
    return isLoggedIn ? QList<QNetworkCookie>{m_sidCookie} : QList<QNetworkCookie>();
}

void DeviceSession::recreateNetworkManager()
{
    if (m_networkManager) {
        // Later: this may be a slot of one of its replies.
        m_networkManager->deleteLater();
        m_networkManager = nullptr;
    }
}

WebManager *DeviceSession::networkManager()
{
    if (!m_networkManager) {
        m_networkManager = new WebManager;
    }
    return m_networkManager;
}

void DeviceSession::send(QNetworkReply *reply)
{
    m_pendingReply = reply;
    m_requestTimer.start();
    m_answer.clear();
    m_answerSize = 0;
}

void DeviceSession::updateInfo()
{
    if (m_pendingReply) {
        if (m_requestTimer.hasExpired(m_giveUpAge.count())) {
            qDebug() << "updateInfo: abort reply" << m_requestTimer.elapsed();
            giveUp();
        }
        return;
    }
    QNetworkReply *const reply =
        deviceprotocol::queryInformation(networkManager(), webInterfaceUrl(), informationTemplate());
    send(reply);
    connect(reply, &QNetworkReply::finished, this, &DeviceSession::on_downloadInfoFinished);
    connect(reply, &QNetworkReply::errorOccurred, this, &DeviceSession::on_uploadError);
    connect(reply, &QNetworkReply::metaDataChanged, this, [this, reply] { refusePackedAnswer(reply); });
    connect(reply, &QNetworkReply::readyRead, this, [this, reply] { collectAnswer(reply); });
}

void DeviceSession::login(const QString &user, const QString &password)
{
    const bool useHttps = m_useHttps;
    // The end of an aborted login starts a query, which is aborted, too.
    while (m_pendingReply) {
        supersede();
    }
    // That a request ended so says nothing against HTTPS, and a password must not go out in the clear for it.
    m_useHttps = useHttps;
    m_sidCookie = QNetworkCookie();
    m_loginUser = user;
    m_loginPassword = password;
    m_loginAddress = address();
    QNetworkReply *const reply = deviceprotocol::logIn(networkManager(), webInterfaceUrl(), user, password);
    send(reply);
    connect(reply, &QNetworkReply::finished, this, &DeviceSession::on_LoginFinished);
    connect(reply, &QNetworkReply::errorOccurred, this, &DeviceSession::on_LoginError);
    // The page that comes with the answer tells nothing. Nobody may have to wait until it is read.
    connect(reply, &QNetworkReply::readyRead, reply, [reply] { deviceprotocol::takeArrived(reply); });
}

void DeviceSession::abortQuery()
{
    if (m_pendingReply) {
        giveUp();
    }
    m_useHttps = false;
}

void DeviceSession::release(QNetworkReply *reply)
{
    reply->deleteLater();
    if (reply == m_pendingReply) {
        m_pendingReply = nullptr;
        m_answer.clear();
    }
}

void DeviceSession::supersede()
{
    QNetworkReply *const reply = m_pendingReply;
    // An older login has failed then, whatever had arrived of its answer.
    m_loginSuperseded = true;
    reply->abort();
    m_loginSuperseded = false;
    release(reply);
}

void DeviceSession::giveUp()
{
    QNetworkReply *const reply = m_pendingReply;
    recreateNetworkManager();
    m_useHttps = false;
    // Reports the cancellation at once, unless the reply had ended; and whoever hears of it may send the next
    // request at once.
    reply->abort();
    if (reply == m_pendingReply) {
        m_pendingReply = nullptr;
    }
}

void DeviceSession::collectAnswer(QNetworkReply *reply)
{
    if (reply != m_pendingReply) {
        return;
    }
    const QByteArray piece = deviceprotocol::takeArrived(reply);
    m_answerSize += piece.size();
    if (deviceprotocol::status(reply) == deviceprotocol::statusOk) {
        m_answer += piece;
    }
    if (m_answerSize > deviceinfo::maximumAnswerSize) {
        qDebug() << "Answer too long:" << m_answerSize << "bytes from" << reply->url();
        reply->abort();
    }
}

void DeviceSession::refusePackedAnswer(QNetworkReply *reply)
{
    if (reply == m_pendingReply && deviceprotocol::status(reply) == deviceprotocol::statusOk &&
        deviceprotocol::isPacked(reply)) {
        qDebug() << "Answer in an encoding that nobody asked for:" << reply->rawHeader("Content-Encoding")
                 << "from" << reply->url();
        reply->abort();
    }
}

void DeviceSession::on_downloadInfoFinished()
{
    auto *const reply = qobject_cast<QNetworkReply *>(sender());
    if (!reply) {
        return;
    }
    if (reply != m_pendingReply) {
        reply->deleteLater();
        return;
    }
    const int status = deviceprotocol::status(reply);
    const QString reason = reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString();
    takeStatus(QString::number(status) + QLatin1Char(' ') + reason);
    if (!m_useHttps && deviceprotocol::redirectsToHttps(reply)) {
        followToHttps();
    } else if (status != deviceprotocol::statusOk) {
        refuseStatus(status);
    } else {
        readAnswer();
    }
}

void DeviceSession::followToHttps()
{
    m_useHttps = true;
    release(m_pendingReply);
    takeScheme(m_useHttps);
    updateInfo();
}

void DeviceSession::refuseStatus(int status)
{
    qDebug() << "Falscher HTTP Status-Code " << status << deviceprotocol::redirectTarget(m_pendingReply);
    release(m_pendingReply);
    if (status == deviceprotocol::statusForbidden) {
        takeRefusal();
    } else {
        m_useHttps = false;
    }
    emit requestEnded();
}

void DeviceSession::readAnswer()
{
    takeAnswer();
    m_answer += deviceprotocol::takeArrived(m_pendingReply);
    QString parseError;
    const auto info = deviceinfo::parseAnswer(std::exchange(m_answer, {}),
                                              settings::value(settings::preferExtended), &parseError);
    if (!info) {
        // The reply stays pending, so that a device that talks nonsense is left alone until the request
        // counts as hanging.
        qDebug() << "Fehler beim Parsen des JSON: " << parseError;
        emit requestEnded();
        return;
    }
    takeInfo(*info);
    takeScheme(m_useHttps);
    release(m_pendingReply);
    emit requestEnded();
    emit newData();
}

void DeviceSession::on_uploadError(QNetworkReply::NetworkError code)
{
    Q_UNUSED(code)
    auto *const reply = qobject_cast<QNetworkReply *>(sender());
    if (!reply) {
        return;
    }
    logError(reply);
    if (reply != m_pendingReply) {
        reply->deleteLater();
        return;
    }
    const int status = deviceprotocol::status(reply);
    const QString prefix = status != 0 ? QString::number(status) + QLatin1Char(' ') : QString();
    takeStatus(prefix + reply->errorString());
    if (status == deviceprotocol::statusForbidden) {
        takeRefusal();
    } else {
        m_useHttps = false;
    }
    release(reply);
    emit requestEnded();
    emit newData();
}

void DeviceSession::on_LoginFinished()
{
    auto *const reply = qobject_cast<QNetworkReply *>(sender());
    if (!reply) {
        return;
    }
    qDebug().noquote() << "on_LoginFinished " << deviceprotocol::status(reply)
                       << forLog(deviceprotocol::redirectTarget(reply));
    if (!m_loginSuperseded) {
        takeCookies(reply);
    }
    // Before anybody hears of it: who asks for information at once must not find a request that is out, and
    // after a long wait give up a login that has just succeeded.
    release(reply);
    const bool successful = !m_sidCookie.name().isEmpty();
    emit loginResult(successful,
                     successful ? QString() : QCoreApplication::translate("Device", "Wrong login"));
    // What the session may do is in the device's information, also after a login that went wrong.
    updateInfo();
}

void DeviceSession::takeCookies(const QNetworkReply *reply)
{
    const auto cookies = reply->header(QNetworkRequest::SetCookieHeader).value<QList<QNetworkCookie>>();
    if (isWhereItLoggedIn()) {
        // A login that was given up has its headers in a client that is gone.
        networkManager()->cookieJar()->setCookiesFromUrl(cookies, reply->url());
    }
    for (const QNetworkCookie &cookie : cookies) {
        qDebug() << "cookie" << cookie.name() << cookie.value();
        if (cookie.name() == "sid") {
            m_sidCookie = cookie;
        }
    }
}

void DeviceSession::on_LoginError(QNetworkReply::NetworkError code)
{
    Q_UNUSED(code)
    auto *const reply = qobject_cast<QNetworkReply *>(sender());
    if (!reply) {
        return;
    }
    logError(reply);
    // The end of the reply follows, and says "Wrong login": that is the last word.
    emit loginResult(false,
                     QCoreApplication::translate("Device", "Network Problem: ") + reply->errorString());
    release(reply);
}

#include "device/device.h"

#include "common/disposal.h"
#include "common/http.h"
#include "common/settings.h"
#include "device/agecolor.h"
#include "device/devicecolumns.h"
#include "device/deviceinfo.h"
#include "device/deviceitem.h"
#include "device/idlemanagers.h"

#include <QBrush>
#include <QCoreApplication>
#include <QDebug>
#include <QGuiApplication>
#include <QHeaderView>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <QNetworkRequest>
#include <QPalette>
#include <QSignalBlocker>
#include <QTimer>
#include <QTreeWidget>
#include <QUrl>

namespace {

constexpr int httpOk = 200;
constexpr int httpForbidden = 403;

/// Of a device that was read from the device list file: no longer recent, not yet lost.
constexpr int storedAge = 2;

const QLatin1String hostnameKey("hostname");
const QLatin1String macKey("mac");
const QLatin1String firstSeenKey("first_seen");
const QLatin1String lastSeenKey("last_seen");

QNetworkRequest informationRequest(const QString &baseUrl)
{
    // The first redirection to HTTPS changes how the device is spoken to; every other one is an error.
    QNetworkRequest request = http::deviceRequest(QUrl(baseUrl + QLatin1String("admin/proctpl.cgi")));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("text"));
    return request;
}

void logError(const QNetworkReply *reply)
{
    qDebug().noquote().nospace() << "Fehler bei HTTP-Anfrage: " << reply->errorString() << "  "
                                 << reply->url().toString() << " statusCode " << http::status(reply);
}

} // namespace

Device::Device(DeviceItem *item, QObject *parent)
    : QObject(parent)
    , m_item(item)
{
    recreateNetworkManager();
    showHttpType();
    for (int i = 0; i < sensorColumns; ++i) {
        m_item->setTextAlignment(Column::Sensor1 + i, Qt::AlignRight);
    }
}

Device::~Device()
{
    if (!requestOutstanding()) {
        delete m_networkManager;
        return;
    }
    // The application owns what nobody waits for any more, until the reply ends, counts as hanging, or the
    // program ends. Until then what arrives is thrown away, so that an answer without end doesn't fill the
    // memory.
    QNetworkAccessManager *const manager = m_networkManager;
    connect(manager, &QNetworkAccessManager::finished, manager, &QObject::deleteLater);
    connect(m_pendingReply, &QNetworkReply::readyRead, manager,
            [reply = m_pendingReply] { reply->readAll(); });
    http::disposeLater(manager, m_askedAddress, std::chrono::milliseconds(giveUpAge));
}

QString Device::webInterfaceUrl() const
{
    if (m_record.address().toIPv4Address() == 0) {
        return {};
    }
    const int port = settings::value(m_useHttps ? settings::scanHttpsPort : settings::scanHttpPort);
    return http::baseUrl(m_useHttps, m_record.address(), port);
}

void Device::updateFromDiscovery(const DiscoveryDevice &discoveryDevice)
{
    m_lastSeen = QDateTime::currentDateTimeUtc();
    if (m_firstSeen.isNull()) {
        m_firstSeen = m_lastSeen;
        m_item->setData(Column::FirstSeen, Qt::DisplayRole, m_firstSeen.toLocalTime());
    }
    m_record = discoveryDevice;
    m_item->setText(Column::SystemName, m_record.hostname());
    m_item->setText(Column::Ip, m_record.address().toString());
    m_item->setText(Column::Mac, m_record.macText());
    m_item->setData(Column::LastSeen, Qt::DisplayRole, m_lastSeen.toLocalTime());
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
    recolor();
    m_item->setText(Column::SystemName, m_record.hostname());
    m_item->setText(Column::Mac, m_record.macText());
    m_item->setData(Column::FirstSeen, Qt::DisplayRole, m_firstSeen.toLocalTime());
    m_item->setData(Column::LastSeen, Qt::DisplayRole, m_lastSeen.toLocalTime());
}

void Device::updateInfo()
{
    if (m_pendingReply) {
        if (m_requestTimer.elapsed() > giveUpAge) {
            qDebug() << "updateInfo: abort reply" << m_requestTimer.elapsed();
            giveUpRequest();
        }
        return;
    }
    IdleManagers::use(m_networkManager);
    m_answer.clear();
    QNetworkReply *reply =
        m_networkManager->post(informationRequest(webInterfaceUrl()), deviceinfo::queryTemplate());
    m_pendingReply = reply;
    m_requestTimer.start();
    m_askedAddress = m_record.address();
    connect(reply, &QNetworkReply::finished, this, &Device::on_downloadInfoFinished);
    connect(reply, &QNetworkReply::errorOccurred, this, &Device::on_uploadError);
    connect(reply, &QNetworkReply::metaDataChanged, this, [this, reply] { refuseEncodedAnswer(reply); });
    connect(reply, &QNetworkReply::readyRead, this, [this, reply] { collectAnswer(reply); });
    http::boundAnswer(reply);
}

void Device::login(const QString &user, const QString &password)
{
    const bool useHttps = m_useHttps;
    // The end of an aborted login brings a query of its own, which is none any more either.
    while (m_pendingReply) {
        abortForLogin();
    }
    // That a request ended so says nothing against HTTPS, and a password must not go out in the clear for it.
    m_useHttps = useHttps;
    QNetworkRequest request = http::deviceRequest(QUrl(webInterfaceUrl() + QLatin1String("login.cgi")));
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QByteArrayLiteral("application/x-www-form-urlencoded"));
    const QByteArray form = "btnapp=Submit&login_user=" + QUrl::toPercentEncoding(user) +
                            "&login_password=" + QUrl::toPercentEncoding(password);
    m_sidCookie = QNetworkCookie();
    m_loginUser = user;
    m_loginPassword = password;
    IdleManagers::use(m_networkManager);
    QNetworkReply *const reply = http::postOnce(m_networkManager, request, form);
    m_pendingReply = reply;
    m_requestTimer.start();
    m_askedAddress = m_record.address();
    connect(reply, &QNetworkReply::finished, this, &Device::on_LoginFinished);
    connect(reply, &QNetworkReply::errorOccurred, this, &Device::on_LoginError);
    // The page that comes with the answer tells nothing, and must not pile up, not even while this thread has
    // no time for it.
    http::boundAnswer(reply);
    connect(reply, &QNetworkReply::readyRead, reply, [reply] { reply->readAll(); });
}

void Device::abortForLogin()
{
    QNetworkReply *const reply = m_pendingReply;
    // Its handlers run at once and tell who waits for it. An older login has failed then, whatever had
    // arrived of its answer.
    m_loginSuperseded = true;
    reply->abort();
    m_loginSuperseded = false;
    reply->deleteLater();
    if (m_pendingReply == reply) {
        m_pendingReply = nullptr;
    }
}

void Device::on_LoginFinished()
{
    auto *const reply = qobject_cast<QNetworkReply *>(sender());
    if (!reply) {
        return;
    }
    qDebug().noquote() << "on_LoginFinished " << http::status(reply) << http::redirectTarget(reply);
    if (!m_loginSuperseded) {
        takeCookies(reply);
    }
    reply->deleteLater();
    // Before anybody hears of it: who asks for information at once must not find a request that is out, and
    // after a long wait give up a login that has just succeeded.
    if (reply == m_pendingReply) {
        m_pendingReply = nullptr;
    }
    const bool successful = !m_sidCookie.name().isEmpty();
    emit loginResult(successful, successful ? QString() : tr("Wrong login"));
    // What the session may do is in the device's information, also after a login that went wrong.
    updateInfo();
}

void Device::takeCookies(const QNetworkReply *reply)
{
    const auto cookies = reply->header(QNetworkRequest::SetCookieHeader).value<QList<QNetworkCookie>>();
    if (!cookies.isEmpty()) {
        m_networkManager->cookieJar()->setCookiesFromUrl(cookies, QUrl(webInterfaceUrl()));
    }
    for (const QNetworkCookie &cookie : cookies) {
        qDebug() << "cookie" << cookie.name() << cookie.value();
        if (cookie.name() == "sid") {
            m_sidCookie = cookie;
        }
    }
}

void Device::on_LoginError(QNetworkReply::NetworkError code)
{
    auto *const reply = qobject_cast<QNetworkReply *>(sender());
    if (!reply) {
        return;
    }
    logError(reply);
    leaveCanceledClient(reply, code);
    // The end of the reply follows, and says "Wrong login": that is the last word.
    emit loginResult(false, tr("Network Problem: ") + reply->errorString());
    reply->deleteLater();
    if (reply == m_pendingReply) {
        m_pendingReply = nullptr;
    }
}

QList<QNetworkCookie> Device::cookies() const
{
    return m_sidCookie.name().isEmpty() ? QList<QNetworkCookie>() : QList<QNetworkCookie>{m_sidCookie};
}

void Device::abortQuery()
{
    if (m_pendingReply) {
        giveUpRequest();
    }
    m_useHttps = false;
}

void Device::giveUpRequest()
{
    QNetworkReply *const reply = m_pendingReply;
    recreateNetworkManager();
    m_useHttps = false;
    // Reports the cancellation at once, through on_uploadError(), unless the reply had ended; and whoever
    // hears of it may send the next request at once.
    reply->abort();
    if (m_pendingReply == reply) {
        m_pendingReply = nullptr;
    }
}

void Device::recreateNetworkManager()
{
    if (m_networkManager) {
        IdleManagers::use(m_networkManager);
        http::disposeLater(m_networkManager, m_askedAddress);
    }
    m_networkManager = http::createManager(nullptr);
}

void Device::leaveCanceledClient(const QNetworkReply *reply, QNetworkReply::NetworkError code)
{
    if (code == QNetworkReply::OperationCanceledError && reply->manager() == m_networkManager) {
        recreateNetworkManager();
    }
}

void Device::collectAnswer(QNetworkReply *reply)
{
    if (reply != m_pendingReply) {
        return;
    }
    m_answer += reply->readAll();
    if (m_answer.size() > deviceinfo::maximumAnswerSize) {
        qDebug() << "Answer too long:" << m_answer.size() << "bytes from" << reply->url();
        m_answer.clear();
        reply->abort();
    }
}

void Device::refuseEncodedAnswer(QNetworkReply *reply)
{
    const QByteArray encoding = reply->rawHeader(QByteArrayLiteral("Content-Encoding"));
    if (reply == m_pendingReply && http::status(reply) == httpOk && !encoding.isEmpty() &&
        encoding != "identity") {
        qDebug() << "Answer in an encoding that nobody asked for:" << encoding << "from" << reply->url();
        reply->abort();
    }
}

void Device::on_downloadInfoFinished()
{
    auto *const reply = qobject_cast<QNetworkReply *>(sender());
    if (reply != m_pendingReply) {
        if (reply) {
            reply->deleteLater();
        }
        return;
    }
    if (!reply) {
        return;
    }
    const int status = http::status(reply);
    const QString reason = reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString();
    m_item->setText(Column::Status, QString::number(status) + QLatin1Char(' ') + reason);
    if (!m_useHttps && http::redirectsToHttps(reply)) {
        followToHttps();
    } else if (status != httpOk) {
        refuseStatus(status);
    } else {
        readAnswer();
    }
}

void Device::followToHttps()
{
    m_useHttps = true;
    releasePendingReply();
    showHttpType();
    updateInfo();
}

void Device::refuseStatus(int status)
{
    qDebug() << "Falscher HTTP Status-Code " << status << http::redirectTarget(m_pendingReply);
    releasePendingReply();
    if (status == httpForbidden) {
        resetWebAge();
    } else {
        m_useHttps = false;
    }
    endRequest();
}

void Device::readAnswer()
{
    resetDataAge();
    resetWebAge();
    m_answer += m_pendingReply->readAll();
    QString parseError;
    const auto info =
        deviceinfo::parseAnswer(m_answer, settings::value(settings::preferExtended), &parseError);
    m_answer.clear();
    if (!info) {
        // The reply stays pending, so that a device that talks nonsense is left alone until the request
        // counts as hanging.
        qDebug() << "Fehler beim Parsen des JSON: " << parseError;
        endRequest();
        return;
    }
    show(*info);
    releasePendingReply();
    endRequest();
    emit newData();
}

void Device::show(const deviceinfo::DeviceInfo &info)
{
    for (int i = 0; i < Column::Count; ++i) {
        const auto index = static_cast<std::size_t>(i);
        if (deviceColumns[index].informationTemplate) {
            m_item->setText(i, info.texts[index]);
        }
    }
    showSensors(info);
    m_item->setData(Column::Uptime, Qt::DisplayRole, QVariant::fromValue(info.uptime));
    m_deviceType = info.deviceType;
    m_item->setText(Column::Type, m_deviceType);
    m_loginGroup = info.loginGroup;
    m_item->setText(Column::AccessRights, deviceinfo::accessRightsText(m_loginGroup));
    m_historyStart = info.historyStart;
    m_deviceTime = info.deviceTime;
    m_item->setData(Column::HistoryStart, Qt::DisplayRole, m_historyStart);
    showHttpType();
}

void Device::showSensors(const deviceinfo::DeviceInfo &info)
{
    const QColor normal = QGuiApplication::palette().color(QPalette::Current, QPalette::Text);
    for (int i = 0; i < sensorColumns; ++i) {
        const auto &sensor = info.sensors[static_cast<std::size_t>(i)];
        const bool alarm = sensor && sensor->alarm;
        m_item->setData(Column::Sensor1 + i, Qt::ForegroundRole, alarm ? QColor(255, 0, 0) : normal);
        m_item->setText(Column::Sensor1 + i, sensor ? sensor->text : QString());
    }
}

void Device::showHttpType()
{
    m_item->setText(Column::HttpType, m_useHttps ? QStringLiteral("https") : QStringLiteral("http"));
}

void Device::on_uploadError(QNetworkReply::NetworkError code)
{
    auto *const reply = qobject_cast<QNetworkReply *>(sender());
    if (!reply) {
        return;
    }
    logError(reply);
    leaveCanceledClient(reply, code);
    if (reply != m_pendingReply) {
        reply->deleteLater();
        return;
    }
    const int status = http::status(reply);
    const QString prefix = status != 0 ? QString::number(status) + QLatin1Char(' ') : QString();
    m_item->setText(Column::Status, prefix + reply->errorString());
    if (status == httpForbidden) {
        m_loginGroup = 0;
        m_item->setText(Column::AccessRights, deviceinfo::accessRightsText(m_loginGroup));
        resetWebAge();
    } else {
        m_useHttps = false;
    }
    releasePendingReply();
    endRequest();
    emit newData();
}

void Device::releasePendingReply()
{
    m_pendingReply->deleteLater();
    m_pendingReply = nullptr;
}

void Device::endRequest()
{
    // Later, since the manager is still busy delivering the end of this very reply; and by a timer, since in
    // a big refresh the events that threads post have no end, and other things must get their turn.
    QTimer::singleShot(1, this, &Device::restNetworkManager);
    emit requestEnded();
}

void Device::restNetworkManager()
{
    if (!requestOutstanding()) {
        IdleManagers::rest(m_networkManager, m_useHttps);
    }
}

void Device::addAge(int cycles)
{
    m_discoveryAge += cycles;
    m_dataAge += cycles;
    m_webAge += cycles;
    recolor();
}

void Device::resetDiscoveryAge()
{
    m_discoveryAge = 0;
    recolor();
}

void Device::resetDataAge()
{
    m_dataAge = 0;
    recolor();
}

void Device::resetWebAge()
{
    m_webAge = 0;
    recolor();
}

void Device::recolor()
{
    emit agesChanged();
    QTreeWidget *const list = m_item->treeWidget();
    if (!list) {
        return;
    }
    const Colors colors{ageColor(m_discoveryAge), ageColor(m_dataAge), ageColor(m_webAge)};
    if (colors == m_shownColors) {
        return;
    }
    m_shownColors = colors;
    {
        // No colour changes the order of the rows, but the list would look whether it does, cell by cell.
        const QSignalBlocker blocker(list->model());
        // One brush for many cells: making them costs more than setting them.
        const QVariant discovery = QBrush(colors.discovery);
        const QVariant data = QBrush(colors.data);
        const QVariant web = QBrush(colors.web);
        for (int i = 0; i < list->columnCount(); ++i) {
            const bool fromDiscovery = i <= Column::LastSeen;
            m_item->setData(i, Qt::BackgroundRole,
                            fromDiscovery               ? discovery
                            : i == Column::AccessRights ? web
                                                        : data);
        }
    }
    list->viewport()->update();
}

void Device::applyFilter(const QRegExp &pattern)
{
    const bool hide = pattern.isValid() && !pattern.isEmpty() && !matches(pattern);
    // Even an unchanged one makes the list lay out all of its rows again.
    if (m_item->isHidden() != hide) {
        m_item->setHidden(hide);
    }
}

bool Device::matches(const QRegExp &pattern) const
{
    const QTreeWidget *const list = m_item->treeWidget();
    for (int i = 0; list && i < list->columnCount(); ++i) {
        if (!list->isColumnHidden(i) && m_item->data(i, Qt::DisplayRole).toString().indexOf(pattern) >= 0) {
            return true;
        }
    }
    return false;
}

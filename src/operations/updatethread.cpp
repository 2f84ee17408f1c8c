#include "operations/updatethread.h"

#include "common/plainline.h"
#include "device/device.h"
#include "operations/outputfile.h"
#include "web/deviceprotocol.h"
#include "web/webmanager.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QNetworkCookieJar>
#include <QNetworkReply>
#include <QTimer>
#include <QUrl>

#include <memory>

namespace {

/// What the upload adds to the progress, which ends at 100.
constexpr int uploadProgress = 50;
constexpr int complete = 100;

/// Bytes. Far longer than any configuration, which is kept in memory, and any other page.
constexpr qint64 longestAnswer = 16LL * 1024 * 1024;

constexpr int firstRedirection = 300;

} // namespace

UpdateThread::UpdateThread(const Device &device, int row, const Job &job, QObject *parent)
    : QThread(parent)
    , m_row(row)
    , m_job(job)
    , m_device(device)
    , m_user(device.loginUser())
    , m_password(device.loginPassword())
    , m_useHttps(m_device.useHttps)
{
    connect(&device, &Device::newDiscovery, this, &UpdateThread::newDiscovery);
    m_inThread.moveToThread(this);
    connect(this, &UpdateThread::deviceFound, &m_inThread, [this] {
        if (QEventLoop *const loop = m_waitingForDevice) {
            loop->quit();
        }
    });
}

void UpdateThread::stop()
{
    m_stopped = true;
    // Ends the event loop that runs, and those that are started from now on.
    exit(1);
}

void UpdateThread::newDiscovery(const DiscoveryDevice &discoveryDevice)
{
    qDebug() << "newDiscovery" << discoveryDevice.address().toString() << discoveryDevice.hostname();
    if (m_waitingForDevice) {
        emit deviceFound();
    }
}

void UpdateThread::run()
{
    WebManager manager;
    m_manager = &manager;
    manager.cookieJar()->setCookiesFromUrl(m_device.cookies, QUrl(baseUrl()));
    takeSteps();
}

void UpdateThread::takeSteps()
{
    struct Step
    {
        bool (UpdateThread::*take)();
        int progress;
    };
    // The configuration is sent twice, the second time after a fresh login: a device with new firmware takes
    // some of it over only then.
    constexpr Step steps[] = {
        {&UpdateThread::saveConfig, 10},       {&UpdateThread::uploadFirmware, uploadProgress},
        {&UpdateThread::activateFirmware, 10}, {&UpdateThread::waitForDevice, 10},
        {&UpdateThread::detectScheme, 0},      {&UpdateThread::announceRestoring, 0},
        {&UpdateThread::loginTwice, 0},        {&UpdateThread::announceConfigUpload, 0},
        {&UpdateThread::restoreConfig, 0},     {&UpdateThread::loginTwice, 0},
        {&UpdateThread::restoreConfig, 0},     {&UpdateThread::loginTwice, 0},
        {&UpdateThread::resetDevice, 10},      {&UpdateThread::waitForDevice, 0},
    };
    emit changeProgress(0);
    for (const Step &step : steps) {
        if (m_stopped || !(this->*step.take)()) {
            return;
        }
        if (step.progress > 0) {
            m_progress += step.progress;
            emit changeProgress(m_progress);
        }
    }
    emit changeProgress(complete);
    emit message(tr("Finished"));
}

bool UpdateThread::announceRestoring()
{
    emit message(tr("Restoring config"));
    return true;
}

bool UpdateThread::saveConfig()
{
    emit message(tr("Saving config"));
    QNetworkReply *const reply = deviceprotocol::fetchConfiguration(m_manager, baseUrl(), false);
    if (!waitForReply(reply, &m_savedConfig)) {
        return false;
    }
    if (deviceprotocol::status(reply) >= firstRedirection) {
        // What comes along is a page that leads elsewhere. Restored after the update it would cost the device
        // its configuration.
        emit message(tr("Wrong HTTP Status-Code ") + QString::number(deviceprotocol::status(reply)));
        return false;
    }
    if (m_savedConfig.isEmpty() || deviceprotocol::isPacked(reply)) {
        // Nothing that the device would understand when it gets it back.
        emit message(tr("The device sent no usable configuration"));
        return false;
    }
    qDebug().noquote() << forLog(QString::fromUtf8(m_savedConfig));
    return m_job.configsDir.isEmpty() || keepConfig();
}

bool UpdateThread::keepConfig()
{
    const OutputName name{m_device.hostname, m_device.mac, QStringLiteral(".qini")};
    const QDateTime now = QDateTime::currentDateTimeUtc();
    OutputFile::removeLeftovers(m_job.configsDir);
    OutputFile file(m_job.configsDir, name);
    file.write(m_savedConfig);
    // What follows may cost the device its own copy.
    if (!file.sync() || !file.commit(now)) {
        emit message(tr("Error opening file ") + m_job.configsDir + QLatin1Char('/') + name.at(now) +
                     tr("for writing"));
        return false;
    }
    return true;
}

bool UpdateThread::uploadFirmware()
{
    emit message(tr("Uploading firmware"));
    auto image = std::make_unique<QFile>(m_job.firmwareFile);
    // Opening a pipe may last for ever.
    if (!QFileInfo(*image).isFile() || !image->open(QIODevice::ReadOnly)) {
        emit message(tr("Error opening firmware file ") + m_job.firmwareFile);
        return false;
    }
    QNetworkReply *const reply =
        deviceprotocol::sendFirmware(m_manager, baseUrl(), m_job.buffer, image.release());
    // In this thread, to which the reply belongs.
    connect(reply, &QNetworkReply::uploadProgress, reply,
            [this](qint64 sent, qint64 total) { showUpload(sent, total); });
    return waitForReply(reply);
}

void UpdateThread::showUpload(qint64 bytesSent, qint64 bytesTotal)
{
    if (bytesTotal > 0) {
        emit changeProgress(static_cast<int>(m_progress + bytesSent * uploadProgress / bytesTotal));
    }
}

bool UpdateThread::activateFirmware()
{
    emit message(tr("Activating firmware"));
    return waitForReply(deviceprotocol::activateFirmware(m_manager, baseUrl(), m_job.buffer));
}

bool UpdateThread::waitForDevice()
{
    emit message(tr("Waiting 10 seconds"));
    {
        QEventLoop loop;
        QTimer::singleShot(m_job.restartTime, &loop, &QEventLoop::quit);
        if (!pause(loop)) {
            return false;
        }
    }
    emit message(tr("Waiting for device"));
    QEventLoop loop;
    m_waitingForDevice = &loop;
    const bool found = pause(loop);
    m_waitingForDevice = nullptr;
    return found;
}

bool UpdateThread::detectScheme()
{
    if (!m_useHttps) {
        return true;
    }
    m_useHttps = false;
    QNetworkReply *const reply = deviceprotocol::fetchStartPage(m_manager, m_device.address, m_job.httpPort);
    if (!waitForReply(reply)) {
        return false;
    }
    m_useHttps = deviceprotocol::redirectsToHttps(reply);
    return true;
}

bool UpdateThread::loginTwice()
{
    if (m_device.cookies.isEmpty() || m_user.isEmpty()) {
        return true;
    }
    // A device with fresh firmware may have lost its passwords.
    return login(QString()) && login(m_password);
}

bool UpdateThread::login(const QString &password)
{
    return waitForReply(deviceprotocol::logInForUpdate(m_manager, baseUrl(), m_user, password));
}

bool UpdateThread::announceConfigUpload()
{
    return waitForReply(deviceprotocol::announceConfiguration(m_manager, baseUrl()));
}

bool UpdateThread::restoreConfig()
{
    QNetworkReply *const reply = deviceprotocol::sendConfiguration(m_manager, baseUrl(), m_savedConfig);
    if (!waitForReply(reply)) {
        return false;
    }
    qDebug() << "upload config status" << deviceprotocol::status(reply);
    return true;
}

bool UpdateThread::resetDevice()
{
    return waitForReply(deviceprotocol::reset(m_manager, baseUrl()));
}

QString UpdateThread::baseUrl() const
{
    return deviceprotocol::baseUrl(m_useHttps, m_device.address,
                                   m_useHttps ? m_job.httpsPort : m_job.httpPort);
}

bool UpdateThread::waitForReply(QNetworkReply *reply, QByteArray *body)
{
    qDebug() << "request" << reply->url();
    QEventLoop loop;
    connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    qint64 size = 0;
    const auto read = [reply, body, &size] {
        const QByteArray piece = deviceprotocol::takeArrived(reply);
        size += piece.size();
        if (body) {
            *body += piece;
        }
        if (size > longestAnswer) {
            reply->abort();
        }
    };
    connect(reply, &QNetworkReply::readyRead, reply, read);
    if (!reply->isFinished() && !pause(loop)) {
        return false;
    }
    read();
    const int status = deviceprotocol::status(reply);
    qDebug() << "finished" << reply->url() << status;
    // For the toolkit a refusal is an error, too; its number tells more.
    const bool refused = status != 0 && !deviceprotocol::isSuccess(status);
    if (reply->error() != QNetworkReply::NoError && !refused) {
        emit message(tr("Error for HTTP-Request: ") + reply->errorString() + QLatin1String("  ") +
                     reply->url().toString());
        return false;
    }
    if (!deviceprotocol::isSuccess(status)) {
        emit message(tr("Wrong HTTP Status-Code ") + QString::number(status));
        return false;
    }
    // At the start of the next event loop.
    reply->deleteLater();
    return true;
}

bool UpdateThread::pause(QEventLoop &loop)
{
    return !m_stopped && loop.exec() == 0 && !m_stopped;
}

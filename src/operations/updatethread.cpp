#include "operations/updatethread.h"

#include "common/disposal.h"
#include "common/http.h"
#include "device/device.h"
#include "operations/devicerequest.h"
#include "operations/outputfile.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <QNetworkReply>
#include <QTimer>
#include <QUrl>
#include <QUrlQuery>

#include <memory>

namespace {

/// What the upload adds to the progress, which ends at 100.
constexpr int uploadProgress = 50;
constexpr int complete = 100;

/// Bytes. Far longer than any configuration; it is kept in memory.
constexpr int longestConfiguration = 16 * 1024 * 1024;

constexpr int firstRedirection = 300;

/// The query keeps what looks percent-encoded, and a plus means a blank to whoever decodes it. What the user
/// typed means itself.
QString asTyped(QString text)
{
    return text.replace(QLatin1Char('%'), QLatin1String("%25"))
        .replace(QLatin1Char('+'), QLatin1String("%2B"));
}

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
    std::unique_ptr<QNetworkAccessManager> manager(http::createManager(nullptr));
    m_manager = manager.get();
    m_manager->cookieJar()->setCookiesFromUrl(m_device.cookies, QUrl(baseUrl()));
    takeSteps();
    if (m_canceled) {
        // Who stopped the update waits for this thread.
        http::dispose(manager.release(), m_device.address);
    }
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
    QNetworkReply *const reply =
        m_manager->get(http::deviceRequest(devicerequest::configuration(baseUrl(), false)));
    if (!waitForReply(reply, &m_savedConfig)) {
        return false;
    }
    if (http::status(reply) >= firstRedirection) {
        // What comes along is a page that leads elsewhere. Restored after the update it would cost the device
        // its configuration.
        emit message(tr("Wrong HTTP Status-Code ") + QString::number(http::status(reply)));
        return false;
    }
    const QByteArray encoding = reply->rawHeader(QByteArrayLiteral("Content-Encoding"));
    if (m_savedConfig.isEmpty() || !(encoding.isEmpty() || encoding == "identity")) {
        // Nothing that the device would understand when it gets it back.
        emit message(tr("The device sent no usable configuration"));
        return false;
    }
    qDebug().noquote() << m_savedConfig;
    return m_job.configsDir.isEmpty() || keepConfig();
}

bool UpdateThread::keepConfig()
{
    const OutputName name{m_device.hostname, m_device.mac, QStringLiteral(".qini")};
    const QDateTime now = QDateTime::currentDateTimeUtc();
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
    auto *const image = new QFile(m_job.firmwareFile);
    QHttpMultiPart *const form = devicerequest::firmwareForm(m_job.buffer, image);
    // Opening a pipe may last for ever.
    if (!QFileInfo(*image).isFile() || !image->open(QIODevice::ReadOnly)) {
        emit message(tr("Error opening firmware file ") + m_job.firmwareFile);
        delete form;
        return false;
    }
    const QNetworkRequest request = requestFor("admin/upload.cgi");
    qDebug() << "upload" << request.url();
    QNetworkReply *const reply = m_manager->post(request, form);
    form->setParent(reply);
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
    return postForm("admin/upgrade.cgi",
                    {{QStringLiteral("buffer"), QString::number(m_job.buffer)},
                     {QStringLiteral("redir"), QStringLiteral("/wait.shtml?url=/&text=4")},
                     {QStringLiteral("form_fw_ac"), QStringLiteral("Submit")}});
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
    connect(this, &UpdateThread::deviceFound, &loop, &QEventLoop::quit, Qt::QueuedConnection);
    m_waitingForDevice = true;
    const bool found = pause(loop);
    m_waitingForDevice = false;
    // Those to the device as it was before are dead, though it may never have said so.
    m_manager->clearConnectionCache();
    return found;
}

bool UpdateThread::detectScheme()
{
    if (!m_useHttps) {
        return true;
    }
    m_useHttps = false;
    const QUrl root(QLatin1String("http://") + m_device.address.toString() + QLatin1Char(':') +
                    QString::number(m_job.httpPort));
    QNetworkReply *const reply = m_manager->get(http::deviceRequest(root));
    if (!waitForReply(reply)) {
        return false;
    }
    m_useHttps = http::redirectsToHttps(reply);
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
    return postForm("login.cgi", {{QStringLiteral("login_user"), asTyped(m_user)},
                                  {QStringLiteral("login_password"), asTyped(password)},
                                  {QStringLiteral("redir"), QStringLiteral("/")},
                                  {QStringLiteral("btnapp"), QStringLiteral("Submit")}});
}

bool UpdateThread::announceConfigUpload()
{
    return postForm("admin/postform.cgi", {{QStringLiteral("config_upgrading"), QString()},
                                           {QStringLiteral("redir"), QStringLiteral("/")},
                                           {QStringLiteral("btnapp"), QStringLiteral("Submit")}});
}

bool UpdateThread::restoreConfig()
{
    QHttpMultiPart *const form = devicerequest::configurationForm(m_savedConfig);
    QNetworkReply *const reply =
        m_manager->post(http::deviceRequest(devicerequest::configurationUpload(baseUrl())), form);
    form->setParent(reply);
    if (!waitForReply(reply)) {
        return false;
    }
    qDebug() << "upload config status" << http::status(reply);
    return true;
}

bool UpdateThread::resetDevice()
{
    return postForm("admin/reset.cgi", {{QStringLiteral("redir"), QStringLiteral("/")},
                                        {QStringLiteral("btnapp"), QStringLiteral("Submit")}});
}

QString UpdateThread::baseUrl() const
{
    return http::baseUrl(m_useHttps, m_device.address, m_useHttps ? m_job.httpsPort : m_job.httpPort);
}

QNetworkRequest UpdateThread::requestFor(const char *path) const
{
    return http::deviceRequest(QUrl(baseUrl() + QLatin1String(path)));
}

bool UpdateThread::postForm(const char *path, const Form &fields)
{
    if (m_stopped) {
        return false;
    }
    QUrlQuery query;
    for (const QPair<QString, QString> &field : fields) {
        // A null text would come without its equals sign.
        query.addQueryItem(field.first, field.second.isNull() ? QLatin1String("") : field.second);
    }
    QNetworkRequest request = requestFor(path);
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QByteArrayLiteral("application/x-www-form-urlencoded"));
    return waitForReply(http::postOnce(m_manager, request, query.toString(QUrl::FullyEncoded).toUtf8()));
}

bool UpdateThread::waitForReply(QNetworkReply *reply, QByteArray *body)
{
    qDebug() << "request" << reply->url();
    QEventLoop loop;
    connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    const auto read = [reply, body] {
        // What was given up can't be read any more.
        if (!reply->isOpen()) {
            return;
        }
        const QByteArray piece = reply->readAll();
        if (body) {
            *body += piece;
            if (body->size() > longestConfiguration) {
                reply->abort();
            }
        }
    };
    connect(reply, &QNetworkReply::readyRead, reply, read);
    http::boundAnswer(reply);
    if (!reply->isFinished() && !pause(loop)) {
        m_canceled = true;
        return false;
    }
    read();
    m_canceled = reply->error() == QNetworkReply::OperationCanceledError;
    const int status = http::status(reply);
    qDebug() << "finished" << reply->url() << status;
    // For the toolkit a refusal is an error, too; its number tells more.
    const bool refused = status != 0 && !http::isSuccess(status);
    if (reply->error() != QNetworkReply::NoError && !refused) {
        emit message(tr("Error for HTTP-Request: ") + reply->errorString() + QLatin1String("  ") +
                     reply->url().toString());
        return false;
    }
    if (!http::isSuccess(status)) {
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

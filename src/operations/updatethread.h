#pragma once

#include "operations/deviceaccess.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QThread>

#include <atomic>
#include <chrono>

class DiscoveryDevice;
class QEventLoop;
class QNetworkReply;
class WebManager;

/// Updates the firmware of one device, on its own: keeps the configuration, uploads the image, activates it,
/// waits for the device to come back, and restores the configuration. Nothing is sent after the first
/// failure; in particular nothing is uploaded before the configuration is safe.
///
/// The object belongs to the GUI thread; run() makes all that it needs in its own thread and takes it down
/// there. What crosses are the signals and a few flags. Belongs to the dialog, which must stop() and wait()
/// before it deletes it.
class UpdateThread final : public QThread
{
    Q_OBJECT

public:
    /// What is done to every device of a run.
    struct Job
    {
        QString firmwareFile;
        /// 1 or 2.
        int buffer = 1;
        /// Where a copy of the configuration is kept; empty: it is kept in memory only.
        QString configsDir;
        int httpPort = 80;
        int httpsPort = 443;
        /// In which a device shuts down; an answer to discovery that comes earlier is of the time before. The
        /// user is told of 10 seconds.
        std::chrono::milliseconds restartTime{10000};
    };

    /// Copies what it needs of the device, and listens to its answers to discovery. `row`: of the table.
    UpdateThread(const Device &device, int row, const Job &job, QObject *parent);

    int row() const { return m_row; }
    /// Has run() end as soon as it waits for anything. From any thread, at any time.
    void stop();

signals:
    /// What is being done, or why it failed; the last one is "Finished" after success.
    void message(const QString &text);
    /// 0 to 100.
    void changeProgress(int value);
    /// The device answered to discovery while it was waited for.
    void deviceFound();

public slots:
    /// The device answered to discovery.
    void newDiscovery(const DiscoveryDevice &discoveryDevice);

protected:
    void run() override;

private:
    // The steps; false: nothing follows.
    bool saveConfig();
    bool uploadFirmware();
    bool activateFirmware();
    bool waitForDevice();
    bool detectScheme();
    bool announceRestoring();
    bool loginTwice();
    bool announceConfigUpload();
    bool restoreConfig();
    bool resetDevice();

    bool keepConfig();
    bool login(const QString &password);
    QString baseUrl() const;
    /// `body`: where the answer goes; null if it tells nothing.
    bool waitForReply(QNetworkReply *reply, QByteArray *body = nullptr);
    bool pause(QEventLoop &loop);
    void takeSteps();
    void showUpload(qint64 bytesSent, qint64 bytesTotal);

    const int m_row;
    const Job m_job;
    const DeviceAccess m_device;
    const QString m_user;
    const QString m_password;
    std::atomic_bool m_stopped{false};
    /// Of waitForDevice() while it waits for an answer. Only the thread of run() looks into it.
    std::atomic<QEventLoop *> m_waitingForDevice{nullptr};
    /// Takes answers to discovery over to the thread of run(). It outlives that thread: what waits there
    /// comes and goes while answers are on their way to it.
    QObject m_inThread;

    // Of run() alone.
    WebManager *m_manager = nullptr;
    bool m_useHttps;
    int m_progress = 0;
    QByteArray m_savedConfig;
};

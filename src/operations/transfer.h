#pragma once

#include "operations/deviceaccess.h"
#include "web/requestpace.h"

#include <QElapsedTimer>
#include <QNetworkReply>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

class BackgroundFile;
class DiskThread;
class QNetworkAccessManager;

/// One request for each of many devices, with a row each: starts them all, tells what becomes of each, keeps
/// what they bring. Belongs to the dialog that shows the rows; goes with everything that is still out. GUI
/// thread only.
class Transfer final : public QObject
{
    Q_OBJECT

public:
    /// What is asked of every device.
    struct Operation
    {
        /// Sends the request to a device. The reply belongs to the manager.
        std::function<QNetworkReply *(QNetworkAccessManager *manager, const DeviceAccess &device)> send;
        /// What a row says meanwhile, translated: "Downloading".
        QString activity;
        /// Where the answers are kept, and with which suffix, its dot included; no suffix: they are not kept.
        QString directory;
        QString suffix;
        /// Also writes the answers to the debug log, as far as they are texts of usual length.
        bool logAnswers = false;
    };
    enum class Mark { None, Good, Bad };

    explicit Transfer(QObject *parent = nullptr);
    ~Transfer() override;

    /// Starts a run, in the order of the rows. The one before must have ended or been canceled.
    void start(const QList<DeviceAccess> &devices, const Operation &operation);
    /// Ends every request that is still out. What has ended stays as it is.
    void cancel();

signals:
    /// What a row says from now on, and whether that is the good or the bad end of it.
    void rowChanged(int row, const QString &text, Transfer::Mark mark);
    /// Bytes of the answer that have arrived.
    void received(int row, qint64 bytes);
    /// No request is out any more. Never for a run without devices.
    void ended();

private:
    struct Row
    {
        DeviceAccess device;
        /// Null before the request is sent and after it has ended; belongs to a manager of its own.
        QNetworkReply *reply = nullptr;
        std::unique_ptr<BackgroundFile> file;
        /// All of the answer has arrived, and the disk is told to keep it.
        bool isKept = false;
        bool hasEnded = false;
    };

    Row &rowAt(int index) { return m_rows[static_cast<std::size_t>(index)]; }
    bool startNext();
    bool isDiskBehind() const;
    void openFile(int index);
    void takePiece(Row &row);
    void fileWritten(int index, qint64 bytes, bool good);
    bool checkReply(int index);
    void requestFinished(int index);
    void endWritten(int index, bool good);
    void requestFailed(int index);
    /// The request of a row has ended.
    void letGo(QNetworkReply *reply);
    void endRow(int index, const QString &text, Mark mark);

    Operation m_operation;
    /// Null where nothing is kept.
    std::unique_ptr<DiskThread> m_disk;
    /// Bytes of all rows that it hasn't taken yet, and when it last took some.
    qint64 m_waitingForDisk = 0;
    QElapsedTimer m_sinceTaken;
    std::vector<Row> m_rows;
    std::size_t m_next = 0;
    std::size_t m_finishedCount = 0;
    bool m_canceled = false;
    /// By reply.
    RequestPace m_pace;
};

#include "operations/transfer.h"

#include "operations/diskthread.h"
#include "web/deviceprotocol.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QNetworkAccessManager>
#include <QUrl>

#include <chrono>

using namespace std::chrono_literals;

namespace {

/// Bytes of an answer that wait for the disk; then its device waits.
constexpr qint64 mostOfARow = 256LL * 1024;
/// Bytes of all answers that do, and how long the disk may take for the next piece; beyond that no further
/// device is asked.
constexpr qint64 mostOfAllRows = 32LL * 1024 * 1024;
constexpr std::chrono::milliseconds longestPiece = 200ms;

QString canceledText()
{
    return QCoreApplication::translate("NetworkOperationsDialog", "Canceled");
}

} // namespace

Transfer::Transfer(QObject *parent)
    : QObject(parent)
    , m_pace([this] { return startNext(); })
{
}

Transfer::~Transfer() = default;

void Transfer::start(const QList<DeviceAccess> &devices, const Operation &operation)
{
    m_operation = operation;
    m_canceled = false;
    m_finishedCount = 0;
    m_next = 0;
    for (const Row &row : m_rows) {
        // Canceled too late to be given up, and its file has not got its name yet.
        if (row.reply) {
            letGo(row.reply);
        }
    }
    m_rows.clear();
    // A new one: that of the run before may hang in a directory that was the wrong one.
    m_waitingForDisk = 0;
    m_disk = operation.suffix.isEmpty() ? nullptr : std::make_unique<DiskThread>(operation.directory);
    for (const DeviceAccess &device : devices) {
        m_rows.emplace_back().device = device;
        emit rowChanged(static_cast<int>(m_rows.size()) - 1, operation.activity, Mark::None);
    }
    m_pace.startSome();
}

bool Transfer::startNext()
{
    if (m_next == m_rows.size() || isDiskBehind()) {
        return false;
    }
    const auto index = static_cast<int>(m_next);
    Row &row = m_rows[m_next++];
    if (m_disk) {
        openFile(index);
    }
    QNetworkReply *const reply = m_operation.send(row.device.createNetworkManager(this), row.device);
    row.reply = reply;
    m_pace.started(reply);
    connect(reply, &QNetworkReply::errorOccurred, this, [this, index] { requestFailed(index); });
    connect(reply, &QNetworkReply::readyRead, this, [this, index] { takePiece(rowAt(index)); });
    connect(reply, &QNetworkReply::downloadProgress, this,
            [this, index](qint64 bytes) { emit received(index, bytes); });
    connect(reply, &QNetworkReply::finished, this, [this, index] { requestFinished(index); });
    return true;
}

bool Transfer::isDiskBehind() const
{
    return m_waitingForDisk > mostOfAllRows ||
           (m_waitingForDisk > 0 && m_sinceTaken.hasExpired(longestPiece.count()));
}

void Transfer::openFile(int index)
{
    Row &row = rowAt(index);
    row.file = std::make_unique<BackgroundFile>(
        *m_disk, m_operation.directory, OutputName{row.device.hostname, row.device.mac, m_operation.suffix},
        this);
    connect(row.file.get(), &BackgroundFile::taken, this,
            [this, index](qint64 bytes, bool good) { fileWritten(index, bytes, good); });
    connect(row.file.get(), &BackgroundFile::committed, this,
            [this, index](bool good) { endWritten(index, good); });
}

void Transfer::takePiece(Row &row)
{
    if (row.isKept || (row.file && row.file->waiting() > mostOfARow && row.reply->isRunning())) {
        return;
    }
    // Read in any case: also a page that explains an error has to come to its end.
    const QByteArray piece = deviceprotocol::takeArrived(row.reply);
    if (row.file && !piece.isEmpty() && deviceprotocol::isSuccess(deviceprotocol::status(row.reply))) {
        if (m_waitingForDisk == 0) {
            m_sinceTaken.start();
        }
        m_waitingForDisk += piece.size();
        row.file->write(piece);
    }
}

void Transfer::fileWritten(int index, qint64 bytes, bool good)
{
    m_waitingForDisk -= bytes;
    m_sinceTaken.start();
    m_pace.schedule();
    Row &row = rowAt(index);
    if (row.isKept) {
        return;
    }
    if (good) {
        takePiece(row);
    } else {
        // Nothing that follows can be kept either.
        row.reply->abort();
    }
}

void Transfer::requestFailed(int index)
{
    const QNetworkReply *const reply = rowAt(index).reply;
    // The end of the reply follows and has the last word.
    emit rowChanged(index,
                    QCoreApplication::translate("NetworkOperationsDialog", "Error for HTTP-Request: ") +
                        reply->errorString() + QLatin1String("  ") + reply->url().toString(),
                    Mark::Bad);
}

bool Transfer::checkReply(int index)
{
    const QNetworkReply *const reply = rowAt(index).reply;
    const int status = deviceprotocol::status(reply);
    qDebug() << "finished" << reply->url() << status;
    if (status == 0 || m_canceled) {
        // Also what never got an answer ends so.
        endRow(index, canceledText(), Mark::Bad);
        return false;
    }
    if (!deviceprotocol::isSuccess(status)) {
        endRow(index,
               QCoreApplication::translate("NetworkOperationsDialog", "Wrong HTTP Status-Code ") +
                   QString::number(status),
               Mark::Bad);
        return false;
    }
    return true;
}

void Transfer::requestFinished(int index)
{
    if (!checkReply(index)) {
        return;
    }
    Row &row = rowAt(index);
    if (!row.file) {
        endWritten(index, true);
    } else if (row.reply->error() != QNetworkReply::NoError) {
        // An answer that broke off is no file, however good it began.
        endWritten(index, false);
    } else {
        takePiece(row);
        row.isKept = true;
        row.file->commit(QDateTime::currentDateTimeUtc(), m_operation.logAnswers);
    }
}

void Transfer::endWritten(int index, bool good)
{
    if (good) {
        endRow(index, QCoreApplication::translate("NetworkOperationsDialog", "Finished"), Mark::Good);
    } else {
        endRow(index, QCoreApplication::translate("NetworkOperationsDialog", "Error writing file"),
               Mark::Bad);
    }
}

void Transfer::endRow(int index, const QString &text, Mark mark)
{
    Row &row = rowAt(index);
    if (row.file) {
        // Later: this may be one of its signals.
        m_waitingForDisk -= row.file->waiting();
        m_pace.schedule();
        row.file->disconnect(this);
        row.file->leave();
        row.file.release()->deleteLater();
    }
    row.hasEnded = true;
    if (row.reply) {
        letGo(row.reply);
        row.reply = nullptr;
    }
    ++m_finishedCount;
    emit rowChanged(index, text, mark);
    if (m_finishedCount == m_rows.size()) {
        emit ended();
    }
}

void Transfer::letGo(QNetworkReply *reply)
{
    m_pace.ended(reply);
    // The reply, which may still be in its last signal, goes with it.
    reply->manager()->deleteLater();
}

void Transfer::cancel()
{
    m_canceled = true;
    m_pace.stop();
    m_next = m_rows.size();
    for (std::size_t i = 0; i < m_rows.size(); ++i) {
        const Row &row = m_rows[i];
        if (row.reply && !row.isKept) {
            // Ends the row by way of its handlers.
            row.reply->abort();
        } else if (!row.hasEnded && (!row.isKept || row.file->revoke())) {
            endRow(static_cast<int>(i), canceledText(), Mark::Bad);
        }
    }
}

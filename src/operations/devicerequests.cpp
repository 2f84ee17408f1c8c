#include "operations/devicerequests.h"

#include "common/disposal.h"
#include "common/http.h"
#include "operations/outputfile.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QUrl>

#include <chrono>

using namespace std::chrono_literals;

namespace {

/// Starting a request makes a thread; this long at a time.
constexpr std::chrono::milliseconds startSlice = 8ms;
constexpr std::chrono::milliseconds slowCheckInterval = 250ms;

/// The most of an answer that is logged, bytes.
constexpr qint64 longestLoggedAnswer = 1024LL * 1024;

} // namespace

DeviceRequests::DeviceRequests(QObject *parent)
    : QObject(parent)
    , m_pace(RequestPace::requestsThatFit())
{
    m_startTimer.setSingleShot(true);
    m_startTimer.setInterval(0);
    connect(&m_startTimer, &QTimer::timeout, this, &DeviceRequests::startSome);
    m_slowTimer.setInterval(slowCheckInterval);
    connect(&m_slowTimer, &QTimer::timeout, this, [this] {
        m_pace.noticeSlowOnes();
        startSome();
    });
}

DeviceRequests::~DeviceRequests()
{
    dropRequests();
}

void DeviceRequests::dropRequests()
{
    int delay = 0; // milliseconds
    for (Row &row : m_rows) {
        if (row.reply) {
            row.reply->disconnect(this);
            row.reply->abort();
            m_pace.ended(row.reply);
        }
        if (row.manager) {
            // One after the other: each waits for its thread to end.
            http::disposeLater(row.manager, row.device.address, std::chrono::milliseconds(delay++));
        }
    }
    m_rows.clear();
}

void DeviceRequests::start(const QList<DeviceAccess> &devices, const Operation &operation)
{
    dropRequests();
    m_operation = operation;
    m_canceled = false;
    m_finishedCount = 0;
    m_next = 0;
    for (const DeviceAccess &device : devices) {
        m_rows.emplace_back().device = device;
        emit rowChanged(static_cast<int>(m_rows.size()) - 1, operation.activity, Mark::None);
    }
    m_slowTimer.start();
    startSome();
}

void DeviceRequests::startSome()
{
    QElapsedTimer slice;
    slice.start();
    const int count = static_cast<int>(m_rows.size());
    while (m_next < count && m_pace.mayStart() && !slice.hasExpired(startSlice / 1ms)) {
        startRequest(m_next++);
    }
    if (m_next == count) {
        m_slowTimer.stop();
    } else if (m_pace.mayStart()) {
        m_startTimer.start();
    }
}

void DeviceRequests::startRequest(int index)
{
    Row &row = m_rows[static_cast<std::size_t>(index)];
    row.manager = row.device.createNetworkManager(this);
    if (!m_operation.suffix.isEmpty()) {
        row.file = std::make_unique<OutputFile>(
            m_operation.directory, OutputName{row.device.hostname, row.device.mac, m_operation.suffix});
    }
    QNetworkReply *const reply = m_operation.send(row.manager, row.device);
    http::boundAnswer(reply);
    row.reply = reply;
    m_pace.started(reply);
    connect(reply, &QNetworkReply::errorOccurred, this, [this, index] { requestFailed(index); });
    connect(reply, &QNetworkReply::readyRead, this, [this, index] { takePiece(index); });
    connect(reply, &QNetworkReply::downloadProgress, this, [this, index, reply](qint64 bytes) {
        // It still tells of a piece whose end it was, when that piece couldn't be written.
        if (m_rows[static_cast<std::size_t>(index)].reply == reply) {
            emit received(index, bytes);
        }
    });
    connect(reply, &QNetworkReply::finished, this, [this, index] { requestFinished(index); });
}

void DeviceRequests::takePiece(int index)
{
    Row &row = m_rows[static_cast<std::size_t>(index)];
    if (!row.reply || !row.reply->isOpen()) {
        return;
    }
    // Read in any case, so that nothing piles up: also a page that explains an error has no end if its sender
    // doesn't want one to.
    const QByteArray piece = row.reply->readAll();
    if (!row.file || !http::isSuccess(http::status(row.reply))) {
        return;
    }
    row.file->write(piece);
    if (!row.file->isGood()) {
        // Nothing that follows can be kept either.
        row.reply->abort();
    }
}

void DeviceRequests::requestFailed(int index)
{
    const QNetworkReply *const reply = m_rows[static_cast<std::size_t>(index)].reply;
    if (!reply) {
        return;
    }
    // The end of the reply follows and has the last word.
    emit rowChanged(index,
                    QCoreApplication::translate("NetworkOperationsDialog", "Error for HTTP-Request: ") +
                        reply->errorString() + QLatin1String("  ") + reply->url().toString(),
                    Mark::Bad);
}

bool DeviceRequests::checkReply(int index)
{
    const QNetworkReply *const reply = m_rows[static_cast<std::size_t>(index)].reply;
    const int status = http::status(reply);
    qDebug() << "finished" << reply->url() << status;
    if (status == 0 || m_canceled) {
        // Also what never got an answer ends so.
        endRow(index, QCoreApplication::translate("NetworkOperationsDialog", "Canceled"), Mark::Bad);
        return false;
    }
    if (!http::isSuccess(status)) {
        endRow(index,
               QCoreApplication::translate("NetworkOperationsDialog", "Wrong HTTP Status-Code ") +
                   QString::number(status),
               Mark::Bad);
        return false;
    }
    return true;
}

void DeviceRequests::requestFinished(int index)
{
    if (!m_rows[static_cast<std::size_t>(index)].reply || !checkReply(index)) {
        return;
    }
    if (keepAnswer(index)) {
        endRow(index, QCoreApplication::translate("NetworkOperationsDialog", "Finished"), Mark::Good);
    } else {
        endRow(index, QCoreApplication::translate("NetworkOperationsDialog", "Error writing file"),
               Mark::Bad);
    }
}

bool DeviceRequests::keepAnswer(int index)
{
    takePiece(index);
    Row &row = m_rows[static_cast<std::size_t>(index)];
    if (!row.file) {
        return true;
    }
    if (m_operation.logAnswers) {
        logAnswer(row);
    }
    // An answer that broke off is no file, however good it began.
    return row.reply->error() == QNetworkReply::NoError && row.file->commit(QDateTime::currentDateTimeUtc());
}

void DeviceRequests::logAnswer(Row &row) const
{
    qDebug().noquote() << row.file->head(longestLoggedAnswer);
}

void DeviceRequests::endRow(int index, const QString &text, Mark mark)
{
    Row &row = m_rows[static_cast<std::size_t>(index)];
    row.file.reset();
    row.hasEnded = true;
    if (row.reply) {
        m_pace.ended(row.reply);
        // What else it has to say must not reach another run.
        row.reply->disconnect(this);
        row.reply->deleteLater();
        row.reply = nullptr;
        // Later, since the manager is still busy delivering the end of this very reply; and one after the
        // other when all are canceled at once.
        http::disposeLater(row.manager, row.device.address,
                           std::chrono::milliseconds(m_canceled ? 1 + index : 1));
        row.manager = nullptr;
    }
    ++m_finishedCount;
    emit rowChanged(index, text, mark);
    if (m_finishedCount == static_cast<int>(m_rows.size())) {
        emit ended();
    } else if (!m_canceled && m_next < static_cast<int>(m_rows.size()) && !m_startTimer.isActive()) {
        m_startTimer.start();
    }
}

void DeviceRequests::cancel()
{
    m_canceled = true;
    m_startTimer.stop();
    m_slowTimer.stop();
    for (int i = 0; i < static_cast<int>(m_rows.size()); ++i) {
        const Row &row = m_rows[static_cast<std::size_t>(i)];
        if (row.reply) {
            // Ends the row by way of its handlers.
            row.reply->abort();
        } else if (!row.hasEnded) {
            endRow(i, QCoreApplication::translate("NetworkOperationsDialog", "Canceled"), Mark::Bad);
        }
    }
}

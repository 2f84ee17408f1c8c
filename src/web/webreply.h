#pragma once

#include "web/webtransfer.h"

#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>

class WebManager;

/// The answer to a request over the engine. Signals, errors and attributes are those of Qt's own HTTP
/// replies, in their order; see WebManager for what differs. Belongs to its manager, and lives in its thread.
///
/// What has arrived waits here, up to a bound, until it is read; then the peer has to wait. The end of a long
/// answer comes only when it is read. A read buffer size and a transfer timeout have no effect, and a body in
/// memory makes no uploadProgress().
class WebReply final : public QNetworkReply
{
    Q_OBJECT

public:
    /// `outgoingData`: the body, open for reading; null if there is none. It is read while it is sent.
    WebReply(WebManager *manager, QNetworkAccessManager::Operation operation, const QNetworkRequest &request,
             QIODevice *outgoingData);
    ~WebReply() override;
    Q_DISABLE_COPY_MOVE(WebReply)

    /// Sends the signals that are due. For WebTurns.
    void tell();

    void abort() override;
    void close() override;
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override;

protected:
    qint64 readData(char *data, qint64 maximum) override;

private:
    /// Tells whether the object still exists after a signal.
    using Self = QPointer<const WebReply>;
    /// What signals are due, in their order.
    enum Due { Sent = 1, Head = 2, Body = 4, End = 8 };

    void start(WebRequest request);
    void take(const WebNews &news);
    void takeHead(const WebHead &head);
    void takeBody(const QByteArray &bytes);
    void awaitTurn();
    void tellSent();
    void tellBody();
    void tellEnd();
    void bringBody();
    /// The device is gone: an upload that needs more of it fails.
    void endBody();
    void dropUnread();
    void noteRead(qint64 bytes);
    void finish(QNetworkReply::NetworkError code, const QString &message);
    void fail(const WebError &error);
    void dropTransfer();

    /// In the network thread; null once it is of no use any more.
    WebTransfer *m_transfer = nullptr;
    /// The last signals are being sent, or were.
    bool m_isEnding = false;
    int m_due = 0;
    /// tell() is going to be called.
    bool m_hasTurn = false;
    /// Why the transfer has ended.
    WebError m_transferError;
    /// What has arrived and was not read yet, from the offset on.
    QByteArray m_unread;
    int m_unreadOffset = 0;
    /// Read, and not told to the transfer yet.
    qint64 m_read = 0;
    qint64 m_received = 0;
    /// Negative: the peer has not said how long its answer is.
    qint64 m_expected = -1;
    QElapsedTimer m_receivedTold;

    /// The body where it is read while it is sent; else null.
    QPointer<QIODevice> m_source;
    qint64 m_toSend = 0;
    qint64 m_sent = 0;
    /// So much the engine still has room for.
    qint64 m_welcome = 0;
    qint64 m_left = 0;
    QElapsedTimer m_sentTold;
};

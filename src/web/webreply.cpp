#include "web/webreply.h"

#include "web/webengine.h"
#include "web/weblimits.h"
#include "web/webmanager.h"
#include "web/webturns.h"

#include <QBuffer>
#include <QHostAddress>
#include <QLocale>
#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QUrl>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace {

/// Milliseconds between two signals of progress.
constexpr qint64 progressInterval = 100;
/// Bytes of a body that are read at a time.
constexpr qint64 pieceSize = 64LL * 1024;

/// "de-DE,en,*"
QByteArray acceptedLanguages()
{
    const QString locale = QLocale::system().name().replace(QLatin1Char('_'), QLatin1Char('-'));
    if (locale == QLatin1String("C")) {
        return "en,*";
    }
    return locale.toLatin1() + (locale.startsWith(QLatin1String("en-")) ? ",*" : ",en,*");
}

/// "10.0.0.7:8080"; without a port that goes without saying.
QByteArray hostHeader(const QUrl &url)
{
    const QByteArray port = url.port() < 0 ? QByteArray() : ':' + QByteArray::number(url.port());
    return url.host().toLatin1() + port;
}

/// The head of a request as Qt's own client sends it: devices know it.
QList<QByteArray> headerLines(const QNetworkRequest &request, qint64 bodySize)
{
    static const QByteArray languages = acceptedLanguages();
    QList<QByteArray> lines;
    const auto add = [&lines, &request](const QByteArray &name, const QByteArray &value) {
        if (!request.hasRawHeader(name)) {
            lines += name + ": " + value;
        }
    };
    const QList<QByteArray> names = request.rawHeaderList();
    for (const QByteArray &name : names) {
        lines += name + ": " + request.rawHeader(name);
    }
    if (bodySize >= 0) {
        add("Content-Length", QByteArray::number(bodySize));
    }
    add("Connection", "Keep-Alive");
    add("Accept-Language", languages);
    add("User-Agent", "Mozilla/5.0");
    add("Host", hostHeader(request.url()));
    return lines;
}

} // namespace

WebReply::WebReply(WebManager *manager, QNetworkAccessManager::Operation operation,
                   const QNetworkRequest &request, QIODevice *outgoingData)
    : QNetworkReply(manager)
{
    setRequest(request);
    setUrl(request.url());
    setOperation(operation);
    QNetworkReply::open(QIODevice::ReadOnly | QIODevice::Unbuffered);

    WebRequest message;
    message.verb = operation == QNetworkAccessManager::GetOperation ? "GET" : "POST";
    message.url = url().toEncoded(QUrl::NormalizePathSegments | QUrl::RemoveFragment | QUrl::RemoveUserInfo);
    if (request.attribute(WebManager::MayBeRepeatedAttribute).toBool()) {
        message.keeper = manager;
    }
    qint64 bodySize = operation == QNetworkAccessManager::GetOperation ? -1 : 0;
    if (const auto *const buffer = qobject_cast<const QBuffer *>(outgoingData)) {
        message.body = buffer->data().mid(static_cast<int>(buffer->pos()));
        bodySize = message.body.size();
    } else if (outgoingData) {
        const QVariant promised = request.header(QNetworkRequest::ContentLengthHeader);
        const qint64 rest = outgoingData->size() - (outgoingData->isSequential() ? 0 : outgoingData->pos());
        bodySize = promised.isValid() ? promised.toLongLong() : rest;
        message.streamedSize = bodySize;
        m_source = outgoingData;
        m_left = bodySize;
        connect(outgoingData, &QIODevice::readyRead, this, &WebReply::bringBody);
        connect(outgoingData, &QObject::destroyed, this, &WebReply::endBody);
    }
    m_toSend = std::max<qint64>(bodySize, 0);
    message.headers = headerLines(request, bodySize);
    start(std::move(message));
}

WebReply::~WebReply()
{
    dropTransfer();
}

void WebReply::start(WebRequest request)
{
    static const int newsType = qRegisterMetaType<WebNews>();
    Q_UNUSED(newsType)
    const QHostAddress address(url().host());
    const bool isNumeric = address.protocol() == QAbstractSocket::IPv4Protocol;
    auto transfer = std::make_unique<WebTransfer>(std::move(request));
    connect(transfer.get(), &WebTransfer::news, this, &WebReply::take, Qt::QueuedConnection);
    const WebError error = isNumeric ? WebEngine::start(transfer.get()) : WebError::hostNotFound();
    if (!error) {
        m_transfer = transfer.release();
        return;
    }
    QMetaObject::invokeMethod(
        this, [this, error] { fail(error); }, Qt::QueuedConnection);
}

void WebReply::dropTransfer()
{
    if (m_transfer) {
        m_transfer->disconnect(this);
        WebEngine::dispose(std::exchange(m_transfer, nullptr));
    }
}

void WebReply::abort()
{
    if (m_isEnding) {
        return;
    }
    dropTransfer();
    close();
    fail(WebError::canceled());
}

void WebReply::close()
{
    // The rest of the body is thrown away as it arrives, so that the request comes to its end.
    dropUnread();
    QNetworkReply::close();
}

void WebReply::dropUnread()
{
    const qint64 size = m_unread.size() - m_unreadOffset;
    m_unread.clear();
    m_unreadOffset = 0;
    noteRead(size);
}

void WebReply::noteRead(qint64 bytes)
{
    m_read += bytes;
    // In steps: somebody may read letter by letter.
    if (m_transfer && m_read > 0 && (m_unread.isEmpty() || m_read >= pieceSize)) {
        WebEngine::noteRead(m_transfer, std::exchange(m_read, 0));
    }
}

qint64 WebReply::bytesAvailable() const
{
    return QNetworkReply::bytesAvailable() + m_unread.size() - m_unreadOffset;
}

qint64 WebReply::readData(char *data, qint64 maximum)
{
    const qint64 size = std::min<qint64>(maximum, m_unread.size() - m_unreadOffset);
    if (size == 0) {
        return isFinished() ? -1 : 0;
    }
    std::memcpy(data, m_unread.constData() + m_unreadOffset, static_cast<std::size_t>(size));
    m_unreadOffset += static_cast<int>(size);
    if (m_unreadOffset == m_unread.size()) {
        m_unread.clear();
        m_unreadOffset = 0;
    }
    noteRead(size);
    return size;
}

void WebReply::take(const WebNews &news)
{
    if (m_isEnding) {
        return;
    }
    // All is taken before anything is told: a slot may run an event loop, in which the next news arrive.
    m_welcome += news.welcome;
    if (news.sent > 0) {
        m_sent = news.sent;
        m_due |= Sent;
    }
    if (news.head) {
        takeHead(*news.head);
        m_due |= Head;
    }
    if (!news.body.isEmpty()) {
        takeBody(news.body);
    }
    if (news.hasEnded) {
        m_transferError = news.error;
        m_due |= End;
    }
    bringBody();
    awaitTurn();
}

void WebReply::awaitTurn()
{
    if (m_due != 0 && !m_hasTurn) {
        m_hasTurn = true;
        WebTurns::ofThread().add(this);
    }
}

void WebReply::tell()
{
    m_hasTurn = false;
    const Self self(this);
    const auto isDue = [this, &self](Due due) {
        if (!self || m_isEnding || (m_due & due) == 0) {
            return false;
        }
        m_due &= ~due;
        // The slots of this signal may run an event loop, in which the others must come.
        awaitTurn();
        return true;
    };
    if (isDue(Sent)) {
        tellSent();
    }
    if (isDue(Head)) {
        emit metaDataChanged();
    }
    if (isDue(Body)) {
        tellBody();
    }
    if (isDue(End)) {
        tellEnd();
    }
}

void WebReply::takeHead(const WebHead &head)
{
    setAttribute(QNetworkRequest::HttpStatusCodeAttribute, head.status);
    setAttribute(QNetworkRequest::HttpReasonPhraseAttribute, QString::fromLatin1(head.reason));
    const WebHead::Headers headers = head.merged();
    for (const auto &header : headers) {
        setRawHeader(header.first, header.second);
    }
    const QVariant length = header(QNetworkRequest::ContentLengthHeader);
    m_expected = length.isValid() ? length.toLongLong() : -1;
    constexpr std::array redirections{301, 302, 303, 307, 308};
    if (std::find(redirections.begin(), redirections.end(), head.status) != redirections.end()) {
        setAttribute(QNetworkRequest::RedirectionTargetAttribute,
                     QUrl(QString::fromUtf8(rawHeader("Location"))));
    }
    const auto cookies = header(QNetworkRequest::SetCookieHeader).value<QList<QNetworkCookie>>();
    if (!cookies.isEmpty()) {
        manager()->cookieJar()->setCookiesFromUrl(cookies, url());
    }
}

void WebReply::takeBody(const QByteArray &bytes)
{
    m_received += bytes.size();
    if (!isOpen()) {
        // Nobody wants it.
        noteRead(bytes.size());
        return;
    }
    if (m_unread.isEmpty()) {
        m_unread = bytes;
    } else {
        m_unread.remove(0, m_unreadOffset);
        m_unread += bytes;
    }
    m_unreadOffset = 0;
    m_due |= Body;
}

void WebReply::tellSent()
{
    if (m_sent != m_toSend && m_sentTold.isValid() && !m_sentTold.hasExpired(progressInterval)) {
        return;
    }
    m_sentTold.start();
    emit uploadProgress(m_sent, m_toSend);
}

void WebReply::tellBody()
{
    const Self self(this);
    emit readyRead();
    if (self && !m_isEnding && (!m_receivedTold.isValid() || m_receivedTold.hasExpired(progressInterval))) {
        m_receivedTold.start();
        emit downloadProgress(m_received, m_expected);
    }
}

void WebReply::tellEnd()
{
    if (m_transferError) {
        fail(m_transferError);
        return;
    }
    const int status = attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const NetworkError code = WebError::codeOfStatus(status);
    const QByteArray reason = attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray();
    finish(code, code == NoError ? QString() : WebError::messageOfStatus(status, reason, url()));
}

void WebReply::bringBody()
{
    while (m_transfer && m_source && m_left > 0 && m_welcome > 0) {
        QByteArray piece(static_cast<int>(std::min({m_left, m_welcome, pieceSize})), Qt::Uninitialized);
        const qint64 size = m_source->read(piece.data(), piece.size());
        if (size == 0 && m_source->isSequential() && m_source->isOpen()) {
            // The device tells when it has more.
            return;
        }
        if (size <= 0) {
            // It has less than was promised, or can't be read.
            endBody();
            return;
        }
        piece.truncate(static_cast<int>(size));
        WebEngine::bring(m_transfer, piece);
        m_left -= size;
        m_welcome -= size;
    }
}

void WebReply::endBody()
{
    if (m_transfer && m_left > 0) {
        m_left = 0;
        WebEngine::bring(m_transfer, {});
    }
}

void WebReply::fail(const WebError &error)
{
    finish(error.code, error.message());
}

void WebReply::finish(QNetworkReply::NetworkError code, const QString &message)
{
    if (m_isEnding) {
        return;
    }
    m_isEnding = true;
    dropTransfer();
    const Self self(this);
    if (code != NoError) {
        setError(code, message);
        emit errorOccurred(code);
    }
    if (!self) {
        return;
    }
    setFinished(true);
    emit downloadProgress(m_received, m_expected < 0 ? m_received : m_expected);
    if (self) {
        emit readChannelFinished();
    }
    if (self) {
        emit finished();
    }
}

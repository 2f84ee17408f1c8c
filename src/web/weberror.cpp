#include "web/weberror.h"

#include "platform/sockets.h"

#include <QCoreApplication>
#include <QHash>
#include <QUrl>

#include <curl/curl.h>

namespace {

WebError timedOut()
{
    return {QNetworkReply::TimeoutError, "QAbstractSocket", "Socket operation timed out"};
}

WebError unknown(const QByteArray &detail)
{
    return {QNetworkReply::UnknownNetworkError, "QNativeSocketEngine", "Network error", detail};
}

WebError ofConnect(long systemError, const QByteArray &detail)
{
    switch (socketError(systemError)) {
    case std::errc::connection_refused:
        return {QNetworkReply::ConnectionRefusedError, "QHttp", "Connection refused"};
    case std::errc::network_unreachable:
        return {QNetworkReply::UnknownNetworkError, "QNativeSocketEngine", "Network unreachable"};
    case std::errc::host_unreachable:
        return {QNetworkReply::UnknownNetworkError, "QNativeSocketEngine", "Host unreachable"};
    case std::errc::permission_denied:
    case std::errc::operation_not_permitted:
        return {QNetworkReply::UnknownNetworkError, "QNativeSocketEngine", "Permission denied"};
    case std::errc::timed_out:
        return timedOut();
    // Accepted and reset before we looked.
    case std::errc::connection_reset:
    case std::errc::broken_pipe:
        return WebError::connectionClosed();
    default:
        return unknown(detail);
    }
}

} // namespace

QString WebError::message() const
{
    const QString translated = QCoreApplication::translate(context, text);
    return detail.isEmpty() ? translated : translated + QLatin1String(": ") + QString::fromUtf8(detail);
}

WebError WebError::canceled()
{
    return {QNetworkReply::OperationCanceledError, "QNetworkReplyHttpImpl", "Operation canceled"};
}

WebError WebError::hostNotFound()
{
    return {QNetworkReply::HostNotFoundError, "QAbstractSocket", "Host not found"};
}

WebError WebError::noThread()
{
    return {QNetworkReply::UnknownNetworkError, "UpdateFirmwareDialog",
            "The system has no room for another thread"};
}

WebError WebError::badAnswer()
{
    return {QNetworkReply::ProtocolFailure, "QHttp", "Data corrupted"};
}

WebError WebError::connectionClosed()
{
    return {QNetworkReply::RemoteHostClosedError, "QHttp", "Connection closed"};
}

WebError WebError::ofTransfer(int result, long systemError, const QByteArray &detail)
{
    switch (result) {
    case CURLE_OK:
        return {};
    case CURLE_COULDNT_CONNECT:
        return ofConnect(systemError, detail);
    case CURLE_OPERATION_TIMEDOUT:
        return timedOut();
    case CURLE_SSL_CONNECT_ERROR:
        // OpenSSL names an error of the protocol. Anything else, and its "unexpected eof", tells that the
        // connection ended: closed, or reset while our first message was under way.
        if (!detail.contains("error:") || detail.contains("unexpected eof")) {
            return connectionClosed();
        }
        return {QNetworkReply::SslHandshakeFailedError, "QHttp", "SSL handshake failed"};
    // So libcurl calls a line of the headers that is too long for it.
    case CURLE_OUT_OF_MEMORY:
#if LIBCURL_VERSION_NUM >= 0x080600
    case CURLE_TOO_LARGE:
#endif
        return badAnswer();
    case CURLE_RECV_ERROR:
        return detail.contains("chunked") ? badAnswer() : connectionClosed();
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_SEND_ERROR:
    // The peer has closed a kept connection, and what was sent can't be brought once more.
    case CURLE_SEND_FAIL_REWIND:
    // No HTTP at all.
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
        return connectionClosed();
    default:
        return unknown(detail);
    }
}

QNetworkReply::NetworkError WebError::codeOfStatus(int status)
{
    static const QHash<int, QNetworkReply::NetworkError> known{
        {400, QNetworkReply::ProtocolInvalidOperationError},
        {401, QNetworkReply::AuthenticationRequiredError},
        {403, QNetworkReply::ContentAccessDenied},
        {404, QNetworkReply::ContentNotFoundError},
        {405, QNetworkReply::ContentOperationNotPermittedError},
        {407, QNetworkReply::ProxyAuthenticationRequiredError},
        {409, QNetworkReply::ContentConflictError},
        {410, QNetworkReply::ContentGoneError},
        {418, QNetworkReply::ProtocolInvalidOperationError},
        {500, QNetworkReply::InternalServerError},
        {501, QNetworkReply::OperationNotImplementedError},
        {503, QNetworkReply::ServiceUnavailableError},
    };
    return known.value(status, status > 500    ? QNetworkReply::UnknownServerError
                               : status >= 400 ? QNetworkReply::UnknownContentError
                                               : QNetworkReply::NoError);
}

QString WebError::messageOfStatus(int status, const QByteArray &reason, const QUrl &url)
{
    switch (status) {
    case 401:
        return WebError{codeOfStatus(status), "QHttp", "Host requires authentication"}.message();
    case 407:
        return WebError{codeOfStatus(status), "QHttp", "Proxy requires authentication"}.message();
    default:
        // In Qt this text is not translated.
        return QStringLiteral("Error transferring %1 - server replied: %2")
            .arg(url.toString(), QString::fromLatin1(reason));
    }
}

#pragma once

#include <QByteArray>
#include <QNetworkReply>
#include <QString>

class QUrl;

/// Why a request failed, with the codes and the texts that Qt's own HTTP client has for it. The text is put
/// together where it is shown, since it depends on the language.
struct WebError
{
    QNetworkReply::NetworkError code = QNetworkReply::NoError;
    /// Of the text in the translations, Qt's or ours; both are literals.
    const char *context = nullptr;
    const char *text = nullptr;
    /// English; follows the text. Empty where the text says it all.
    QByteArray detail{};

    explicit operator bool() const { return code != QNetworkReply::NoError; }
    [[nodiscard]] QString message() const;

    /// The user of the reply has ended it.
    static WebError canceled();
    static WebError hostNotFound();
    /// The network thread couldn't be started.
    static WebError noThread();
    /// What the peer sends is no HTTP, or more of it than is reasonable.
    static WebError badAnswer();
    static WebError connectionClosed();
    /// `result`: a CURLcode. `systemError`: the system's number, 0 if there is none. `detail`: libcurl's
    /// words.
    static WebError ofTransfer(int result, long systemError, const QByteArray &detail);
    /// What a status says of the request; none below 400.
    static QNetworkReply::NetworkError codeOfStatus(int status);
    static QString messageOfStatus(int status, const QByteArray &reason, const QUrl &url);
};

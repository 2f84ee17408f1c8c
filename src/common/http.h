#pragma once

#include <QByteArray>
#include <QNetworkRequest>

class QNetworkAccessManager;
class QNetworkReply;
class QObject;

/// What all requests to devices have in common.
namespace http {

/// An HTTP client that speaks to devices without a proxy and has no cookies yet.
QNetworkAccessManager *createManager(QObject *parent);

/// The HTTP status of a reply; 0 as long as there is no answer.
int status(const QNetworkReply *reply);
/// Whether a device that answers so has done what it was asked to. Its forms answer with redirections.
bool isSuccess(int status);
/// Where a redirection leads; empty if the answer is none.
QString redirectTarget(const QNetworkReply *reply);

/// A request that comes back as it was answered: redirections are not followed, and nothing is unpacked that
/// was packed unasked: a few kilobytes can unpack to all of our memory.
QNetworkRequest deviceRequest(const QUrl &url);

/// Bounds what waits in memory of an answer while nobody has time to read it.
void limitReadBuffer(QNetworkReply *reply);

/// Posts a body that is on the wire once at most. An ordinary POST is silently sent again when the peer
/// closes the connection without an answer, which a device does that restarts; here that is an error.
QNetworkReply *postOnce(QNetworkAccessManager *manager, QNetworkRequest request, const QByteArray &body);

} // namespace http

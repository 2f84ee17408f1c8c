#pragma once

#include <QByteArray>
#include <QNetworkRequest>

class QHostAddress;
class QNetworkAccessManager;
class QNetworkReply;
class QObject;
class QString;

/// What all requests to devices have in common.
namespace http {

/// "https://10.0.0.7", what a session is valid for.
QString origin(bool useHttps, const QHostAddress &address);
/// "https://10.0.0.7:443/", what the paths of a device follow.
QString baseUrl(bool useHttps, const QHostAddress &address, int port);

/// An HTTP client that speaks to devices without a proxy and has no cookies yet.
QNetworkAccessManager *createManager(QObject *parent);

/// The HTTP status of a reply; 0 as long as there is no answer.
int status(const QNetworkReply *reply);
/// Whether a device that answers so has done what it was asked to. Its forms answer with redirections.
bool isSuccess(int status);
/// Where a redirection leads; empty if the answer is none.
QString redirectTarget(const QNetworkReply *reply);

/// Whether a device insists on HTTPS: it answers with a redirection (303) to there.
bool redirectsToHttps(const QNetworkReply *reply);

/// A request that comes back as it was answered: redirections are not followed, and nothing is unpacked that
/// was packed unasked: a few kilobytes can unpack to all of our memory.
QNetworkRequest deviceRequest(const QUrl &url);

/// Bounds what an answer may occupy in memory before somebody reads it. Left alone, the client tells of new
/// data only when none is on its way any more: a peer that sends fast enough, and without an end, is never
/// heard of. And what the client keeps to itself has no bound at all; see watchForFlood(). For a reply that
/// has just been made.
void boundAnswer(QNetworkReply *reply);

/// Posts a body that is on the wire once at most. An ordinary POST is silently sent again when the peer
/// closes the connection without an answer, which a device does that restarts; here that is an error. It goes
/// over a new connection, since it would be lost in one that is just being closed. No other request of the
/// manager may be out.
QNetworkReply *postOnce(QNetworkAccessManager *manager, QNetworkRequest request, const QByteArray &body);

} // namespace http

#pragma once

#include <QByteArray>
#include <QDate>
#include <QString>

class QHostAddress;
class QIODevice;
class QNetworkAccessManager;
class QNetworkReply;

/// What a session may do on a device. Each level includes the ones before it.
enum class AccessLevel : qint32 {
    /// The device has not said it yet.
    Unknown = -1,
    None = 0,
    ReadData = 1,
    ReadConfig = 2,
    WriteConfig = 3
};

/// Everything that is said to the web server of a device, and what its answers mean. `baseUrl` is that of
/// baseUrl(); where it is empty, since the address is unknown, the request fails. A reply belongs to its
/// manager.
namespace deviceprotocol {

/// "https://10.0.0.7", what a session is valid for.
QString origin(bool useHttps, const QHostAddress &address);
/// "https://10.0.0.7:443/", what the paths of a device follow.
QString baseUrl(bool useHttps, const QHostAddress &address, int port);

inline constexpr int statusOk = 200;
inline constexpr int statusSeeOther = 303;
inline constexpr int statusForbidden = 403;

/// The HTTP status of a reply; 0 as long as there is no answer.
int status(const QNetworkReply *reply);
/// Whether a device that answers so has done what it was asked to. Its forms answer with redirections.
bool isSuccess(int status);
/// Where a redirection leads; empty if the answer is none.
QString redirectTarget(const QNetworkReply *reply);
/// Whether a device insists on HTTPS: it answers with a redirection (303) to there.
bool redirectsToHttps(const QNetworkReply *reply);
/// Whether the body is packed, which nobody asked for: it can't be read.
bool isPacked(const QNetworkReply *reply);

/// Takes what has arrived of the body; nothing of a reply that was given up. QIODevice::readAll() would set
/// aside 16 KiB for each of a thousand short answers.
QByteArray takeArrived(QNetworkReply *reply);

/// Asks for readings, see deviceinfo.
QNetworkReply *queryInformation(QNetworkAccessManager *manager, const QString &baseUrl,
                                const QByteArray &informationTemplate);
/// Sends the form by which a user logs in. The session comes as a cookie.
QNetworkReply *logIn(QNetworkAccessManager *manager, const QString &baseUrl, const QString &user,
                     const QString &password);

/// Fetches the configuration; with passwords only if the session has the rights.
QNetworkReply *fetchConfiguration(QNetworkAccessManager *manager, const QString &baseUrl,
                                  bool includePasswords);
QNetworkReply *sendConfiguration(QNetworkAccessManager *manager, const QString &baseUrl,
                                 const QByteArray &configuration);

/// The span of a history, from the beginning of one day to the end of another, local time.
struct HistorySpan
{
    QDate first;
    QDate last;
    qint64 stepSeconds;
};
/// Fetches the history of the sensors as a table.
QNetworkReply *fetchHistory(QNetworkAccessManager *manager, const QString &baseUrl, const HistorySpan &span);

/// Brings a firmware image into one of a device's buffers, 1 or 2. The image is open; it is read while it is
/// sent, and belongs to the reply from now on.
QNetworkReply *sendFirmware(QNetworkAccessManager *manager, const QString &baseUrl, int buffer,
                            QIODevice *image);
/// Has a device start the firmware in a buffer.
QNetworkReply *activateFirmware(QNetworkAccessManager *manager, const QString &baseUrl, int buffer);
/// As logIn(), with the page that a firmware update is sent to afterwards.
QNetworkReply *logInForUpdate(QNetworkAccessManager *manager, const QString &baseUrl, const QString &user,
                              const QString &password);
/// Tells that a configuration follows that an older firmware wrote.
QNetworkReply *announceConfiguration(QNetworkAccessManager *manager, const QString &baseUrl);
QNetworkReply *reset(QNetworkAccessManager *manager, const QString &baseUrl);
/// Fetches the start page, which redirects where a device insists on HTTPS.
QNetworkReply *fetchStartPage(QNetworkAccessManager *manager, const QHostAddress &address, int httpPort);

} // namespace deviceprotocol

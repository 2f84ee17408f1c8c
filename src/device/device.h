#pragma once

#include "discovery/discoverydevice.h"

#include <QByteArray>
#include <QColor>
#include <QDateTime>
#include <QElapsedTimer>
#include <QNetworkCookie>
#include <QNetworkReply>
#include <QObject>
#include <QRegExp>

class DeviceItem;
class QJsonObject;
class QNetworkAccessManager;

namespace deviceinfo {
struct DeviceInfo;
}

/// One device of the network: what it last said in discovery, the state of its web session, and how long ago
/// it was heard of. It asks the device's web server for its readings and is the only one to write the cells
/// of its row. Lives inside that row. GUI thread only.
class Device final : public QObject
{
    Q_OBJECT

public:
    /// `item`: the row that this device is part of.
    Device(DeviceItem *item, QObject *parent);
    /// A request that is still out is not aborted: it ends unheard, and its network manager with it.
    ~Device() override;

    /// The base URL of the device's web server, "http://10.0.0.7:80/"; empty while its address is unknown.
    /// The ports are read anew each time.
    QString webInterfaceUrl() const;

    /// Takes over what the device said in discovery.
    void updateFromDiscovery(const DiscoveryDevice &discoveryDevice);
    /// Sets what outlives the program: host name, MAC, and the times of the first and the last answer.
    void writeJson(QJsonObject &object) const;
    /// Takes over what writeJson() set; a value that is missing or of another type counts as empty. The
    /// device counts as stale, and has no address, until it answers.
    void readJson(const QJsonObject &object);
    /// The MAC text that writeJson() set, as it stands there.
    static QString storedMac(const QJsonObject &object);
    /// Asks the device for its readings. While a request is out nothing is sent; one that has been out for
    /// too long is given up, and the next call asks again.
    void updateInfo();
    /// Logs in; loginResult() tells how it went, and newData() follows with what the session may do. Aborts a
    /// request that is out. Both texts are kept in memory only.
    void login(const QString &user, const QString &password);
    /// Gives up a request that is out, and forgets that the device was reached by HTTPS.
    void abortQuery();
    /// Starts with a new HTTP client, without cookies.
    void recreateNetworkManager();

    /// Adds refresh cycles to the three ages. 0 only brings the colours up to date with the palette.
    void addAge(int cycles);
    void resetDiscoveryAge();
    void resetDataAge();
    void resetWebAge();
    /// Refresh cycles since the last answer to discovery.
    int discoveryAge() const { return m_discoveryAge; }
    /// Refresh cycles since the last readings.
    int dataAge() const { return m_dataAge; }
    /// Refresh cycles since the web server last answered with readings or refused them.
    int webAge() const { return m_webAge; }

    /// Hides the row unless a visible column holds a match. A pattern that is empty or invalid shows it.
    void applyFilter(const QRegExp &pattern);

    const DiscoveryDevice &record() const { return m_record; }
    QString deviceType() const { return m_deviceType; }
    bool useHttps() const { return m_useHttps; }
    /// Access level, 0 to 3; -1 while it is unknown.
    qint32 loginGroup() const { return m_loginGroup; }
    QDateTime historyStart() const { return m_historyStart; }
    QDateTime deviceTime() const { return m_deviceTime; }
    /// The session; without a name as long as nobody is logged in.
    QNetworkCookie sidCookie() const { return m_sidCookie; }
    /// What a request needs that is to act within the session.
    QList<QNetworkCookie> cookies() const;
    /// Those of the last attempt to log in.
    QString loginUser() const { return m_loginUser; }
    QString loginPassword() const { return m_loginPassword; }

    /// Readings are due at the next answer to discovery.
    bool queryPending() const { return m_queryPending; }
    void setQueryPending(bool pending) { m_queryPending = pending; }
    /// The device takes part in the running firmware update.
    bool updateMember() const { return m_updateMember; }
    void setUpdateMember(bool member) { m_updateMember = member; }

    /// A request that has been out for longer is given up at the next attempt; milliseconds.
    static constexpr qint64 giveUpAge = 20000;
    /// Whether the device still owes an answer, and how many milliseconds ago the last request was sent.
    bool requestOutstanding() const { return m_pendingReply && m_pendingReply->isRunning(); }
    qint64 requestAge() const { return m_requestTimer.elapsed(); }

signals:
    void newDiscovery(const DiscoveryDevice &discoveryDevice);
    /// The end of a login; `message` tells what is wrong. After a failure of the network it comes twice, the
    /// second time with "Wrong login".
    void loginResult(bool successful, const QString &message);
    /// The row shows new readings, or a new error.
    void newData();
    /// One of the ages changed.
    void agesChanged();
    /// A request has ended, however it did.
    void requestEnded();

public slots:
    void on_downloadInfoFinished();
    void on_uploadError(QNetworkReply::NetworkError code);
    void on_LoginFinished();
    void on_LoginError(QNetworkReply::NetworkError code);

private:
    void abortForLogin();
    void takeCookies(const QNetworkReply *reply);
    void giveUpRequest();
    void collectAnswer(QNetworkReply *reply);
    void refuseEncodedAnswer(QNetworkReply *reply);
    /// Whoever waits for nothing more of a device must not wait for its client either: what was canceled may
    /// be a flood that holds it.
    void leaveCanceledClient(const QNetworkReply *reply, QNetworkReply::NetworkError code);
    void followToHttps();
    void refuseStatus(int status);
    void readAnswer();
    void show(const deviceinfo::DeviceInfo &info);
    void showSensors(const deviceinfo::DeviceInfo &info);
    void showHttpType();
    void recolor();
    bool matches(const QRegExp &pattern) const;
    void releasePendingReply();
    void endRequest();
    void restNetworkManager();

    DeviceItem *const m_item;
    DiscoveryDevice m_record;
    QString m_deviceType;
    /// UTC; null until the device was seen.
    QDateTime m_firstSeen;
    QDateTime m_lastSeen;
    bool m_useHttps = false;
    bool m_updateMember = false;
    bool m_queryPending = true;
    QNetworkCookie m_sidCookie;
    QString m_loginUser;
    QString m_loginPassword;
    /// A login is being aborted for the sake of the next one.
    bool m_loginSuperseded = false;
    qint32 m_loginGroup = -1;
    QDateTime m_historyStart;
    QDateTime m_deviceTime;
    /// The one request that is out; belongs to its network manager.
    QNetworkReply *m_pendingReply = nullptr;
    QElapsedTimer m_requestTimer;
    /// Where the last request went. The device may have moved since, or somebody said so in its name.
    QHostAddress m_askedAddress;
    QNetworkAccessManager *m_networkManager = nullptr;
    int m_discoveryAge = 0;
    int m_dataAge = 0;
    int m_webAge = 0;
    /// What has arrived of the answer to the pending request.
    QByteArray m_answer;
    /// What the row is painted with; invalid before the first colouring.
    struct Colors
    {
        QColor discovery;
        QColor data;
        QColor web;
        bool operator==(const Colors &other) const
        {
            return discovery == other.discovery && data == other.data && web == other.web;
        }
    };
    Colors m_shownColors;
};

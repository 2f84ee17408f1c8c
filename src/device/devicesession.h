#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QList>
#include <QNetworkCookie>
#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QString>

#include <chrono>

class WebManager;

namespace deviceinfo {
struct DeviceInfo;
}

/// What is said to the web server of one device, and what comes back: the query for its readings, the login,
/// the session that a login brings, and whether the device wants HTTPS. Only one request is out at a time.
/// Knows no row; what a device tells goes to the class that derives from it. GUI thread only.
class DeviceSession : public QObject
{
    Q_OBJECT

public:
    /// A request that is still out is not aborted: it ends unheard, and its HTTP client with it.
    ~DeviceSession() override;
    Q_DISABLE_COPY_MOVE(DeviceSession)

    /// The base URL of the device's web server, "http://10.0.0.7:80/"; empty while its address is unknown.
    /// The ports are read anew each time.
    QString webInterfaceUrl() const;
    /// Asks the device for its readings. While a request is out nothing is sent; one that has been out for
    /// longer than the give-up age is given up, and the next call asks again.
    void updateInfo();
    /// Logs in; loginResult() tells how it went, and newData() follows with what the session may do. Aborts a
    /// request that is out. Both texts are kept in memory only.
    void login(const QString &user, const QString &password);
    /// Gives up a request that is out, and forgets that the device was reached by HTTPS.
    void abortQuery();
    /// Starts with a new HTTP client, without cookies.
    void recreateNetworkManager();

    bool useHttps() const { return m_useHttps; }
    /// The session; without a name as long as nobody is logged in.
    QNetworkCookie sidCookie() const { return m_sidCookie; }
    // What requests need that act within the session. Nothing while the device is at another address than
    // that of the login: anybody can send an answer to discovery that puts a device there.
    QList<QNetworkCookie> cookies() const;
    /// Those of the last attempt to log in.
    QString loginUser() const { return isWhereItLoggedIn() ? m_loginUser : QString(); }
    QString loginPassword() const { return isWhereItLoggedIn() ? m_loginPassword : QString(); }
    /// Whether the device still owes an answer, and how many milliseconds ago the last request was sent.
    bool requestOutstanding() const { return m_pendingReply && m_pendingReply->isRunning(); }
    qint64 requestAge() const { return m_requestTimer.elapsed(); }

    /// A request that has been out for longer, usually 20 seconds, is given up at the next attempt.
    void setGiveUpAge(std::chrono::milliseconds age) { m_giveUpAge = age; }

signals:
    /// The end of a login; `message` tells what is wrong. After a failure of the network it comes twice, the
    /// second time with "Wrong login".
    void loginResult(bool successful, const QString &message);
    /// There are new readings, or there is a new error.
    void newData();
    /// A query has ended, however it did.
    void requestEnded();

public slots:
    void on_downloadInfoFinished();
    void on_uploadError(QNetworkReply::NetworkError code);
    void on_LoginFinished();
    void on_LoginError(QNetworkReply::NetworkError code);

protected:
    explicit DeviceSession(QObject *parent);

    virtual QHostAddress address() const = 0;
    /// How the last request went: "200 OK".
    virtual void takeStatus(const QString &text) = 0;
    /// The device is reached in this way.
    virtual void takeScheme(bool useHttps) = 0;
    /// The device has answered a query, whatever its answer is worth.
    virtual void takeAnswer() = 0;
    virtual void takeInfo(const deviceinfo::DeviceInfo &info) = 0;
    /// The device answers, but not to this session.
    virtual void takeRefusal() = 0;

private:
    WebManager *networkManager();
    bool isWhereItLoggedIn() const { return address() == m_loginAddress; }
    void send(QNetworkReply *reply);
    void collectAnswer(QNetworkReply *reply);
    void refusePackedAnswer(QNetworkReply *reply);
    void followToHttps();
    void refuseStatus(int status);
    void readAnswer();
    void takeCookies(const QNetworkReply *reply);

    // The three ways in which a request ends.
    /// It has come to its end.
    void release(QNetworkReply *reply);
    /// It makes room for a login. Its handlers run at once and tell who waits for it.
    void supersede();
    /// It counts as hanging. The next one starts with a new client, without cookies, over HTTP.
    void giveUp();

    bool m_useHttps = false;
    QNetworkCookie m_sidCookie;
    QString m_loginUser;
    QString m_loginPassword;
    QHostAddress m_loginAddress;
    /// A login is being aborted for the sake of the next one.
    bool m_loginSuperseded = false;
    /// Made with the first request: most devices of a long list may never answer.
    WebManager *m_networkManager = nullptr;
    /// The one request that is out; belongs to a manager.
    QPointer<QNetworkReply> m_pendingReply;
    QElapsedTimer m_requestTimer;
    std::chrono::milliseconds m_giveUpAge{20000};
    /// What has arrived of the answer to a query.
    QByteArray m_answer;
    /// Bytes of it, kept or not.
    qint64 m_answerSize = 0;
};

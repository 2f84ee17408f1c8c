#pragma once

#include "web/weberror.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QThread>
#include <QTimer>
#include <QVector>

#include <curl/curl.h>
#include <deque>
#include <memory>

class QSocketNotifier;
class WebTransfer;

/// Carries out all requests of the process: libcurl's multi interface in a thread of its own, the network
/// thread, driven by that thread's event loop. Only queued calls, with the bytes in them, cross the threads.
///
/// Comes into being with the first request and ends with the application object, after all threads that use
/// it.
class WebEngine final : public QObject
{
    Q_OBJECT

public:
    ~WebEngine() override;
    Q_DISABLE_COPY_MOVE(WebEngine)

    // From any thread.

    /// Sends a transfer's request now, or when a connection is free. It tells by its signal. An error if
    /// nothing is sent: at the end of the program, and where the system has no room for the network thread.
    static WebError start(WebTransfer *transfer);
    static void bring(WebTransfer *transfer, const QByteArray &piece);
    static void noteRead(WebTransfer *transfer, qint64 bytes);
    /// Ends a transfer, closes its connection if it is in the middle of it, and deletes it.
    static void dispose(WebTransfer *transfer);
    /// Closes the connection that was kept for a client. None of its transfers may be left.
    static void closeKept(const void *keeper);

private:
    struct Notifiers
    {
        QSocketNotifier *read = nullptr;
        QSocketNotifier *write = nullptr;
    };

    struct Kept
    {
        CURLSH *connections = nullptr;
        bool isUsed = false;
        /// None while it is used.
        curl_socket_t idleSocket = CURL_SOCKET_BAD;
    };

    WebEngine();
    static WebEngine *running();
    /// Has it called with the engine in the network thread. False at the end of the program.
    template <typename Call>
    static bool post(Call call);
    static WebEngine *create();
    static void stop();
    bool hasThread();

    // In the network thread.
    static int onSocket(CURL *handle, curl_socket_t socket, int what, void *engine, void *unused);
    static int onTimeout(CURLM *multi, long milliseconds, void *engine);
    void open();
    void close();
    void watch(curl_socket_t socket, int what);
    QSocketNotifier *createNotifier(curl_socket_t socket, bool forWriting);
    void act(curl_socket_t socket, int events);
    void startWaiting();
    void begin(WebTransfer *transfer);
    CURLSH *connectionsFor(const WebTransfer *transfer);
    /// A transfer has ended. Watches the connection that it leaves open, if it does.
    void leaveKept(const WebTransfer &transfer, curl_socket_t socket);
    void stopWatching(Kept &kept);
    void closeConnection(const void *keeper);
    void end(CURL *handle, CURLcode result);
    void endFinished();
    void take(CURL *handle);
    void drop(WebTransfer *transfer);

    QThread m_thread;
    CURLM *m_multi = nullptr;
    std::unique_ptr<QTimer> m_timer;
    /// By socket. They are only switched off, since a notifier must not be deleted in its own signal.
    QHash<curl_socket_t, Notifiers> m_notifiers;
    /// Those that have begun and not ended.
    QSet<WebTransfer *> m_transfers;
    std::deque<WebTransfer *> m_waiting;
    /// For the next transfers: making one costs more than using it.
    QVector<CURL *> m_idleHandles;
    /// Those that have something to tell; empty whenever the event loop turns.
    QVector<WebTransfer *> m_changed;
    /// By client: its connection that is kept. In libcurl's own store they could be neither counted nor
    /// closed.
    QHash<const void *, Kept> m_kept;
    /// By the socket of a connection that is kept and that nobody uses: its client.
    QHash<curl_socket_t, const void *> m_idleSockets;
};

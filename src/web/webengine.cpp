#include "web/webengine.h"

#include "platform/process.h"
#include "web/weblimits.h"
#include "web/webtransfer.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <algorithm>
#include <atomic>
#include <openssl/crypto.h>
#include <utility>

namespace {

/// Of the whole process; null before the first request and after the end of the application object.
std::atomic<WebEngine *> theEngine{nullptr};

constexpr int mostIdleHandles = 256;

} // namespace

WebEngine::WebEngine()
{
    curl_global_init(CURL_GLOBAL_DEFAULT);
    m_thread.setObjectName(QStringLiteral("Network"));
    moveToThread(&m_thread);
    QMetaObject::invokeMethod(this, &WebEngine::open, Qt::QueuedConnection);
}

WebEngine::~WebEngine()
{
    QMetaObject::invokeMethod(this, &WebEngine::close, Qt::QueuedConnection);
    m_thread.wait();
    curl_global_cleanup();
}

WebEngine *WebEngine::create()
{
    theEngine = new WebEngine;
    qAddPostRoutine(&WebEngine::stop);
    return theEngine;
}

void WebEngine::stop()
{
    delete theEngine.exchange(nullptr);
}

WebEngine *WebEngine::running()
{
    // Once, whichever thread comes first.
    [[maybe_unused]] static const WebEngine *const created = create();
    return theEngine;
}

template <typename Call>
bool WebEngine::post(Call call)
{
    WebEngine *const engine = running();
    if (engine) {
        QMetaObject::invokeMethod(
            engine, [engine, call] { call(*engine); }, Qt::QueuedConnection);
    }
    return engine;
}

WebError WebEngine::start(WebTransfer *transfer)
{
    WebEngine *const engine = running();
    if (!engine) {
        return WebError::canceled();
    }
    if (!engine->hasThread()) {
        return WebError::noThread();
    }
    transfer->moveToThread(&engine->m_thread);
    post([transfer](WebEngine &network) {
        network.m_waiting.push_back(transfer);
        network.startWaiting();
    });
    return {};
}

bool WebEngine::hasThread()
{
    // With each request: where the system had no room for it, there may be some by now.
    m_thread.start();
    return m_thread.isRunning();
}

void WebEngine::bring(WebTransfer *transfer, const QByteArray &piece)
{
    post([transfer, piece](WebEngine &network) {
        transfer->bring(piece);
        network.endFinished();
    });
}

void WebEngine::noteRead(WebTransfer *transfer, qint64 bytes)
{
    post([transfer, bytes](WebEngine &network) {
        transfer->noteRead(bytes);
        network.endFinished();
    });
}

void WebEngine::dispose(WebTransfer *transfer)
{
    if (!post([transfer](WebEngine &network) { network.drop(transfer); })) {
        // Its thread has ended.
        delete transfer;
    }
}

void WebEngine::closeKept(const void *keeper)
{
    // Without an engine nothing was kept.
    if (theEngine) {
        post([keeper](WebEngine &network) { network.closeConnection(keeper); });
    }
}

void WebEngine::open()
{
    m_timer = std::make_unique<QTimer>();
    m_timer->setSingleShot(true);
    m_timer->setTimerType(Qt::PreciseTimer);
    connect(m_timer.get(), &QTimer::timeout, this, [this] { act(CURL_SOCKET_TIMEOUT, 0); });
    m_multi = curl_multi_init();
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETFUNCTION, &WebEngine::onSocket);
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERFUNCTION, &WebEngine::onTimeout);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERDATA, this);
    curl_multi_setopt(m_multi, CURLMOPT_PIPELINING, static_cast<long>(CURLPIPE_NOTHING));
}

void WebEngine::close()
{
    // The replies that they belong to delete them.
    m_waiting.clear();
    for (WebTransfer *const transfer : qAsConst(m_transfers)) {
        take(transfer->handle());
        transfer->release();
    }
    m_transfers.clear();
    for (CURL *const handle : qAsConst(m_idleHandles)) {
        curl_easy_cleanup(handle);
    }
    m_idleHandles.clear();
    while (!m_kept.isEmpty()) {
        closeConnection(*m_kept.keyBegin());
    }
    curl_multi_cleanup(m_multi);
    for (const Notifiers &notifiers : qAsConst(m_notifiers)) {
        delete notifiers.read;
        delete notifiers.write;
    }
    m_notifiers.clear();
    m_timer.reset();
    // OpenSSL keeps random generators for each thread. By itself it gives them back when the system ends the
    // thread, which may be after wait() has returned, when the program already cleans OpenSSL up.
    OPENSSL_thread_stop();
    m_thread.quit();
}

int WebEngine::onSocket(CURL *handle, curl_socket_t socket, int what, void *engine, void *unused)
{
    Q_UNUSED(handle)
    Q_UNUSED(unused)
    static_cast<WebEngine *>(engine)->watch(socket, what);
    return 0;
}

int WebEngine::onTimeout(CURLM *multi, long milliseconds, void *engine)
{
    Q_UNUSED(multi)
    QTimer *const timer = static_cast<WebEngine *>(engine)->m_timer.get();
    if (milliseconds < 0) {
        timer->stop();
    } else {
        timer->start(static_cast<int>(milliseconds));
    }
    return 0;
}

void WebEngine::watch(curl_socket_t socket, int what)
{
    Notifiers &notifiers = m_notifiers[socket];
    const bool reads = what == CURL_POLL_IN || what == CURL_POLL_INOUT;
    const bool writes = what == CURL_POLL_OUT || what == CURL_POLL_INOUT;
    if (reads && !notifiers.read) {
        notifiers.read = createNotifier(socket, false);
    }
    if (writes && !notifiers.write) {
        notifiers.write = createNotifier(socket, true);
    }
    if (notifiers.read) {
        notifiers.read->setEnabled(reads);
    }
    if (notifiers.write) {
        notifiers.write->setEnabled(writes);
    }
}

QSocketNotifier *WebEngine::createNotifier(curl_socket_t socket, bool forWriting)
{
    auto *const notifier = new QSocketNotifier(static_cast<qintptr>(socket),
                                               forWriting ? QSocketNotifier::Write : QSocketNotifier::Read);
    const int event = forWriting ? CURL_CSELECT_OUT : CURL_CSELECT_IN;
    connect(notifier, &QSocketNotifier::activated, this, [this, socket, event] { act(socket, event); });
    return notifier;
}

void WebEngine::act(curl_socket_t socket, int events)
{
    if (m_idleSockets.contains(socket)) {
        // Nothing was asked there: the peer has closed it.
        closeConnection(m_idleSockets.value(socket));
        return;
    }
    int unused = 0;
    curl_multi_socket_action(m_multi, socket, events, &unused);
    endFinished();
}

void WebEngine::startWaiting()
{
    while (!m_waiting.empty() && m_transfers.size() < weblimits::openConnectionsOf(descriptorLimit())) {
        WebTransfer *const transfer = m_waiting.front();
        m_waiting.pop_front();
        begin(transfer);
    }
}

void WebEngine::begin(WebTransfer *transfer)
{
    CURL *const handle = m_idleHandles.isEmpty() ? curl_easy_init() : m_idleHandles.takeLast();
    transfer->begin(handle, connectionsFor(transfer), &m_changed);
    m_transfers.insert(transfer);
    curl_multi_add_handle(m_multi, handle);
}

CURLSH *WebEngine::connectionsFor(const WebTransfer *transfer)
{
    const void *const keeper = transfer->request().keeper;
    if (!keeper || !transfer->request().isSecure()) {
        return nullptr;
    }
    const auto kept = m_kept.find(keeper);
    if (kept != m_kept.end()) {
        stopWatching(*kept);
        // A second request at the same time goes over a connection of its own.
        return std::exchange(kept->isUsed, true) ? nullptr : kept->connections;
    }
    if (m_kept.size() >= weblimits::keptConnectionsOf(descriptorLimit())) {
        return nullptr;
    }
    CURLSH *const connections = curl_share_init();
    curl_share_setopt(connections, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
    m_kept.insert(keeper, {connections, true});
    return connections;
}

void WebEngine::leaveKept(const WebTransfer &transfer, curl_socket_t socket)
{
    const auto kept = m_kept.find(transfer.request().keeper);
    if (!transfer.usesKept() || kept == m_kept.end()) {
        return;
    }
    kept->isUsed = false;
    if (socket != CURL_SOCKET_BAD) {
        kept->idleSocket = socket;
        m_idleSockets.insert(socket, transfer.request().keeper);
        watch(socket, CURL_POLL_IN);
    }
}

void WebEngine::stopWatching(Kept &kept)
{
    if (kept.idleSocket != CURL_SOCKET_BAD) {
        m_idleSockets.remove(kept.idleSocket);
        watch(kept.idleSocket, CURL_POLL_REMOVE);
        kept.idleSocket = CURL_SOCKET_BAD;
    }
}

void WebEngine::closeConnection(const void *keeper)
{
    Kept kept = m_kept.take(keeper);
    stopWatching(kept);
    curl_share_cleanup(kept.connections);
}

void WebEngine::endFinished()
{
    int unused = 0;
    while (const CURLMsg *const message = curl_multi_info_read(m_multi, &unused)) {
        CURL *const handle = message->easy_handle;
        const CURLcode result = message->data.result;
        end(handle, result);
    }
    // The slots run later, in the threads of the replies.
    const QVector<WebTransfer *> changed = std::exchange(m_changed, {});
    for (WebTransfer *const transfer : changed) {
        if (transfer->handle() && transfer->isObjectionable()) {
            end(transfer->handle(), CURLE_WRITE_ERROR);
        }
        transfer->tell();
    }
    startWaiting();
}

void WebEngine::end(CURL *handle, CURLcode result)
{
    char *transfer = nullptr;
    curl_easy_getinfo(handle, CURLINFO_PRIVATE, &transfer);
    auto *const ended = reinterpret_cast<WebTransfer *>(transfer);
    curl_socket_t socket = CURL_SOCKET_BAD;
    if (result == CURLE_OK) {
        curl_easy_getinfo(handle, CURLINFO_ACTIVESOCKET, &socket);
    }
    m_transfers.remove(ended);
    ended->end(result);
    take(handle);
    leaveKept(*ended, socket);
}

void WebEngine::take(CURL *handle)
{
    // This closes the connection, unless it is kept.
    curl_multi_remove_handle(m_multi, handle);
    if (m_idleHandles.size() < mostIdleHandles) {
        curl_easy_setopt(handle, CURLOPT_SHARE, nullptr);
        curl_easy_reset(handle);
        m_idleHandles.append(handle);
    } else {
        curl_easy_cleanup(handle);
    }
}

void WebEngine::drop(WebTransfer *transfer)
{
    if (m_transfers.remove(transfer)) {
        take(transfer->release());
        leaveKept(*transfer, CURL_SOCKET_BAD);
    } else {
        m_waiting.erase(std::remove(m_waiting.begin(), m_waiting.end(), transfer), m_waiting.end());
    }
    delete transfer;
    startWaiting();
}

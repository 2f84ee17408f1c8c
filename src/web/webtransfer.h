#pragma once

#include "web/weberror.h"
#include "web/webhead.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QVector>

#include <curl/curl.h>
#include <deque>
#include <memory>
#include <optional>

/// What is sent.
struct WebRequest
{
    /// "GET" or "POST".
    QByteArray verb;
    /// Encoded, with an IPv4 address as host.
    QByteArray url;
    /// "Name: value", all of them, in their order.
    QList<QByteArray> headers;
    /// The body, where it is in memory.
    QByteArray body;
    /// Bytes of a body that is brought piece by piece; negative: there is none.
    qint64 streamedSize = -1;
    /// Which client's connection it goes over and leaves open; null: one of its own. The peer may just be
    /// closing one that was kept; then the request is silently sent once more.
    const void *keeper = nullptr;

    bool isStreamed() const { return streamedSize >= 0; }
    bool isSecure() const { return url.startsWith("https:"); }
};

/// What has happened to a request since the last news of it.
struct WebNews
{
    std::optional<WebHead> head;
    QByteArray body;
    /// Bytes of the request's body that have been sent so far.
    qint64 sent = 0;
    /// So many more bytes of a streamed body are welcome.
    qint64 welcome = 0;
    /// Nothing follows.
    bool hasEnded = false;
    WebError error;
};
Q_DECLARE_METATYPE(WebNews)

/// One request on its way: fills in libcurl's form and takes what libcurl hands on. Made by the reply that it
/// belongs to; lives in the network thread, and only the engine uses it there.
class WebTransfer final : public QObject
{
    Q_OBJECT

public:
    explicit WebTransfer(WebRequest request);
    ~WebTransfer() override;
    Q_DISABLE_COPY_MOVE(WebTransfer)

    const WebRequest &request() const { return m_request; }
    /// Null before it begins and after it has ended.
    CURL *handle() const { return m_handle; }

    /// Whether it goes over the connection of its keeper.
    bool usesKept() const { return m_usesKept; }

    /// `connections`: those of its keeper; null if there is none. `changed`: where the transfer puts itself
    /// once there is something to tell, until tell() is called.
    void begin(CURL *handle, CURLSH *connections, QVector<WebTransfer *> *changed);
    /// Gives the handle back, which is no longer part of anything then. `result`: as libcurl tells it.
    CURL *end(CURLcode result);
    /// Gives the handle back without a word.
    CURL *release();

    /// The next piece of a streamed body. An empty one says that there is no more, though more was promised.
    void bring(const QByteArray &piece);
    /// The reader has taken so many bytes of the answer's body.
    void noteRead(qint64 bytes);

    /// Whether it must be ended at once, for what the peer sends.
    bool isObjectionable() const { return bool(m_objection); }
    void tell();

signals:
    /// Tells everything since the last time.
    void news(const WebNews &news);

private:
    static std::size_t onHeader(char *bytes, std::size_t size, std::size_t count, void *transfer);
    static std::size_t onBody(char *bytes, std::size_t unit, std::size_t count, void *transfer);
    static std::size_t onWanted(char *bytes, std::size_t size, std::size_t count, void *transfer);
    static int onTrace(CURL *handle, curl_infotype kind, char *bytes, std::size_t size, void *transfer);

    void setAddress();
    void setBody();
    void setTls();
    bool takeHeader(const QByteArray &line);
    bool takeHead();
    void resume();
    void noteNews();

    WebRequest m_request;
    CURL *m_handle = nullptr;
    bool m_usesKept = false;
    std::unique_ptr<curl_slist, void (*)(curl_slist *)> m_headerList;
    std::unique_ptr<char[]> m_errorText;

    WebNews m_news;
    bool m_hasNews = false;
    QVector<WebTransfer *> *m_changed = nullptr;
    /// Why we ended it ourselves.
    WebError m_objection;

    WebHeadReader m_headReader;
    bool m_isHeadComplete = false;
    /// The answer is complete, although libcurl waits for more.
    bool m_isWhole = false;
    /// Of the answer's body: as it came, with the lengths of its chunks; as it was handed on; not read yet.
    qint64 m_rawBytes = 0;
    qint64 m_bodyBytes = 0;
    qint64 m_unread = 0;
    bool m_isReceivingPaused = false;

    /// Of a streamed body: what was brought and not sent yet, and how much of the first piece was.
    std::deque<QByteArray> m_outgoing;
    int m_outgoingOffset = 0;
    qint64 m_sent = 0;
    bool m_isOutgoingBroken = false;
    bool m_isSendingPaused = false;
};

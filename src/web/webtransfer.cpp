#include "web/webtransfer.h"

#include "web/weblimits.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

using namespace std::chrono_literals;

namespace {

/// Bytes. The engine reads up to a hundred such buffers of a transfer before it turns to the next.
constexpr long bufferSize = 4096;

constexpr std::chrono::hours keptTime{24};

std::size_t asSize(qint64 bytes)
{
    return static_cast<std::size_t>(bytes);
}

} // namespace

WebTransfer::WebTransfer(WebRequest request)
    : m_request(std::move(request))
    , m_headerList(nullptr, &curl_slist_free_all)
    , m_errorText(new char[CURL_ERROR_SIZE]{})
{
    m_news.welcome = m_request.isStreamed() ? weblimits::unreadBody : 0;
}

WebTransfer::~WebTransfer()
{
    Q_ASSERT(!m_handle);
}

void WebTransfer::begin(CURL *handle, CURLSH *connections, QVector<WebTransfer *> *changed)
{
    m_handle = handle;
    m_usesKept = connections != nullptr;
    m_changed = changed;
    curl_easy_setopt(handle, CURLOPT_PRIVATE, this);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, m_errorText.get());
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_BUFFERSIZE, bufferSize);
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, static_cast<long>(weblimits::connectTime / 1s));
    curl_easy_setopt(handle, CURLOPT_SHARE, connections);
    curl_easy_setopt(handle, CURLOPT_FRESH_CONNECT, connections ? 0L : 1L);
    curl_easy_setopt(handle, CURLOPT_FORBID_REUSE, connections ? 0L : 1L);
    // What is kept is kept for the next refresh, whenever that is. It goes when the device hangs up.
    curl_easy_setopt(handle, CURLOPT_MAXAGE_CONN, static_cast<long>(keptTime / 1s));
    // A device that lost its power shows some time, also where nothing else ends the request.
    curl_easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, &WebTransfer::onHeader);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &WebTransfer::onBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(handle, CURLOPT_DEBUGFUNCTION, &WebTransfer::onTrace);
    curl_easy_setopt(handle, CURLOPT_DEBUGDATA, this);
    setAddress();
    setBody();
    if (m_request.isSecure()) {
        setTls();
    }
}

void WebTransfer::setAddress()
{
    curl_easy_setopt(m_handle, CURLOPT_URL, m_request.url.constData());
    curl_easy_setopt(m_handle, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(m_handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(m_handle, CURLOPT_NOPROXY, "*");
    // Addresses are numbers: keeping them only costs, and there is no second one to try.
    curl_easy_setopt(m_handle, CURLOPT_DNS_CACHE_TIMEOUT, 0L);
    curl_easy_setopt(m_handle, CURLOPT_HAPPY_EYEBALLS_TIMEOUT_MS, 30000L);
    // Two headers that libcurl would add by itself.
    curl_slist *list = curl_slist_append(nullptr, "Accept:");
    list = curl_slist_append(list, "Expect:");
    for (const QByteArray &header : qAsConst(m_request.headers)) {
        // Without a value a header would be left out.
        const bool isEmpty = header.endsWith(": ");
        list = curl_slist_append(list, isEmpty ? (header.chopped(2) + ';').constData() : header.constData());
    }
    m_headerList.reset(list);
    curl_easy_setopt(m_handle, CURLOPT_HTTPHEADER, list);
}

void WebTransfer::setBody()
{
    if (m_request.verb == "GET") {
        return;
    }
    curl_easy_setopt(m_handle, CURLOPT_POST, 1L);
    if (m_request.isStreamed()) {
        curl_easy_setopt(m_handle, CURLOPT_READFUNCTION, &WebTransfer::onWanted);
        curl_easy_setopt(m_handle, CURLOPT_READDATA, this);
        curl_easy_setopt(m_handle, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(m_request.streamedSize));
    } else {
        curl_easy_setopt(m_handle, CURLOPT_POSTFIELDS, m_request.body.constData());
        curl_easy_setopt(m_handle, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(m_request.body.size()));
    }
}

void WebTransfer::setTls()
{
    // A device makes its own certificate: there is nothing to verify it against.
    curl_easy_setopt(m_handle, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(m_handle, CURLOPT_SSL_VERIFYHOST, 0L);
    // Old firmware has nothing newer than TLS 1.0 and short keys, which today's security level refuses even
    // where nothing is verified.
    curl_easy_setopt(m_handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_0));
    curl_easy_setopt(m_handle, CURLOPT_SSL_CIPHER_LIST, "DEFAULT@SECLEVEL=0");
    curl_easy_setopt(m_handle, CURLOPT_SSL_ENABLE_ALPN, 0L);
    // libcurl keeps only a few sessions, far fewer than there are devices.
    curl_easy_setopt(m_handle, CURLOPT_SSL_SESSIONID_CACHE, 0L);
}

CURL *WebTransfer::end(CURLcode result)
{
    long systemError = 0;
    curl_easy_getinfo(m_handle, CURLINFO_OS_ERRNO, &systemError);
    if (m_objection) {
        m_news.error = m_objection;
    } else if (result == CURLE_OK && !m_isHeadComplete) {
        // It broke off in the headers.
        m_news.error = WebError::connectionClosed();
    } else if (!m_isWhole) {
        m_news.error = WebError::ofTransfer(result, systemError, m_errorText.get());
    }
    m_news.hasEnded = true;
    noteNews();
    return release();
}

CURL *WebTransfer::release()
{
    return std::exchange(m_handle, nullptr);
}

void WebTransfer::bring(const QByteArray &piece)
{
    if (piece.isEmpty()) {
        m_isOutgoingBroken = true;
    } else {
        m_outgoing.push_back(piece);
    }
    if (m_handle && m_isSendingPaused) {
        m_isSendingPaused = false;
        resume();
    }
}

void WebTransfer::noteRead(qint64 bytes)
{
    m_unread -= bytes;
    if (m_handle && m_isReceivingPaused && m_unread <= weblimits::unreadBody / 2) {
        m_isReceivingPaused = false;
        resume();
    }
}

void WebTransfer::resume()
{
    curl_easy_pause(m_handle,
                    (m_isReceivingPaused ? CURLPAUSE_RECV : 0) | (m_isSendingPaused ? CURLPAUSE_SEND : 0));
}

void WebTransfer::noteNews()
{
    if (!m_hasNews) {
        m_hasNews = true;
        m_changed->append(this);
    }
}

void WebTransfer::tell()
{
    m_hasNews = false;
    emit news(std::exchange(m_news, {}));
}

std::size_t WebTransfer::onHeader(char *bytes, std::size_t size, std::size_t count, void *transfer)
{
    auto *const self = static_cast<WebTransfer *>(transfer);
    const std::size_t length = size * count;
    return self->takeHeader(QByteArray(bytes, static_cast<int>(length))) ? length : 0;
}

bool WebTransfer::takeHeader(const QByteArray &line)
{
    switch (m_headReader.take(line)) {
    case WebHeadReader::Outcome::TooLong:
        m_objection = WebError::badAnswer();
        return false;
    case WebHeadReader::Outcome::Ends:
        // Trailers tell nothing that anybody asks for.
        return m_isHeadComplete || takeHead();
    case WebHeadReader::Outcome::Goes:
        break;
    }
    return true;
}

bool WebTransfer::takeHead()
{
    long status = 0;
    curl_easy_getinfo(m_handle, CURLINFO_RESPONSE_CODE, &status);
    // Continue, Processing, Early Hints: the answer is still to come.
    if (status == 100 || status == 102 || status == 103) {
        return true;
    }
    WebHead head = m_headReader.head();
    head.status = static_cast<int>(status);
    m_isHeadComplete = true;
    constexpr long firstFinal = 200;
    if (status < firstFinal) {
        // libcurl takes every such status for an interim one. Here it is the answer, without a body.
        m_isWhole = true;
        m_news.head = head;
        noteNews();
        return false;
    }
    for (const auto &header : qAsConst(head.headers)) {
        if (header.first.compare("Transfer-Encoding", Qt::CaseInsensitive) != 0) {
            continue;
        }
        if (header.second.compare("identity", Qt::CaseInsensitive) == 0) {
            continue;
        }
        if (header.second.compare("chunked", Qt::CaseInsensitive) != 0) {
            // libcurl would unpack it, and a few kilobytes can unpack to all of our memory.
            m_objection = WebError::badAnswer();
            return false;
        }
        // What stands between the chunks reaches nothing else but the trace.
        curl_easy_setopt(m_handle, CURLOPT_VERBOSE, 1L);
    }
    m_news.head = head;
    noteNews();
    return true;
}

std::size_t WebTransfer::onBody(char *bytes, std::size_t unit, std::size_t count, void *transfer)
{
    auto *const self = static_cast<WebTransfer *>(transfer);
    const std::size_t size = unit * count;
    const auto length = static_cast<qint64>(size);
    if (self->m_unread >= weblimits::unreadBody) {
        self->m_isReceivingPaused = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    self->m_news.body.append(bytes, static_cast<int>(length));
    self->noteNews();
    self->m_unread += length;
    self->m_bodyBytes += length;
    return size;
}

std::size_t WebTransfer::onWanted(char *bytes, std::size_t size, std::size_t count, void *transfer)
{
    auto *const self = static_cast<WebTransfer *>(transfer);
    if (self->m_outgoing.empty()) {
        if (self->m_isOutgoingBroken) {
            return CURL_READFUNC_ABORT;
        }
        self->m_isSendingPaused = true;
        if (self->m_news.welcome > 0) {
            // The very first piece is asked for here: nothing else has happened that would be told.
            self->noteNews();
        }
        return CURL_READFUNC_PAUSE;
    }
    const QByteArray &piece = self->m_outgoing.front();
    const qint64 length =
        std::min<qint64>(piece.size() - self->m_outgoingOffset, static_cast<qint64>(size * count));
    std::memcpy(bytes, piece.constData() + self->m_outgoingOffset, asSize(length));
    self->m_outgoingOffset += static_cast<int>(length);
    if (self->m_outgoingOffset == piece.size()) {
        self->m_outgoing.pop_front();
        self->m_outgoingOffset = 0;
    }
    self->m_sent += length;
    self->m_news.sent = self->m_sent;
    self->m_news.welcome += length;
    self->noteNews();
    return asSize(length);
}

// NOLINTNEXTLINE(readability-non-const-parameter): libcurl gives the form.
int WebTransfer::onTrace(CURL *handle, curl_infotype kind, char *bytes, std::size_t size, void *transfer)
{
    Q_UNUSED(handle)
    Q_UNUSED(bytes)
    auto *const self = static_cast<WebTransfer *>(transfer);
    if (kind == CURLINFO_DATA_IN) {
        self->m_rawBytes += static_cast<qint64>(size);
        const qint64 most = weblimits::framing + weblimits::framingPerByte * self->m_bodyBytes;
        if (self->m_rawBytes - self->m_bodyBytes > most && !self->m_objection) {
            self->m_objection = WebError::badAnswer();
            self->noteNews();
        }
    }
    return 0;
}

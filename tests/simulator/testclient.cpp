#include "testclient.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <ostream>
#include <poll.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace testclient {

namespace {

sockaddr_in socketAddress(simulator::Address address, std::uint16_t port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = htonl(address);
    result.sin_port = htons(port);
    return result;
}

int udpSocket(simulator::Address address, std::uint16_t port)
{
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    const int size = 8 << 20;
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    setsockopt(descriptor, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
    setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    const sockaddr_in local = socketAddress(address, port);
    if (::bind(descriptor, reinterpret_cast<const sockaddr *>(&local), sizeof local) != 0) {
        throw std::runtime_error(std::string("bind: ") + std::strerror(errno));
    }
    return descriptor;
}

std::uint16_t boundPort(int descriptor)
{
    sockaddr_in local{};
    socklen_t size = sizeof local;
    getsockname(descriptor, reinterpret_cast<sockaddr *>(&local), &size);
    return ntohs(local.sin_port);
}

bool equalsIgnoringCase(const std::string &a, const std::string &b)
{
    return a.size() == b.size() && strcasecmp(a.c_str(), b.c_str()) == 0;
}

/// Whole when the last chunk is there.
bool unchunk(const std::string &framed, std::string &body)
{
    body.clear();
    std::size_t position = 0;
    while (true) {
        const std::size_t lineEnd = framed.find("\r\n", position);
        if (lineEnd == std::string::npos) {
            return false;
        }
        const std::size_t size = std::stoul(framed.substr(position, lineEnd - position), nullptr, 16);
        if (size == 0) {
            return framed.compare(lineEnd, 4, "\r\n\r\n") == 0;
        }
        body += framed.substr(lineEnd + 2, size);
        position = lineEnd + 2 + size + 2;
        if (position > framed.size()) {
            return false;
        }
    }
}

/// Fills a reply from what has arrived. False while the header isn't whole.
bool parse(Reply &reply)
{
    const std::size_t headerEnd = reply.raw.find("\r\n\r\n");
    if (headerEnd == std::string::npos || reply.raw.compare(0, 9, "HTTP/1.1 ") != 0) {
        return false;
    }
    reply.headers.clear();
    std::size_t position = reply.raw.find("\r\n");
    reply.status = std::stoi(reply.raw.substr(9, 3));
    reply.reason = position > 13 ? reply.raw.substr(13, position - 13) : std::string();
    while (position < headerEnd) {
        const std::size_t end = reply.raw.find("\r\n", position + 2);
        const std::string line = reply.raw.substr(position + 2, end - position - 2);
        const std::size_t colon = line.find(": ");
        reply.headers.emplace_back(line.substr(0, colon), line.substr(colon + 2));
        position = end;
    }
    const std::string rest = reply.raw.substr(headerEnd + 4);
    const std::string length = reply.header("Content-Length");
    if (reply.header("Transfer-Encoding") == "chunked") {
        reply.isComplete = unchunk(rest, reply.body);
    } else {
        reply.body = rest;
        reply.isComplete = length.empty() ? reply.end == End::Closed : rest.size() == std::stoul(length);
    }
    return true;
}

bool mayBeComplete(const Reply &reply)
{
    const std::string length = reply.header("Content-Length");
    if (!length.empty()) {
        return reply.raw.size() >= reply.raw.find("\r\n\r\n") + 4 + std::stoul(length);
    }
    constexpr std::string_view lastChunk = "0\r\n\r\n";
    return reply.raw.size() > lastChunk.size() &&
           reply.raw.compare(reply.raw.size() - lastChunk.size(), lastChunk.size(), lastChunk) == 0;
}

} // namespace

namespace {

std::string lastTlsReason()
{
    const char *const reason = ERR_reason_error_string(ERR_peek_last_error());
    return reason ? reason : "";
}

} // namespace

std::ostream &operator<<(std::ostream &stream, End end)
{
    static const std::array<const char *, 7> names{"open",    "closed",      "reset", "refused",
                                                   "timeout", "TLS failure", "limit"};
    return stream << names[static_cast<std::size_t>(end)];
}

std::string Reply::header(const std::string &name) const
{
    for (const auto &[key, value] : headers) {
        if (equalsIgnoringCase(key, name)) {
            return value;
        }
    }
    return {};
}

std::string Reply::sid() const
{
    const std::string cookie = header("Set-Cookie");
    return cookie.compare(0, 4, "sid=") == 0 ? cookie.substr(4, cookie.find(';') - 4) : std::string();
}

Wire::Wire(simulator::Address address, std::uint16_t port, Security security,
           std::chrono::milliseconds timeout)
    : m_descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const timeval limit{timeout.count() / 1000, timeout.count() % 1000 * 1000};
    setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(m_descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    const sockaddr_in remote = socketAddress(address, port);
    if (::connect(m_descriptor, reinterpret_cast<const sockaddr *>(&remote), sizeof remote) != 0) {
        m_end = errno == ECONNREFUSED ? End::Refused : errno == ECONNRESET ? End::Reset : End::Timeout;
        return;
    }
    if (security.isOn) {
        handshake(security);
    }
}

Wire::~Wire()
{
    SSL_free(m_tls);
    SSL_CTX_free(m_context);
    ::close(m_descriptor);
}

void Wire::handshake(const Security &security)
{
    m_context = SSL_CTX_new(TLS_client_method());
    const std::string ciphers = "ALL:@SECLEVEL=" + std::to_string(security.level);
    SSL_CTX_set_cipher_list(m_context, ciphers.c_str());
    SSL_CTX_set_min_proto_version(m_context, security.oldest);
    SSL_CTX_set_max_proto_version(m_context, security.newest);
    m_tls = SSL_new(m_context);
    SSL_set_fd(m_tls, m_descriptor);
    ERR_clear_error();
    errno = 0;
    const int result = SSL_connect(m_tls);
    if (result == 1) {
        return;
    }
    const int error = SSL_get_error(m_tls, result);
    const bool isLate = error == SSL_ERROR_WANT_READ || (error == SSL_ERROR_SYSCALL && errno == EAGAIN);
    m_end = isLate ? End::Timeout : End::TlsFailure;
    m_tlsReason = lastTlsReason();
}

void Wire::send(const std::string &bytes)
{
    std::size_t sent = 0;
    while (m_end == End::Open && sent < bytes.size()) {
        const std::size_t rest = bytes.size() - sent;
        const ssize_t step = m_tls ? SSL_write(m_tls, bytes.data() + sent, static_cast<int>(rest))
                                   : ::send(m_descriptor, bytes.data() + sent, rest, MSG_NOSIGNAL);
        if (step <= 0) {
            m_end = End::Reset;
        } else {
            sent += static_cast<std::size_t>(step);
        }
    }
}

std::string Wire::receive()
{
    std::string bytes(65536, '\0');
    if (m_end != End::Open) {
        return {};
    }
    ERR_clear_error();
    errno = 0;
    const ssize_t size = m_tls ? SSL_read(m_tls, bytes.data(), static_cast<int>(bytes.size()))
                               : ::recv(m_descriptor, bytes.data(), bytes.size(), 0);
    if (size > 0) {
        bytes.resize(static_cast<std::size_t>(size));
        return bytes;
    }
    m_tlsReason = lastTlsReason();
    if (errno == EAGAIN) {
        m_end = End::Timeout;
    } else if (errno == ECONNRESET) {
        m_end = End::Reset;
    } else {
        m_end = End::Closed;
    }
    return {};
}

Reply Wire::reply(std::size_t limit)
{
    Reply reply;
    while (m_end == End::Open && !reply.isComplete && reply.raw.size() < limit) {
        reply.raw += receive();
        // A long body isn't taken apart for each of its pieces, only when it may have come to its end.
        if (reply.status == 0 || mayBeComplete(reply)) {
            parse(reply);
        }
    }
    reply.end = reply.raw.size() >= limit ? End::Limit : m_end;
    parse(reply);
    return reply;
}

std::string Wire::certificateName() const
{
    X509 *certificate = SSL_get1_peer_certificate(m_tls);
    std::array<char, 256> name{};
    X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, name.data(), name.size());
    X509_free(certificate);
    return name.data();
}

bool Wire::isCertificateExpired() const
{
    X509 *certificate = SSL_get1_peer_certificate(m_tls);
    const bool isExpired = X509_cmp_current_time(X509_get0_notAfter(certificate)) < 0;
    X509_free(certificate);
    return isExpired;
}

int Wire::keyBits() const
{
    X509 *certificate = SSL_get1_peer_certificate(m_tls);
    const int bits = EVP_PKEY_get_bits(X509_get0_pubkey(certificate));
    X509_free(certificate);
    return bits;
}

std::string Wire::tlsVersion() const
{
    return SSL_get_version(m_tls);
}

std::string requestText(const std::string &method, const std::string &target, const Post &post,
                        const std::string &sid, const std::string &extraHeaders)
{
    std::string text = method + " " + target + " HTTP/1.1\r\nHost: device\r\n" + extraHeaders;
    if (!sid.empty()) {
        text += "Cookie: sid=" + sid + "\r\n";
    }
    if (method == "POST") {
        text += "Content-Type: " + post.contentType + "\r\n";
        text += "Content-Length: " + std::to_string(post.body.size()) + "\r\n";
    }
    return text + "\r\n" + post.body;
}

Post form(const std::string &fields)
{
    return {"application/x-www-form-urlencoded", fields};
}

Post multipart(const std::vector<std::pair<std::string, std::string>> &parts)
{
    Post post{"multipart/form-data; boundary=\"boundary_.oOo._x\"", {}};
    for (const auto &[name, body] : parts) {
        post.body += "--boundary_.oOo._x\r\nContent-Disposition: form-data; name=\"";
        post.body += name;
        post.body += "\"\r\n\r\n";
        post.body += body;
        post.body += "\r\n";
    }
    post.body += "--boundary_.oOo._x--\r\n";
    return post;
}

Visitor::Visitor(const simulator::Fleet &fleet, int device, Security security,
                 std::chrono::milliseconds timeout)
    : m_fleet(fleet)
    , m_device(device)
    , m_security(security)
    , m_timeout(timeout)
{
}

std::unique_ptr<Wire> Visitor::connect() const
{
    const std::uint16_t port = m_security.isOn ? m_fleet.httpsPort() : m_fleet.httpPort();
    return std::make_unique<Wire>(m_fleet.device(m_device).address, port, m_security, m_timeout);
}

Reply Visitor::exchange(const std::string &request) const
{
    const std::unique_ptr<Wire> wire = connect();
    wire->send(request);
    return wire->reply();
}

Reply Visitor::get(const std::string &target) const
{
    return exchange(requestText("GET", target, {}, m_sid));
}

Reply Visitor::post(const std::string &target, const Post &post) const
{
    return exchange(requestText("POST", target, post, m_sid));
}

bool Visitor::logIn(const std::string &user, const std::string &password)
{
    const Reply reply =
        post("/login.cgi", form("btnapp=Submit&login_user=" + user + "&login_password=" + password));
    m_sid = reply.sid();
    return !m_sid.empty();
}

Listener::Listener(std::uint16_t port)
    : m_receiver(udpSocket(INADDR_ANY, port))
    , m_sender(udpSocket(host, 0))
    , m_port(boundPort(m_receiver))
{
}

Listener::~Listener()
{
    ::close(m_receiver);
    ::close(m_sender);
}

void Listener::broadcast(const std::string &datagram, simulator::Address destination) const
{
    const sockaddr_in remote = socketAddress(destination, m_port);
    const ssize_t sent = ::sendto(m_sender, datagram.data(), datagram.size(), 0,
                                  reinterpret_cast<const sockaddr *>(&remote), sizeof remote);
    if (sent != static_cast<ssize_t>(datagram.size())) {
        throw std::runtime_error(std::string("sendto: ") + std::strerror(errno));
    }
}

std::vector<Received> Listener::collect(std::size_t count, std::chrono::milliseconds timeout) const
{
    std::vector<Received> answers;
    answers.reserve(count);
    pollfd wait{m_receiver, POLLIN, 0};
    while (answers.size() < count && ::poll(&wait, 1, static_cast<int>(timeout.count())) > 0) {
        std::array<char, 65536> buffer;
        sockaddr_in sender{};
        socklen_t size = sizeof sender;
        const ssize_t length = ::recvfrom(m_receiver, buffer.data(), buffer.size(), 0,
                                          reinterpret_cast<sockaddr *>(&sender), &size);
        const bool isOurs =
            length > 4 && (buffer[4] == 0 || buffer[4] == 2) && ntohl(sender.sin_addr.s_addr) == host;
        if (length >= 0 && !isOurs) {
            answers.push_back(
                {ntohl(sender.sin_addr.s_addr), {buffer.data(), static_cast<std::size_t>(length)}});
        }
    }
    return answers;
}

std::string discoveryRequest()
{
    return std::string(128, '\0');
}

bool eventually(const std::function<bool()> &condition)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        ::poll(nullptr, 0, 2);
    }
    return true;
}

void allowManyDescriptors()
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

simulator::FleetOptions freePorts()
{
    simulator::FleetOptions options;
    options.httpPort = 0;
    options.httpsPort = 0;
    options.discoveryPort = 0;
    return options;
}

} // namespace testclient

#pragma once

#include "fleet.h"

#include <chrono>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct ssl_ctx_st;
struct ssl_st;

namespace testclient {

using namespace std::chrono_literals;

constexpr simulator::Address host = 0x0A4D0001;
constexpr simulator::Address directedBroadcast = 0x0A4DFFFF;
constexpr simulator::Address limitedBroadcast = 0xFFFFFFFF;
/// Long enough that only a defect makes a test wait for it.
constexpr std::chrono::milliseconds patience = 10s;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSlowBuild = true;
#else
constexpr bool isSlowBuild = false;
#endif

/// How a transfer came to its end.
enum class End { Open, Closed, Reset, Refused, Timeout, TlsFailure, Limit };
std::ostream &operator<<(std::ostream &stream, End end);

struct Reply
{
    End end = End::Open;
    int status = 0;
    std::string reason;
    std::vector<std::pair<std::string, std::string>> headers;
    /// Without chunk framing.
    std::string body;
    /// The body is as long as promised, or came to its last chunk.
    bool isComplete = false;
    std::string raw;

    [[nodiscard]] std::string header(const std::string &name) const;
    /// The session cookie, or empty.
    [[nodiscard]] std::string sid() const;
};

struct Security
{
    bool isOn = false;
    int oldest = 0;
    int newest = 0;
    /// 0 accepts small keys and broken digests.
    int level = 0;
};

constexpr Security plain{};
constexpr Security tls{true, 0, 0, 1};

/// A connection to a device, blocking, with a deadline for every read.
class Wire
{
public:
    Wire(simulator::Address address, std::uint16_t port, Security security = plain,
         std::chrono::milliseconds timeout = patience);
    ~Wire();
    Wire(const Wire &) = delete;
    Wire &operator=(const Wire &) = delete;

    [[nodiscard]] End state() const { return m_end; }
    [[nodiscard]] int descriptor() const { return m_descriptor; }
    void send(const std::string &bytes);
    /// What comes next, at most 64 KiB; empty at the end, which state() then tells.
    [[nodiscard]] std::string receive();
    /// A whole answer; of an endless one `limit` bytes.
    [[nodiscard]] Reply reply(std::size_t limit = 64U << 20U);
    /// What the TLS library says of the last failure: "sslv3 alert handshake failure".
    [[nodiscard]] const std::string &tlsReason() const { return m_tlsReason; }
    /// Of the device's certificate: its name, and whether its time is over.
    [[nodiscard]] std::string certificateName() const;
    [[nodiscard]] bool isCertificateExpired() const;
    [[nodiscard]] int keyBits() const;
    [[nodiscard]] std::string tlsVersion() const;

private:
    void handshake(const Security &security);

    int m_descriptor = -1;
    ssl_ctx_st *m_context = nullptr;
    ssl_st *m_tls = nullptr;
    End m_end = End::Open;
    std::string m_tlsReason;
};

struct Post
{
    std::string contentType = "text";
    std::string body;
};

[[nodiscard]] std::string requestText(const std::string &method, const std::string &target,
                                      const Post &post = {}, const std::string &sid = {},
                                      const std::string &extraHeaders = {});
[[nodiscard]] Post form(const std::string &fields);
[[nodiscard]] Post multipart(const std::vector<std::pair<std::string, std::string>> &parts);

/// One device of a fleet as a visitor sees it, over plain HTTP or TLS.
class Visitor
{
public:
    Visitor(const simulator::Fleet &fleet, int device, Security security = plain,
            std::chrono::milliseconds timeout = patience);

    [[nodiscard]] Reply get(const std::string &target) const;
    [[nodiscard]] Reply post(const std::string &target, const Post &post) const;
    /// Remembers the cookie, if there is one.
    bool logIn(const std::string &user, const std::string &password);
    void setSid(std::string sid) { m_sid = std::move(sid); }
    [[nodiscard]] const std::string &sid() const { return m_sid; }
    [[nodiscard]] std::unique_ptr<Wire> connect() const;

private:
    [[nodiscard]] Reply exchange(const std::string &request) const;

    const simulator::Fleet &m_fleet;
    int m_device;
    Security m_security;
    std::chrono::milliseconds m_timeout;
    std::string m_sid;
};

struct Received
{
    simulator::Address sender = 0;
    std::string bytes;
};

/// Asks and listens on the discovery port as a computer on the network does.
class Listener
{
public:
    /// Port 0 takes a free one.
    explicit Listener(std::uint16_t port);
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    [[nodiscard]] std::uint16_t port() const { return m_port; }
    void broadcast(const std::string &datagram, simulator::Address destination = directedBroadcast) const;
    /// The next answers (command 1, or not even that), until there are `count` or nothing came for `timeout`.
    [[nodiscard]] std::vector<Received> collect(std::size_t count,
                                                std::chrono::milliseconds timeout = patience) const;

private:
    int m_receiver = -1;
    int m_sender = -1;
    std::uint16_t m_port;
};

/// 128 zero bytes.
[[nodiscard]] std::string discoveryRequest();
/// Polls until `condition` holds or patience ends.
[[nodiscard]] bool eventually(const std::function<bool()> &condition);
/// Raises the limit of descriptors to what the system allows.
void allowManyDescriptors();

/// A fleet on free ports.
[[nodiscard]] simulator::FleetOptions freePorts();

} // namespace testclient

#include "httpsession.h"

#include "outgoing.h"
#include "webinterface.h"

#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <openssl/ssl.h>
#include <type_traits>

namespace simulator {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using tcp = asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr std::uint64_t bodyLimit = 1024U << 20U;
constexpr std::uint32_t headerLimit = 64U << 10U;
constexpr std::chrono::seconds farewellTime{2};

using TlsStream = asio::ssl::stream<tcp::socket>;

std::string text(boost::beast::string_view view)
{
    return {view.data(), view.size()};
}

template <typename Stream>
class Session final : public Connection, public std::enable_shared_from_this<Session<Stream>>
{
public:
    template <typename... StreamArguments>
    explicit Session(SessionSetup setup, StreamArguments &&...arguments)
        : m_setup(std::move(setup))
        , m_stream(std::forward<StreamArguments>(arguments)...)
        , m_timer(m_stream.get_executor())
    {
        m_setup.core.journal.count([](Counters &counters) {
            ++counters.connections;
            counters.peakConnections = std::max(counters.peakConnections, ++counters.openConnections);
        });
    }

    ~Session() override
    {
        m_setup.connections.remove(this);
        m_setup.core.journal.count([](Counters &counters) { --counters.openConnections; });
    }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    void start()
    {
        m_setup.connections.add(this->shared_from_this(), m_setup.device);
        error_code ignored;
        socket().set_option(tcp::no_delay(true), ignored);
        if (m_setup.connectionFault && !misbehavesAfterHandshake()) {
            misbehaveBeforeHandshake();
        } else if constexpr (std::is_same_v<Stream, TlsStream>) {
            prepareAlert();
            m_stream.async_handshake(asio::ssl::stream_base::server,
                                     [self = this->shared_from_this()](error_code error) {
                                         if (!error && !self->m_isAborted) {
                                             self->begin();
                                         } else if (self->m_setup.connectionFault) {
                                             // The alert is under way.
                                             self->hangUp();
                                         } else {
                                             self->abort();
                                         }
                                     });
        } else {
            begin();
        }
    }

    void abort() override
    {
        m_isAborted = true;
        m_timer.cancel();
        error_code ignored;
        socket().close(ignored);
    }

private:
    tcp::socket &socket()
    {
        if constexpr (std::is_same_v<Stream, TlsStream>) {
            return m_stream.next_layer();
        } else {
            return m_stream;
        }
    }

    /// A completion handler that keeps the session alive and goes on with `next` unless something failed.
    template <typename Next>
    auto onSuccess(Next next)
    {
        return [self = this->shared_from_this(), next](error_code error, auto &&...) {
            if (!error && !self->m_isAborted) {
                next(*self);
            } else {
                self->abort();
            }
        };
    }

    [[nodiscard]] bool misbehavesAfterHandshake() const
    {
        const Fault &fault = *m_setup.connectionFault;
        return fault.kind == Fault::Kind::Unasked ||
               (fault.kind == Fault::Kind::TlsAlert && fault.place != Fault::Place::Start);
    }

    /// The device wants a certificate that no client has. With TLS 1.3 the client learns that only when the
    /// handshake is over for it.
    void prepareAlert()
    {
        if constexpr (std::is_same_v<Stream, TlsStream>) {
            if (!m_setup.connectionFault || m_setup.connectionFault->kind != Fault::Kind::TlsAlert) {
                return;
            }
            SSL *const tls = m_stream.native_handle();
            const bool isLate = m_setup.connectionFault->place == Fault::Place::End;
            SSL_set_min_proto_version(tls, isLate ? TLS1_3_VERSION : TLS1_2_VERSION);
            SSL_set_max_proto_version(tls, isLate ? TLS1_3_VERSION : TLS1_2_VERSION);
            SSL_set_verify(tls, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
        }
    }

    void begin()
    {
        if (!m_setup.connectionFault) {
            readHeader();
            return;
        }
        m_outgoing = Outgoing::plain(m_setup.connectionFault->body);
        write();
    }

    void misbehaveBeforeHandshake()
    {
        if (m_setup.connectionFault->kind == Fault::Kind::TlsHang) {
            idle();
            return;
        }
        // The alert tells of a failed handshake, and is fatal.
        static const std::string alert("\x15\x03\x03\x00\x02\x02\x28", 7);
        m_outgoing =
            Outgoing::plain(m_setup.connectionFault->kind == Fault::Kind::TlsAlert ? alert : garbageBytes());
        asio::async_write(socket(), asio::buffer(m_outgoing.current()),
                          onSuccess([](auto &self) { self.hangUp(); }));
    }

    void readHeader()
    {
        m_parser.emplace();
        m_parser->body_limit(bodyLimit);
        m_parser->header_limit(headerLimit);
        http::async_read_header(m_stream, m_buffer, *m_parser,
                                onSuccess([](auto &self) { self.headerRead(); }));
    }

    void headerRead()
    {
        if (m_hasAnswered && m_setup.device.options().answersOnce) {
            hangUp();
            return;
        }
        if (!boost::beast::iequals(m_parser->get()[http::field::expect], "100-continue")) {
            readBody();
            return;
        }
        static const std::string goOn = "HTTP/1.1 100 Continue\r\n\r\n";
        asio::async_write(m_stream, asio::buffer(goOn), onSuccess([](auto &self) { self.readBody(); }));
    }

    void readBody()
    {
        http::async_read(m_stream, m_buffer, *m_parser, onSuccess([](auto &self) { self.requestRead(); }));
    }

    void requestRead()
    {
        auto &message = m_parser->get();
        m_request = {};
        m_request.https = m_setup.https;
        m_request.method = text(message.method_string());
        m_request.target = text(message.target());
        for (const auto &field : message) {
            m_request.headers.emplace_back(text(field.name_string()), text(field.value()));
        }
        m_request.body = std::move(message.body());
        m_keepsAlive = message.keep_alive() && m_setup.device.options().keepAlive;
        m_isHttp11 = message.version() >= 11;
        record();
        FaultList::Decision decision = m_setup.device.faults.takeForRequest(m_setup.https, m_request.target);
        m_fault = std::move(decision.fault);
        if (decision.forgetsSessions) {
            m_setup.device.dropSessions();
        }
        after(m_setup.core.options.delay + decision.delay, [](auto &self) { self.answer(); });
    }

    void record() const
    {
        HttpRecord entry;
        entry.time = std::chrono::steady_clock::now();
        entry.wallTime = std::chrono::system_clock::now();
        entry.device = m_setup.device.index();
        entry.mac = *m_setup.device.options().mac;
        entry.https = m_request.https;
        entry.method = m_request.method;
        entry.target = m_request.target;
        entry.headers = m_request.headers;
        m_setup.core.journal.add(std::move(entry), m_request.body);
    }

    template <typename Next>
    void after(std::chrono::milliseconds delay, Next next)
    {
        if (delay.count() <= 0) {
            next(*this);
            return;
        }
        m_timer.expires_after(delay);
        m_timer.async_wait(onSuccess(next));
    }

    void answer()
    {
        if (m_fault && m_fault->kind == Fault::Kind::Refuse) {
            resetConnection(socket());
            return;
        }
        if (m_fault && m_fault->kind == Fault::Kind::Hang) {
            idle();
            return;
        }
        if (m_fault && m_fault->kind == Fault::Kind::CloseWithoutAnswer) {
            hangUp();
            return;
        }
        std::optional<Response> response;
        if (!m_fault || !replacesAnswer(*m_fault)) {
            response = answerTo(m_request, m_setup.device, m_setup.core.httpsPort);
        }
        const bool restarts = response && response->restarts;
        const OutgoingOptions options{m_keepsAlive && !restarts, m_isHttp11};
        m_outgoing = m_fault ? Outgoing::faulty(*m_fault, std::move(response), options)
                             : Outgoing::proper(*std::move(response), options);
        m_request = {};
        if (restarts) {
            // Before the answer is out: who has it must not find the device as it was. Only the answer is
            // left.
            m_setup.connections.release(this);
            m_setup.core.restart(m_setup.device);
        }
        write();
    }

    void write()
    {
        const std::string_view piece = m_outgoing.current();
        if (piece.empty()) {
            written();
            return;
        }
        asio::async_write(m_stream, asio::buffer(piece), onSuccess([](auto &self) {
                              self.m_outgoing.advance();
                              const bool isLast = self.m_outgoing.current().empty();
                              self.after(isLast ? std::chrono::milliseconds(0) : self.m_outgoing.pause(),
                                         [](auto &session) { session.write(); });
                          }));
    }

    void written()
    {
        m_hasAnswered = true;
        if (m_outgoing.end() == Outgoing::End::Reset) {
            resetConnection(socket());
        } else if (m_outgoing.end() == Outgoing::End::HangUp) {
            hangUp();
        } else if (m_outgoing.end() == Outgoing::End::Goodbye) {
            sayGoodbye();
        } else {
            readHeader();
        }
    }

    /// Waits for the peer to go; what it still sends is dropped.
    void idle()
    {
        socket().async_read_some(asio::buffer(m_dropped), onSuccess([](auto &self) { self.idle(); }));
    }

    void sayGoodbye()
    {
        if constexpr (std::is_same_v<Stream, TlsStream>) {
            limitFarewell();
            m_stream.async_shutdown([self = this->shared_from_this()](error_code) { self->abort(); });
        } else {
            hangUp();
        }
    }

    /// Closes our half and waits for the other's, so that no reset overtakes what was sent.
    void hangUp()
    {
        limitFarewell();
        error_code ignored;
        socket().shutdown(tcp::socket::shutdown_send, ignored);
        idle();
    }

    void limitFarewell()
    {
        m_timer.expires_after(farewellTime);
        m_timer.async_wait([self = this->shared_from_this()](error_code error) {
            if (!error) {
                self->abort();
            }
        });
    }

    SessionSetup m_setup;
    Stream m_stream;
    asio::steady_timer m_timer;
    boost::beast::flat_buffer m_buffer;
    std::optional<http::request_parser<http::string_body>> m_parser;
    bool m_hasAnswered = false;
    Request m_request;
    std::optional<Fault> m_fault;
    Outgoing m_outgoing;
    std::array<char, 4096> m_dropped{};
    bool m_keepsAlive = false;
    bool m_isHttp11 = true;
    bool m_isAborted = false;
};

} // namespace

void ConnectionRegistry::closeAll(const DeviceState *device)
{
    std::vector<std::shared_ptr<Connection>> concerned;
    for (const auto &[pointer, entry] : m_connections) {
        if (!device || entry.device == device) {
            if (std::shared_ptr<Connection> connection = entry.connection.lock()) {
                concerned.push_back(std::move(connection));
            }
        }
    }
    for (const auto &connection : concerned) {
        connection->abort();
    }
}

void startSession(tcp::socket socket, SessionSetup setup)
{
    if (setup.tls) {
        asio::ssl::context &context = *setup.tls;
        std::make_shared<Session<TlsStream>>(std::move(setup), std::move(socket), context)->start();
    } else {
        std::make_shared<Session<tcp::socket>>(std::move(setup), std::move(socket))->start();
    }
}

void resetConnection(tcp::socket &socket)
{
    error_code ignored;
    socket.set_option(tcp::socket::linger(true, 0), ignored);
    socket.close(ignored);
}

} // namespace simulator

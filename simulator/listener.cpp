#include "listener.h"

#include <netinet/in.h>

namespace simulator {

namespace asio = boost::asio;
using tcp = asio::ip::tcp;

namespace {

constexpr int backlog = 4096;
constexpr std::chrono::milliseconds pauseWithoutDescriptors{20};

} // namespace

Listener::Listener(asio::io_context &context, Handler handler)
    : m_acceptor(context)
    , m_pause(context)
    , m_handler(std::move(handler))
{
}

void Listener::open(Address address, std::uint16_t port)
{
    const tcp::endpoint endpoint(asio::ip::address_v4(address), port);
    m_acceptor.open(tcp::v4());
    m_acceptor.set_option(tcp::acceptor::reuse_address(true));
    // A device may be told to move to an address that this computer doesn't have.
    const int on = 1;
    static_cast<void>(::setsockopt(m_acceptor.native_handle(), IPPROTO_IP, IP_FREEBIND, &on, sizeof on));
    m_acceptor.bind(endpoint);
    m_acceptor.listen(backlog);
    accept();
}

void Listener::close()
{
    boost::system::error_code ignored;
    m_acceptor.close(ignored);
    m_pause.cancel();
}

void Listener::accept()
{
    m_acceptor.async_accept([self = shared_from_this()](boost::system::error_code error, tcp::socket socket) {
        self->accepted(error, std::move(socket));
    });
}

void Listener::accepted(boost::system::error_code error, tcp::socket socket)
{
    if (!m_acceptor.is_open()) {
        return;
    }
    if (!error) {
        m_handler(std::move(socket));
        if (m_acceptor.is_open()) {
            accept();
        }
        return;
    }
    // Out of descriptors, most likely: go on when some connections have ended.
    m_pause.expires_after(pauseWithoutDescriptors);
    m_pause.async_wait([self = shared_from_this()](boost::system::error_code waitError) {
        if (!waitError && self->m_acceptor.is_open()) {
            self->accept();
        }
    });
}

} // namespace simulator

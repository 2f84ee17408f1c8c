#pragma once

#include "deviceoptions.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>

namespace simulator {

/// Accepts for one device, or for all of them on the wildcard address. Keeps itself alive until it is closed.
class Listener final : public std::enable_shared_from_this<Listener>
{
public:
    using Handler = std::function<void(boost::asio::ip::tcp::socket)>;

    Listener(boost::asio::io_context &context, Handler handler);

    /// Port 0 stands for one that is free. Throws where the system refuses it.
    void open(Address address, std::uint16_t port);
    [[nodiscard]] std::uint16_t port() const { return m_acceptor.local_endpoint().port(); }
    void close();

private:
    void accept();
    void accepted(boost::system::error_code error, boost::asio::ip::tcp::socket socket);

    boost::asio::ip::tcp::acceptor m_acceptor;
    boost::asio::steady_timer m_pause;
    Handler m_handler;
};

} // namespace simulator

#include "httpserver.h"

#include "httpsession.h"
#include "listener.h"
#include "tlscontexts.h"

#include <boost/asio/ip/tcp.hpp>
#include <netinet/in.h>
#include <stdexcept>
#include <unordered_map>

namespace simulator {

namespace asio = boost::asio;
using tcp = asio::ip::tcp;

class HttpServer::Private
{
public:
    Private(asio::io_context &context, FleetCore &fleetCore)
        : core(fleetCore)
        , m_context(context)
    {
    }

    [[nodiscard]] std::shared_ptr<Listener> listen(Address address, std::uint16_t port, bool https);
    void openForAll();
    void openPerDevice();
    void accepted(tcp::socket socket, bool https);
    void updateListeners(const DeviceState &device);

    struct Pair
    {
        std::shared_ptr<Listener> http;
        std::shared_ptr<Listener> https;
        Address address = 0;
    };

    void reconcile(std::shared_ptr<Listener> &listener, const DeviceState &device, bool https, bool wanted);

    FleetCore &core;
    TlsContexts tls;
    ConnectionRegistry connections;
    bool hasListenerPerDevice = false;
    std::unordered_map<int, Pair> ownListeners;
    Pair commonListeners;

private:
    friend class HttpServer;
    asio::io_context &m_context;
};

std::shared_ptr<Listener> HttpServer::Private::listen(Address address, std::uint16_t port, bool https)
{
    auto listener = std::make_shared<Listener>(
        m_context, [this, https](tcp::socket socket) { accepted(std::move(socket), https); });
    try {
        listener->open(address, port);
    } catch (const boost::system::system_error &error) {
        throw std::runtime_error("can't listen on " + addressText(address) + ", port " +
                                 std::to_string(port) + ": " + error.code().message());
    }
    return listener;
}

void HttpServer::Private::openForAll()
{
    commonListeners.http = listen(INADDR_ANY, core.options.httpPort, false);
    commonListeners.https = listen(INADDR_ANY, core.options.httpsPort, true);
    core.httpPort = commonListeners.http->port();
    core.httpsPort = commonListeners.https->port();
}

void HttpServer::Private::openPerDevice()
{
    core.httpPort = core.options.httpPort;
    core.httpsPort = core.options.httpsPort;
    for (const auto &device : core.devices) {
        Pair &pair = ownListeners[device->index()];
        pair.address = device->address();
        pair.http = listen(pair.address, core.httpPort, false);
        core.httpPort = pair.http->port();
        pair.https = listen(pair.address, core.httpsPort, true);
        core.httpsPort = pair.https->port();
    }
}

void HttpServer::Private::accepted(tcp::socket socket, bool https)
{
    boost::system::error_code error;
    const tcp::endpoint local = socket.local_endpoint(error);
    DeviceState *device = error ? nullptr : core.deviceAt(local.address().to_v4().to_uint());
    const bool isReachable = device && device->isOnline() && (!https || device->options().servesHttps);
    const std::optional<Fault> fault = isReachable ? device->faults.takeForConnection(https) : std::nullopt;
    if (!isReachable || (fault && fault->kind == Fault::Kind::Refuse)) {
        resetConnection(socket);
        return;
    }
    if (device->faults.refusesForEver(https)) {
        // That was the last one it spared.
        updateListeners(*device);
    }
    startSession(std::move(socket), SessionSetup{core, connections, *device, https, fault,
                                                 https ? &tls.forMode(device->options().tls) : nullptr});
}

void HttpServer::Private::reconcile(std::shared_ptr<Listener> &listener, const DeviceState &device,
                                    bool https, bool wanted)
{
    if (listener && !wanted) {
        listener->close();
        listener.reset();
    } else if (!listener && wanted) {
        try {
            listener = listen(device.address(), https ? core.httpsPort : core.httpPort, https);
        } catch (const std::runtime_error &) {
            // An address that can't be listened on is one where the device can't be reached: just so.
            listener.reset();
        }
    }
}

HttpServer::HttpServer(asio::io_context &context, FleetCore &core)
    : d(std::make_unique<Private>(context, core))
{
}

HttpServer::~HttpServer() = default;

void HttpServer::open()
{
    for (const auto &device : d->core.devices) {
        static_cast<void>(d->tls.forMode(device->options().tls));
    }
    d->hasListenerPerDevice =
        static_cast<int>(d->core.devices.size()) <= d->core.options.listenerPerDeviceLimit;
    if (!d->hasListenerPerDevice) {
        d->openForAll();
        return;
    }
    d->openPerDevice();
    for (const auto &device : d->core.devices) {
        updateListeners(*device);
    }
}

void HttpServer::updateListeners(const DeviceState &device)
{
    d->updateListeners(device);
}

void HttpServer::Private::updateListeners(const DeviceState &device)
{
    if (!hasListenerPerDevice) {
        return;
    }
    Pair &pair = ownListeners[device.index()];
    const bool hasMoved = pair.address != device.address();
    const bool http = device.isOnline() && !device.faults.refusesForEver(false);
    const bool https =
        device.isOnline() && device.options().servesHttps && !device.faults.refusesForEver(true);
    if (hasMoved) {
        reconcile(pair.http, device, false, false);
        reconcile(pair.https, device, true, false);
        pair.address = device.address();
    }
    reconcile(pair.http, device, false, http);
    reconcile(pair.https, device, true, https);
}

void HttpServer::closeConnections(const DeviceState &device)
{
    d->connections.closeAll(&device);
}

void HttpServer::close()
{
    for (auto &[index, pair] : d->ownListeners) {
        for (const auto &listener : {pair.http, pair.https}) {
            if (listener) {
                listener->close();
            }
        }
    }
    for (const auto &listener : {d->commonListeners.http, d->commonListeners.https}) {
        if (listener) {
            listener->close();
        }
    }
    d->ownListeners.clear();
    d->commonListeners = {};
    d->connections.closeAll(nullptr);
}

} // namespace simulator

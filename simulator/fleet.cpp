#include "fleet.h"

#include "discoveryservice.h"
#include "fleetcore.h"
#include "httpserver.h"
#include "syslogsender.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>

namespace simulator {

namespace asio = boost::asio;

class Fleet::Private
{
public:
    explicit Private(FleetOptions options)
        : core(std::move(options))
        , discovery(context, core)
        , http(context, core)
    {
        core.restart = [this](DeviceState &device) { restart(device); };
    }

    /// Runs `function` on the fleet's thread and waits for its result; before the start and after the end,
    /// here.
    template <typename Function>
    auto run(Function function) -> decltype(function())
    {
        if constexpr (std::is_void_v<decltype(function())>) {
            execute(function);
        } else {
            std::optional<decltype(function())> result;
            execute([&] { result.emplace(function()); });
            return *std::move(result);
        }
    }

    [[nodiscard]] DeviceState &device(int index) const
    {
        if (index < 0 || static_cast<std::size_t>(index) >= core.devices.size()) {
            throw std::out_of_range("there is no device " + std::to_string(index));
        }
        return *core.devices[static_cast<std::size_t>(index)];
    }

    void execute(const std::function<void()> &function);
    void restart(DeviceState &device);
    /// Runs `change`, which may move the device, switch it or change its faults, and makes the network
    /// follow.
    template <typename Change>
    void update(DeviceState &device, Change change);

    FleetCore core;
    // Before everything that waits on it, and gone after it.
    asio::io_context context{1};
    std::vector<std::unique_ptr<SyslogSender>> syslog;
    std::vector<std::unique_ptr<asio::steady_timer>> restartTimers;
    DiscoveryService discovery;
    HttpServer http;
    std::thread thread;
    bool isOpen = false;
};

void Fleet::Private::execute(const std::function<void()> &function)
{
    if (!thread.joinable() || std::this_thread::get_id() == thread.get_id()) {
        function();
        return;
    }
    std::packaged_task<void()> task(function);
    std::future<void> done = task.get_future();
    asio::post(context, [&task] { task(); });
    done.get();
}

template <typename Change>
void Fleet::Private::update(DeviceState &device, Change change)
{
    const Address before = device.address();
    change();
    if (device.address() != before) {
        const auto entry = core.byAddress.find(before);
        if (entry != core.byAddress.end() && entry->second == device.index()) {
            core.byAddress.erase(entry);
        }
    }
    core.byAddress[device.address()] = device.index();
    if (!isOpen) {
        return;
    }
    http.updateListeners(device);
    if (!device.isOnline()) {
        http.closeConnections(device);
    }
}

void Fleet::Private::restart(DeviceState &device)
{
    if (!device.isOnline()) {
        return;
    }
    update(device, [&device] { device.beginRestart(); });
    if (!isOpen) {
        update(device, [&device] { device.endRestart(); });
        return;
    }
    std::unique_ptr<asio::steady_timer> &timer = restartTimers[static_cast<std::size_t>(device.index())];
    timer = std::make_unique<asio::steady_timer>(context, *device.options().restartTime);
    timer->async_wait([this, &device](boost::system::error_code error) {
        if (!error) {
            update(device, [&device] { device.endRestart(); });
        }
    });
}

Fleet::Fleet(FleetOptions options)
    : d(std::make_unique<Private>(std::move(options)))
{
}

Fleet::~Fleet()
{
    try {
        stop();
    } catch (const std::exception &error) {
        // A thread that can't be ended still uses what would be destroyed now.
        std::fprintf(stderr, "can't stop the simulated fleet: %s\n", error.what());
        std::abort();
    }
}

int Fleet::addDevice(DeviceOptions options)
{
    if (d->isOpen) {
        throw std::logic_error("devices are added before the fleet starts");
    }
    const int index = deviceCount();
    auto device = std::make_unique<DeviceState>(index, std::move(options), d->core.options);
    d->core.byAddress[device->address()] = index;
    d->core.devices.push_back(std::move(device));
    return index;
}

int Fleet::addDevices(int count, const DeviceOptions &options)
{
    const int first = deviceCount();
    for (int i = 0; i < count; ++i) {
        DeviceOptions own = options;
        const auto step = static_cast<std::uint32_t>(i);
        if (own.address) {
            *own.address += step;
        }
        if (own.staticAddress != 0) {
            own.staticAddress += step;
        }
        if (own.mac) {
            std::uint32_t low =
                (std::uint32_t{(*own.mac)[3]} << 16U) | (std::uint32_t{(*own.mac)[4]} << 8U) | (*own.mac)[5];
            low += step;
            (*own.mac)[3] = static_cast<std::uint8_t>(low >> 16U);
            (*own.mac)[4] = static_cast<std::uint8_t>(low >> 8U);
            (*own.mac)[5] = static_cast<std::uint8_t>(low);
        }
        addDevice(std::move(own));
    }
    return first;
}

void Fleet::start()
{
    if (d->isOpen) {
        return;
    }
    const char *isPrivate = std::getenv("NEMBRA_PRIVATE_NETWORK");
    if (!d->core.options.allowRealNetwork && std::string(isPrivate ? isPrivate : "") != "1") {
        throw std::runtime_error(
            "this isn't a private network; start with scripts/private-network, so that nothing "
            "simulated reaches real devices");
    }
    if (!d->core.options.journalFile.empty() && !d->core.journal.openFile(d->core.options.journalFile)) {
        throw std::runtime_error("can't write the journal " + d->core.options.journalFile);
    }
    d->restartTimers.resize(d->core.devices.size());
    d->context.restart();
    try {
        d->http.open();
        d->discovery.open();
    } catch (...) {
        d->http.close();
        d->discovery.close();
        throw;
    }
    d->isOpen = true;
    d->thread = std::thread([this] {
        const auto work = asio::make_work_guard(d->context);
        d->context.run();
    });
}

void Fleet::stop()
{
    if (!d->isOpen) {
        return;
    }
    d->run([this] {
        d->http.close();
        d->discovery.close();
        for (const auto &sender : d->syslog) {
            sender->stop();
        }
        d->isOpen = false;
        for (auto &timer : d->restartTimers) {
            timer.reset();
        }
        for (const auto &device : d->core.devices) {
            if (device->isRestarting()) {
                d->update(*device, [&] { device->endRestart(); });
            }
        }
        d->context.stop();
    });
    d->thread.join();
    // The handlers of what was just closed still hold connections: let them run out.
    d->context.restart();
    d->context.poll();
    d->syslog.clear();
}

std::uint16_t Fleet::httpPort() const
{
    return d->core.httpPort;
}

std::uint16_t Fleet::httpsPort() const
{
    return d->core.httpsPort;
}

std::uint16_t Fleet::discoveryPort() const
{
    return d->core.discoveryPort;
}

int Fleet::deviceCount() const
{
    return static_cast<int>(d->core.devices.size());
}

DeviceInfo Fleet::device(int index) const
{
    return d->run([this, index] { return d->device(index).info(); });
}

bool Fleet::isRestarting(int index) const
{
    return d->run([this, index] { return d->device(index).isRestarting(); });
}

int Fleet::indexOf(const MacAddress &mac) const
{
    return d->run([this, mac] {
        for (const auto &device : d->core.devices) {
            if (*device->options().mac == mac) {
                return device->index();
            }
        }
        return -1;
    });
}

void Fleet::change(int index, const std::function<void(DeviceOptions &)> &change)
{
    d->run([&] {
        DeviceState &device = d->device(index);
        d->update(device, [&] {
            DeviceOptions options = device.options();
            change(options);
            device.setOptions(std::move(options));
        });
    });
}

void Fleet::setVariable(int index, const std::string &name, const std::string &bytes)
{
    change(index, [&](DeviceOptions &options) { options.variables[name] = bytes; });
}

void Fleet::restart(int index)
{
    d->run([this, index] { d->restart(d->device(index)); });
}

void Fleet::setPowered(int index, bool on)
{
    d->run([this, index, on] {
        DeviceState &device = d->device(index);
        d->update(device, [&] { device.setPowered(on); });
    });
}

void Fleet::dropSessions(int index)
{
    d->run([this, index] { d->device(index).dropSessions(); });
}

void Fleet::setDelay(std::chrono::milliseconds delay)
{
    d->run([this, delay] { d->core.options.delay = delay; });
}

void Fleet::setSpread(std::chrono::milliseconds spread)
{
    d->run([this, spread] { d->core.options.spread = spread; });
}

void Fleet::setBroadcastAnswers(bool on)
{
    d->run([this, on] { d->core.options.broadcastAnswers = on; });
}

void Fleet::addFault(int index, Fault fault)
{
    d->run([&] {
        DeviceState &device = d->device(index);
        d->update(device, [&] { device.faults.add(std::move(fault)); });
    });
}

void Fleet::addFault(const Fault &fault)
{
    d->run([&] {
        for (const auto &device : d->core.devices) {
            d->update(*device, [&] { device->faults.add(fault); });
        }
    });
}

void Fleet::clearFaults(int index)
{
    d->run([this, index] {
        DeviceState &device = d->device(index);
        d->update(device, [&] { device.faults.clear(); });
    });
}

void Fleet::clearFaults()
{
    d->run([this] {
        for (const auto &device : d->core.devices) {
            d->update(*device, [&] { device->faults.clear(); });
        }
    });
}

void Fleet::sendSyslog(SyslogOptions options)
{
    d->run([&] {
        if (!d->isOpen) {
            throw std::logic_error("syslog lines are sent while the fleet runs");
        }
        if (options.rate <= 0) {
            throw std::invalid_argument("the rate of syslog lines must be above 0");
        }
        d->syslog.push_back(std::make_unique<SyslogSender>(d->context, d->core, std::move(options)));
        d->syslog.back()->start();
    });
}

void Fleet::announce(int index, Address receiver)
{
    d->run([this, index, receiver] { d->discovery.announce(d->device(index), receiver); });
}

Journal Fleet::journal() const
{
    return d->core.journal.journal();
}

std::vector<HttpRecord> Fleet::requests(int index, const std::string &path) const
{
    return d->core.journal.requests(index, path);
}

Counters Fleet::counters() const
{
    return d->core.journal.counters();
}

void Fleet::clearJournal()
{
    d->core.journal.clear();
}

bool Fleet::waitFor(const std::function<bool(const Counters &)> &done,
                    std::chrono::milliseconds timeout) const
{
    return d->core.journal.waitFor(done, timeout);
}

} // namespace simulator

#include "syslogsender.h"

#include "seededrandom.h"

#include <algorithm>
#include <ctime>
#include <netinet/in.h>

namespace simulator {

namespace {

/// After a pause of the whole computer the missed lines don't all come at once.
constexpr std::uint64_t maximalBurst = 1000;

std::string stamp()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%b %e %H:%M:%S", &parts);
    return text.data();
}

} // namespace

SyslogSender::SyslogSender(boost::asio::io_context &context, FleetCore &core, SyslogOptions options)
    : m_core(core)
    , m_options(std::move(options))
    , m_socket(context)
    , m_timer(context)
{
}

void SyslogSender::start()
{
    m_socket.open(INADDR_ANY, 0);
    m_socket.onSent([this](std::uint64_t sent, std::uint64_t failed) {
        m_core.journal.count([=](Counters &counters) {
            counters.syslogLines += sent;
            counters.sendErrors += failed;
        });
    });
    m_startedAt = std::chrono::steady_clock::now();
    tick();
}

void SyslogSender::stop()
{
    m_timer.cancel();
    m_socket.close();
}

void SyslogSender::tick()
{
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - m_startedAt;
    std::uint64_t due = static_cast<std::uint64_t>(elapsed.count() * m_options.rate) + 1;
    if (m_options.count > 0) {
        due = std::min(due, m_options.count);
    }
    due = std::min(due, m_sent + maximalBurst);
    for (std::size_t tried = 0; m_sent < due && tried < m_core.devices.size();) {
        const DeviceState &device = *m_core.devices[m_nextDevice++ % m_core.devices.size()];
        if (!device.isOnline()) {
            ++tried;
            continue;
        }
        tried = 0;
        m_socket.send({device.address(), m_options.address, m_options.port, line(device)});
        ++m_sent;
    }
    if (m_options.count > 0 && m_sent >= m_options.count) {
        return;
    }
    const double pause = std::clamp(1.0 / m_options.rate, 0.001, 1.0);
    m_timer.expires_after(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(pause)));
    m_timer.async_wait([this](boost::system::error_code error) {
        if (!error) {
            tick();
        }
    });
}

std::string SyslogSender::line(const DeviceState &device) const
{
    if (!m_options.lines.empty()) {
        return m_options.lines[m_sent % m_options.lines.size()];
    }
    static const std::array<const char *, 6> events{"sensor 1 within limits", "history block written",
                                                    "http: request served",   "ntp: clock adjusted by 3 ms",
                                                    "sensor 2 above limit",   "net: link up, 100 Mbit/s"};
    const std::uint64_t bits = mixed(m_core.options.seed, static_cast<std::uint64_t>(device.index()), m_sent);
    return "<" + std::to_string(16 * 8 + 4 + bits % 3) + ">" + stamp() + " " + *device.options().hostName +
           " nembra: " + events[(bits >> 8U) % events.size()];
}

} // namespace simulator

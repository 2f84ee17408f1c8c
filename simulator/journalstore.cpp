#include "journalstore.h"

#include "webinterface.h"

#include <ctime>
#include <nlohmann/json.hpp>

namespace simulator {

namespace {

using OrderedJson = nlohmann::ordered_json;

std::string isoTime(std::chrono::system_clock::time_point time)
{
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const std::time_t seconds = milliseconds / 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    const std::string fraction = std::to_string(1000 + milliseconds % 1000);
    return std::string(text.data()) + "." + fraction.substr(1) + "Z";
}

std::string base64(std::string_view bytes)
{
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = (group << 8U) | (i + k < bytes.size() ? static_cast<std::uint8_t>(bytes[i + k]) : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += i + k > bytes.size() ? '=' : alphabet[(group >> (18U - 6U * k)) & 0x3FU];
        }
    }
    return text;
}

bool isUtf8(const std::string &bytes)
{
    try {
        static_cast<void>(OrderedJson(bytes).dump());
        return true;
    } catch (const nlohmann::json::type_error &) {
        return false;
    }
}

std::string readable(const std::string &bytes)
{
    return OrderedJson(bytes).dump(-1, ' ', false, OrderedJson::error_handler_t::replace);
}

double monotonicSeconds(std::chrono::steady_clock::time_point time)
{
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

std::string lineOf(const HttpRecord &record)
{
    OrderedJson headers = OrderedJson::array();
    for (const auto &[name, value] : record.headers) {
        headers.push_back({OrderedJson::parse(readable(name)), OrderedJson::parse(readable(value))});
    }
    OrderedJson line{{"kind", "http"},
                     {"time", isoTime(record.wallTime)},
                     {"monotonic", monotonicSeconds(record.time)},
                     {"device", record.device},
                     {"mac", macText(record.mac)},
                     {"https", record.https},
                     {"method", OrderedJson::parse(readable(record.method))},
                     {"target", OrderedJson::parse(readable(record.target))},
                     {"headers", headers},
                     {"body_size", record.bodySize}};
    if (isUtf8(record.body)) {
        line["body"] = record.body;
    } else {
        line["body_base64"] = base64(record.body);
    }
    return line.dump();
}

std::string lineOf(const DatagramRecord &record)
{
    const OrderedJson line{{"kind", "datagram"},
                           {"time", isoTime(record.wallTime)},
                           {"monotonic", monotonicSeconds(record.time)},
                           {"sender", addressText(record.sender)},
                           {"sender_port", record.senderPort},
                           {"destination", addressText(record.destination)},
                           {"bytes_base64", base64(record.bytes)}};
    return line.dump();
}

std::string pathOf(const std::string &target)
{
    const std::size_t begin = !target.empty() && target.front() == '/' ? 1 : 0;
    return target.substr(begin, target.find('?') - begin);
}

} // namespace

std::string HttpRecord::header(std::string_view name) const
{
    return headerValue(headers, name);
}

JournalStore::JournalStore(std::size_t limit, std::size_t bodyLimit)
    : m_limit(limit)
    , m_bodyLimit(bodyLimit)
{
}

bool JournalStore::openFile(const std::string &path)
{
    const std::lock_guard lock(m_mutex);
    if (m_file.is_open()) {
        return true;
    }
    m_file.open(path, std::ios::app | std::ios::binary);
    return m_file.is_open();
}

void JournalStore::writeLine(const std::string &line)
{
    m_file << line << '\n';
    m_file.flush();
}

void JournalStore::add(HttpRecord record, std::string_view body)
{
    record.body = body.substr(0, m_bodyLimit);
    record.bodySize = body.size();
    {
        const std::lock_guard lock(m_mutex);
        ++m_counters.httpRequests;
        ++m_counters.requestsByPath[pathOf(record.target)];
        if (m_file.is_open()) {
            writeLine(lineOf(record));
        }
        m_requests.push_back(std::move(record));
        if (m_requests.size() > m_limit) {
            m_requests.pop_front();
        }
    }
    m_changed.notify_all();
}

void JournalStore::add(DatagramRecord record)
{
    const std::lock_guard lock(m_mutex);
    if (m_file.is_open()) {
        writeLine(lineOf(record));
    }
    m_datagrams.push_back(std::move(record));
    if (m_datagrams.size() > m_limit) {
        m_datagrams.pop_front();
    }
}

void JournalStore::count(const std::function<void(Counters &)> &change)
{
    {
        const std::lock_guard lock(m_mutex);
        change(m_counters);
    }
    m_changed.notify_all();
}

Journal JournalStore::journal() const
{
    const std::lock_guard lock(m_mutex);
    return {{m_requests.begin(), m_requests.end()}, {m_datagrams.begin(), m_datagrams.end()}};
}

std::vector<HttpRecord> JournalStore::requests(int device, const std::string &path) const
{
    const std::lock_guard lock(m_mutex);
    std::vector<HttpRecord> found;
    for (const HttpRecord &record : m_requests) {
        if (record.device == device && record.target.compare(1, path.size(), path) == 0) {
            found.push_back(record);
        }
    }
    return found;
}

Counters JournalStore::counters() const
{
    const std::lock_guard lock(m_mutex);
    return m_counters;
}

void JournalStore::clear()
{
    const std::lock_guard lock(m_mutex);
    m_requests.clear();
    m_datagrams.clear();
    const std::uint64_t open = m_counters.openConnections;
    m_counters = {};
    m_counters.openConnections = open;
    m_counters.peakConnections = open;
}

bool JournalStore::waitFor(const std::function<bool(const Counters &)> &done,
                           std::chrono::milliseconds timeout) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return done(m_counters); });
}

} // namespace simulator

#pragma once

#include "deviceoptions.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace simulator {

/// One HTTP request as a device received it.
struct HttpRecord
{
    std::chrono::steady_clock::time_point time;
    std::chrono::system_clock::time_point wallTime;
    int device = -1;
    MacAddress mac{};
    bool https = false;
    std::string method;
    /// Path and query as sent, with the leading slash.
    std::string target;
    /// In the order received; lines of the same name stand together.
    std::vector<std::pair<std::string, std::string>> headers;
    /// The first bytes of the body, up to FleetOptions::journalBodyLimit.
    std::string body;
    std::uint64_t bodySize = 0;

    /// Value of the first header of that name (case-insensitive), or empty.
    [[nodiscard]] std::string header(std::string_view name) const;
};

/// One discovery request or configuration order as it arrived. Answers of devices aren't recorded.
struct DatagramRecord
{
    std::chrono::steady_clock::time_point time;
    std::chrono::system_clock::time_point wallTime;
    Address sender = 0;
    std::uint16_t senderPort = 0;
    Address destination = 0;
    std::string bytes;
};

struct Journal
{
    std::vector<HttpRecord> requests;
    std::vector<DatagramRecord> datagrams;
};

/// Cheap figures that count always, also beyond the journal's limits.
struct Counters
{
    std::uint64_t connections = 0;
    std::uint64_t openConnections = 0;
    std::uint64_t peakConnections = 0;
    std::uint64_t httpRequests = 0;
    /// Copies of discovery requests received.
    std::uint64_t discoveryRequests = 0;
    std::uint64_t configurationOrders = 0;
    std::uint64_t answersSent = 0;
    std::uint64_t answersLost = 0;
    /// Datagrams that the system refused to send.
    std::uint64_t sendErrors = 0;
    std::uint64_t syslogLines = 0;
    /// By path without query and leading slash, for instance "admin/proctpl.cgi".
    std::map<std::string, std::uint64_t> requestsByPath;
};

} // namespace simulator

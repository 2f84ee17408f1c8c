#pragma once

#include "journal.h"

#include <condition_variable>
#include <deque>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>

namespace simulator {

/// Keeps what arrived and counts it. Thread-safe: the fleet's thread writes, tests read.
class JournalStore
{
public:
    /// Records beyond `limit` push the oldest out; the counters know them all.
    JournalStore(std::size_t limit, std::size_t bodyLimit);

    /// Appends every record to the file from now on. False when it can't be opened.
    [[nodiscard]] bool openFile(const std::string &path);

    /// `body` is what arrived as a whole.
    void add(HttpRecord record, std::string_view body);
    void add(DatagramRecord record);
    /// Changes the counters and wakes who waits for them.
    void count(const std::function<void(Counters &)> &change);

    [[nodiscard]] Journal journal() const;
    [[nodiscard]] std::vector<HttpRecord> requests(int device, const std::string &path) const;
    [[nodiscard]] Counters counters() const;
    void clear();
    bool waitFor(const std::function<bool(const Counters &)> &done, std::chrono::milliseconds timeout) const;

private:
    void writeLine(const std::string &line);

    const std::size_t m_limit;
    const std::size_t m_bodyLimit;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::deque<HttpRecord> m_requests;
    std::deque<DatagramRecord> m_datagrams;
    Counters m_counters;
    std::ofstream m_file;
};

} // namespace simulator

#include "testclient.h"

#include <arpa/inet.h>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <unistd.h>

using namespace simulator;
using namespace testclient;

namespace {

std::string temporaryFile()
{
    std::string path = testing::TempDir() + "nembra-journal-XXXXXX";
    ::close(::mkstemp(path.data()));
    return path;
}

std::vector<std::string> linesOf(const std::string &path)
{
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace

TEST(JournalTest, KeepsRequestsAsTheyCame)
{
    Fleet fleet(freePorts());
    fleet.addDevices(2);
    fleet.start();
    const std::unique_ptr<Wire> wire = Visitor(fleet, 1, tls).connect();
    const std::string body("a\0\xFF", 3);
    wire->send("POST /admin/proctpl.cgi?x=%20 HTTP/1.1\r\nHost: h\r\nX-second: 2\r\nCONTENT-TYPE: text\r\n"
               "Content-Length: 3\r\n\r\n" +
               body);
    EXPECT_EQ(wire->reply().body, body);
    const Journal journal = fleet.journal();
    ASSERT_EQ(journal.requests.size(), 1U);
    const HttpRecord &record = journal.requests[0];
    EXPECT_EQ(record.device, 1);
    EXPECT_EQ(record.mac, fleet.device(1).mac);
    EXPECT_TRUE(record.https);
    EXPECT_EQ(record.method, "POST");
    EXPECT_EQ(record.target, "/admin/proctpl.cgi?x=%20");
    EXPECT_EQ(record.body, body);
    const std::vector<std::pair<std::string, std::string>> headers{
        {"Host", "h"}, {"X-second", "2"}, {"CONTENT-TYPE", "text"}, {"Content-Length", "3"}};
    EXPECT_EQ(record.headers, headers);
    EXPECT_EQ(record.header("content-type"), "text");
    EXPECT_EQ(fleet.requests(1, "admin/").size(), 1U);
    EXPECT_EQ(fleet.requests(1, "login").size(), 0U);
    EXPECT_EQ(fleet.requests(0).size(), 0U);
    EXPECT_EQ(fleet.counters().requestsByPath.at("admin/proctpl.cgi"), 1U);
}

TEST(JournalTest, IsBoundedButCountsOn)
{
    FleetOptions options = freePorts();
    options.journalLimit = 3;
    options.journalBodyLimit = 4;
    Fleet fleet(options);
    fleet.addDevice();
    fleet.start();
    for (int i = 0; i < 5; ++i) {
        static_cast<void>(
            Visitor(fleet, 0).post("/admin/proctpl.cgi", {"text", std::to_string(i) + "abcdef"}));
    }
    const Journal journal = fleet.journal();
    ASSERT_EQ(journal.requests.size(), 3U);
    EXPECT_EQ(journal.requests[0].body, "2abc");
    EXPECT_EQ(journal.requests[0].bodySize, 7U);
    EXPECT_EQ(fleet.counters().httpRequests, 5U);
    fleet.clearJournal();
    EXPECT_EQ(fleet.journal().requests.size(), 0U);
    EXPECT_EQ(fleet.counters().httpRequests, 0U);
}

TEST(JournalTest, FileHasALinePerRecord)
{
    FleetOptions options = freePorts();
    options.journalFile = temporaryFile();
    {
        Fleet fleet(options);
        fleet.addDevice();
        fleet.start();
        static_cast<void>(Visitor(fleet, 0).post("/admin/proctpl.cgi", {"text", "plain \"text\""}));
        static_cast<void>(
            Visitor(fleet, 0).post("/admin/proctpl.cgi", {"text", std::string("\0\xFF\x01", 3)}));
        const Listener listener(fleet.discoveryPort());
        listener.broadcast(discoveryRequest());
        EXPECT_EQ(listener.collect(1).size(), 1U);
    }
    const std::vector<std::string> lines = linesOf(options.journalFile);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_NE(lines[0].find("\"kind\":\"http\""), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("\"target\":\"/admin/proctpl.cgi\""), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("\"body\":\"plain \\\"text\\\"\""), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("\"body_base64\":\"AP8B\""), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find("\"destination\":\"10.77.255.255\""), std::string::npos) << lines[2];
    EXPECT_EQ(::unlink(options.journalFile.c_str()), 0);
}

TEST(JournalTest, FileThatCantBeWrittenStopsTheStart)
{
    FleetOptions options = freePorts();
    options.journalFile = "/nonexistent/journal.jsonl";
    Fleet fleet(options);
    fleet.addDevice();
    EXPECT_THROW(fleet.start(), std::runtime_error);
}

TEST(Syslog, SendsItsLinesAtTheirRateAndNoMore)
{
    Fleet fleet(freePorts());
    fleet.addDevices(2);
    fleet.start();
    const Listener receiver(0);
    SyslogOptions options;
    options.port = receiver.port();
    options.rate = 100;
    options.count = 21;
    options.lines = {"<134>first", "<135>second"};
    const auto begin = std::chrono::steady_clock::now();
    fleet.sendSyslog(options);
    const std::vector<Received> lines = receiver.collect(21);
    // The first line leaves at once, the last one 20 lines later.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 190ms);
    ASSERT_EQ(lines.size(), 21U);
    EXPECT_EQ(lines[0].bytes, "<134>first");
    EXPECT_EQ(lines[1].bytes, "<135>second");
    EXPECT_EQ(lines[20].bytes, "<134>first");
    std::set<Address> senders;
    for (const Received &line : lines) {
        senders.insert(line.sender);
    }
    EXPECT_EQ(senders, (std::set<Address>{fleet.device(0).address, fleet.device(1).address}));
    ASSERT_TRUE(fleet.waitFor([](const Counters &c) { return c.syslogLines >= 21; }, patience));
    EXPECT_EQ(fleet.counters().syslogLines, 21U);
}

TEST(Syslog, MadeUpLinesNameTheirDevice)
{
    Fleet fleet(freePorts());
    fleet.addDevice();
    fleet.start();
    const Listener receiver(0);
    SyslogOptions options;
    options.port = receiver.port();
    options.rate = 1000;
    fleet.sendSyslog(options);
    for (const Received &line : receiver.collect(5)) {
        EXPECT_EQ(line.bytes[0], '<');
        EXPECT_NE(line.bytes.find(fleet.device(0).hostName), std::string::npos) << line.bytes;
    }
}

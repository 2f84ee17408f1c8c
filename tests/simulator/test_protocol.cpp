#include "datagram.h"
#include "testclient.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

using namespace simulator;
using namespace testclient;

namespace {

/// The examples of the protocol's description, by their headings: bytes of datagrams, and messages as they
/// are on the wire.
std::map<std::string, std::string> readExamples()
{
    std::map<std::string, std::string> examples;
    std::ifstream document(NEMBRA_PROTOCOL);
    const std::string beginning = "### Example: ";
    std::string heading;
    bool isLfAlone = false;
    std::string line;
    while (std::getline(document, line)) {
        if (line.compare(0, beginning.size(), beginning) == 0) {
            heading = line.substr(beginning.size());
            isLfAlone = false;
        } else if (line.find("end with LF alone") != std::string::npos) {
            isLfAlone = true;
        } else if (line == "```hex") {
            while (std::getline(document, line) && line != "```") {
                std::istringstream words(line);
                for (std::string word; words >> word;) {
                    examples[heading] += static_cast<char>(std::stoi(word, nullptr, 16));
                }
            }
        } else if (line == "```http") {
            std::string message;
            bool isHead = true;
            while (std::getline(document, line) && line != "```") {
                message += line + (isHead || !isLfAlone ? "\r\n" : "\n");
                isHead = isHead && !line.empty();
            }
            // The last line break is the fence's.
            examples[heading] = message.substr(0, message.size() - (isLfAlone ? 1 : 2));
        }
    }
    return examples;
}

const std::string &example(const std::string &heading)
{
    static const std::map<std::string, std::string> examples = readExamples();
    return examples.at(heading);
}

DeviceOptions labSensor()
{
    DeviceOptions options;
    options.tag = 0x12345678;
    options.variant = 16;
    options.mac = MacAddress{0x0E, 0x5A, 0x11, 0xA1, 0xB2, 0xC3};
    options.hostName = "lab-sensor";
    return options;
}

Reply answerTo(const Fleet &fleet, const std::string &request)
{
    Wire wire(fleet.device(0).address, fleet.httpPort());
    wire.send(request);
    return wire.reply();
}

} // namespace

TEST(Protocol, ADeviceAnswersTheRequestAsDescribed)
{
    Fleet fleet(freePorts());
    fleet.addDevice(labSensor());
    DeviceOptions roof;
    roof.tag = 42;
    roof.variant = 1;
    roof.mac = MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x1F, 0xA2};
    roof.hostName = "roof-sensor";
    roof.staticAddress = 0x0A4D8C01;
    fleet.addDevice(roof);
    fleet.start();
    const Listener listener(fleet.discoveryPort());
    listener.broadcast(example("request"));
    std::vector<Received> answers = listener.collect(2);
    ASSERT_EQ(answers.size(), 2U);
    if (answers[0].sender != fleet.device(0).address) {
        std::swap(answers[0], answers[1]);
    }
    EXPECT_EQ(answers[0].bytes, example("answer with a name that ends at a zero byte"));
    EXPECT_EQ(answers[1].bytes, example("answer with the length of the name"));
}

TEST(Protocol, OrdersAreForTheDevicesOfTheAnswers)
{
    const auto order = Datagram::decoded(example("order for a fixed address"));
    const auto answer = Datagram::decoded(example("answer with a name that ends at a zero byte"));
    ASSERT_TRUE(order && answer);
    EXPECT_EQ(order->command, Datagram::Configure);
    EXPECT_EQ(order->tag, answer->tag);
    EXPECT_EQ(order->address, answer->address);
    EXPECT_EQ(addressText(order->staticAddress), "192.168.10.20");
    EXPECT_EQ(addressText(order->netmask), "255.255.255.0");
    EXPECT_EQ(addressText(order->gateway), "192.168.10.1");
    const auto back = Datagram::decoded(example("order for DHCP"));
    const auto fixed = Datagram::decoded(example("answer with the length of the name"));
    ASSERT_TRUE(back && fixed);
    EXPECT_EQ(back->tag, fixed->tag);
    EXPECT_EQ(back->address, fixed->staticAddress);
    EXPECT_EQ(back->staticAddress, 0U);

    Fleet fleet(freePorts());
    fleet.addDevice(labSensor());
    fleet.start();
    const Listener listener(fleet.discoveryPort());
    listener.broadcast(example("order for DHCP"));
    listener.broadcast(example("order for a fixed address"));
    EXPECT_TRUE(eventually([&fleet] { return fleet.device(0).restarting || fleet.device(0).restarts == 1; }));
}

TEST(Protocol, EachMessageIsAsLongAsItSays)
{
    for (const char *const heading :
         {"redirection to HTTPS", "query for readings", "answer with readings", "login", "answer to a login",
          "sending a configuration", "sending an image", "starting an image", "login during an update",
          "announcing a configuration", "restarting the device"}) {
        const std::string &message = example(heading);
        const std::size_t head = message.find("\r\n\r\n");
        const std::string name = "\r\nContent-Length: ";
        const std::size_t length = message.find(name);
        ASSERT_NE(head, std::string::npos) << heading;
        ASSERT_LT(length, head) << heading;
        EXPECT_EQ(message.size() - head - 4, std::stoul(message.substr(length + name.size()))) << heading;
    }
}

TEST(Protocol, ADeviceUnderstandsTheQueryAndTheLogin)
{
    Fleet fleet(freePorts());
    DeviceOptions options = labSensor();
    options.users = {{"admin", "p&w \xC3\xBC", 3}};
    fleet.addDevice(options);
    fleet.start();
    const Reply readings = answerTo(fleet, example("query for readings"));
    EXPECT_EQ(readings.status, 200);
    EXPECT_EQ(readings.body.front(), '{');
    EXPECT_EQ(readings.body.find("{{"), readings.body.find("{{sensortab_value_ex}}"));
    EXPECT_FALSE(answerTo(fleet, example("login")).sid().empty());
}

TEST(Protocol, WhatNeedsRightsIsRefusedWithoutASession)
{
    Fleet fleet(freePorts());
    DeviceOptions options = labSensor();
    options.anonymousLevel = 0;
    fleet.addDevice(options);
    fleet.start();
    for (const char *const heading :
         {"request for a configuration", "sending a configuration", "request for recorded data",
          "sending an image", "starting an image", "announcing a configuration", "restarting the device"}) {
        EXPECT_EQ(answerTo(fleet, example(heading)).status, 403) << heading;
    }
}

#include "datagram.h"
#include "testclient.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <set>

using namespace simulator;
using namespace testclient;

namespace {

std::string configurationOrder(const DeviceInfo &device, const MacAddress &mac, Address fixed,
                               Address netmask, Address gateway)
{
    Datagram order;
    order.command = Datagram::Configure;
    order.tag = device.tag;
    order.variant = device.variant;
    order.mac = mac;
    order.address = device.address;
    order.netmask = netmask;
    order.gateway = gateway;
    order.staticAddress = fixed;
    return order.encoded();
}

bool sendsAll(const Fleet &fleet, std::uint64_t count)
{
    return fleet.waitFor([count](const Counters &c) { return c.answersSent + c.sendErrors >= count; },
                         patience);
}

} // namespace

TEST(Discovery, EachDeviceAnswersFromItsOwnAddress)
{
    Fleet fleet(freePorts());
    fleet.addDevices(3);
    fleet.start();
    const Listener listener(fleet.discoveryPort());
    listener.broadcast(discoveryRequest());
    const std::vector<Received> answers = listener.collect(3);
    ASSERT_EQ(answers.size(), 3U);
    for (int i = 0; i < 3; ++i) {
        const DeviceInfo device = fleet.device(i);
        const Received &answer = answers[static_cast<std::size_t>(i)];
        EXPECT_EQ(addressText(answer.sender), addressText(device.address));
        const auto datagram = Datagram::decoded(answer.bytes);
        ASSERT_TRUE(datagram);
        EXPECT_EQ(answer.bytes.size(), 128U);
        EXPECT_EQ(datagram->command, 1);
        EXPECT_EQ(datagram->tag, device.tag);
        EXPECT_EQ(datagram->mac, device.mac);
        EXPECT_EQ(datagram->address, device.address);
        EXPECT_EQ(addressText(datagram->netmask), "255.255.0.0");
        EXPECT_EQ(addressText(datagram->gateway), "10.77.0.254");
        EXPECT_EQ(datagram->staticAddress, 0U);
    }
}

TEST(Discovery, EveryCopyOfARequestIsAnsweredAndRecordedWithItsDestination)
{
    Fleet fleet(freePorts());
    fleet.addDevices(2);
    fleet.start();
    const Listener listener(fleet.discoveryPort());
    listener.broadcast(discoveryRequest(), limitedBroadcast);
    listener.broadcast(discoveryRequest(), directedBroadcast);
    EXPECT_EQ(listener.collect(4).size(), 4U);
    std::set<std::string> destinations;
    for (const DatagramRecord &record : fleet.journal().datagrams) {
        EXPECT_EQ(record.bytes, discoveryRequest());
        EXPECT_EQ(record.sender, host);
        destinations.insert(addressText(record.destination));
    }
    EXPECT_EQ(destinations, (std::set<std::string>{"10.77.255.255", "255.255.255.255"}));
    EXPECT_EQ(fleet.counters().discoveryRequests, 2U);
    ASSERT_TRUE(sendsAll(fleet, 4));
    EXPECT_EQ(fleet.counters().answersSent, 4U);
}

TEST(Discovery, BroadcastAnswersReachEverybodyOnThePort)
{
    FleetOptions options = freePorts();
    options.broadcastAnswers = true;
    Fleet fleet(options);
    fleet.addDevices(5);
    fleet.start();
    const Listener asking(fleet.discoveryPort());
    const Listener other(fleet.discoveryPort());
    asking.broadcast(discoveryRequest());
    EXPECT_EQ(asking.collect(5).size(), 5U);
    EXPECT_EQ(other.collect(5).size(), 5U);
    // The fleet hears its own answers too; they are neither requests nor worth a line in the journal.
    EXPECT_EQ(fleet.journal().datagrams.size(), 1U);
}

TEST(Discovery, DuplicatesAreSentAsOftenAsToldAndNotMore)
{
    FleetOptions options = freePorts();
    options.answerCopies = 3;
    Fleet fleet(options);
    DeviceOptions single;
    single.answerCopies = 1;
    fleet.addDevice();
    fleet.addDevice(single);
    fleet.start();
    const Listener listener(fleet.discoveryPort());
    listener.broadcast(discoveryRequest());
    int first = 0;
    for (const Received &answer : listener.collect(4)) {
        first += answer.sender == fleet.device(0).address ? 1 : 0;
    }
    EXPECT_EQ(first, 3);
    ASSERT_TRUE(sendsAll(fleet, 4));
    EXPECT_EQ(fleet.counters().answersSent, 4U);
}

TEST(Discovery, LossFollowsFromTheSeed)
{
    const auto answering = [](std::uint64_t seed) {
        FleetOptions options = freePorts();
        options.seed = seed;
        options.lossPercent = 30;
        Fleet fleet(options);
        fleet.addDevices(200);
        fleet.start();
        const Listener listener(fleet.discoveryPort());
        listener.broadcast(discoveryRequest());
        EXPECT_TRUE(
            fleet.waitFor([](const Counters &c) { return c.answersSent + c.answersLost >= 200; }, patience));
        const Counters counters = fleet.counters();
        EXPECT_EQ(counters.answersSent + counters.answersLost, 200U);
        std::set<Address> senders;
        for (const Received &answer : listener.collect(static_cast<std::size_t>(counters.answersSent))) {
            senders.insert(answer.sender);
        }
        return senders;
    };
    const std::set<Address> once = answering(5);
    EXPECT_GT(once.size(), 110U);
    EXPECT_LT(once.size(), 170U);
    EXPECT_EQ(answering(5), once);
    EXPECT_NE(answering(6), once);
}

TEST(Discovery, SpreadAnswersTakeTheirTimeAndAllCome)
{
    FleetOptions options = freePorts();
    options.spread = 400ms;
    Fleet fleet(options);
    fleet.addDevices(40);
    fleet.start();
    const Listener listener(fleet.discoveryPort());
    const auto begin = std::chrono::steady_clock::now();
    listener.broadcast(discoveryRequest());
    EXPECT_EQ(listener.collect(40).size(), 40U);
    // The last device answers after 39/40 of the time.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 390ms);
}

TEST(Discovery, MisshapenAnswersLeaveAsConfigured)
{
    Fleet fleet(freePorts());
    DeviceOptions shortOne;
    shortOne.datagram.length = 5;
    DeviceOptions longOne;
    longOne.datagram.length = 200;
    DeviceOptions raw;
    raw.datagram.raw = std::string("\x00\x01garbage", 9);
    DeviceOptions lying;
    lying.variant = std::int8_t{0};
    lying.hostName = "gamma";
    lying.datagram.nameLength = std::uint8_t{0x80};
    DeviceOptions latin1;
    latin1.variant = std::int8_t{16};
    latin1.hostName = "Pr\xFC"
                      "f";
    for (const DeviceOptions &options : {shortOne, longOne, raw, lying, latin1}) {
        fleet.addDevice(options);
    }
    fleet.start();
    const Listener listener(fleet.discoveryPort());
    listener.broadcast(discoveryRequest());
    const std::vector<Received> answers = listener.collect(5);
    ASSERT_EQ(answers.size(), 5U);
    EXPECT_EQ(answers[0].bytes.size(), 5U);
    EXPECT_EQ(answers[0].bytes[4], '\x01');
    EXPECT_EQ(answers[1].bytes.size(), 200U);
    EXPECT_EQ(answers[1].bytes[199], '\xA5');
    EXPECT_EQ(answers[2].bytes, std::string("\x00\x01garbage", 9));
    EXPECT_EQ(answers[3].bytes.substr(28, 7), std::string("\x80gamma\0", 7));
    EXPECT_EQ(answers[4].bytes.substr(28, 6), std::string("Pr\xFC"
                                                          "f\0\0",
                                                          6));
}

TEST(Discovery, WhatIsNoRequestIsRecordedButNotAnswered)
{
    Fleet fleet(freePorts());
    fleet.addDevice();
    fleet.start();
    const Listener listener(fleet.discoveryPort());
    listener.broadcast(std::string(127, '\0'));
    listener.broadcast("");
    std::string unknown = discoveryRequest();
    unknown[4] = 7;
    listener.broadcast(unknown);
    listener.broadcast(discoveryRequest());
    EXPECT_EQ(listener.collect(1).size(), 1U);
    ASSERT_TRUE(sendsAll(fleet, 1));
    EXPECT_EQ(fleet.counters().discoveryRequests, 1U);
    EXPECT_EQ(fleet.counters().answersSent, 1U);
    EXPECT_EQ(fleet.journal().datagrams.size(), 4U);
}

TEST(Discovery, SilentDeviceServesItsWebInterfaceOnly)
{
    Fleet fleet(freePorts());
    DeviceOptions silent;
    silent.silent = true;
    fleet.addDevice(silent);
    fleet.addDevice();
    fleet.start();
    const Listener listener(fleet.discoveryPort());
    listener.broadcast(discoveryRequest());
    const std::vector<Received> answers = listener.collect(1);
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].sender, fleet.device(1).address);
    EXPECT_EQ(Visitor(fleet, 0).get("/").status, 200);
    fleet.announce(0);
    const std::vector<Received> announced = listener.collect(1);
    ASSERT_EQ(announced.size(), 1U);
    EXPECT_EQ(announced[0].sender, fleet.device(0).address);
}

TEST(Configuration, OrderMovesTheDeviceAfterASilentRestart)
{
    FleetOptions options = freePorts();
    options.restartTime = 300ms;
    Fleet fleet(options);
    fleet.addDevices(3);
    fleet.start();
    const DeviceInfo before = fleet.device(1);
    const MacAddress newMac{2, 0, 0, 0, 0, 9};
    const Address newAddress = 0x0A4D9005;
    const Listener listener(fleet.discoveryPort());
    const std::string order = configurationOrder(before, newMac, newAddress, 0xFFFFFF00, 0x0A4D9001);
    listener.broadcast(order, limitedBroadcast);
    listener.broadcast(order, directedBroadcast);
    ASSERT_TRUE(fleet.waitFor([](const Counters &c) { return c.configurationOrders >= 2; }, patience));
    ASSERT_TRUE(fleet.device(1).restarting);
    EXPECT_EQ(fleet.device(1).address, before.address) << "new values count only after the restart";
    listener.broadcast(discoveryRequest());
    for (const Received &answer : listener.collect(2)) {
        EXPECT_NE(answer.sender, before.address);
    }
    EXPECT_EQ(Visitor(fleet, 1).get("/").end, End::Refused);

    ASSERT_TRUE(eventually([&] { return !fleet.device(1).restarting; }));
    const DeviceInfo after = fleet.device(1);
    EXPECT_EQ(after.restarts, 1);
    EXPECT_EQ(addressText(after.address), "10.77.144.5");
    EXPECT_EQ(after.staticAddress, newAddress);
    EXPECT_EQ(addressText(after.netmask), "255.255.255.0");
    EXPECT_EQ(addressText(after.gateway), "10.77.144.1");
    EXPECT_EQ(after.mac, newMac);
    EXPECT_EQ(fleet.indexOf(newMac), 1);
    EXPECT_EQ(Visitor(fleet, 1).get("/").status, 200) << "the web interface has moved with it";
    EXPECT_EQ(Wire(before.address, fleet.httpPort()).state(), End::Refused);
    listener.broadcast(discoveryRequest());
    std::set<Address> senders;
    for (const Received &answer : listener.collect(3)) {
        senders.insert(answer.sender);
    }
    EXPECT_EQ(senders.count(newAddress), 1U);
}

TEST(Configuration, StaticAddressZeroGoesBackToDhcp)
{
    FleetOptions options = freePorts();
    options.restartTime = 1ms;
    Fleet fleet(options);
    fleet.addDevice();
    fleet.start();
    const DeviceInfo before = fleet.device(0);
    const Listener listener(fleet.discoveryPort());
    listener.broadcast(configurationOrder(before, before.mac, 0x0A4D9005, 0xFFFFFF00, 0));
    ASSERT_TRUE(eventually([&] { return fleet.device(0).restarts == 1; }));
    ASSERT_EQ(fleet.device(0).address, 0x0A4D9005U);
    listener.broadcast(configurationOrder(fleet.device(0), before.mac, 0, 0, 0));
    ASSERT_TRUE(eventually([&] { return fleet.device(0).restarts == 2; }));
    const DeviceInfo after = fleet.device(0);
    EXPECT_EQ(after.address, before.address);
    EXPECT_EQ(after.staticAddress, 0U);
    EXPECT_EQ(after.netmask, before.netmask);
    EXPECT_EQ(after.gateway, before.gateway);
}

TEST(Configuration, OrderForAnotherTagOrAddressIsIgnored)
{
    Fleet fleet(freePorts());
    fleet.addDevice();
    fleet.start();
    DeviceInfo wrongTag = fleet.device(0);
    ++wrongTag.tag;
    DeviceInfo wrongAddress = fleet.device(0);
    ++wrongAddress.address;
    const Listener listener(fleet.discoveryPort());
    listener.broadcast(configurationOrder(wrongTag, wrongTag.mac, 0x0A4D9005, 0, 0));
    listener.broadcast(configurationOrder(wrongAddress, {2, 0, 0, 0, 0, 9}, 0x0A4D9005, 0, 0));
    ASSERT_TRUE(fleet.waitFor([](const Counters &c) { return c.configurationOrders >= 2; }, patience));
    EXPECT_FALSE(fleet.device(0).restarting);
    EXPECT_EQ(fleet.device(0).restarts, 0);
}

TEST(Configuration, DevicesOfOneTagAreToldApartByTheirAddress)
{
    FleetOptions options = freePorts();
    options.restartTime = 1ms;
    Fleet fleet(options);
    DeviceOptions common;
    common.tag = 0;
    fleet.addDevices(3, common);
    fleet.start();
    const DeviceInfo second = fleet.device(1);
    const Listener listener(fleet.discoveryPort());
    listener.broadcast(configurationOrder(second, fleet.device(2).mac, 0x0A4D9005, 0xFFFF0000, 0));
    ASSERT_TRUE(eventually([&] { return fleet.device(1).restarts == 1; }));
    EXPECT_EQ(fleet.device(1).address, 0x0A4D9005U);
    EXPECT_EQ(fleet.device(2).restarts, 0);
}

TEST(Fleet, ComesUpAgainAfterAStop)
{
    Fleet fleet(freePorts());
    fleet.addDevice();
    for (int i = 0; i < 2; ++i) {
        fleet.start();
        const Listener listener(fleet.discoveryPort());
        listener.broadcast(discoveryRequest());
        EXPECT_EQ(listener.collect(1).size(), 1U);
        EXPECT_EQ(Visitor(fleet, 0).get("/").status, 200);
        fleet.stop();
    }
}

TEST(Fleet, StaysOffRealNetworks)
{
    ASSERT_EQ(setenv("NEMBRA_PRIVATE_NETWORK", "0", 1), 0);
    Fleet fleet(freePorts());
    fleet.addDevice();
    EXPECT_THROW(fleet.start(), std::runtime_error);
    ASSERT_EQ(setenv("NEMBRA_PRIVATE_NETWORK", "1", 1), 0);
    EXPECT_NO_THROW(fleet.start());
}

TEST(Fleet, PortInUseIsAnErrorWithItsAddress)
{
    Fleet one(freePorts());
    one.addDevice();
    one.start();
    FleetOptions options = freePorts();
    options.httpPort = one.httpPort();
    Fleet other(options);
    other.addDevice();
    try {
        other.start();
        FAIL() << "no error";
    } catch (const std::runtime_error &error) {
        EXPECT_EQ(std::string(error.what()), "can't listen on 10.77.128.1, port " +
                                                 std::to_string(one.httpPort()) + ": Address already in use");
    }
}

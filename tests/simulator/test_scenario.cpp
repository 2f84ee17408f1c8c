#include "scenario.h"

#include <gtest/gtest.h>

using namespace simulator;

namespace {

std::string errorOf(const std::string &json)
{
    try {
        static_cast<void>(Scenario::fromJson(json));
    } catch (const ScenarioError &error) {
        return error.what();
    }
    return "no error";
}

struct Row
{
    const char *name;
    const char *json;
    const char *error;
};

std::ostream &operator<<(std::ostream &stream, const Row &row)
{
    return stream << row.name;
}

class BrokenScenario : public testing::TestWithParam<Row>
{
};

} // namespace

TEST_P(BrokenScenario, IsRefusedWithThePlaceOfTheTrouble)
{
    EXPECT_EQ(errorOf(GetParam().json), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Scenario, BrokenScenario,
    testing::Values(
        Row{"NotAnObject", "[]", "scenario: must be an object"},
        Row{"UnknownTopKey", R"({"fleets": {}})", "scenario: unknown key \"fleets\""},
        Row{"UnknownFleetKey", R"({"fleet": {"prot": 1}})", "scenario.fleet: unknown key \"prot\""},
        Row{"UnknownDeviceKey", R"({"devices": [{}, {"hostname": "x"}]})",
            "scenario.devices[1]: unknown key \"hostname\""},
        Row{"UnknownSensorKey", R"({"defaults": {"sensors": [{"units": "hPa"}]}})",
            "scenario.defaults.sensors[0]: unknown key \"units\""},
        Row{"UnknownFaultKind", R"({"faults": [{"kind": "explode"}]})",
            "scenario.faults[0].kind: must be one of refuse, hang, delay, drip, cut, close, reset, status, "
            "garbage, "
            "invalid-json, body, extra, verbatim, unasked, inflating-body, endless-body, endless-chunk-size, "
            "endless-headers, tls-garbage, tls-hang, tls-alert, forget-session"},
        Row{"UnknownPlaceOfAFault", R"({"faults": [{"kind": "reset", "place": "middle"}]})",
            "scenario.faults[0].place: must be start, head, body or end"},
        Row{"FaultOfMissingDevice", R"({"fleet": {"devices": 2}, "faults": [{"kind": "hang", "device": 2}]})",
            "scenario.faults[0].device: there is no device 2"},
        Row{"PortTooBig", R"({"fleet": {"http_port": 65536}})",
            "scenario.fleet.http_port: must be a whole number from 0 to 65535"},
        Row{"PortAsText", R"({"fleet": {"http_port": "80"}})",
            "scenario.fleet.http_port: must be a whole number from 0 to 65535"},
        Row{"BadAddress", R"({"fleet": {"base_address": "10.77.1"}})",
            "scenario.fleet.base_address: must be an IPv4 address like \"10.77.128.1\""},
        Row{"BadMac", R"({"devices": [{"mac": 5}]})",
            "scenario.devices[0].mac: must be a MAC address like \"0E:5A:11:00:1F:A2\""},
        Row{"BadHex", R"({"devices": [{"datagram": {"raw": {"hex": "0g"}}}]})",
            "scenario.devices[0].datagram.raw: \"hex\" must be pairs of hexadecimal digits"},
        Row{"NotLatin1", R"({"devices": [{"host_name": {"latin1": "€"}}]})",
            "scenario.devices[0].host_name: \"latin1\" holds a character that Latin-1 doesn't have"},
        Row{"BadBool", R"({"devices": [{"silent": 1}]})",
            "scenario.devices[0].silent: must be true or false"},
        Row{"GroupTooBig", R"({"groups": [{"count": 40000}]})",
            "scenario.groups[0].count: must be from 0 to 32000"},
        Row{"SyslogRateZero", R"({"syslog": [{"rate": 0}]})", "scenario.syslog[0].rate: must be above 0"},
        Row{"DevicesNotAList", R"({"devices": {}})", "scenario.devices: must be a list"}),
    [](const auto &row) { return std::string(row.param.name); });

TEST(Scenario, TextThatIsNotJsonIsAnError)
{
    EXPECT_EQ(errorOf("{").substr(0, 23), "the scenario isn't JSON");
}

TEST(Scenario, MissingFileIsNamed)
{
    try {
        static_cast<void>(Scenario::fromFile("/nonexistent/fleet.json"));
        FAIL() << "no error";
    } catch (const ScenarioError &error) {
        EXPECT_STREQ(error.what(), "can't read the scenario /nonexistent/fleet.json");
    }
}

TEST(Scenario, DescribesFleetGroupsDevicesAndFaults)
{
    const Scenario scenario = Scenario::fromJson(R"({
        "fleet": {"devices": 2, "seed": 9, "http_port": 8080, "delay_ms": 50, "loss_percent": 12.5},
        "defaults": {"anonymous_level": 0, "users": [{"name": "u", "password": "p", "level": 1}]},
        "groups": [{"count": 2, "host_name": "rack-{n}", "address": "10.77.130.1", "mac": "0E:5A:11:00:00:FF"}],
        "devices": [{"host_name": {"latin1": "Prüfstand"}, "variant": -1, "tls": "tls1.0", "datagram": {"length": 20},
                     "variables": {"dev_type": {"hex": "00ff"}},
                     "sensors": [{"value": "7", "unit": "hPa", "status": "129"}]}],
        "faults": [{"kind": "status", "status": 503, "reason": "Busy", "path": "login.cgi", "requests": 2, "device": 4},
                   {"kind": "inflating-body"}, {"kind": "reset", "place": "body", "after": 3}],
        "syslog": [{"address": "10.77.0.1", "port": 5514, "rate": 20, "count": 3, "lines": ["a", "b"]}]})");
    EXPECT_EQ(scenario.fleet.seed, 9U);
    EXPECT_EQ(scenario.fleet.httpPort, 8080);
    EXPECT_EQ(scenario.fleet.delay.count(), 50);
    EXPECT_EQ(scenario.fleet.lossPercent, 12.5);
    EXPECT_EQ(scenario.madeUpDevices, 2);
    ASSERT_EQ(scenario.devices.size(), 3U);
    EXPECT_EQ(scenario.devices[1].hostName, "rack-0002");
    EXPECT_EQ(addressText(*scenario.devices[1].address), "10.77.130.2");
    EXPECT_EQ(macText(*scenario.devices[1].mac), "0E:5A:11:00:01:00");
    EXPECT_EQ(scenario.devices[1].anonymousLevel, 0);
    const DeviceOptions &last = scenario.devices[2];
    EXPECT_EQ(last.hostName, "Pr\xFC"
                             "fstand");
    EXPECT_EQ(*last.variant, -1);
    EXPECT_EQ(last.tls, TlsMode::Tls10Only);
    EXPECT_EQ(*last.datagram.length, 20U);
    EXPECT_EQ(last.variables.at("dev_type"), std::string("\0\xFF", 2));
    ASSERT_EQ(last.sensors->size(), 1U);
    EXPECT_EQ((*last.sensors)[0].status, "129");
    EXPECT_EQ(last.users.at(0).name, "u");
    ASSERT_EQ(scenario.faults.size(), 3U);
    EXPECT_EQ(scenario.faults[0].first, 4);
    EXPECT_EQ(scenario.faults[0].second.statusCode, 503);
    EXPECT_EQ(scenario.faults[0].second.requests, 2);
    EXPECT_EQ(scenario.faults[1].first, -1);
    EXPECT_EQ(scenario.faults[1].second.bytes, 400U << 20U);
    EXPECT_EQ(scenario.faults[2].second.place, Fault::Place::Body);
    EXPECT_EQ(scenario.faults[2].second.spared, 3);
    EXPECT_EQ(scenario.syslog.at(0).lines.size(), 2U);
}

TEST(Scenario, FillsAFleetInTheDocumentedOrder)
{
    const Scenario scenario = Scenario::fromJson(
        R"({"fleet": {"devices": 1}, "groups": [{"host_name": "g"}], "devices": [{"host_name": "d"}]})");
    Fleet fleet(scenario.fleet);
    scenario.addTo(fleet);
    ASSERT_EQ(fleet.deviceCount(), 3);
    EXPECT_EQ(fleet.device(1).hostName, "g");
    EXPECT_EQ(fleet.device(2).hostName, "d");
    EXPECT_EQ(addressText(fleet.device(2).address), "10.77.128.3");
}

TEST(Seed, MakesTheSameFleetAgain)
{
    FleetOptions options;
    options.seed = 7;
    Fleet one(options);
    Fleet same(options);
    options.seed = 8;
    Fleet other(options);
    for (Fleet *fleet : {&one, &same, &other}) {
        fleet->addDevices(50);
    }
    int differences = 0;
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(one.device(i).hostName, same.device(i).hostName);
        EXPECT_EQ(one.device(i).mac, same.device(i).mac);
        EXPECT_EQ(one.device(i).tag, same.device(i).tag);
        EXPECT_EQ(one.device(i).firmwareVersion, same.device(i).firmwareVersion);
        EXPECT_EQ(macText(one.device(i).mac).substr(0, 8), "0E:5A:11");
        differences += one.device(i).hostName != other.device(i).hostName ? 1 : 0;
    }
    EXPECT_GT(differences, 10);
}

#include "testclient.h"

#include <algorithm>
#include <ctime>
#include <gtest/gtest.h>

using namespace simulator;
using namespace testclient;

namespace {

const std::string information = "/admin/proctpl.cgi";
const std::string configuration = "/tpl/document.cgi?tpl/j/config.tpl";

Post text(const std::string &body)
{
    return {"text", body};
}

class Web : public testing::Test
{
protected:
    static FleetOptions options()
    {
        FleetOptions result = freePorts();
        result.restartTime = 50ms;
        return result;
    }

    int add(const DeviceOptions &device = {}) { return fleet.addDevice(device); }

    std::string filled(int device, const std::string &body) const
    {
        return Visitor(fleet, device).post(information, text(body)).body;
    }

    Fleet fleet{options()};
};

} // namespace

TEST_F(Web, EvaluatesWhateverTemplateIsPosted)
{
    DeviceOptions device;
    device.sensors = std::vector<Sensor>(2);
    (*device.sensors)[0].value = "21.5";
    (*device.sensors)[0].extendedValue = "21.53";
    (*device.sensors)[1].value = "48";
    (*device.sensors)[1].unit = "%rH";
    (*device.sensors)[1].status = "130";
    device.extendedValues = true;
    device.interfaces = std::vector<NetworkInterface>{{}, {"192.168.9.9", "plant"}};
    device.location = "Hall 2, rack 5";
    add(device);
    device.extendedValues = false;
    add(device);
    fleet.start();
    const std::string sensors = "{%for sensortab%}{{loop.index}} {{sensortab_value}} {{sensortab_value_ex}} "
                                "{{sensortab_unit}} {{sensortab_status}};{%endfor%}";
    EXPECT_EQ(filled(0, sensors), "1 21.5 21.53 &deg;C 0;2 48 48 %rH 130;");
    EXPECT_EQ(filled(1, sensors), "1 21.5 sensortab_value_ex &deg;C 0;2 48 sensortab_value_ex %rH 130;");
    EXPECT_EQ(filled(0, "{%for netiftab%}{%if loop.index != 1%}, {%endif%}{{netiftab_ip_addr}}{%endfor%}"),
              "10.77.128.1, 192.168.9.9");
    EXPECT_EQ(filled(0, "{%for netiftab%}{%if loop.index == 2%}{{wlan_name}}{%endif%}{%endfor%}"), "plant");
    EXPECT_EQ(filled(0, "{{syslocation}}|{{login_user}}|{{login_group}}|{{fw_manufacturer}}"),
              "Hall 2, rack 5||1|ostrel GmbH");
}

TEST_F(Web, EveryVariableOfTheProgramIsKnown)
{
    add();
    fleet.start();
    for (const char *name :
         {"fw_manufacturer", "fw_name", "fw_version", "sysdate", "systime", "syslocation", "syscontact",
          "netif", "login_user", "memusage", "histo_usage", "uptime_d", "uptime_h", "uptime_m", "uptime_s",
          "dev_type", "login_group", "histo_start", "systimestamp"}) {
        EXPECT_NE(filled(0, std::string("{{") + name + "}}"), name);
    }
}

TEST_F(Web, VariablesCanHoldAnyBytes)
{
    add();
    fleet.start();
    const std::string bytes("\"\\<b>\0\xFF", 7);
    fleet.setVariable(0, "syscontact", bytes);
    fleet.setVariable(0, "sensortab_value_ex", "x");
    EXPECT_EQ(filled(0, "[{{syscontact}}]"), "[" + bytes + "]");
}

TEST_F(Web, UptimeAndClockRun)
{
    DeviceOptions device;
    device.uptime = std::chrono::seconds(2 * 86400 + 3 * 3600 + 4 * 60 + 50);
    device.clockOffset = std::chrono::seconds(-3600);
    add(device);
    fleet.start();
    EXPECT_EQ(filled(0, "{{uptime_d}} {{uptime_h}} {{uptime_m}}").substr(0, 5), "2 3 4");
    const std::string first = filled(0, "{{uptime_s}}");
    EXPECT_TRUE(eventually([&] { return filled(0, "{{uptime_s}}") != first; }));
    EXPECT_NEAR(static_cast<double>(std::stoll(filled(0, "{{systimestamp}}"))),
                static_cast<double>(std::time(nullptr) - 3600), 2.0);
}

TEST_F(Web, SensorsWander)
{
    DeviceOptions device;
    device.sensors = std::vector<Sensor>(1);
    (*device.sensors)[0].periodSeconds = 2.0;
    (*device.sensors)[0].decimals = 4;
    add(device);
    fleet.start();
    const std::string first = filled(0, "{%for sensortab%}{{sensortab_value}}{%endfor%}");
    EXPECT_TRUE(
        eventually([&] { return filled(0, "{%for sensortab%}{{sensortab_value}}{%endfor%}") != first; }));
    EXPECT_NEAR(std::stod(first), 21.5, 1.5);
}

TEST_F(Web, CorrectLoginBringsACookieAndTheLevel)
{
    add();
    fleet.start();
    Visitor visitor(fleet, 0);
    const Reply reply = visitor.post(
        "/login.cgi", form("login_user=admin&login_password=admin&redir=%2Fwait.shtml&btnapp=Submit"));
    EXPECT_EQ(reply.status, 303);
    EXPECT_EQ(reply.reason, "See Other");
    EXPECT_EQ(reply.header("Location"), "/wait.shtml");
    EXPECT_EQ(reply.header("Set-Cookie"), "sid=" + reply.sid() + "; path=/");
    ASSERT_FALSE(reply.sid().empty());
    visitor.setSid(reply.sid());
    EXPECT_EQ(visitor.post(information, text("{{login_user}} {{login_group}}")).body, "admin 3");
    EXPECT_EQ(fleet.device(0).sessions, 1);
}

TEST_F(Web, WrongLoginIsARedirectWithoutCookie)
{
    DeviceOptions device;
    device.users = {{"admin", "", 3}, {"a b&c", "p=1", 2}};
    add(device);
    fleet.start();
    for (const char *fields : {"login_user=admin&login_password=wrong", "login_user=nobody&login_password=x",
                               "login_user=admin&login_password=", "", "login_user=a+b"}) {
        const Reply reply = Visitor(fleet, 0).post("/login.cgi", form(fields));
        EXPECT_EQ(reply.status, 303) << fields;
        EXPECT_EQ(reply.header("Set-Cookie"), "") << fields;
    }
    EXPECT_TRUE(Visitor(fleet, 0).logIn("a%20b%26c", "p%3D1"));
}

TEST_F(Web, LevelsOpenTheirDoorsAndNoOthers)
{
    add();
    fleet.start();
    const std::string csv = "/tpl/document.cgi?tpl/j/csv.tpl&start=0&end=1&step=60";
    const std::vector<std::pair<std::string, int>> gets{
        {"/", 0}, {csv, 1}, {configuration, 2}, {configuration + "&incl_passwords=on", 3}};
    const std::vector<std::string> posts{"/admin/config.cgi", "/admin/upload.cgi", "/admin/upgrade.cgi"};
    const std::vector<std::pair<std::string, int>> users{
        {"none", 0}, {"guest", 1}, {"service", 2}, {"admin", 3}};
    for (const auto &[user, level] : users) {
        Visitor visitor(fleet, 0);
        ASSERT_TRUE(visitor.logIn(user, user));
        EXPECT_EQ(visitor.post(information, text("{{login_group}}")).body, std::to_string(level));
        for (const auto &[target, needed] : gets) {
            EXPECT_EQ(visitor.get(target).status, level >= needed ? 200 : 403) << user << " " << target;
        }
        // The forms are empty: who is let in learns that.
        for (const std::string &target : posts) {
            EXPECT_EQ(visitor.post(target, form("")).status, level >= 3 ? 400 : 403) << user << " " << target;
        }
        EXPECT_EQ(visitor.post("/admin/postform.cgi", form("config_upgrading=&redir=%2F")).status,
                  level >= 3 ? 303 : 403);
    }
}

TEST_F(Web, VisitorsMayReadDataOnlyWhereEverybodyMay)
{
    add();
    DeviceOptions closed;
    closed.anonymousLevel = 0;
    add(closed);
    closed.informationNeedsLogin = true;
    add(closed);
    fleet.start();
    const std::string csv = "/tpl/document.cgi?tpl/j/csv.tpl&start=0&end=1&step=60";
    EXPECT_EQ(Visitor(fleet, 0).get(csv).status, 200);
    EXPECT_EQ(Visitor(fleet, 1).get(csv).status, 403);
    EXPECT_EQ(filled(1, "{{login_group}}"), "0");
    EXPECT_EQ(Visitor(fleet, 2).post(information, text("x")).status, 403);
    Visitor guest(fleet, 2);
    ASSERT_TRUE(guest.logIn("guest", "guest"));
    EXPECT_EQ(guest.post(information, text("x")).body, "x");
}

TEST_F(Web, ConfigurationGoesRoundByteForByte)
{
    add();
    fleet.start();
    Visitor admin(fleet, 0);
    ASSERT_TRUE(admin.logIn("admin", "admin"));
    const std::string original = admin.get(configuration).body;
    EXPECT_NE(original.find("location="), std::string::npos);
    EXPECT_EQ(original.find("[passwords]"), std::string::npos);
    EXPECT_EQ(admin.get(configuration + "&incl_passwords=on").body,
              original + "[passwords]\r\nadmin=admin\r\nservice=service\r\nguest=guest\r\nnone=none\r\n");

    const std::string changed = "[system]\nname=renamed\nlocation=Roof\n[other]\nkey=\xFF\n";
    const Reply reply = admin.post("/admin/config.cgi",
                                   multipart({{"image", changed}, {"redir", ""}, {"form_fw_up", "Submit"}}));
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(admin.get(configuration).body, changed);
    EXPECT_EQ(fleet.device(0).hostName, "renamed");
    EXPECT_EQ(fleet.device(0).configurationUploads, 1);
    EXPECT_EQ(filled(0, "{{syslocation}}"), "Roof");

    static_cast<void>(
        admin.post("/admin/config.cgi", multipart({{"image", changed + "[passwords]\nguest=secret\n"}})));
    EXPECT_EQ(admin.get(configuration).body, changed) << "passwords never show in a download without them";
    EXPECT_FALSE(Visitor(fleet, 0).logIn("guest", "guest"));
    EXPECT_TRUE(Visitor(fleet, 0).logIn("guest", "secret"));
}

TEST_F(Web, FirmwareIsBufferedActivatedAndRunsAfterTheRestart)
{
    add();
    fleet.start();
    const std::string before = fleet.device(0).firmwareVersion;
    Visitor admin(fleet, 0);
    ASSERT_TRUE(admin.logIn("admin", "admin"));
    EXPECT_EQ(admin.post("/admin/upgrade.cgi", form("buffer=2")).status, 400) << "the buffer is still empty";
    const std::string image = "name=nembra-node\nversion=4.0.7\n" + std::string(3U << 20U, '\xEE');
    EXPECT_EQ(admin.post("/admin/upload.cgi", multipart({{"buffer", "2"}, {"image", image}})).status, 200);
    EXPECT_EQ(admin.post("/admin/upload.cgi", multipart({{"buffer", "3"}, {"image", image}})).status, 400);
    EXPECT_EQ(admin.post("/admin/upload.cgi", multipart({{"buffer", "1"}})).status, 400);
    EXPECT_EQ(fleet.device(0).bufferSizes[1], image.size());
    EXPECT_EQ(fleet.device(0).bufferVersions[1], "4.0.7");
    EXPECT_EQ(fleet.device(0).firmwareVersion, before);

    const Reply reply = admin.post("/admin/upgrade.cgi",
                                   form("buffer=2&redir=/wait.shtml?url%3D/%26text%3D4&form_fw_ac=Submit"));
    EXPECT_EQ(reply.status, 303);
    EXPECT_EQ(reply.header("Location"), "/wait.shtml?url=/&text=4");
    ASSERT_TRUE(eventually([&] { return fleet.device(0).restarts == 1; }));
    EXPECT_EQ(fleet.device(0).firmwareVersion, "4.0.7");
    EXPECT_EQ(fleet.device(0).activeBuffer, 2);
    EXPECT_EQ(filled(0, "{{fw_version}} {{uptime_d}} {{uptime_h}} {{uptime_m}}"), "4.0.7 0 0 0");
    EXPECT_EQ(admin.get(configuration).status, 403) << "a restart ends all sessions";
}

TEST_F(Web, ResetRestartsAndIsUnreachableMeanwhile)
{
    DeviceOptions device;
    device.restartTime = 2s;
    add(device);
    fleet.start();
    Visitor admin(fleet, 0);
    ASSERT_TRUE(admin.logIn("admin", "admin"));
    const std::unique_ptr<Wire> open = admin.connect();
    EXPECT_EQ(admin.post("/admin/reset.cgi", form("redir=%2F&btnapp=Submit")).status, 303);
    ASSERT_TRUE(eventually([&] { return fleet.device(0).restarting; }));
    EXPECT_EQ(admin.get("/").end, End::Refused);
    EXPECT_EQ(open->receive(), "");
    EXPECT_NE(open->state(), End::Timeout) << "connections don't survive a restart";
    ASSERT_TRUE(eventually([&] { return !fleet.device(0).restarting; }));
    EXPECT_EQ(admin.get("/").status, 200);
    EXPECT_EQ(fleet.device(0).sessions, 0);
}

TEST_F(Web, PoweredOffDeviceIsGoneUntilItIsOnAgain)
{
    add();
    fleet.start();
    fleet.setPowered(0, false);
    EXPECT_EQ(Visitor(fleet, 0).get("/").end, End::Refused);
    fleet.setPowered(0, true);
    EXPECT_EQ(Visitor(fleet, 0).get("/").status, 200);
}

TEST_F(Web, HistoryHasARowForEachStep)
{
    DeviceOptions device;
    device.sensors = std::vector<Sensor>(2);
    device.historyStart = 1600000000;
    add(device);
    fleet.start();
    const Reply reply =
        Visitor(fleet, 0).get("/tpl/document.cgi?tpl/j/csv.tpl&start=1600000100&end=1600000400&step=100");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.header("Transfer-Encoding"), "chunked");
    EXPECT_EQ(std::count(reply.body.begin(), reply.body.end(), '\n'), 4);
    EXPECT_EQ(reply.body.substr(0, 34), "Time;Sensor 1;Sensor 2\r\n1600000100");
    EXPECT_NE(reply.body.find("\r\n1600000300;"), std::string::npos);
    EXPECT_EQ(reply.body.find("1600000400"), std::string::npos) << "the end itself is not included";
}

TEST_F(Web, HistoryEndsWhereNothingWasRecorded)
{
    DeviceOptions device;
    device.historyStart = static_cast<std::int64_t>(std::time(nullptr)) - 1000;
    add(device);
    fleet.start();
    const Reply reply =
        Visitor(fleet, 0).get("/tpl/document.cgi?tpl/j/csv.tpl&start=0&end=99999999999&step=100");
    const auto rows = std::count(reply.body.begin(), reply.body.end(), '\n') - 1;
    EXPECT_GE(rows, 10);
    EXPECT_LE(rows, 11);
}

TEST_F(Web, HistoryIsStreamedAtAnyLength)
{
    DeviceOptions device;
    device.sensors = std::vector<Sensor>(1);
    device.historyStart = 1600000000;
    add(device);
    fleet.start();
    const Reply reply =
        Visitor(fleet, 0).get("/tpl/document.cgi?tpl/j/csv.tpl&start=1600000000&end=1601000000&step=1");
    EXPECT_TRUE(reply.isComplete);
    EXPECT_EQ(std::count(reply.body.begin(), reply.body.end(), '\n'), 1000001);
}

TEST_F(Web, HistoryWithoutSenseIsABadRequest)
{
    add();
    fleet.start();
    for (const char *query : {"start=0&end=1&step=0", "start=0&end=1&step=-60", "start=0&end=1",
                              "start=x&end=1&step=60", "start=99999999999999999999&end=1&step=60"}) {
        const Reply reply = Visitor(fleet, 0).get(std::string("/tpl/document.cgi?tpl/j/csv.tpl&") + query);
        EXPECT_EQ(reply.status, 400) << query;
    }
    const Reply wide = Visitor(fleet, 0).get(
        "/tpl/document.cgi?tpl/j/"
        "csv.tpl&start=-9223372036854775808&end=9223372036854775807&step=9223372036854775807");
    EXPECT_EQ(wide.status, 200);
    EXPECT_TRUE(wide.isComplete);
}

TEST_F(Web, RedirectLeadsToTheSamePathUnderHttps)
{
    DeviceOptions device;
    device.redirectToHttps = true;
    add(device);
    fleet.start();
    const std::string base = "https://10.77.128.1:" + std::to_string(fleet.httpsPort());
    EXPECT_EQ(Visitor(fleet, 0).post(information, text("x")).header("Location"), base + information);
    const Reply root = Visitor(fleet, 0).get("/");
    EXPECT_EQ(root.status, 303);
    EXPECT_EQ(root.header("Location"), base + "/");
    EXPECT_EQ(Visitor(fleet, 0, tls).post(information, text("{{login_group}}")).body, "1");
}

TEST_F(Web, UnknownPathsAndMethodsAreRefused)
{
    add();
    fleet.start();
    EXPECT_EQ(Visitor(fleet, 0).get("/nothing").status, 404);
    EXPECT_EQ(Visitor(fleet, 0).get("/tpl/document.cgi?tpl/j/other.tpl").status, 404);
    EXPECT_EQ(Visitor(fleet, 0).get(information).status, 405);
}

TEST_F(Web, ConnectionServesManyRequestsOrEndsAsTold)
{
    add();
    DeviceOptions closing;
    closing.keepAlive = false;
    add(closing);
    fleet.start();
    const std::unique_ptr<Wire> wire = Visitor(fleet, 0).connect();
    for (int i = 0; i < 3; ++i) {
        wire->send(requestText("POST", information, text("{{login_group}}")));
        EXPECT_EQ(wire->reply().body, "1");
    }
    EXPECT_EQ(fleet.counters().connections, 1U);
    const std::unique_ptr<Wire> once = Visitor(fleet, 1).connect();
    once->send(requestText("GET", "/"));
    EXPECT_EQ(once->reply().header("Connection"), "close");
    EXPECT_EQ(once->receive(), "");
    EXPECT_EQ(once->state(), End::Closed);
}

TEST_F(Web, DeviceMayHangUpUnannounced)
{
    DeviceOptions once;
    once.answersOnce = true;
    add(once);
    fleet.start();
    const std::unique_ptr<Wire> wire = Visitor(fleet, 0).connect();
    wire->send(requestText("POST", information, text("{{login_group}}")));
    const Reply reply = wire->reply();
    EXPECT_EQ(reply.body, "1");
    EXPECT_EQ(reply.header("Connection"), "keep-alive");
    wire->send(requestText("POST", information, text("{{login_group}}")));
    EXPECT_EQ(wire->receive(), "");
    EXPECT_EQ(wire->state(), End::Closed);
    EXPECT_EQ(fleet.requests(0).size(), 1U);
    EXPECT_EQ(Visitor(fleet, 0).get("/").status, 200);
}

TEST_F(Web, ClientThatAsksFirstIsToldToContinue)
{
    add();
    fleet.start();
    const std::unique_ptr<Wire> wire = Visitor(fleet, 0).connect();
    const std::string whole = requestText("POST", information, text("hello"), {}, "Expect: 100-continue\r\n");
    wire->send(whole.substr(0, whole.size() - 5));
    EXPECT_EQ(wire->receive(), "HTTP/1.1 100 Continue\r\n\r\n");
    wire->send("hello");
    EXPECT_EQ(wire->reply().body, "hello");
}

TEST_F(Web, DelayHoldsEveryAnswerBack)
{
    add();
    fleet.start();
    fleet.setDelay(150ms);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Visitor(fleet, 0).get("/").status, 200);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 150ms);
}

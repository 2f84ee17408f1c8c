#include "faultlist.h"
#include "inflatingbody.h"
#include "testclient.h"

#include <gtest/gtest.h>
#include <zlib.h>

using namespace simulator;
using namespace testclient;

namespace {

class Faults : public testing::Test
{
protected:
    void start(int devices = 2)
    {
        fleet.addDevices(devices);
        fleet.start();
    }

    [[nodiscard]] Reply get(const std::string &target = "/",
                            std::chrono::milliseconds timeout = patience) const
    {
        return Visitor(fleet, 0, plain, timeout).get(target);
    }

    Fleet fleet{freePorts()};
};

/// Inflates, counting only; a body that isn't gzip to its end gives -1.
std::int64_t inflatedSize(const std::string &bytes)
{
    z_stream stream{};
    if (inflateInit2(&stream, MAX_WBITS + 16) != Z_OK) {
        return -1;
    }
    std::string input = bytes;
    std::vector<Bytef> output(1U << 20U);
    stream.next_in = reinterpret_cast<Bytef *>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    std::int64_t size = 0;
    int result = Z_OK;
    while (result == Z_OK) {
        stream.next_out = output.data();
        stream.avail_out = static_cast<uInt>(output.size());
        result = inflate(&stream, Z_NO_FLUSH);
        size += static_cast<std::int64_t>(output.size() - stream.avail_out);
    }
    inflateEnd(&stream);
    return result == Z_STREAM_END ? size : -1;
}

} // namespace

TEST_F(Faults, RefusedConnectionIsARealRefusalUntilCleared)
{
    start();
    fleet.addFault(0, Fault::refuse());
    EXPECT_EQ(get().end, End::Refused);
    EXPECT_EQ(Visitor(fleet, 0, tls).get("/").end, End::Refused);
    EXPECT_EQ(Visitor(fleet, 1).get("/").status, 200);
    fleet.clearFaults(0);
    EXPECT_EQ(get().status, 200);
}

TEST_F(Faults, RefusalCanBeLimitedToAScheme)
{
    start();
    fleet.addFault(0, Fault::refuse().onlyHttps());
    EXPECT_EQ(get().status, 200);
    EXPECT_EQ(Visitor(fleet, 0, tls).get("/").end, End::Refused);
}

TEST_F(Faults, CountedRefusalIsAResetAndThenOver)
{
    start();
    fleet.addFault(0, Fault::refuse().times(1));
    EXPECT_EQ(get().end, End::Reset);
    EXPECT_EQ(get().status, 200);
}

TEST_F(Faults, RefusalOfOnePathResetsAfterTheRequest)
{
    start();
    fleet.addFault(0, Fault::refuse().onPath("login.cgi"));
    EXPECT_EQ(get("/login.cgi").end, End::Reset);
    EXPECT_EQ(get().status, 200);
}

TEST_F(Faults, HangingRequestIsReadAndNeverAnswered)
{
    start();
    fleet.addFault(0, Fault::hang());
    const Reply reply = get("/", 200ms);
    EXPECT_EQ(reply.end, End::Timeout);
    EXPECT_EQ(reply.raw, "");
    EXPECT_EQ(fleet.requests(0).size(), 1U);
    EXPECT_TRUE(fleet.waitFor([](const Counters &c) { return c.openConnections == 0; }, patience))
        << "it notices when the client goes";
}

TEST_F(Faults, LateAnswerIsTheProperOne)
{
    start();
    fleet.addFault(0, Fault::answerAfter(200ms).onExactly("admin/proctpl.cgi"));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Visitor(fleet, 0).post("/admin/proctpl.cgi", {"text", "{{login_group}}"}).body, "1");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 200ms);
}

TEST_F(Faults, DrippingAnswerComesInSmallPieces)
{
    start();
    fleet.change(0, [](DeviceOptions &options) { options.keepAlive = false; });
    fleet.addFault(0, Fault::drip(10, 5ms));
    const std::unique_ptr<Wire> wire = Visitor(fleet, 0).connect();
    const auto begin = std::chrono::steady_clock::now();
    wire->send(requestText("POST", "/admin/proctpl.cgi", {"text", std::string(300, 'x')}));
    EXPECT_LE(wire->receive().size(), 10U);
    std::string rest;
    for (std::string piece = wire->receive(); !piece.empty(); piece = wire->receive()) {
        rest += piece;
    }
    EXPECT_EQ(wire->state(), End::Closed);
    EXPECT_EQ(rest.substr(rest.size() - 304), "\r\n\r\n" + std::string(300, 'x'));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 150ms);
}

TEST_F(Faults, CutBodyEndsHalfWay)
{
    start();
    for (const Security &security : {plain, tls}) {
        fleet.addFault(0, Fault::cut().times(1));
        const Reply reply =
            Visitor(fleet, 0, security).post("/admin/proctpl.cgi", {"text", std::string(1000, 'x')});
        EXPECT_EQ(reply.status, 200);
        EXPECT_EQ(reply.header("Content-Length"), "1000");
        EXPECT_EQ(reply.body, std::string(500, 'x'));
        EXPECT_EQ(reply.end, End::Closed);
    }
}

TEST_F(Faults, ConnectionClosesInsteadOfAnAnswer)
{
    start();
    fleet.addFault(0, Fault::closeWithoutAnswer());
    const Reply reply = get();
    EXPECT_EQ(reply.end, End::Closed);
    EXPECT_EQ(reply.raw, "");
}

TEST_F(Faults, StatusReasonAndTargetAreFree)
{
    start();
    fleet.addFault(0, Fault::status(299, "Nearly <b>fine</b>").onPath("admin/"));
    fleet.addFault(0, Fault::status(303, "See Other", "https://elsewhere/").onExactly(""));
    const Reply strange = Visitor(fleet, 0).post("/admin/proctpl.cgi", {});
    EXPECT_EQ(strange.status, 299);
    EXPECT_EQ(strange.reason, "Nearly <b>fine</b>");
    const Reply root = get("/");
    EXPECT_EQ(root.status, 303);
    EXPECT_EQ(root.header("Location"), "https://elsewhere/");
    EXPECT_EQ(get("/wait.shtml").status, 200) << "only the root itself was meant";
}

TEST_F(Faults, FaultIsUsedUpAfterItsRequests)
{
    start();
    fleet.addFault(0, Fault::status(500, "Oops").times(2));
    EXPECT_EQ(get().status, 500);
    EXPECT_EQ(get().status, 500);
    EXPECT_EQ(get().status, 200);
}

TEST_F(Faults, GarbageIsNotHttp)
{
    start();
    fleet.addFault(0, Fault::garbage());
    const Reply reply = get();
    EXPECT_EQ(reply.status, 0);
    EXPECT_GT(reply.raw.size(), 32U);
    EXPECT_EQ(reply.end, End::Closed);
}

TEST_F(Faults, JsonCanBeBrokenOrOfAnotherType)
{
    start();
    fleet.addFault(0, Fault::invalidJson().times(1));
    fleet.addFault(0, Fault::answerWith("[1, 2]", {{"X-Extra", "yes"}}));
    EXPECT_EQ(get().body, "{\"Sensor 1\": {\"v\": \"21.5\", ");
    const Reply list = get();
    EXPECT_EQ(list.status, 200);
    EXPECT_EQ(list.body, "[1, 2]");
    EXPECT_EQ(list.header("X-Extra"), "yes");
}

TEST_F(Faults, InflatingBodyIsSmallOnTheWire)
{
    start();
    fleet.addFault(0, Fault::inflatingBody());
    const Reply reply = get();
    EXPECT_TRUE(reply.isComplete);
    EXPECT_EQ(reply.header("Content-Encoding"), "gzip");
    EXPECT_LT(reply.body.size(), 600000U);
    EXPECT_EQ(inflatedSize(reply.body), 400 << 20);
}

TEST_F(Faults, EndlessBodyGoesOn)
{
    start();
    fleet.addFault(0, Fault::endlessBody());
    const std::unique_ptr<Wire> wire = Visitor(fleet, 0).connect();
    wire->send(requestText("GET", "/"));
    const Reply reply = wire->reply(20U << 20U);
    EXPECT_EQ(reply.end, End::Limit);
    EXPECT_EQ(reply.header("Transfer-Encoding"), "chunked");
    EXPECT_GT(reply.body.size(), 19U << 20U);
}

TEST_F(Faults, EndlessBodyMayHaveAnyStatus)
{
    start();
    fleet.addFault(0, Fault::endlessBody(401));
    const std::unique_ptr<Wire> wire = Visitor(fleet, 0).connect();
    wire->send(requestText("GET", "/"));
    const Reply reply = wire->reply(5U << 20U);
    EXPECT_EQ(reply.end, End::Limit);
    EXPECT_EQ(reply.status, 401);
    EXPECT_GT(reply.body.size(), 4U << 20U);
}

TEST_F(Faults, EndlessChunkSizeNeverComesToAChunk)
{
    start();
    Fault fault = Fault::endlessChunkSize();
    fault.headers = {{"Content-Encoding", "gzip"}};
    fleet.addFault(0, fault);
    const std::unique_ptr<Wire> wire = Visitor(fleet, 0).connect();
    wire->send(requestText("GET", "/"));
    const Reply reply = wire->reply(5U << 20U);
    EXPECT_EQ(reply.end, End::Limit);
    EXPECT_EQ(reply.header("Content-Encoding"), "gzip");
    EXPECT_EQ(reply.header("Transfer-Encoding"), "chunked");
    const std::string rest = reply.raw.substr(reply.raw.find("\r\n\r\n") + 4);
    EXPECT_GT(rest.size(), 4U << 20U);
    EXPECT_EQ(rest.find_first_not_of('0'), std::string::npos);
}

TEST_F(Faults, EndlessHeadersNeverComeToABody)
{
    start();
    fleet.addFault(0, Fault::endlessHeaders());
    const std::unique_ptr<Wire> wire = Visitor(fleet, 0).connect();
    wire->send(requestText("GET", "/"));
    const Reply reply = wire->reply(5U << 20U);
    EXPECT_EQ(reply.end, End::Limit);
    EXPECT_EQ(reply.raw.substr(0, 17), "HTTP/1.1 200 OK\r\n");
    EXPECT_EQ(reply.raw.find("\r\n\r\n"), std::string::npos);
}

TEST_F(Faults, TlsPortCanTalkNonsenseOrNothing)
{
    start();
    fleet.addFault(0, Fault::tlsGarbage().times(1));
    fleet.addFault(0, Fault::tlsHang().times(1));
    EXPECT_EQ(get().status, 200) << "plain HTTP is not concerned";
    EXPECT_EQ(Visitor(fleet, 0, tls).get("/").end, End::TlsFailure);
    EXPECT_EQ(Visitor(fleet, 0, tls, 200ms).get("/").end, End::Timeout);
    EXPECT_EQ(Visitor(fleet, 0, tls).get("/").status, 200);
}

TEST_F(Faults, AnswerCanBeResetAnywhere)
{
    start();
    const Post question{"text", std::string(1000, 'x')};
    for (const Security &security : {plain, tls}) {
        const auto answer = [&](Fault::Place place) {
            fleet.addFault(0, Fault::reset(place).times(1));
            const std::unique_ptr<Wire> wire = Visitor(fleet, 0, security).connect();
            wire->send(requestText("POST", "/admin/proctpl.cgi", question));
            Reply reply = wire->reply();
            static_cast<void>(wire->receive());
            reply.end = wire->state();
            return reply;
        };
        const Reply before = answer(Fault::Place::Start);
        EXPECT_EQ(before.end, End::Reset);
        EXPECT_EQ(before.raw, "");
        const Reply inHead = answer(Fault::Place::Head);
        EXPECT_EQ(inHead.end, End::Reset);
        EXPECT_EQ(inHead.raw.substr(0, 17), "HTTP/1.1 200 OK\r\n");
        EXPECT_EQ(inHead.raw.find("\r\n\r\n"), std::string::npos);
        const Reply inBody = answer(Fault::Place::Body);
        EXPECT_EQ(inBody.end, End::Reset);
        EXPECT_EQ(inBody.header("Content-Length"), "1000");
        EXPECT_EQ(inBody.body, std::string(500, 'x'));
        const Reply behind = answer(Fault::Place::End);
        EXPECT_EQ(behind.end, End::Reset);
        EXPECT_TRUE(behind.isComplete);
        EXPECT_EQ(behind.body, std::string(1000, 'x'));
    }
    EXPECT_EQ(Visitor(fleet, 1).get("/").status, 200);
}

TEST_F(Faults, DeviceDoesAsToldWhereItsAnswerIsReset)
{
    start();
    fleet.change(0, [](DeviceOptions &options) {
        options.anonymousLevel = 3;
        options.restartTime = 1ms;
    });
    fleet.addFault(0, Fault::reset(Fault::Place::Start));
    const Visitor visitor(fleet, 0);
    EXPECT_EQ(visitor.post("/admin/config.cgi", multipart({{"image", "[system]\r\nname=roof\r\n"}})).end,
              End::Reset);
    EXPECT_EQ(fleet.device(0).configurationUploads, 1);
    EXPECT_EQ(visitor.post("/admin/reset.cgi", form("btnapp=Submit")).end, End::Reset);
    EXPECT_TRUE(eventually([this] { return fleet.device(0).restarts == 1; }));
}

TEST_F(Faults, ExtraHeadersAndBytesGoWithTheTrueAnswer)
{
    start();
    fleet.addFault(0, Fault::extra("HTTP/1.1 100 Continue\r\n\r\n", {{"Set-Cookie", "sid=\x01\x7F"}}));
    const std::unique_ptr<Wire> wire = Visitor(fleet, 0).connect();
    wire->send(requestText("POST", "/admin/proctpl.cgi", {"text", "{{login_group}}"}));
    std::string answer;
    while (answer.find("\r\n\r\n1") == std::string::npos && wire->state() == End::Open) {
        answer += wire->receive();
    }
    EXPECT_EQ(answer, "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n"
                      "Set-Cookie: sid=\x01\x7F\r\nContent-Length: 1\r\nConnection: keep-alive\r\n\r\n1");
    EXPECT_EQ(fleet.requests(0).size(), 1U);
}

TEST_F(Faults, VerbatimAnswerIsTheseBytesOnly)
{
    start();
    const std::string lie = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nFFF\r\nshort\r\n0\r\n\r\n";
    for (const Security &security : {plain, tls}) {
        fleet.addFault(0, Fault::verbatim(lie).times(1));
        const std::unique_ptr<Wire> wire = Visitor(fleet, 0, security).connect();
        wire->send(requestText("GET", "/"));
        std::string answer;
        for (std::string piece = wire->receive(); !piece.empty(); piece = wire->receive()) {
            answer += piece;
        }
        EXPECT_EQ(answer, lie);
        EXPECT_EQ(wire->state(), End::Closed);
    }
    EXPECT_EQ(fleet.requests(0).size(), 2U);
}

TEST_F(Faults, UnaskedAnswerComesBeforeTheQuestion)
{
    start();
    const std::string early = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}";
    for (const Security &security : {plain, tls}) {
        fleet.addFault(0, Fault::unasked(early).times(1));
        const std::unique_ptr<Wire> wire = Visitor(fleet, 0, security).connect();
        const Reply reply = wire->reply();
        EXPECT_EQ(reply.raw, early);
        wire->send(requestText("GET", "/"));
        EXPECT_EQ(wire->receive(), "");
        EXPECT_EQ(wire->state(), End::Closed);
    }
    EXPECT_EQ(fleet.requests(0).size(), 0U) << "nobody has read the question";
    EXPECT_EQ(get().status, 200);
}

TEST_F(Faults, TlsPortCanRefuseByAnAlertAtEachStage)
{
    start();
    fleet.addFault(0, Fault::tlsAlert(Fault::Place::Start).times(1));
    fleet.addFault(0, Fault::tlsAlert(Fault::Place::Head).times(1));
    fleet.addFault(0, Fault::tlsAlert(Fault::Place::End).times(1));
    EXPECT_EQ(get().status, 200) << "plain HTTP is not concerned";
    const Visitor visitor(fleet, 0, tls);
    const std::unique_ptr<Wire> atHello = visitor.connect();
    EXPECT_EQ(atHello->state(), End::TlsFailure);
    EXPECT_EQ(atHello->tlsReason(), "sslv3 alert handshake failure");
    const std::unique_ptr<Wire> within = visitor.connect();
    EXPECT_EQ(within->state(), End::TlsFailure);
    EXPECT_EQ(within->tlsReason(), "sslv3 alert handshake failure");
    EXPECT_EQ(within->certificateName(), "Nembra device") << "it had come so far";
    const std::unique_ptr<Wire> late = visitor.connect();
    EXPECT_EQ(late->state(), End::Open);
    EXPECT_EQ(late->tlsVersion(), "TLSv1.3");
    EXPECT_EQ(late->receive(), "");
    EXPECT_EQ(late->tlsReason(), "tlsv13 alert certificate required");
    EXPECT_EQ(visitor.get("/").status, 200);
}

TEST_F(Faults, FaultCanSpareTheFirstRequests)
{
    start();
    fleet.addFault(0, Fault::status(503, "Busy").onPath("login.cgi").after(1).times(1));
    fleet.addFault(0, Fault::refuse().onlyHttps().after(1).times(1));
    EXPECT_EQ(get("/login.cgi").status, 405);
    EXPECT_EQ(get("/").status, 200);
    EXPECT_EQ(get("/login.cgi").status, 503);
    EXPECT_EQ(get("/login.cgi").status, 405);
    const Visitor visitor(fleet, 0, tls);
    EXPECT_EQ(visitor.get("/").status, 200);
    EXPECT_NE(visitor.get("/").end, End::Open) << "reset as soon as it is there";
    EXPECT_EQ(visitor.get("/").status, 200);
}

TEST_F(Faults, RefusalThatSparesSomeIsARealOneThen)
{
    start();
    fleet.addFault(0, Fault::refuse().after(2));
    EXPECT_EQ(get().status, 200);
    EXPECT_EQ(get().status, 200);
    EXPECT_EQ(get().end, End::Refused);
    EXPECT_EQ(Visitor(fleet, 0, tls).get("/").end, End::Refused);
    fleet.clearFaults();
    EXPECT_EQ(get().status, 200);
}

TEST_F(Faults, SessionCanBeForgottenInTheMiddle)
{
    start();
    Visitor admin(fleet, 0);
    ASSERT_TRUE(admin.logIn("admin", "admin"));
    const std::string target = "/tpl/document.cgi?tpl/j/config.tpl";
    EXPECT_EQ(admin.get(target).status, 200);
    fleet.addFault(0, Fault::forgetSession().onPath("tpl/document.cgi").times(1));
    EXPECT_EQ(admin.get(target).status, 403);
    ASSERT_TRUE(admin.logIn("admin", "admin"));
    EXPECT_EQ(admin.get(target).status, 200);
    fleet.dropSessions(0);
    EXPECT_EQ(admin.get(target).status, 403);
}

TEST_F(Faults, DelayAndForgettingLetTheNextFaultHaveItsTurn)
{
    start();
    fleet.addFault(0, Fault::answerAfter(100ms));
    fleet.addFault(0, Fault::forgetSession());
    fleet.addFault(0, Fault::status(418, "Teapot"));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(get().status, 418);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 100ms);
}

TEST_F(Faults, WholeFleetCanBeHitAtOnce)
{
    start(3);
    fleet.addFault(Fault::status(503, "Busy"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Visitor(fleet, i).get("/").status, 503);
    }
    fleet.clearFaults();
    EXPECT_EQ(Visitor(fleet, 2).get("/").status, 200);
}

TEST(FaultsOfBigFleets, RefusalIsAResetWhereAllShareAListener)
{
    FleetOptions options = freePorts();
    options.listenerPerDeviceLimit = 1;
    options.restartTime = 30s;
    Fleet fleet(options);
    fleet.addDevices(3);
    fleet.start();
    EXPECT_EQ(Visitor(fleet, 1).get("/").status, 200);
    fleet.addFault(1, Fault::refuse());
    EXPECT_EQ(Visitor(fleet, 1).get("/").end, End::Reset);
    EXPECT_EQ(Visitor(fleet, 2).get("/").status, 200);
    fleet.restart(2);
    EXPECT_EQ(Visitor(fleet, 2).get("/").end, End::Reset);
    EXPECT_EQ(Wire(0x0A4DF001, fleet.httpPort()).reply().end, End::Reset) << "nobody lives there";
}

TEST(FaultListTest, FirstOneThatFitsDecides)
{
    FaultList faults;
    faults.add(Fault::status(500, "a").onPath("admin/").onlyHttps());
    faults.add(Fault::status(501, "b").onPath("admin/"));
    faults.add(Fault::status(502, "c").times(0));
    EXPECT_EQ(faults.takeForRequest(true, "/admin/x").fault->statusCode, 500);
    EXPECT_EQ(faults.takeForRequest(false, "/admin/x").fault->statusCode, 501);
    EXPECT_FALSE(faults.takeForRequest(false, "/other").fault);
}

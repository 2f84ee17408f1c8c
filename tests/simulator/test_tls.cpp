#include "testclient.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>

using namespace simulator;
using namespace testclient;

namespace {

struct Row
{
    const char *name;
    TlsMode mode;
    const char *version;
    int keyBits;
    /// A client that asks for at least TLS 1.2, as today's do, gets in.
    bool isModern;
};

std::ostream &operator<<(std::ostream &stream, const Row &row)
{
    return stream << row.name;
}

class TlsModes : public testing::TestWithParam<Row>
{
};

} // namespace

TEST_P(TlsModes, TalkTheirVersionWithTheirKey)
{
    Fleet fleet(freePorts());
    DeviceOptions options;
    options.tls = GetParam().mode;
    fleet.addDevice(options);
    fleet.start();
    const Security tolerant{true, TLS1_VERSION, TLS1_3_VERSION, 0};
    const std::unique_ptr<Wire> wire = Visitor(fleet, 0, tolerant).connect();
    ASSERT_EQ(wire->state(), End::Open);
    EXPECT_EQ(wire->tlsVersion(), GetParam().version);
    EXPECT_EQ(wire->keyBits(), GetParam().keyBits);
    wire->send(requestText("POST", "/admin/proctpl.cgi", {"text", "{{login_group}}"}));
    EXPECT_EQ(wire->reply().body, "1");

    const Security strict{true, TLS1_2_VERSION, TLS1_3_VERSION, 1};
    const std::unique_ptr<Wire> modern = Visitor(fleet, 0, strict).connect();
    EXPECT_EQ(modern->state(), GetParam().isModern ? End::Open : End::TlsFailure);
}

INSTANTIATE_TEST_SUITE_P(Tls, TlsModes,
                         testing::Values(Row{"Modern", TlsMode::Modern, "TLSv1.3", 256, true},
                                         Row{"OnlyOneZero", TlsMode::Tls10Only, "TLSv1", 2048, false},
                                         Row{"OnlyOneOne", TlsMode::Tls11Only, "TLSv1.1", 2048, false},
                                         Row{"SmallKey", TlsMode::Rsa1024, "TLSv1.2", 1024, true},
                                         Row{"TinyKey", TlsMode::Rsa512, "TLSv1.2", 512, true}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(Tls, CertificateCanBeExpiredOrOfAnotherName)
{
    Fleet fleet(freePorts());
    for (const TlsMode mode : {TlsMode::Modern, TlsMode::Expired, TlsMode::OtherName}) {
        DeviceOptions options;
        options.tls = mode;
        fleet.addDevice(options);
    }
    fleet.start();
    for (int device = 0; device < 3; ++device) {
        const std::unique_ptr<Wire> wire = Visitor(fleet, device, tls).connect();
        ASSERT_EQ(wire->state(), End::Open);
        EXPECT_EQ(wire->isCertificateExpired(), device == 1);
        EXPECT_EQ(wire->certificateName(), device == 2 ? "elsewhere.example" : "Nembra device");
        EXPECT_EQ(wire->tlsVersion(), "TLSv1.3");
    }
}

TEST(Tls, PlainTextOnTheTlsPortEndsTheConnection)
{
    Fleet fleet(freePorts());
    fleet.addDevice();
    fleet.start();
    Wire wire(fleet.device(0).address, fleet.httpsPort());
    wire.send(requestText("GET", "/"));
    EXPECT_EQ(wire.reply().status, 0);
    EXPECT_TRUE(fleet.waitFor([](const Counters &c) { return c.connections == 1 && c.openConnections == 0; },
                              patience));
    EXPECT_EQ(Visitor(fleet, 0, tls).get("/").status, 200);
}

TEST(Tls, DeviceCanBeWithoutHttps)
{
    Fleet fleet(freePorts());
    DeviceOptions options;
    options.servesHttps = false;
    fleet.addDevice(options);
    fleet.start();
    EXPECT_EQ(Visitor(fleet, 0, tls).get("/").end, End::Refused);
    EXPECT_EQ(Visitor(fleet, 0).get("/").status, 200);
}

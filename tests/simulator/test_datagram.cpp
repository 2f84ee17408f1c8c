#include "datagram.h"

#include <gtest/gtest.h>

using namespace simulator;

namespace {

Datagram sample()
{
    Datagram datagram;
    datagram.tag = 0x01020304;
    datagram.variant = 16;
    datagram.mac = {0x0E, 0x5A, 0x11, 0x00, 0x1F, 0xA2};
    datagram.address = 0x0A4D8001;
    datagram.netmask = 0xFFFF0000;
    datagram.gateway = 0x0A4D00FE;
    datagram.staticAddress = 0xC0A80105;
    datagram.nameArea = "gamma";
    return datagram;
}

} // namespace

TEST(Datagram, LaysFieldsOutBigEndianInOneHundredAndTwentyEightBytes)
{
    const std::string expected(
        "\x01\x02\x03\x04\x01\x10\x0E\x5A\x11\x00\x1F\xA2\x0A\x4D\x80\x01\xFF\xFF\x00\x00"
        "\x0A\x4D\x00\xFE\xC0\xA8\x01\x05gamma",
        33);
    EXPECT_EQ(sample().encoded(), expected + std::string(95, '\0'));
}

TEST(Datagram, ReadsBackWhatWasWritten)
{
    const auto decoded = Datagram::decoded(sample().encoded());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->tag, 0x01020304);
    EXPECT_EQ(decoded->command, 1);
    EXPECT_EQ(decoded->variant, 16);
    EXPECT_EQ(macText(decoded->mac), "0E:5A:11:00:1F:A2");
    EXPECT_EQ(addressText(decoded->address), "10.77.128.1");
    EXPECT_EQ(addressText(decoded->netmask), "255.255.0.0");
    EXPECT_EQ(addressText(decoded->gateway), "10.77.0.254");
    EXPECT_EQ(addressText(decoded->staticAddress), "192.168.1.5");
    EXPECT_EQ(decoded->nameArea.size(), 100U);
}

TEST(Datagram, NegativeTagKeepsItsBits)
{
    Datagram datagram;
    datagram.tag = -2;
    EXPECT_EQ(datagram.encoded().substr(0, 4), std::string("\xFF\xFF\xFF\xFE"));
    EXPECT_EQ(Datagram::decoded(datagram.encoded())->tag, -2);
}

TEST(Datagram, TruncatedOneIsNotUnderstood)
{
    EXPECT_FALSE(Datagram::decoded(std::string(127, '\0')));
}

TEST(NameArea, VariantSixteenHoldsTheNameFromTheFirstByte)
{
    EXPECT_EQ(encodedNameArea(16, "gamma", "ignored", {}), "gamma" + std::string(95, '\0'));
}

TEST(NameArea, OtherVariantsBeginWithTheLength)
{
    EXPECT_EQ(encodedNameArea(0, "gamma", "", {}), "\x05gamma" + std::string(94, '\0'));
    EXPECT_EQ(encodedNameArea(1, "gamma", "text", {}), "\x05gammatext" + std::string(90, '\0'));
}

TEST(NameArea, LengthByteCanLie)
{
    EXPECT_EQ(encodedNameArea(0, "gamma", "", std::uint8_t{200})[0], '\xC8');
    EXPECT_EQ(encodedNameArea(16, "gamma", "", std::uint8_t{200})[0], 'g');
}

TEST(NameArea, LongNamesAreCutAtTheArea)
{
    const std::string name(120, 'x');
    EXPECT_EQ(encodedNameArea(0, name, "tail", {}), "\x63" + std::string(99, 'x'));
    EXPECT_EQ(encodedNameArea(16, name, "", {}), std::string(100, 'x'));
}

TEST(Texts, AddressesAndMacsAreReadStrictly)
{
    EXPECT_EQ(addressFromText("10.77.128.1"), 0x0A4D8001U);
    EXPECT_FALSE(addressFromText("10.77.128"));
    EXPECT_FALSE(addressFromText("10.77.128.256"));
    EXPECT_EQ(macFromText("0e:5A:11:00:1f:a2"), (MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x1F, 0xA2}));
    EXPECT_FALSE(macFromText("0E:5A:11:00:1F"));
    EXPECT_FALSE(macFromText("0E-5A-11-00-1F-A2"));
    EXPECT_FALSE(macFromText("0E:5A:11:00:1F:G2"));
}

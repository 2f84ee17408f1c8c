#include "discovery/discoverydevice.h"
#include "fuzztarget.h"

#include <QHostAddress>

namespace {

bool isAnswer(const QByteArray &datagram)
{
    return datagram.size() > 4 && datagram.at(4) == 1;
}

QByteArray firstBytes(const QByteArray &datagram, int from, int count)
{
    return datagram.mid(from, count).leftJustified(count, '\0', true);
}

void checkRecord(const QByteArray &datagram, const DiscoveryDevice &record)
{
    require(record.variant() == (datagram.size() > 5 ? static_cast<signed char>(datagram.at(5)) : 0),
            "the variant is the sixth byte");
    require(record.nameField() == firstBytes(datagram, 28, 100), "the name area is kept as received");
    require(record.hostname().size() <= 100, "a name fits its area");
    require(record.variant() == 16 || record.hostname().size() <= 99, "a counted name leaves its count out");
    require(record.extraText().size() <= 100, "the second text fits the area");
    require(record.macText().size() == 17, "a MAC text has 17 characters");
    require(record.address().protocol() == QAbstractSocket::IPv4Protocol, "an address is one of IPv4");

    DiscoveryDevice copy;
    copy.setMacText(record.macText());
    require(copy.macText() == record.macText(), "a MAC text reads back");
}

void checkOrder(const QByteArray &datagram, const DiscoveryDevice &record)
{
    const QByteArray order = record.configurationDatagram();
    require(order.size() == 128, "an order has 128 bytes");
    require(order.at(4) == 2, "an order has command 2");
    require(order.left(4) == firstBytes(datagram, 0, 4), "an order carries the answer's tag");
    require(order.mid(5, 23) == firstBytes(datagram, 5, 23), "an unchanged record is written as it was read");
    require(!DiscoveryDevice::fromAnswer(order), "an order is no answer");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray datagram(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const auto record = DiscoveryDevice::fromAnswer(datagram);
    require(record.has_value() == isAnswer(datagram), "only command 1 is an answer");
    if (record) {
        checkRecord(datagram, *record);
        checkOrder(datagram, *record);
    }
    return 0;
}

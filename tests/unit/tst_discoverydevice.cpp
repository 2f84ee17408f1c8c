#include "discovery/discoverydevice.h"

#include <QDataStream>
#include <QTextCodec>
#include <QtTest>

namespace {

/// Bytes from hexadecimal digits; blanks are for the reader.
QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

QByteArray zeros(int count)
{
    return QByteArray(count, '\0');
}

/// Fills up with zero bytes, as a device does.
QByteArray padded(QByteArray bytes, int size)
{
    return bytes.append(zeros(size - bytes.size()));
}

/// An answer of 128 bytes: tag 7, MAC 0E:5A:11:00:1F:A2, 10.77.128.1/16, gateway 10.77.0.1, address by DHCP.
QByteArray answer(const char *variant, const QByteArray &nameArea)
{
    return hex("00000007 01") + hex(variant) + hex("0e5a11001fa2 0a4d8001 ffff0000 0a4d0001 00000000") +
           padded(nameArea, 100);
}

QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

} // namespace

class TestDiscoveryDevice : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void startsEmpty();
    void asksWithZeroBytes();

    void readsEveryField();
    void keepsTheNameAreaAsReceived();
    void acceptsOnlyAnswers_data();
    void acceptsOnlyAnswers();
    void readsZeroBeyondTheEnd_data();
    void readsZeroBeyondTheEnd();
    void ignoresWhatFollowsTheRecord_data();
    void ignoresWhatFollowsTheRecord();
    void readsNames_data();
    void readsNames();
    void keepsZeroBytesInACountedName();
    void readsTheVariantAsSigned_data();
    void readsTheVariantAsSigned();
    void leavesTheSecondTextAloneInAZeroTerminatedRecord();

    void writesEveryField();
    void writesTheTagOfTheAnswer_data();
    void writesTheTagOfTheAnswer();
    void writesNames_data();
    void writesNames();
    void writesAnOrderOfADefaultRecord();
    void encodesTheNameAnewAfterReading();
    void streamsTheRecordProper();
    void reportsAStreamThatEndsEarly();

    void writesMacTexts_data();
    void writesMacTexts();
    void takesMacTexts_data();
    void takesMacTexts();

    void takesAddresses_data();
    void takesAddresses();
    void prefersTheFixedAddress();
    void takesVariants_data();
    void takesVariants();
    void copiesEveryField();
};

void TestDiscoveryDevice::initTestCase()
{
    // Host names are written in the encoding of the user's locale.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

void TestDiscoveryDevice::startsEmpty()
{
    const DiscoveryDevice device;
    QCOMPARE(device.macText(), latin1("00:00:00:00:00:00"));
    QCOMPARE(device.address().toIPv4Address(), 0U);
    QCOMPARE(device.netmask().toIPv4Address(), 0U);
    QCOMPARE(device.gateway().toIPv4Address(), 0U);
    QCOMPARE(device.staticAddress().toIPv4Address(), 0U);
    QCOMPARE(device.effectiveAddress().toIPv4Address(), 0U);
    QCOMPARE(device.variant(), 0);
    QCOMPARE(device.tag(), 0);
    QVERIFY(device.hostname().isNull());
    QVERIFY(device.extraText().isNull());
    QVERIFY(device.nameField().isEmpty());
}

void TestDiscoveryDevice::asksWithZeroBytes()
{
    const QByteArray request = DiscoveryDevice::requestDatagram();
    QCOMPARE(request.size(), 128);
    QCOMPARE(request.toHex(), QByteArray(256, '0'));
}

void TestDiscoveryDevice::readsEveryField()
{
    const QByteArray datagram =
        hex("80010203 01 05 0e5a11001fa2 0a4d8001 ffff8000 0a4d0001 c0a80afe 05 67616d6d61") + zeros(94);
    QCOMPARE(datagram.size(), 128);

    const auto device = DiscoveryDevice::fromAnswer(datagram);
    QVERIFY(device);
    QCOMPARE(device->tag(), -2147417597);
    QCOMPARE(device->variant(), 5);
    QCOMPARE(device->macText(), latin1("0E:5A:11:00:1F:A2"));
    QCOMPARE(device->address().toString(), latin1("10.77.128.1"));
    QCOMPARE(device->netmask().toString(), latin1("255.255.128.0"));
    QCOMPARE(device->gateway().toString(), latin1("10.77.0.1"));
    QCOMPARE(device->staticAddress().toString(), latin1("192.168.10.254"));
    QCOMPARE(device->hostname(), latin1("gamma"));
    QCOMPARE(device->extraText(), latin1("a"));
}

void TestDiscoveryDevice::keepsTheNameAreaAsReceived()
{
    QByteArray area;
    for (int i = 0; i < 100; ++i) {
        area.append(static_cast<char>(0xff - i));
    }
    const auto device = DiscoveryDevice::fromAnswer(answer("00", area));
    QVERIFY(device);
    QCOMPARE(device->nameField().toHex(), area.toHex());
}

void TestDiscoveryDevice::acceptsOnlyAnswers_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("answer") << answer("00", "\x05gamma") << true;
    QTest::newRow("own request") << zeros(128) << false;
    QTest::newRow("own order") << hex("00000007 02") + zeros(123) << false;
    QTest::newRow("command 3") << hex("00000007 03") + zeros(123) << false;
    QTest::newRow("command 127") << hex("00000007 7f") + zeros(123) << false;
    QTest::newRow("command -1") << hex("00000007 ff") + zeros(123) << false;
    QTest::newRow("command -127, whose low bit is set") << hex("00000007 81") + zeros(123) << false;
    QTest::newRow("a 1 before the command's place") << hex("00000001 00") + zeros(123) << false;
    QTest::newRow("a 1 after the command's place") << hex("00000000 00 01") + zeros(122) << false;
    QTest::newRow("nothing but ones") << QByteArray(128, '\xff') << false;
    QTest::newRow("empty") << QByteArray("") << false;
    QTest::newRow("null") << QByteArray() << false;
    QTest::newRow("one byte") << hex("01") << false;
    QTest::newRow("only a tag") << hex("00000001") << false;
    QTest::newRow("tag and command only") << hex("00000007 01") << true;
    QTest::newRow("text") << QByteArray("GET / HTTP/1.1\r\n\r\n") << false;
}

void TestDiscoveryDevice::acceptsOnlyAnswers()
{
    QFETCH(QByteArray, datagram);
    QFETCH(bool, accepted);
    QCOMPARE(DiscoveryDevice::fromAnswer(datagram).has_value(), accepted);
}

void TestDiscoveryDevice::readsZeroBeyondTheEnd_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("variant");
    QTest::addColumn<QString>("mac");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("netmask");
    QTest::addColumn<QString>("gateway");
    QTest::addColumn<QString>("staticAddress");
    QTest::addColumn<QString>("hostname");
    QTest::addColumn<QString>("extraText");

    const QString none = latin1("0.0.0.0");
    const QString noMac = latin1("00:00:00:00:00:00");
    const QString mac = latin1("0E:5A:11:00:1F:A2");
    const QString address = latin1("10.77.128.1");
    const QString netmask = latin1("255.255.0.0");
    const QString gateway = latin1("10.77.0.1");
    const QString fixed = latin1("10.77.128.2");

    QTest::newRow("tag and command") << 5 << 0 << noMac << none << none << none << none << ""
                                     << "";
    QTest::newRow("up to the variant") << 6 << 3 << noMac << none << none << none << none << ""
                                       << "";
    QTest::newRow("in the MAC") << 8 << 3 << "0E:5A:00:00:00:00" << none << none << none << none << ""
                                << "";
    QTest::newRow("up to the MAC") << 12 << 3 << mac << none << none << none << none << ""
                                   << "";
    QTest::newRow("up to the address") << 16 << 3 << mac << address << none << none << none << ""
                                       << "";
    QTest::newRow("up to the netmask") << 20 << 3 << mac << address << netmask << none << none << ""
                                       << "";
    QTest::newRow("up to the gateway") << 24 << 3 << mac << address << netmask << gateway << none << ""
                                       << "";
    QTest::newRow("up to the fixed address") << 28 << 3 << mac << address << netmask << gateway << fixed << ""
                                             << "";
    QTest::newRow("in the name") << 32 << 3 << mac << address << netmask << gateway << fixed
                                 << QString::fromUtf8("gam\0\0", 5) << "";
    QTest::newRow("up to the name") << 34 << 3 << mac << address << netmask << gateway << fixed << "gamma"
                                    << "a";
    QTest::newRow("one byte short") << 127 << 3 << mac << address << netmask << gateway << fixed << "gamma"
                                    << "a";
}

void TestDiscoveryDevice::readsZeroBeyondTheEnd()
{
    const QByteArray whole =
        hex("00000007 01 03 0e5a11001fa2 0a4d8001 ffff0000 0a4d0001 0a4d8002 05 67616d6d61") + zeros(94);
    QFETCH(int, length);
    const auto device = DiscoveryDevice::fromAnswer(whole.left(length));
    QVERIFY(device);
    QCOMPARE(device->tag(), 7);
    QTEST(device->variant(), "variant");
    QTEST(device->macText(), "mac");
    QTEST(device->address().toString(), "address");
    QTEST(device->netmask().toString(), "netmask");
    QTEST(device->gateway().toString(), "gateway");
    QTEST(device->staticAddress().toString(), "staticAddress");
    QTEST(device->hostname(), "hostname");
    QTEST(device->extraText(), "extraText");
    QCOMPARE(device->nameField().size(), 100);
}

void TestDiscoveryDevice::ignoresWhatFollowsTheRecord_data()
{
    QTest::addColumn<int>("extraBytes");
    QTest::newRow("one byte") << 1;
    QTest::newRow("an Ethernet frame full") << 1372;
    QTest::newRow("the longest datagram") << 65379;
}

void TestDiscoveryDevice::ignoresWhatFollowsTheRecord()
{
    QFETCH(int, extraBytes);
    // The name fills its area, so that a reader that goes on would show it.
    const QByteArray datagram = answer("10", QByteArray(100, 'n')) + QByteArray(extraBytes, 'x');
    const auto device = DiscoveryDevice::fromAnswer(datagram);
    QVERIFY(device);
    QCOMPARE(device->hostname(), QString(100, QLatin1Char('n')));
    QCOMPARE(device->nameField(), QByteArray(100, 'n'));
    QCOMPARE(device->address().toString(), latin1("10.77.128.1"));
}

void TestDiscoveryDevice::readsNames_data()
{
    QTest::addColumn<QByteArray>("variant");
    QTest::addColumn<QByteArray>("area");
    QTest::addColumn<QString>("hostname");
    QTest::addColumn<QString>("extraText");

    const QByteArray counted = "00";
    const QByteArray terminated = "10";
    const auto repeated = [](int count, char letter) { return QString(count, QLatin1Char(letter)); };

    QTest::newRow("counted: a name") << counted << QByteArray("\x05gamma") << "gamma"
                                     << "a";
    QTest::newRow("counted: no name") << counted << QByteArray() << ""
                                      << "";
    QTest::newRow("counted: no name before letters") << counted << zeros(1) + "gamma"
                                                     << ""
                                                     << "";
    QTest::newRow("counted: one letter") << counted << QByteArray("\x01g") << "g"
                                         << "g";
    QTest::newRow("counted: a second text") << counted << QByteArray("\x04") + "boiler room"
                                            << "boil"
                                            << "ler room";
    QTest::newRow("counted: a second text in UTF-8")
        << counted << QByteArray("\x03") + "abc" + hex("c3bc c2b0") << "abc" << QString::fromUtf8("cü°");
    QTest::newRow("counted: a second text that isn't UTF-8")
        << counted << QByteArray("\x02") + "ab" + hex("ff") << "ab" << QString::fromUtf8("b\uFFFD");
    QTest::newRow("counted: a name in Latin-1")
        << counted << hex("04 4bfc6865") << QString::fromUtf8("Kühe") << "e";
    // Such a name is read byte by byte, though it was written in another encoding.
    QTest::newRow("counted: a name that was written in UTF-8")
        << counted << hex("03 4bc3bc") << QString::fromUtf8("KÃ¼") << QString::fromUtf8("\uFFFD");
    QTest::newRow("counted: 98 letters")
        << counted << hex("62") + QByteArray(98, 'n') << repeated(98, 'n') << "n";
    QTest::newRow("counted: 99 letters")
        << counted << hex("63") + QByteArray(99, 'n') << repeated(99, 'n') << "n";
    QTest::newRow("counted: a count of 100")
        << counted << hex("64") + QByteArray(99, 'n') << repeated(99, 'n') << "n";
    QTest::newRow("counted: a count of 127")
        << counted << QByteArray("\x7f") + QByteArray(99, 'n') << repeated(99, 'n') << "n";
    QTest::newRow("counted: a count of -1") << counted << QByteArray("\xff") + QByteArray(99, 'n') << ""
                                            << "";
    QTest::newRow("counted: a count of -128") << counted << QByteArray("\x80") + QByteArray(99, 'n') << ""
                                              << "";
    QTest::newRow("terminated: a name") << terminated << QByteArray("gamma") << "gamma"
                                        << "";
    QTest::newRow("terminated: no name") << terminated << QByteArray() << ""
                                         << "";
    QTest::newRow("terminated: letters after the zero")
        << terminated << QByteArray("gamma") + zeros(1) + "delta"
        << "gamma"
        << "";
    QTest::newRow("terminated: 99 letters") << terminated << QByteArray(99, 'n') << repeated(99, 'n') << "";
    QTest::newRow("terminated: no zero") << terminated << QByteArray(100, 'n') << repeated(100, 'n') << "";
    QTest::newRow("terminated: a name in Latin-1")
        << terminated << hex("4bfc6865") << QString::fromUtf8("Kühe") << "";
    QTest::newRow("terminated: a count is a letter") << terminated << QByteArray("\x05gamma") << "\x05gamma"
                                                     << "";

    for (const char *variant : {"01", "0f", "11", "20", "7f", "80", "90", "ff"}) {
        QTest::addRow("variant 0x%s counts", variant)
            << QByteArray(variant) << QByteArray("\x05gamma") << "gamma"
            << "a";
    }
}

void TestDiscoveryDevice::readsNames()
{
    QFETCH(QByteArray, variant);
    QFETCH(QByteArray, area);
    const auto device = DiscoveryDevice::fromAnswer(answer(variant.constData(), area));
    QVERIFY(device);
    QTEST(device->hostname(), "hostname");
    QTEST(device->extraText(), "extraText");
}

void TestDiscoveryDevice::keepsZeroBytesInACountedName()
{
    const auto device = DiscoveryDevice::fromAnswer(answer("00", "\x08gamma"));
    QVERIFY(device);
    const QString expected = latin1("gamma") + QChar(0) + QChar(0) + QChar(0);
    QCOMPARE(device->hostname().size(), 8);
    QCOMPARE(device->hostname(), expected);
    QCOMPARE(device->extraText(), QString());
}

void TestDiscoveryDevice::readsTheVariantAsSigned_data()
{
    QTest::addColumn<QByteArray>("byte");
    QTest::addColumn<int>("variant");
    QTest::newRow("0") << QByteArray("00") << 0;
    QTest::newRow("16") << QByteArray("10") << 16;
    QTest::newRow("127") << QByteArray("7f") << 127;
    QTest::newRow("-128") << QByteArray("80") << -128;
    QTest::newRow("-1") << QByteArray("ff") << -1;
}

void TestDiscoveryDevice::readsTheVariantAsSigned()
{
    QFETCH(QByteArray, byte);
    const auto device = DiscoveryDevice::fromAnswer(answer(byte.constData(), {}));
    QVERIFY(device);
    QTEST(device->variant(), "variant");
}

void TestDiscoveryDevice::leavesTheSecondTextAloneInAZeroTerminatedRecord()
{
    auto device = DiscoveryDevice::fromAnswer(answer("00", "\x05gamma"));
    QVERIFY(device);
    QDataStream stream(answer("10", "delta").mid(5));
    stream >> *device;
    QCOMPARE(device->hostname(), latin1("delta"));
    QCOMPARE(device->extraText(), latin1("a"));
}

void TestDiscoveryDevice::writesEveryField()
{
    DiscoveryDevice device;
    device.setTag(0x01020304);
    device.setVariant(5);
    device.setMacText(latin1("0E:5A:11:00:1F:A2"));
    device.setAddress(QHostAddress(latin1("10.77.128.1")));
    device.setNetmask(QHostAddress(latin1("255.255.128.0")));
    device.setGateway(QHostAddress(latin1("10.77.0.1")));
    device.setStaticAddress(QHostAddress(latin1("192.168.10.254")));
    device.setHostname(latin1("gamma"));

    const QByteArray expected =
        hex("01020304 02 05 0e5a11001fa2 0a4d8001 ffff8000 0a4d0001 c0a80afe 05 67616d6d61") + zeros(94);
    QCOMPARE(device.configurationDatagram().size(), 128);
    QCOMPARE(device.configurationDatagram().toHex(' '), expected.toHex(' '));
}

void TestDiscoveryDevice::writesTheTagOfTheAnswer_data()
{
    QTest::addColumn<QByteArray>("tag");
    QTest::newRow("zero") << hex("00000000");
    QTest::newRow("positive") << hex("12345678");
    QTest::newRow("greatest") << hex("7fffffff");
    QTest::newRow("least") << hex("80000000");
    QTest::newRow("minus one") << hex("ffffffff");
}

void TestDiscoveryDevice::writesTheTagOfTheAnswer()
{
    QFETCH(QByteArray, tag);
    const auto device = DiscoveryDevice::fromAnswer(tag + hex("01") + zeros(123));
    QVERIFY(device);
    const QByteArray expected = tag + hex("02") + zeros(123);
    QCOMPARE(device->configurationDatagram().toHex(), expected.toHex());
}

void TestDiscoveryDevice::writesNames_data()
{
    QTest::addColumn<int>("variant");
    QTest::addColumn<QString>("hostname");
    QTest::addColumn<QByteArray>("area");

    const auto repeated = [](int count, const char *letter) {
        return QString::fromUtf8(letter).repeated(count);
    };

    QTest::newRow("counted: a name") << 0 << "gamma" << padded("\x05gamma", 100);
    QTest::newRow("counted: no name") << 0 << "" << zeros(100);
    QTest::newRow("counted: 98 letters")
        << 0 << repeated(98, "n") << padded(hex("62") + QByteArray(98, 'n'), 100);
    QTest::newRow("counted: 99 letters") << 0 << repeated(99, "n") << hex("63") + QByteArray(99, 'n');
    QTest::newRow("counted: 100 letters") << 0 << repeated(100, "n") << hex("63") + QByteArray(99, 'n');
    QTest::newRow("counted: 120 letters") << 0 << repeated(120, "n") << hex("63") + QByteArray(99, 'n');
    QTest::newRow("counted: 70,000 letters") << 0 << repeated(70000, "n") << hex("63") + QByteArray(99, 'n');
    // The count is one of characters though "ü" takes two bytes.
    QTest::newRow("counted: two bytes a letter")
        << 0 << QString::fromUtf8("Kühe") << padded(hex("04 4bc3bc6865"), 100);
    QTest::newRow("counted: 60 letters of two bytes")
        << 0 << repeated(60, "ü") << hex("3c") + hex("c3bc").repeated(49) + hex("c3");
    QTest::newRow("counted: 120 letters of two bytes")
        << 0 << repeated(120, "ü") << hex("63") + hex("c3bc").repeated(49) + hex("c3");
    QTest::newRow("counted: a letter outside the basic plane counts two")
        << 0 << QString::fromUtf8("\U0001F321") << padded(hex("02 f09f8ca1"), 100);
    QTest::newRow("counted: a zero in the name")
        << 0 << QString::fromUtf8("a\0b", 3) << padded(hex("03 610062"), 100);
    QTest::newRow("counted: variant 15") << 15 << "gamma" << padded("\x05gamma", 100);
    QTest::newRow("counted: variant -1") << -1 << "gamma" << padded("\x05gamma", 100);
    QTest::newRow("terminated: a name") << 16 << "gamma" << padded("gamma", 100);
    QTest::newRow("terminated: no name") << 16 << "" << zeros(100);
    QTest::newRow("terminated: 99 letters") << 16 << repeated(99, "n") << padded(QByteArray(99, 'n'), 100);
    QTest::newRow("terminated: 100 letters leave no room for the zero")
        << 16 << repeated(100, "n") << QByteArray(100, 'n');
    QTest::newRow("terminated: 120 letters") << 16 << repeated(120, "n") << QByteArray(100, 'n');
    QTest::newRow("terminated: two bytes a letter")
        << 16 << QString::fromUtf8("Kühe") << padded(hex("4bc3bc6865"), 100);
    QTest::newRow("terminated: 60 letters of two bytes")
        << 16 << repeated(60, "ü") << hex("c3bc").repeated(50);
}

void TestDiscoveryDevice::writesNames()
{
    QFETCH(int, variant);
    QFETCH(QString, hostname);
    QFETCH(QByteArray, area);
    QCOMPARE(area.size(), 100);
    DiscoveryDevice device;
    device.setVariant(variant);
    device.setHostname(hostname);
    const QByteArray datagram = device.configurationDatagram();
    QCOMPARE(datagram.size(), 128);
    QCOMPARE(datagram.mid(28).toHex(' '), area.toHex(' '));
    QCOMPARE(datagram.mid(6, 22).toHex(), QByteArray(44, '0'));
}

void TestDiscoveryDevice::writesAnOrderOfADefaultRecord()
{
    const QByteArray expected = hex("00000000 02") + zeros(123);
    QCOMPARE(DiscoveryDevice().configurationDatagram().toHex(), expected.toHex());
}

void TestDiscoveryDevice::encodesTheNameAnewAfterReading()
{
    // Neither the second text nor what stood behind the name goes back to the device.
    const auto device = DiscoveryDevice::fromAnswer(answer("00", "\x04" + QByteArray("boiler room")));
    QVERIFY(device);
    QCOMPARE(device->configurationDatagram().mid(28).toHex(' '), padded("\x04"
                                                                        "boil",
                                                                        100)
                                                                     .toHex(' '));
}

void TestDiscoveryDevice::streamsTheRecordProper()
{
    DiscoveryDevice device;
    device.setTag(0x01020304);
    device.setMacText(latin1("0E:5A:11:00:1F:A2"));
    QByteArray record;
    QDataStream stream(&record, QIODevice::WriteOnly);
    stream << device;
    const QByteArray expected = hex("00 0e5a11001fa2") + zeros(116);
    QCOMPARE(record.size(), 123);
    QCOMPARE(record.toHex(' '), expected.toHex(' '));
}

void TestDiscoveryDevice::reportsAStreamThatEndsEarly()
{
    QDataStream stream(answer("00", "\x05gamma").mid(5, 10));
    DiscoveryDevice device;
    stream >> device;
    QCOMPARE(stream.status(), QDataStream::ReadPastEnd);
    QCOMPARE(device.macText(), latin1("0E:5A:11:00:1F:A2"));
}

void TestDiscoveryDevice::writesMacTexts_data()
{
    QTest::addColumn<QByteArray>("mac");
    QTest::addColumn<QString>("text");
    QTest::newRow("zero") << hex("000000000000") << "00:00:00:00:00:00";
    QTest::newRow("leading zeros") << hex("010203040506") << "01:02:03:04:05:06";
    QTest::newRow("upper case") << hex("0e5a11001fa2") << "0E:5A:11:00:1F:A2";
    QTest::newRow("high bits") << hex("fffefdfcfbfa") << "FF:FE:FD:FC:FB:FA";
    QTest::newRow("of a device without one of its own") << hex("020000000000") << "02:00:00:00:00:00";
}

void TestDiscoveryDevice::writesMacTexts()
{
    QFETCH(QByteArray, mac);
    const auto device = DiscoveryDevice::fromAnswer(hex("00000000 01 00") + mac);
    QVERIFY(device);
    QTEST(device->macText(), "text");
}

void TestDiscoveryDevice::takesMacTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("mac");

    const char *const before = "AA:BB:CC:DD:EE:FF";
    QTest::newRow("upper case") << "0E:5A:11:00:1F:A2"
                                << "0E:5A:11:00:1F:A2";
    QTest::newRow("lower case") << "0e:5a:11:00:1f:a2"
                                << "0E:5A:11:00:1F:A2";
    QTest::newRow("an empty part in the middle") << "0e:5a:11::00:1f:a2"
                                                 << "0E:5A:11:00:1F:A2";
    QTest::newRow("an empty part at both ends") << ":0e:5a:11:00:1f:a2:"
                                                << "0E:5A:11:00:1F:A2";
    QTest::newRow("single digits") << "e:5:1:0:f:a"
                                   << "0E:05:01:00:0F:0A";
    QTest::newRow("a part that is no number") << "0E:xy:11:00:1F:A2"
                                              << "0E:00:11:00:1F:A2";
    QTest::newRow("no part is a number") << "g:h:i:j:k:l"
                                         << "00:00:00:00:00:00";
    QTest::newRow("a negative part") << "0E:-1:11:00:1F:A2"
                                     << "0E:00:11:00:1F:A2";
    QTest::newRow("a part too big for a number") << "0E:123456789ab:11:00:1F:A2"
                                                 << "0E:00:11:00:1F:A2";
    QTest::newRow("five parts") << "0E:5A:11:00:1F" << before;
    QTest::newRow("six parts of which one is empty") << "0E:5A:11::00:1F" << before;
    QTest::newRow("seven parts") << "0E:5A:11:00:1F:A2:01" << before;
    QTest::newRow("hyphens") << "0E-5A-11-00-1F-A2" << before;
    QTest::newRow("no separators") << "0E5A11001FA2" << before;
    QTest::newRow("empty") << "" << before;
    QTest::newRow("null") << QString() << before;
    QTest::newRow("colons only") << ":::::" << before;
}

void TestDiscoveryDevice::takesMacTexts()
{
    QFETCH(QString, text);
    DiscoveryDevice device;
    device.setMacText(latin1("AA:BB:CC:DD:EE:FF"));
    device.setMacText(text);
    QTEST(device.macText(), "mac");
}

void TestDiscoveryDevice::takesAddresses_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("stored");
    QTest::newRow("IPv4") << "10.77.128.1"
                          << "10.77.128.1";
    QTest::newRow("high bit") << "255.255.255.254"
                              << "255.255.255.254";
    QTest::newRow("zero") << "0.0.0.0"
                          << "0.0.0.0";
    QTest::newRow("null") << QString() << "0.0.0.0";
    QTest::newRow("IPv6") << "fe80::1"
                          << "0.0.0.0";
    QTest::newRow("IPv4 within IPv6") << "::ffff:10.77.128.1"
                                      << "10.77.128.1";
}

void TestDiscoveryDevice::takesAddresses()
{
    QFETCH(QString, text);
    QFETCH(QString, stored);
    const QHostAddress given(text);
    const QHostAddress before(latin1("192.0.2.1"));
    DiscoveryDevice device;
    device.setAddress(before);
    device.setNetmask(before);
    device.setGateway(before);
    device.setStaticAddress(before);

    device.setAddress(given);
    QCOMPARE(device.address().toString(), stored);
    QCOMPARE(device.netmask().toString(), latin1("192.0.2.1"));
    device.setNetmask(given);
    QCOMPARE(device.netmask().toString(), stored);
    QCOMPARE(device.gateway().toString(), latin1("192.0.2.1"));
    device.setGateway(given);
    QCOMPARE(device.gateway().toString(), stored);
    QCOMPARE(device.staticAddress().toString(), latin1("192.0.2.1"));
    device.setStaticAddress(given);
    QCOMPARE(device.staticAddress().toString(), stored);
}

void TestDiscoveryDevice::prefersTheFixedAddress()
{
    DiscoveryDevice device;
    device.setAddress(QHostAddress(latin1("10.77.128.1")));
    QCOMPARE(device.effectiveAddress().toString(), latin1("10.77.128.1"));
    device.setStaticAddress(QHostAddress(latin1("10.77.128.2")));
    QCOMPARE(device.effectiveAddress().toString(), latin1("10.77.128.2"));
    QCOMPARE(device.address().toString(), latin1("10.77.128.1"));
    device.setStaticAddress(QHostAddress(latin1("0.0.0.0")));
    QCOMPARE(device.effectiveAddress().toString(), latin1("10.77.128.1"));
}

void TestDiscoveryDevice::takesVariants_data()
{
    QTest::addColumn<int>("given");
    QTest::addColumn<int>("stored");
    QTest::newRow("0") << 0 << 0;
    QTest::newRow("16") << 16 << 16;
    QTest::newRow("127") << 127 << 127;
    QTest::newRow("-128") << -128 << -128;
}

void TestDiscoveryDevice::takesVariants()
{
    QFETCH(int, given);
    DiscoveryDevice device;
    device.setVariant(1);
    device.setVariant(given);
    QTEST(device.variant(), "stored");
}

void TestDiscoveryDevice::copiesEveryField()
{
    const auto original = DiscoveryDevice::fromAnswer(
        hex("00000007 01 05 0e5a11001fa2 0a4d8001 ffff8000 0a4d0001 c0a80afe 05 67616d6d61"));
    QVERIFY(original);
    DiscoveryDevice copy = *original;
    DiscoveryDevice changed;
    changed = copy;
    copy.setVariant(5);
    changed.setHostname(latin1("delta"));
    changed.setMacText(latin1("02:00:00:00:00:00"));

    const QByteArray expected =
        hex("00000007 02 05 0e5a11001fa2 0a4d8001 ffff8000 0a4d0001 c0a80afe 05 67616d6d61") + zeros(94);
    QCOMPARE(copy.configurationDatagram().toHex(' '), expected.toHex(' '));
    QCOMPARE(copy.extraText(), latin1("a"));
    QCOMPARE(copy.nameField(), padded("\x05gamma", 100));
    QCOMPARE(changed.extraText(), latin1("a"));
    QCOMPARE(changed.tag(), 7);
}

QTEST_APPLESS_MAIN(TestDiscoveryDevice)

#include "tst_discoverydevice.moc"

#include "device/deviceinfo.h"

#include <QtTest>

#include <algorithm>
#include <limits>

using deviceinfo::DeviceInfo;
using deviceinfo::parseAnswer;

namespace {

/// What a device with two sensors and a wireless interface answers.
QByteArray fullAnswer()
{
    return R"({
"Sensor 1": {"v": "21.5", "e": "21.53", "u": "&deg;C", "s": "0"},
"Sensor 2": {"v": "48", "e": "48.2", "u": "%", "s": "2"},
"Firmware Manufacturer": "Ostrel",
"Firmware Name": "Thermo",
"Version": "2.4.1",
"Date": "20.11.2026",
"Time": "21:30:15",
"Location": "Cellar, 4&deg; east",
"Contact": "Ada Müller",
"WLAN SSID": "attic",
"Network Interface": "WLAN",
"Login User": "admin",
"Memory usage": "12%",
"History usage": "34%",
"uptime": ["12", "3", "4", "5"],
"netiftab": ["10.77.128.1", "10.77.128.2"],
"dev_type":"XY2",
"login_group":"3",
"histo_start":"1700000000",
"systimestamp":"1800000000"
}
)";
}

QByteArray withoutLine(const char *key)
{
    QByteArray answer;
    const QList<QByteArray> lines = fullAnswer().split('\n');
    for (const QByteArray &line : lines) {
        if (!line.startsWith('"' + QByteArray(key) + '"')) {
            answer += line + '\n';
        }
    }
    // The last member has no comma behind it.
    return answer.replace(",\n}", "\n}");
}

DeviceInfo parsed(const QByteArray &answer, bool preferExtended = false)
{
    QString error;
    const auto info = parseAnswer(answer, preferExtended, &error);
    if (!info) {
        QTest::qFail(qPrintable(QStringLiteral("no document: ") + error), __FILE__, __LINE__);
        return {};
    }
    return *info;
}

QString text(const DeviceInfo &info, int column)
{
    return info.texts.at(static_cast<std::size_t>(column));
}

QString utf8(const char *characters)
{
    return QString::fromUtf8(characters);
}

/// The one sensor of an answer, as a QString; null when it has none.
QString sensorText(const DeviceInfo &info, std::size_t index)
{
    return info.sensors.at(index) ? info.sensors.at(index)->text : QString();
}

} // namespace

class TestDeviceInfo : public QObject
{
    Q_OBJECT

private slots:
    void asksWithThisTemplate();

    void readsAFullAnswer();
    void readsMissingTextsAsEmpty_data();
    void readsMissingTextsAsEmpty();
    void readsAMissingKeyAsNothing_data();
    void readsAMissingKeyAsNothing();
    void readsAnEmptyObject();
    void refusesWhatIsNoDocument_data();
    void refusesWhatIsNoDocument();
    void refusesWithoutSomewhereToTellWhy();
    void readsADocumentThatIsNoObjectAsEmpty_data();
    void readsADocumentThatIsNoObjectAsEmpty();
    void readsOtherTypesAsEmpty_data();
    void readsOtherTypesAsEmpty();
    void takesTheLastOfEqualKeys();
    void ignoresUnknownKeys();
    void readsTextsAsTheyAre_data();
    void readsTextsAsTheyAre();
    void keepsABoundedPartOfAHugeAnswer();

    void readsSensors_data();
    void readsSensors();
    void marksSensors_data();
    void marksSensors();
    void readsSensorsByNumber();

    void readsUptime_data();
    void readsUptime();
    void tellsTheTypeByTheInterfaces_data();
    void tellsTheTypeByTheInterfaces();
    void readsTheAccessLevel_data();
    void readsTheAccessLevel();
    void readsTimes_data();
    void readsTimes();
    void namesAccessLevels_data();
    void namesAccessLevels();
};

void TestDeviceInfo::asksWithThisTemplate()
{
    const QByteArray expected =
        "{\n"
        "{%for sensortab%}\"Sensor {{loop.index}}\": {\"v\": \"{{sensortab_value}}\", \"e\": "
        "\"{{sensortab_value_ex}}\", \"u\": \"{{sensortab_unit}}\", \"s\": \"{{sensortab_status}}\"},\n"
        "{%endfor%}\"Firmware Manufacturer\": \"{{fw_manufacturer}}\",\n"
        "\"Firmware Name\": \"{{fw_name}}\",\n"
        "\"Version\": \"{{fw_version}}\",\n"
        "\"Date\": \"{{sysdate}}\",\n"
        "\"Time\": \"{{systime}}\",\n"
        "\"Location\": \"{{syslocation}}\",\n"
        "\"Contact\": \"{{syscontact}}\",\n"
        "\"WLAN SSID\": \"{%for netiftab%}{%if loop.index == 2%}{{wlan_name}}{%endif%}{%endfor%}\",\n"
        "\"Network Interface\": \"{{netif}}\",\n"
        "\"Login User\": \"{{login_user}}\",\n"
        "\"Memory usage\": \"{{memusage}}\",\n"
        "\"History usage\": \"{{histo_usage}}\",\n"
        "\"uptime\": [\"{{uptime_d}}\", \"{{uptime_h}}\", \"{{uptime_m}}\", \"{{uptime_s}}\"],\n"
        "\"netiftab\": [{%for netiftab%}{%if loop.index != 1%}, {%endif%}\"{{netiftab_ip_addr}}\""
        "{%endfor%}],\n"
        "\"dev_type\":\"{{dev_type}}\",\n"
        "\"login_group\":\"{{login_group}}\",\n"
        "\"histo_start\":\"{{histo_start}}\",\n"
        "\"systimestamp\":\"{{systimestamp}}\"\n"
        "}\n";
    // Line by line first: a difference in the middle of a thousand characters is hard to see.
    const QList<QByteArray> expectedLines = expected.split('\n');
    const QList<QByteArray> lines = deviceinfo::queryTemplate().split('\n');
    for (int i = 0; i < std::min(lines.size(), expectedLines.size()); ++i) {
        QCOMPARE(lines.at(i), expectedLines.at(i));
    }
    QCOMPARE(deviceinfo::queryTemplate(), expected);
}

void TestDeviceInfo::readsAFullAnswer()
{
    const DeviceInfo info = parsed(fullAnswer());
    QCOMPARE(text(info, 5), utf8("Ostrel"));
    QCOMPARE(text(info, 6), utf8("Thermo"));
    QCOMPARE(text(info, 7), utf8("2.4.1"));
    QCOMPARE(text(info, 14), utf8("20.11.2026"));
    QCOMPARE(text(info, 15), utf8("21:30:15"));
    QCOMPARE(text(info, 16), utf8("Cellar, 4° east"));
    QCOMPARE(text(info, 17), utf8("Ada Müller"));
    QCOMPARE(text(info, 18), utf8("attic"));
    QCOMPARE(text(info, 19), utf8("WLAN"));
    QCOMPARE(text(info, 22), utf8("admin"));
    QCOMPARE(text(info, 24), utf8("12%"));
    QCOMPARE(text(info, 26), utf8("34%"));
    for (const int column : {0, 1, 2, 3, 4, 8, 9, 10, 11, 12, 13, 20, 21, 23, 25}) {
        QVERIFY2(text(info, column).isEmpty(), qPrintable(text(info, column)));
    }
    QCOMPARE(sensorText(info, 0), utf8("21.5 °C"));
    QCOMPARE(sensorText(info, 1), utf8("48 % ↥"));
    QVERIFY(!info.sensors.at(0)->alarm);
    QVERIFY(info.sensors.at(1)->alarm);
    QVERIFY(!info.sensors.at(2));
    QVERIFY(!info.sensors.at(3));
    QCOMPARE(info.uptime.days, 12);
    QCOMPARE(info.uptime.hours, 3);
    QCOMPARE(info.uptime.minutes, 4);
    QCOMPARE(info.uptime.seconds, 5);
    QCOMPARE(info.deviceType, utf8("Nembra WLAN XY2"));
    QCOMPARE(info.loginGroup, 3);
    QCOMPARE(info.historyStart.toSecsSinceEpoch(), 1700000000LL);
    QCOMPARE(info.deviceTime.toSecsSinceEpoch(), 1800000000LL);
}

void TestDeviceInfo::readsMissingTextsAsEmpty_data()
{
    QTest::addColumn<int>("column");
    QTest::newRow("Firmware Manufacturer") << 5;
    QTest::newRow("Firmware Name") << 6;
    QTest::newRow("Version") << 7;
    QTest::newRow("Date") << 14;
    QTest::newRow("Time") << 15;
    QTest::newRow("Location") << 16;
    QTest::newRow("Contact") << 17;
    QTest::newRow("WLAN SSID") << 18;
    QTest::newRow("Network Interface") << 19;
    QTest::newRow("Login User") << 22;
    QTest::newRow("Memory usage") << 24;
    QTest::newRow("History usage") << 26;
}

void TestDeviceInfo::readsMissingTextsAsEmpty()
{
    QFETCH(int, column);
    const DeviceInfo info = parsed(withoutLine(QTest::currentDataTag()));
    QCOMPARE(text(info, column), QString());
    // Everything else is still there.
    QCOMPARE(text(info, column == 7 ? 5 : 7), column == 7 ? utf8("Ostrel") : utf8("2.4.1"));
    QCOMPARE(sensorText(info, 0), utf8("21.5 °C"));
    QCOMPARE(info.deviceType, utf8("Nembra WLAN XY2"));
}

void TestDeviceInfo::readsAMissingKeyAsNothing_data()
{
    QTest::addColumn<QString>("sensor1");
    QTest::addColumn<QString>("uptime");
    QTest::addColumn<QString>("type");
    QTest::addColumn<int>("loginGroup");
    QTest::addColumn<qint64>("historyStart");
    QTest::addColumn<qint64>("deviceTime");

    const QString sensor = utf8("21.5 °C");
    const QString uptime = utf8("12d 3h 4m 5s");
    const QString type = utf8("Nembra WLAN XY2");
    const qint64 start = 1700000000;
    const qint64 now = 1800000000;
    QTest::newRow("Sensor 1") << QString() << uptime << type << 3 << start << now;
    QTest::newRow("uptime") << sensor << "0d 0h 0m 0s" << type << 3 << start << now;
    QTest::newRow("netiftab") << sensor << uptime << "Nembra XY2" << 3 << start << now;
    QTest::newRow("dev_type") << sensor << uptime << "Nembra WLAN " << 3 << start << now;
    QTest::newRow("login_group") << sensor << uptime << type << 0 << start << now;
    QTest::newRow("histo_start") << sensor << uptime << type << 3 << qint64{0} << now;
    QTest::newRow("systimestamp") << sensor << uptime << type << 3 << start << qint64{0};
}

void TestDeviceInfo::readsAMissingKeyAsNothing()
{
    const DeviceInfo info = parsed(withoutLine(QTest::currentDataTag()));
    QTEST(sensorText(info, 0), "sensor1");
    QTEST(info.uptime.toString(), "uptime");
    QTEST(info.deviceType, "type");
    QTEST(info.loginGroup, "loginGroup");
    QTEST(info.historyStart.toSecsSinceEpoch(), "historyStart");
    QTEST(info.deviceTime.toSecsSinceEpoch(), "deviceTime");
    QCOMPARE(text(info, 7), utf8("2.4.1"));
}

void TestDeviceInfo::readsAnEmptyObject()
{
    const DeviceInfo info = parsed("{}");
    for (int column = 0; column < 27; ++column) {
        QCOMPARE(text(info, column), QString());
    }
    for (const auto &sensor : info.sensors) {
        QVERIFY2(!sensor, sensor ? qPrintable(sensor->text) : "");
    }
    QCOMPARE(info.uptime.toString(), utf8("0d 0h 0m 0s"));
    QCOMPARE(info.deviceType, utf8("Nembra "));
    QCOMPARE(info.loginGroup, 0);
    QCOMPARE(deviceinfo::accessRightsText(info.loginGroup), utf8("None"));
    QCOMPARE(info.historyStart.toUTC().toString(Qt::ISODate), utf8("1970-01-01T00:00:00Z"));
    QCOMPARE(info.deviceTime.toUTC().toString(Qt::ISODate), utf8("1970-01-01T00:00:00Z"));
    QCOMPARE(info.historyStart.timeSpec(), Qt::LocalTime);
    QCOMPARE(info.deviceTime.timeSpec(), Qt::LocalTime);
}

void TestDeviceInfo::refusesWhatIsNoDocument_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("blanks") << QByteArray("  \r\n\t ");
    QTest::newRow("zero bytes") << QByteArray(64, '\0');
    QTest::newRow("a web page") << QByteArray("<!DOCTYPE html><html><body>Login</body></html>");
    QTest::newRow("a number") << QByteArray("42");
    QTest::newRow("null") << QByteArray("null");
    QTest::newRow("true") << QByteArray("true");
    QTest::newRow("a text") << QByteArray("\"text\"");
    QTest::newRow("cut off") << fullAnswer().left(300);
    QTest::newRow("the last brace is missing") << fullAnswer().left(fullAnswer().lastIndexOf('}'));
    QTest::newRow("something behind the end") << fullAnswer() + "{}";
    QTest::newRow("a comma before the end") << QByteArray(R"({"Version": "1",})");
    QTest::newRow("a comment") << QByteArray("{/* */}");
    QTest::newRow("single quotes") << QByteArray("{'Version': '1'}");
    QTest::newRow("a quote that is not escaped") << QByteArray(R"({"Location": "quote " inside"})");
    QTest::newRow("invalid UTF-8") << QByteArray("{\"Location\": \"\xff\xfe\"}");
    QTest::newRow("UTF-8 cut off") << QByteArray("{\"Location\": \"\xc3\"}");
    QTest::newRow("Latin-1") << QByteArray("{\"Sensor 1\": {\"u\": \"\xb0"
                                           "C\"}}");
    QTest::newRow("nested too deep") << "{\"a\":" + QByteArray(5000, '[') + QByteArray(5000, ']') + "}";
    QTest::newRow("nested without an end") << QByteArray(100000, '[');
}

void TestDeviceInfo::refusesWhatIsNoDocument()
{
    QFETCH(QByteArray, answer);
    QString error;
    const auto info = parseAnswer(answer, false, &error);
    QVERIFY2(!info, info ? qPrintable(info->deviceType) : "");
    QVERIFY(!error.isEmpty());
}

void TestDeviceInfo::refusesWithoutSomewhereToTellWhy()
{
    QVERIFY(!parseAnswer("no document", false));
    QVERIFY(!parseAnswer("no document", false, nullptr));
}

void TestDeviceInfo::readsADocumentThatIsNoObjectAsEmpty_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("an empty array") << QByteArray("[]");
    QTest::newRow("an array") << QByteArray(R"(["Version", "2.4.1"])");
    QTest::newRow("an array around the object") << '[' + fullAnswer() + ']';
}

void TestDeviceInfo::readsADocumentThatIsNoObjectAsEmpty()
{
    QFETCH(QByteArray, answer);
    const DeviceInfo info = parsed(answer);
    QCOMPARE(text(info, 7), QString());
    QVERIFY(!info.sensors.at(0));
    QCOMPARE(info.deviceType, utf8("Nembra "));
    QCOMPARE(info.uptime.toString(), utf8("0d 0h 0m 0s"));
}

void TestDeviceInfo::readsOtherTypesAsEmpty_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("number") << QByteArray("7");
    QTest::newRow("fraction") << QByteArray("7.5");
    QTest::newRow("true") << QByteArray("true");
    QTest::newRow("null") << QByteArray("null");
    QTest::newRow("object") << QByteArray(R"({"v": 7, "e": 7, "u": 7, "s": 129})");
    QTest::newRow("array of numbers") << QByteArray("[7, 7, 7, 7]");
}

void TestDeviceInfo::readsOtherTypesAsEmpty()
{
    QFETCH(QByteArray, value);
    QByteArray answer = "{";
    for (const char *key : {"Sensor 1", "Sensor 4", "Version", "Location", "uptime", "dev_type",
                            "login_group", "histo_start", "systimestamp"}) {
        answer += '"' + QByteArray(key) + "\": " + value + ',';
    }
    answer += "\"netiftab\": 3}";
    const DeviceInfo info = parsed(answer, true);
    QCOMPARE(text(info, 7), QString());
    QCOMPARE(text(info, 16), QString());
    QCOMPARE(sensorText(info, 0), utf8(" "));
    QCOMPARE(sensorText(info, 3), utf8(" "));
    QVERIFY(!info.sensors.at(0)->alarm);
    QCOMPARE(info.uptime.toString(), utf8("0d 0h 0m 0s"));
    QCOMPARE(info.deviceType, utf8("Nembra "));
    QCOMPARE(info.loginGroup, 0);
    QCOMPARE(info.historyStart.toSecsSinceEpoch(), 0LL);
    QCOMPARE(info.deviceTime.toSecsSinceEpoch(), 0LL);
}

void TestDeviceInfo::takesTheLastOfEqualKeys()
{
    QCOMPARE(text(parsed(R"({"Version": "1", "Version": "2"})"), 7), utf8("2"));
}

void TestDeviceInfo::ignoresUnknownKeys()
{
    const DeviceInfo info =
        parsed(R"({"Sensor 0": {"v": "0"}, "Sensor 5": {"v": "5"}, "sensor 1": {"v": "1"}, "IP": "10.0.0.1",)"
               R"( "System name": "x", "Status": "x", "HTTP Type": "x", "version": "x", "Version ": "x"})");
    for (int column = 0; column < 27; ++column) {
        QCOMPARE(text(info, column), QString());
    }
    for (std::size_t i = 0; i < 4; ++i) {
        QCOMPARE(sensorText(info, i), QString());
    }
}

void TestDeviceInfo::readsTextsAsTheyAre_data()
{
    QTest::addColumn<QByteArray>("location");
    QTest::addColumn<QString>("shown");
    QTest::newRow("empty") << QByteArray("") << "";
    QTest::newRow("a degree sign") << QByteArray("&deg;") << utf8("°");
    QTest::newRow("two degree signs") << QByteArray("a&deg;b&deg;") << utf8("a°b°");
    QTest::newRow("case matters") << QByteArray("&DEG;") << "&DEG;";
    QTest::newRow("other entities") << QByteArray("&amp;&deg&#176;") << "&amp;&deg&#176;";
    QTest::newRow("a degree sign of characters that weren't one")
        << QByteArray("&&deg;deg;") << utf8("&°deg;");
    QTest::newRow("mark-up") << QByteArray("<b>x</b><img src='/dev/zero'>")
                             << "<b>x</b><img src='/dev/zero'>";
    QTest::newRow("escapes") << QByteArray(R"(a\tb\\c\"d\u00b0)") << utf8("a\tb\\c\"d°");
    QTest::newRow("a zero") << QByteArray(R"(a\u0000b)") << QString::fromUtf8("a\0b", 3);
    QTest::newRow("outside the basic plane") << QByteArray("\xf0\x9f\x8c\xa1") << utf8("\U0001F321");
    QTest::newRow("a template that stayed unfilled") << QByteArray("{{syslocation}}") << "{{syslocation}}";
    QTest::newRow("place markers") << QByteArray("%1 %n") << "%1 %n";
}

void TestDeviceInfo::readsTextsAsTheyAre()
{
    QFETCH(QByteArray, location);
    QTEST(text(parsed("{\"Location\": \"" + location + "\"}"), 16), "shown");
}

void TestDeviceInfo::keepsABoundedPartOfAHugeAnswer()
{
    const QByteArray value(900 * 1024, 'x');
    const DeviceInfo info = parsed(R"({"Location": ")" + value +
                                   R"(", "Contact": "me", "Version": "2.4.1", "dev_type": "XY2", )" +
                                   R"("Sensor 4": {"v": "21.5", "u": "C", "s": "0"}})");
    QCOMPARE(text(info, 7), utf8("2.4.1"));
    QCOMPARE(info.deviceType, utf8("Nembra XY2"));
    QCOMPARE(info.sensors[3]->text, utf8("21.5 C"));
    // What is left for it, and nothing for what comes behind.
    QCOMPARE(text(info, 16).size(), 16384 - 5 - 3 - 6);
    QCOMPARE(text(info, 17), QString());
    QCOMPARE(deviceinfo::maximumAnswerSize, 65536);
}

void TestDeviceInfo::readsSensors_data()
{
    QTest::addColumn<QByteArray>("sensor");
    QTest::addColumn<bool>("preferExtended");
    QTest::addColumn<QString>("shown");

    const QByteArray both = R"("v": "21.5", "e": "21.53", "u": "°C", "s": "0")";
    QTest::newRow("plain value") << both << false << utf8("21.5 °C");
    QTest::newRow("extended value") << both << true << utf8("21.53 °C");
    QTest::newRow("extended value of the same length")
        << QByteArray(R"("v": "21.5", "e": "21.6", "u": "°C")") << true << utf8("21.6 °C");
    QTest::newRow("extended value is shorter")
        << QByteArray(R"("v": "21.53", "e": "21.5", "u": "°C")") << true << utf8("21.53 °C");
    QTest::newRow("extended value is empty")
        << QByteArray(R"("v": "21.5", "e": "", "u": "°C")") << true << utf8("21.5 °C");
    QTest::newRow("no extended value") << QByteArray(R"("v": "21.5", "u": "°C")") << true << utf8("21.5 °C");
    QTest::newRow("extended value is the variable's name")
        << QByteArray(R"("v": "21.5", "e": "sensortab_value_ex", "u": "°C")") << true << utf8("21.5 °C");
    QTest::newRow("extended value is nearly the variable's name")
        << QByteArray(R"("v": "21.5", "e": "Sensortab_value_ex", "u": "K")") << true
        << "Sensortab_value_ex K";
    QTest::newRow("both values are empty")
        << QByteArray(R"("v": "", "e": "", "u": "°C")") << true << utf8(" °C");
    QTest::newRow("only an extended value")
        << QByteArray(R"("e": "21.53", "u": "°C")") << true << utf8("21.53 °C");
    QTest::newRow("only an extended value, not wanted")
        << QByteArray(R"("e": "21.53", "u": "°C")") << false << utf8(" °C");
    QTest::newRow("extended value is a number")
        << QByteArray(R"("v": "21.5", "e": 21.53, "u": "°C")") << true << utf8("21.5 °C");
    QTest::newRow("unit in HTML") << QByteArray(R"("v": "21.5", "u": "&deg;C")") << false << utf8("21.5 °C");
    QTest::newRow("value keeps its HTML")
        << QByteArray(R"("v": "21&deg;", "u": "C")") << false << utf8("21&deg; C");
    QTest::newRow("no unit") << QByteArray(R"("v": "21.5")") << false << utf8("21.5 ");
    QTest::newRow("unit is no text") << QByteArray(R"("v": "21.5", "u": ["K"])") << false << utf8("21.5 ");
    QTest::newRow("no member") << QByteArray() << false << " ";
}

void TestDeviceInfo::readsSensors()
{
    QFETCH(QByteArray, sensor);
    QFETCH(bool, preferExtended);
    const DeviceInfo info = parsed("{\"Sensor 1\": {" + sensor + "}}", preferExtended);
    QVERIFY(info.sensors.at(0));
    QTEST(info.sensors.at(0)->text, "shown");
    QVERIFY(!info.sensors.at(0)->alarm);
}

void TestDeviceInfo::marksSensors_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<bool>("alarm");

    const QString failed = utf8("1 V \u2716");
    const QString belowLimit = utf8("1 V \u21A7");
    const QString aboveLimit = utf8("1 V \u21A5");
    const QString belowWarning = utf8("1 V \u2198");
    const QString aboveWarning = utf8("1 V \u2197");
    QTest::newRow("0x00") << QByteArray("\"0\"") << "1 V" << false;
    QTest::newRow("0x01") << QByteArray("\"1\"") << belowLimit << true;
    QTest::newRow("0x02") << QByteArray("\"2\"") << aboveLimit << true;
    QTest::newRow("0x03") << QByteArray("\"3\"") << belowLimit << true;
    QTest::newRow("0x04") << QByteArray("\"4\"") << belowWarning << true;
    QTest::newRow("0x05") << QByteArray("\"5\"") << belowLimit << true;
    QTest::newRow("0x06") << QByteArray("\"6\"") << aboveLimit << true;
    QTest::newRow("0x08") << QByteArray("\"8\"") << aboveWarning << true;
    QTest::newRow("0x0a") << QByteArray("\"10\"") << aboveLimit << true;
    QTest::newRow("0x0c") << QByteArray("\"12\"") << belowWarning << true;
    QTest::newRow("0x0f") << QByteArray("\"15\"") << belowLimit << true;
    QTest::newRow("0x80") << QByteArray("\"128\"") << failed << true;
    QTest::newRow("0x81") << QByteArray("\"129\"") << failed << true;
    QTest::newRow("0x8f") << QByteArray("\"143\"") << failed << true;
    QTest::newRow("0xff") << QByteArray("\"255\"") << failed << true;
    QTest::newRow("bits that have no mark") << QByteArray("\"112\"") << "1 V" << false;
    QTest::newRow("bits above a byte") << QByteArray("\"256\"") << "1 V" << false;
    QTest::newRow("bits above a byte and one within") << QByteArray("\"258\"") << aboveLimit << true;
    QTest::newRow("no number") << QByteArray("\"x\"") << "1 V" << false;
    QTest::newRow("hexadecimal is no number") << QByteArray("\"0x80\"") << "1 V" << false;
    QTest::newRow("fraction is no number") << QByteArray("\"2.0\"") << "1 V" << false;
    QTest::newRow("empty") << QByteArray("\"\"") << "1 V" << false;
    QTest::newRow("too big") << QByteArray("\"4294967298\"") << "1 V" << false;
    QTest::newRow("number instead of a text") << QByteArray("129") << "1 V" << false;
    QTest::newRow("null") << QByteArray("null") << "1 V" << false;
}

void TestDeviceInfo::marksSensors()
{
    QFETCH(QByteArray, status);
    const DeviceInfo info = parsed(R"({"Sensor 1": {"v": "1", "u": "V", "s": )" + status + "}}");
    QVERIFY(info.sensors.at(0));
    QTEST(info.sensors.at(0)->text, "shown");
    QTEST(info.sensors.at(0)->alarm, "alarm");
}

void TestDeviceInfo::readsSensorsByNumber()
{
    const DeviceInfo info = parsed(R"({"Sensor 4": {"v": "d", "u": "4"}, "Sensor 2": {"v": "b", "u": "2"},)"
                                   R"( "Sensor 1": {"v": "a", "u": "1"}, "Sensor 5": {"v": "e", "u": "5"}})");
    QCOMPARE(sensorText(info, 0), utf8("a 1"));
    QCOMPARE(sensorText(info, 1), utf8("b 2"));
    QVERIFY(!info.sensors.at(2));
    QCOMPARE(sensorText(info, 3), utf8("d 4"));
}

void TestDeviceInfo::readsUptime_data()
{
    QTest::addColumn<QByteArray>("uptime");
    QTest::addColumn<QString>("shown");
    QTest::newRow("four numbers") << QByteArray(R"(["12", "3", "4", "5"])") << "12d 3h 4m 5s";
    QTest::newRow("three numbers") << QByteArray(R"(["12", "3", "4"])") << "12d 3h 4m 0s";
    QTest::newRow("one number") << QByteArray(R"(["12"])") << "12d 0h 0m 0s";
    QTest::newRow("none") << QByteArray("[]") << "0d 0h 0m 0s";
    QTest::newRow("five numbers") << QByteArray(R"(["1", "2", "3", "4", "5"])") << "1d 2h 3m 4s";
    QTest::newRow("garbage") << QByteArray(R"(["x", "", "3.5", "0x10"])") << "0d 0h 0m 0s";
    QTest::newRow("unfilled") << QByteArray(R"(["{{uptime_d}}", "3", "4", "5"])") << "0d 3h 4m 5s";
    QTest::newRow("other types") << QByteArray(R"([12, null, [4], "5"])") << "0d 0h 0m 5s";
    QTest::newRow("leading zeros") << QByteArray(R"(["00", "03", "04", "08"])") << "0d 3h 4m 8s";
    QTest::newRow("negative") << QByteArray(R"(["-1", "3", "4", "5"])") << "-1d 3h 4m 5s";
    QTest::newRow("limits") << QByteArray(
                                   R"(["2147483647", "-2147483648", "2147483648", "99999999999999999999"])")
                            << "2147483647d -2147483648h 0m 0s";
    QTest::newRow("a text") << QByteArray(R"("12")") << "0d 0h 0m 0s";
}

void TestDeviceInfo::readsUptime()
{
    QFETCH(QByteArray, uptime);
    QTEST(parsed("{\"uptime\": " + uptime + "}").uptime.toString(), "shown");
}

void TestDeviceInfo::tellsTheTypeByTheInterfaces_data()
{
    QTest::addColumn<QByteArray>("interfaces");
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QString>("shown");
    const QByteArray type = "\"XY2\"";
    QTest::newRow("none") << QByteArray("[]") << type << "Nembra XY2";
    QTest::newRow("one") << QByteArray(R"(["10.77.128.1"])") << type << "Nembra XY2";
    QTest::newRow("two") << QByteArray(R"(["10.77.128.1", "10.77.128.2"])") << type << "Nembra WLAN XY2";
    QTest::newRow("three") << QByteArray(R"(["a", "b", "c"])") << type << "Nembra WLAN XY2";
    QTest::newRow("two without addresses") << QByteArray(R"(["", ""])") << type << "Nembra WLAN XY2";
    QTest::newRow("two of another type") << QByteArray("[null, 1]") << type << "Nembra WLAN XY2";
    QTest::newRow("an object") << QByteArray(R"({"a": "1", "b": "2"})") << type << "Nembra XY2";
    QTest::newRow("empty type") << QByteArray("[]") << QByteArray("\"\"") << "Nembra ";
    QTest::newRow("type is a number") << QByteArray(R"(["a", "b"])") << QByteArray("2") << "Nembra WLAN ";
    QTest::newRow("type keeps its HTML") << QByteArray("[]") << QByteArray("\"&deg;\"") << "Nembra &deg;";
}

void TestDeviceInfo::tellsTheTypeByTheInterfaces()
{
    QFETCH(QByteArray, interfaces);
    QFETCH(QByteArray, type);
    QTEST(parsed("{\"netiftab\": " + interfaces + ", \"dev_type\": " + type + "}").deviceType, "shown");
}

void TestDeviceInfo::readsTheAccessLevel_data()
{
    QTest::addColumn<QByteArray>("given");
    QTest::addColumn<int>("level");
    QTest::newRow("0") << QByteArray("\"0\"") << 0;
    QTest::newRow("1") << QByteArray("\"1\"") << 1;
    QTest::newRow("3") << QByteArray("\"3\"") << 3;
    QTest::newRow("above the highest") << QByteArray("\"4\"") << 4;
    QTest::newRow("negative") << QByteArray("\"-1\"") << -1;
    QTest::newRow("the greatest number") << QByteArray("\"2147483647\"") << 2147483647;
    QTest::newRow("too big") << QByteArray("\"4294967299\"") << 0;
    QTest::newRow("empty") << QByteArray("\"\"") << 0;
    QTest::newRow("garbage") << QByteArray("\"3 or so\"") << 0;
    QTest::newRow("unfilled") << QByteArray("\"{{login_group}}\"") << 0;
    // A right is only taken from the form in which devices give it.
    QTest::newRow("number instead of a text") << QByteArray("3") << 0;
    QTest::newRow("array") << QByteArray("[\"3\"]") << 0;
}

void TestDeviceInfo::readsTheAccessLevel()
{
    QFETCH(QByteArray, given);
    QTEST(parsed("{\"login_group\": " + given + "}").loginGroup, "level");
}

void TestDeviceInfo::readsTimes_data()
{
    QTest::addColumn<QByteArray>("given");
    QTest::addColumn<QString>("utc");
    QTest::newRow("zero") << QByteArray("\"0\"") << "1970-01-01T00:00:00Z";
    QTest::newRow("now") << QByteArray("\"1800000000\"") << "2027-01-15T08:00:00Z";
    QTest::newRow("in summer time") << QByteArray("\"1784000000\"") << "2026-07-14T03:33:20Z";
    QTest::newRow("beyond 32 bits") << QByteArray("\"4294967296\"") << "2106-02-07T06:28:16Z";
    QTest::newRow("before 1970") << QByteArray("\"-86400\"") << "1969-12-31T00:00:00Z";
    QTest::newRow("garbage") << QByteArray("\"yesterday\"") << "1970-01-01T00:00:00Z";
    QTest::newRow("fraction") << QByteArray("\"1800000000.5\"") << "1970-01-01T00:00:00Z";
    QTest::newRow("empty") << QByteArray("\"\"") << "1970-01-01T00:00:00Z";
    QTest::newRow("beyond 64 bits") << QByteArray("\"9223372036854775808\"") << "1970-01-01T00:00:00Z";
    QTest::newRow("number instead of a text") << QByteArray("1800000000") << "1970-01-01T00:00:00Z";
}

void TestDeviceInfo::readsTimes()
{
    QFETCH(QByteArray, given);
    const DeviceInfo info = parsed("{\"histo_start\": " + given + ", \"systimestamp\": " + given + "}");
    QCOMPARE(info.historyStart.timeSpec(), Qt::LocalTime);
    QCOMPARE(info.deviceTime.timeSpec(), Qt::LocalTime);
    QTEST(info.historyStart.toUTC().toString(Qt::ISODate), "utc");
    QTEST(info.deviceTime.toUTC().toString(Qt::ISODate), "utc");
}

void TestDeviceInfo::namesAccessLevels_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("name");
    QTest::newRow("not yet known") << -1 << "";
    QTest::newRow("0") << 0 << "None";
    QTest::newRow("1") << 1 << "Read data";
    QTest::newRow("2") << 2 << "Read data / Read config";
    QTest::newRow("3") << 3 << "Read data / Write config";
    QTest::newRow("4") << 4 << "";
    QTest::newRow("least") << std::numeric_limits<qint32>::min() << "";
    QTest::newRow("greatest") << std::numeric_limits<qint32>::max() << "";
}

void TestDeviceInfo::namesAccessLevels()
{
    QFETCH(int, level);
    QTEST(deviceinfo::accessRightsText(level), "name");
}

QTEST_APPLESS_MAIN(TestDeviceInfo)

#include "tst_deviceinfo.moc"

#include "device/devicelistfile.h"
#include "devicelisttest.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using devicelistfile::Outcome;

class TestDeviceListFile : public QObject, private DeviceListTest
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void reads_data();
    void reads();
    void readsNothingFromWhatIsNoFile_data();
    void readsNothingFromWhatIsNoFile();
    void survivesDeepNesting_data();
    void survivesDeepNesting();
    void readsUpToItsLimit();
    void writesAnEmptyList();
    void writesTwoDevices();
    void writesWhateverANameHolds();
    void makesTheFileIfThereIsNone();
    void replacesTheWholeFile();
    void readsWhatItWrote();
    void doesNotOpen_data();
    void doesNotOpen();
};

void TestDeviceListFile::reads_data()
{
    QTest::addColumn<QByteArray>("written");
    QTest::addColumn<QByteArray>("elements");
    const auto row = [](const char *name, const QByteArray &written, const QByteArray &elements) {
        QTest::newRow(name) << written << elements;
    };

    row("one device",
        "{\n    \"devices\": [\n        {\n            \"first_seen\": \"2021-03-04T05:06:07Z\",\n"
        "            \"hostname\": \"roof\",\n            \"last_seen\": \"2021-03-04T05:06:08Z\",\n"
        "            \"mac\": \"0E:5A:11:00:00:01\"\n        }\n    ]\n}\n",
        "[{\"first_seen\":\"2021-03-04T05:06:07Z\",\"hostname\":\"roof\","
        "\"last_seen\":\"2021-03-04T05:06:08Z\",\"mac\":\"0E:5A:11:00:00:01\"}]");
    row("several in their order", R"({"devices":[{"mac":"2"},{"mac":"3"},{"mac":"1"}]})",
        R"([{"mac":"2"},{"mac":"3"},{"mac":"1"}])");
    row("the same one twice", R"({"devices":[{"mac":"2"},{"mac":"2"}]})", R"([{"mac":"2"},{"mac":"2"}])");
    row("no device", R"({"devices":[]})", "[]");
    row("unknown keys beside the list", R"({"a":1,"devices":[{"mac":"2"}],"version":{"x":[]}})",
        R"([{"mac":"2"}])");
    row("unknown keys in a device", R"({"devices":[{"mac":"2","password":"x"}]})",
        R"([{"mac":"2","password":"x"}])");
    row("elements of every type", R"({"devices":[null,true,1.5,"x",[],{}]})", R"([null,true,1.5,"x",[],{}])");
    row("escapes", R"({"devices":["\u00fc\"\\\/\b\n\u0000"]})", "[\"\303\274\\\"\\\\/\\b\\n\\u0000\"]");
    row("UTF-8", "{\"devices\":[\"\303\274\360\237\214\241\"]}", "[\"\303\274\360\237\214\241\"]");
    row("a byte order mark", "\357\273\277{\"devices\":[{\"mac\":\"2\"}]}", R"([{"mac":"2"}])");
    row("carriage returns and tabs", "\r\n{\t\"devices\"\r\n:\t[{}\r\n]\r\n}\r\n\r\n", "[{}]");
    row("a list with a later one of the same key", R"({"devices":1,"devices":[2]})", "[2]");

    row("empty", "", "[]");
    row("blanks", " \n\t ", "[]");
    row("only a byte order mark", "\357\273\277", "[]");
    row("nonsense", "roof 0E:5A:11:00:00:01", "[]");
    row("zeros", QByteArray(4096, '\0'), "[]");
    row("every byte", QByteArray::fromHex("000102030405060708090a0b0c0d0e0f7f80818283feff"), "[]");
    row("cut off in a device", R"({"devices":[{"mac":"2"},{"mac":)", "[]");
    row("cut off before the end", R"({"devices":[{"mac":"2"}])", "[]");
    row("text behind the end", R"({"devices":[{"mac":"2"}]} and more)", "[]");
    row("a second document behind the first", R"({"devices":[{"mac":"2"}]}{"devices":[]})", "[]");
    row("a zero behind the end", QByteArray("{\"devices\":[{\"mac\":\"2\"}]}\0", 26), "[]");
    row("a comma too many", R"({"devices":[{"mac":"2"},]})", "[]");
    row("a comment", R"({"devices":[{"mac":"2"}]} // known)", "[]");
    row("single quotes", "{'devices':[{'mac':'2'}]}", "[]");
    row("UTF-16", QByteArray("\377\376{\0\"\0d\0\"\0:\0[\0]\0}\0", 18), "[]");
    row("broken UTF-8", "{\"devices\":[{\"hostname\":\"\303(\"}]}", "[]");

    row("root is an array", R"([{"mac":"2"}])", "[]");
    row("root is an array around it", R"([{"devices":[{"mac":"2"}]}])", "[]");
    row("root is a string", R"("devices")", "[]");
    row("root is a number", "7", "[]");
    row("root is true", "true", "[]");
    row("root is null", "null", "[]");
    row("no devices", R"({"version":1})", "[]");
    row("an empty object", "{}", "[]");
    row("devices under another case", R"({"Devices":[{"mac":"2"}]})", "[]");
    row("devices further down", R"({"list":{"devices":[{"mac":"2"}]}})", "[]");
    row("devices is an object", R"({"devices":{"0":{"mac":"2"}}})", "[]");
    row("devices is a string", R"({"devices":"[{}]"})", "[]");
    row("devices is a number", R"({"devices":1})", "[]");
    row("devices is true", R"({"devices":true})", "[]");
    row("devices is null", R"({"devices":null})", "[]");
}

void TestDeviceListFile::reads()
{
    QFETCH(QByteArray, written);
    put(written);
    const Reading seen = read(path());
    QTEST(QJsonDocument(seen.elements).toJson(QJsonDocument::Compact), "elements");
    QCOMPARE(seen.messages, QStringList());
    // It is only looked at.
    QCOMPARE(content(), written);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestDeviceListFile::readsNothingFromWhatIsNoFile_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << "devices.json";
    QTest::newRow("in a missing directory") << "missing/devices.json";
    QTest::newRow("a directory") << "directory";
    QTest::newRow("a directory by its slash") << "directory/";
    QTest::newRow("below a file") << "file/devices.json";
    QTest::newRow("a name that is too long") << QString(5000, QLatin1Char('x'));
}

void TestDeviceListFile::readsNothingFromWhatIsNoFile()
{
    QFETCH(QString, name);
    QVERIFY(QDir(directory()).mkdir(QStringLiteral("directory")));
    put(oldContent, QStringLiteral("file"));
    const QStringList before = names();
    const Reading seen = read(path(name));
    QCOMPARE(seen.elements, QJsonArray());
    QCOMPARE(seen.messages, QStringList());
    QCOMPARE(names(), before);
}

void TestDeviceListFile::survivesDeepNesting_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<int>("size");
    const QByteArray open(1000, '[');
    const QByteArray close(1000, ']');
    QTest::newRow("beside the list") << QByteArray("{\"x\":" + open + close + ",\"devices\":[1]}")
                                     << QByteArray() << 1;
    QTest::newRow("in the list") << QByteArray("{\"devices\":[" + open + close + "]}") << QByteArray() << 1;
    QTest::newRow("a million in the list")
        << QByteArray("{\"devices\":" + open.repeated(1000)) << QByteArray(close.repeated(1000) + "}") << 0;
    QTest::newRow("a million beside it") << QByteArray("{\"x\":" + open.repeated(1000))
                                         << QByteArray(close.repeated(1000) + ",\"devices\":[1]}") << 0;
    QTest::newRow("a million that never close") << open.repeated(1000) << QByteArray() << 0;
    QTest::newRow("a million objects")
        << QByteArray("{\"devices\":[" + QByteArray("{\"a\":").repeated(1000000)) << QByteArray() << 0;
}

void TestDeviceListFile::survivesDeepNesting()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    put(before + after);
    const Reading seen = read(path());
    QTEST(seen.elements.size(), "size");
    QCOMPARE(seen.messages, QStringList());
}

void TestDeviceListFile::readsUpToItsLimit()
{
    constexpr int limit = 134217728;
    QCOMPARE(devicelistfile::maximumSize, qint64(limit));
    QByteArray longest = R"({"devices":[{"mac":"2"}]})";
    longest.append(limit - longest.size(), ' ');
    put(longest);
    QCOMPARE(read(path()).elements.size(), 1);
    put(longest + ' ');
    const Reading seen = read(path());
    QCOMPARE(seen.elements.size(), 0);
    QCOMPARE(seen.messages,
             QStringList{QStringLiteral("Too long for a list of devices: \"%1\"").arg(path())});
}

void TestDeviceListFile::writesAnEmptyList()
{
    QCOMPARE(devicelistfile::write(path(), {}), Outcome::Saved);
    QCOMPARE(content(), QByteArray("{\n"
                                   "    \"devices\": [\n"
                                   "    ]\n"
                                   "}\n"));
    QCOMPARE(devicelistfile::read(path()), QJsonArray());
}

void TestDeviceListFile::writesTwoDevices()
{
    const QJsonArray list{device("roof", "0E:5A:11:00:00:02", "2021-03-04T05:06:07Z", "2021-03-04T05:06:08Z"),
                          device("", "0E:5A:11:00:00:01", "", "")};
    QCOMPARE(devicelistfile::write(path(), list), Outcome::Saved);
    QCOMPARE(content(), QByteArray("{\n"
                                   "    \"devices\": [\n"
                                   "        {\n"
                                   "            \"first_seen\": \"2021-03-04T05:06:07Z\",\n"
                                   "            \"hostname\": \"roof\",\n"
                                   "            \"last_seen\": \"2021-03-04T05:06:08Z\",\n"
                                   "            \"mac\": \"0E:5A:11:00:00:02\"\n"
                                   "        },\n"
                                   "        {\n"
                                   "            \"first_seen\": \"\",\n"
                                   "            \"hostname\": \"\",\n"
                                   "            \"last_seen\": \"\",\n"
                                   "            \"mac\": \"0E:5A:11:00:00:01\"\n"
                                   "        }\n"
                                   "    ]\n"
                                   "}\n"));
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestDeviceListFile::writesWhateverANameHolds()
{
    const QJsonObject object{
        {QStringLiteral("hostname"), QString::fromUtf8("\"\\/\n\t\x01\x7F\xC3\xBC\xF0\x9F\x8C\xA1") +
                                         QChar(QChar::Null) + QLatin1String("</b>")}};
    QCOMPARE(devicelistfile::write(path(), {object}), Outcome::Saved);
    QCOMPARE(content(), QByteArray("{\n"
                                   "    \"devices\": [\n"
                                   "        {\n"
                                   "            \"hostname\": "
                                   "\"\\\"\\\\/\\n\\t\\u0001\x7F\xC3\xBC\xF0\x9F\x8C\xA1\\u0000</b>\"\n"
                                   "        }\n"
                                   "    ]\n"
                                   "}\n"));
    QCOMPARE(devicelistfile::read(path()), QJsonArray{object});
}

void TestDeviceListFile::makesTheFileIfThereIsNone()
{
    QCOMPARE(names(), QStringList());
    QCOMPARE(devicelistfile::write(path(), {}), Outcome::Saved);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
    // Not one that its user could only read.
    QVERIFY(QFile::permissions(path()).testFlag(QFileDevice::WriteOwner));
}

void TestDeviceListFile::replacesTheWholeFile()
{
    QCOMPARE(devicelistfile::write(path(), devices(1000)), Outcome::Saved);
    QVERIFY(content().size() > 100000);
    QCOMPARE(devicelistfile::write(path(), {1}), Outcome::Saved);
    QCOMPARE(content(), QByteArray("{\n    \"devices\": [\n        1\n    ]\n}\n"));
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestDeviceListFile::readsWhatItWrote()
{
    const QJsonArray list = devices(50000 / shortened);
    QCOMPARE(devicelistfile::write(path(), list), Outcome::Saved);
    QCOMPARE(devicelistfile::read(path()), list);
}

void TestDeviceListFile::doesNotOpen_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("in a missing directory") << "missing/devices.json";
    QTest::newRow("a directory") << "directory";
    QTest::newRow("below a file") << "file/devices.json";
}

void TestDeviceListFile::doesNotOpen()
{
    QFETCH(QString, path);
    QVERIFY(QDir(directory()).mkdir(QStringLiteral("directory")));
    put(oldContent, QStringLiteral("file"));
    put(oldContent, QStringLiteral("directory/file"));
    const QStringList before = names();
    QCOMPARE(devicelistfile::write(this->path(path), devices(1000)), Outcome::NotOpened);
    QCOMPARE(names(), before);
    QCOMPARE(content(QStringLiteral("file")), oldContent);
    QCOMPARE(QDir(this->path(QStringLiteral("directory"))).entryList(QDir::Files),
             QStringList{QStringLiteral("file")});
}

QTEST_GUILESS_MAIN(TestDeviceListFile)
#include "tst_devicelistfile.moc"

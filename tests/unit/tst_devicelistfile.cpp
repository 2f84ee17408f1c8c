#include "device/devicelistfile.h"
#include "disktrouble.h"
#include "thisprocess.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <sys/stat.h>

using devicelistfile::Outcome;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
/// Sanitizers look at every allocation, and most of these contents are nothing but allocations.
constexpr int shortened = 500;
#else
constexpr int shortened = 1;
#endif

/// A file that is so many times as long may take so many times as long to be read. With a cost that grows
/// with the square of the length it would take a thousand times.
constexpr int longer = 32;
constexpr double longerToRead = 256.0;

const QByteArray oldContent = "{\"devices\": [{\"hostname\": \"old\"}]}\n";

/// What the program would have said on its standard error.
QStringList &messages()
{
    static QStringList list;
    return list;
}

void collectMessage(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString &text)
{
    messages() += text;
}

QJsonObject device(const char *hostname, const char *mac, const char *firstSeen, const char *lastSeen)
{
    return {{QStringLiteral("mac"), QLatin1String(mac)},
            {QStringLiteral("last_seen"), QLatin1String(lastSeen)},
            {QStringLiteral("hostname"), QString::fromUtf8(hostname)},
            {QStringLiteral("first_seen"), QLatin1String(firstSeen)}};
}

/// So many devices that their file is longer than every buffer on the way: about 150 bytes each.
QJsonArray devices(int count)
{
    QJsonArray array;
    for (int i = 0; i < count; ++i) {
        array.append(
            device("long list", "0E:5A:11:00:00:01", "2021-03-04T05:06:07Z", "2021-03-04T05:06:07Z"));
    }
    return array;
}

} // namespace

class TestDeviceListFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void reads_data();
    void reads();
    void readsNothingFromWhatIsNoFile_data();
    void readsNothingFromWhatIsNoFile();
    void readsNothingThatItMayNotRead();
    void survivesDeepNesting_data();
    void survivesDeepNesting();
    void readsLongFilesInAStraightLine_data();
    void readsLongFilesInAStraightLine();
    void readsUpToItsLimit();
    void readsNoDeviceWithoutAnEnd();
    void readsNoPipeIntoWhichNobodyWrites();

    void writesAnEmptyList();
    void writesTwoDevices();
    void writesWhateverANameHolds();
    void makesTheFileIfThereIsNone();
    void replacesTheWholeFile();
    void keepsASymbolicLink();
    void followsALinkToNowhere();
    void keepsTheMode_data();
    void keepsTheMode();
    void readsWhatItWrote();

    void doesNotOpen_data();
    void doesNotOpen();
    void doesNotOpenInAReadOnlyDirectory();
    void doesNotOpenOnAReadOnlyDisk();
    void doesNotOpenWithoutRoomForANewFile();
    void keepsTheOldFileOnAFullDisk_data();
    void keepsTheOldFileOnAFullDisk();
    void keepsTheOldFileAtASizeLimit_data();
    void keepsTheOldFileAtASizeLimit();
    void leavesNoHalfFileWhereThereWasNone();

private:
    QString path(const QString &name = QStringLiteral("devices.json")) const
    {
        return m_directory->filePath(name);
    }
    void put(const QByteArray &content, const QString &name = QStringLiteral("devices.json")) const;
    QByteArray content(const QString &name = QStringLiteral("devices.json")) const;
    /// The names of everything in the directory.
    QStringList names() const;

    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestDeviceListFile::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
    messages().clear();
}

void TestDeviceListFile::cleanup()
{
    m_directory.reset();
}

void TestDeviceListFile::put(const QByteArray &content, const QString &name) const
{
    QFile file(path(name));
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.errorString()));
    QCOMPARE(file.write(content), qint64(content.size()));
    file.close();
    QCOMPARE(file.error(), QFileDevice::NoError);
}

QByteArray TestDeviceListFile::content(const QString &name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("not there");
}

QStringList TestDeviceListFile::names() const
{
    return QDir(m_directory->path())
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

/// Reads and notes what is said meanwhile.
#define READ_INTO(array, path)                                                                               \
    const QtMessageHandler handlerBefore = qInstallMessageHandler(collectMessage);                           \
    const QJsonArray array = devicelistfile::read(path);                                                     \
    qInstallMessageHandler(handlerBefore)

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
    READ_INTO(elements, path());
    QTEST(QJsonDocument(elements).toJson(QJsonDocument::Compact), "elements");
    QCOMPARE(messages(), QStringList());
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
    QTest::newRow("a link to nowhere") << "nowhere";
    QTest::newRow("a link to itself") << "circle";
    QTest::newRow("a name that is too long") << QString(5000, QLatin1Char('x'));
    QTest::newRow("a file whose reading fails") << "broken";
}

void TestDeviceListFile::readsNothingFromWhatIsNoFile()
{
    QFETCH(QString, name);
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("directory")));
    put(oldContent, QStringLiteral("file"));
    QVERIFY(QFile::link(QStringLiteral("gone"), path(QStringLiteral("nowhere"))));
    QVERIFY(QFile::link(QStringLiteral("circle"), path(QStringLiteral("circle"))));
    // Address 0, which no process has.
    QVERIFY(QFile::link(QStringLiteral("/proc/self/mem"), path(QStringLiteral("broken"))));
    const QStringList before = names();
    READ_INTO(elements, path(name));
    QCOMPARE(elements, QJsonArray());
    QCOMPARE(messages(), QStringList());
    QCOMPARE(names(), before);
}

void TestDeviceListFile::readsNothingThatItMayNotRead()
{
    put(oldContent);
    QCOMPARE(chmod(QFile::encodeName(path()).constData(), 0), 0);
    const ModesCount modesCount;
    READ_INTO(elements, path());
    QCOMPARE(elements, QJsonArray());
    QCOMPARE(messages(), QStringList());
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
    READ_INTO(elements, path());
    QTEST(elements.size(), "size");
    QCOMPARE(messages(), QStringList());
}

void TestDeviceListFile::readsLongFilesInAStraightLine_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("part");
    QTest::addColumn<int>("parts");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<int>("size");
    const auto row = [](const char *name, const QByteArray &before, const QByteArray &part, int parts,
                        const QByteArray &after,
                        int size) { QTest::newRow(name) << before << part << parts << after << size; };
    constexpr int million = 200000 / shortened;
    const QByteArray begin = "{\"devices\":[";
    row("nonsense", "", "nonsense!\n", 10 * million, "", 0);
    row("zeros", "", QByteArray(10, '\0'), 10 * million, "", 0);
    row("blanks", "", "          ", 10 * million, "", 0);
    row("a text without an end", begin + '"', "xxxxxxxxxx", 10 * million, "", 0);
    row("numbers", begin, "1,", 50 * million, "1]}", 50 * million + 1);
    row("numbers without an end", begin, "1,", 50 * million, "", 0);
    row("arrays", begin, "[[]],", 20 * million, "1]}", 20 * million + 1);
    row("objects", begin, "{},", 33 * million, "1]}", 33 * million + 1);
    row("texts", begin, "\"a\",", 25 * million, "1]}", 25 * million + 1);
    row("equal keys", "{", R"("devices":7,)", 8 * million, R"("devices":7})", 0);
    row("equal keys in a device", begin + '{', R"("mac":1,)", 12 * million, R"("mac":2}]})", 1);
}

void TestDeviceListFile::readsLongFilesInAStraightLine()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, part);
    QFETCH(int, parts);
    QFETCH(QByteArray, after);
    // Processor time: how much of it others leave to us is no matter of the file.
    const auto timeToRead = [&](int count) {
        put(before + part.repeated(count) + after);
        const qint64 start = thisprocess::workOfThread();
        READ_INTO(elements, path());
        return qMakePair(elements.size(), thisprocess::workOfThread() - start);
    };
    const auto shortFile = timeToRead(parts / longer);
    const auto longFile = timeToRead(parts);
    qInfo("%lld and %lld ms", shortFile.second, longFile.second);
    QTEST(longFile.first, "size");
    QCOMPARE(messages(), QStringList());
    // Below it is the grain of the clock and of the allocator that shows.
    constexpr qint64 measurable = 2; // milliseconds
    QVERIFY(static_cast<double>(longFile.second) <=
            longerToRead * static_cast<double>(std::max(shortFile.second, measurable)));
}

void TestDeviceListFile::readsUpToItsLimit()
{
    constexpr int limit = 134217728;
    QCOMPARE(devicelistfile::maximumSize, qint64(limit));
    QByteArray longest = R"({"devices":[{"mac":"2"}]})";
    longest.append(limit - longest.size(), ' ');
    put(longest);
    QCOMPARE(devicelistfile::read(path()).size(), 1);
    put(longest + ' ');
    READ_INTO(elements, path());
    QCOMPARE(elements.size(), 0);
    QCOMPARE(messages(), QStringList{QStringLiteral("Too long for a list of devices: \"%1\"").arg(path())});
}

void TestDeviceListFile::readsNoDeviceWithoutAnEnd()
{
    READ_INTO(elements, QStringLiteral("/dev/zero"));
    QCOMPARE(elements.size(), 0);
    QCOMPARE(messages(), QStringList());
}

void TestDeviceListFile::readsNoPipeIntoWhichNobodyWrites()
{
    QCOMPARE(mkfifo(QFile::encodeName(path()).constData(), S_IRUSR | S_IWUSR), 0);
    READ_INTO(elements, path());
    QCOMPARE(elements.size(), 0);
    QCOMPARE(messages(), QStringList());
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

void TestDeviceListFile::keepsASymbolicLink()
{
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("elsewhere")));
    put(oldContent, QStringLiteral("elsewhere/known.json"));
    QVERIFY(QFile::link(QStringLiteral("elsewhere/known.json"), path()));
    QCOMPARE(devicelistfile::write(path(), {}), Outcome::Saved);
    QVERIFY(QFileInfo(path()).isSymLink());
    QVERIFY(!QFileInfo(path(QStringLiteral("elsewhere/known.json"))).isSymLink());
    QCOMPARE(content(QStringLiteral("elsewhere/known.json")),
             QByteArray("{\n    \"devices\": [\n    ]\n}\n"));
    QCOMPARE(names(), (QStringList{QStringLiteral("devices.json"), QStringLiteral("elsewhere")}));
}

void TestDeviceListFile::followsALinkToNowhere()
{
    QVERIFY(QFile::link(QStringLiteral("known.json"), path()));
    QCOMPARE(devicelistfile::write(path(), {}), Outcome::Saved);
    QVERIFY(QFileInfo(path()).isSymLink());
    QCOMPARE(content(QStringLiteral("known.json")), QByteArray("{\n    \"devices\": [\n    ]\n}\n"));
}

void TestDeviceListFile::keepsTheMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("private") << 0600;
    QTest::newRow("for the group to read") << 0640;
    QTest::newRow("for the group to write") << 0660;
    QTest::newRow("for all to write") << 0666;
    QTest::newRow("for all to run") << 0755;
}

void TestDeviceListFile::keepsTheMode()
{
    QFETCH(int, mode);
    put(oldContent);
    QCOMPARE(chmod(QFile::encodeName(path()).constData(), static_cast<mode_t>(mode)), 0);
    QCOMPARE(devicelistfile::write(path(), {}), Outcome::Saved);
    struct stat status
    {
    };
    QCOMPARE(stat(QFile::encodeName(path()).constData(), &status), 0);
    QCOMPARE(QString::number(status.st_mode & 07777U, 8), QString::number(mode, 8));
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
    QTest::newRow("a link to a directory") << "link";
    QTest::newRow("a link into a missing directory") << "astray";
}

void TestDeviceListFile::doesNotOpen()
{
    QFETCH(QString, path);
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("directory")));
    put(oldContent, QStringLiteral("file"));
    put(oldContent, QStringLiteral("directory/file"));
    QVERIFY(QFile::link(QStringLiteral("directory"), this->path(QStringLiteral("link"))));
    QVERIFY(QFile::link(QStringLiteral("missing/devices.json"), this->path(QStringLiteral("astray"))));
    const QStringList before = names();
    QCOMPARE(devicelistfile::write(this->path(path), devices(1000)), Outcome::NotOpened);
    QCOMPARE(names(), before);
    QCOMPARE(content(QStringLiteral("file")), oldContent);
    QCOMPARE(QDir(this->path(QStringLiteral("directory"))).entryList(QDir::Files),
             QStringList{QStringLiteral("file")});
}

void TestDeviceListFile::doesNotOpenInAReadOnlyDirectory()
{
    put(oldContent);
    QCOMPARE(chmod(QFile::encodeName(m_directory->path()).constData(), 0500), 0);
    {
        const ModesCount modesCount;
        QCOMPARE(devicelistfile::write(path(), devices(1000)), Outcome::NotOpened);
        QCOMPARE(devicelistfile::write(path(QStringLiteral("new.json")), {}), Outcome::NotOpened);
    }
    QCOMPARE(chmod(QFile::encodeName(m_directory->path()).constData(), 0700), 0);
    QCOMPARE(content(), oldContent);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestDeviceListFile::doesNotOpenOnAReadOnlyDisk()
{
    const SmallDisk disk(m_directory->path(), "size=1m");
    SKIP_WITHOUT(disk);
    put(oldContent);
    QVERIFY(disk.makeReadOnly());
    QCOMPARE(devicelistfile::write(path(), devices(10)), Outcome::NotOpened);
    QCOMPARE(devicelistfile::write(path(QStringLiteral("new.json")), {}), Outcome::NotOpened);
    QCOMPARE(content(), oldContent);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestDeviceListFile::doesNotOpenWithoutRoomForANewFile()
{
    // One for the directory, one for the old file.
    const SmallDisk disk(m_directory->path(), "size=1m,nr_inodes=2");
    SKIP_WITHOUT(disk);
    put(oldContent);
    QCOMPARE(devicelistfile::write(path(), devices(10)), Outcome::NotOpened);
    QCOMPARE(content(), oldContent);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestDeviceListFile::keepsTheOldFileOnAFullDisk_data()
{
    QTest::addColumn<int>("freeBytes");
    QTest::addColumn<int>("devices");
    QTest::newRow("full, a short list") << 0 << 2;
    QTest::newRow("full, a long list") << 0 << 2000;
    QTest::newRow("filled up on the way") << 65536 << 2000;
    QTest::newRow("filled up just before the end") << 389120 << 2000;
}

void TestDeviceListFile::keepsTheOldFileOnAFullDisk()
{
    QFETCH(int, freeBytes);
    QFETCH(int, devices);
    constexpr int diskSize = 1048576;
    constexpr int pageSize = 4096;
    const SmallDisk disk(m_directory->path(), "size=" + QByteArray::number(diskSize));
    SKIP_WITHOUT(disk);
    put(oldContent);
    put(QByteArray(diskSize - pageSize - freeBytes, 'x'), QStringLiteral("others"));
    QCOMPARE(devicelistfile::write(path(), ::devices(devices)), Outcome::NotWritten);
    QCOMPARE(content(), oldContent);
    QCOMPARE(names(), (QStringList{QStringLiteral("devices.json"), QStringLiteral("others")}));
}

void TestDeviceListFile::keepsTheOldFileAtASizeLimit_data()
{
    QTest::addColumn<int>("bytes");
    QTest::addColumn<int>("devices");
    QTest::newRow("nothing fits, a short list") << 0 << 2;
    QTest::newRow("nothing fits, a long list") << 0 << 2000;
    QTest::newRow("a part of a short list fits") << 100 << 2;
    QTest::newRow("one byte of a long list fits") << 1 << 2000;
    QTest::newRow("a part of a long list fits") << 100000 << 2000;
    QTest::newRow("all but one byte of a short list fits") << 417 << 2;
    QTest::newRow("all but one byte of a long list fits") << 392025 << 2000;
}

void TestDeviceListFile::keepsTheOldFileAtASizeLimit()
{
    QFETCH(int, bytes);
    QFETCH(int, devices);
    put(oldContent);
    {
        const FileSizeLimit limit(bytes);
        QCOMPARE(devicelistfile::write(path(), ::devices(devices)), Outcome::NotWritten);
    }
    QCOMPARE(content(), oldContent);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
    // The next attempt doesn't suffer from it.
    QCOMPARE(devicelistfile::write(path(), {}), Outcome::Saved);
    QCOMPARE(content(), QByteArray("{\n    \"devices\": [\n    ]\n}\n"));
}

void TestDeviceListFile::leavesNoHalfFileWhereThereWasNone()
{
    {
        const FileSizeLimit limit(100000);
        QCOMPARE(devicelistfile::write(path(), devices(2000)), Outcome::NotWritten);
    }
    QCOMPARE(names(), QStringList());
}

QTEST_GUILESS_MAIN(TestDeviceListFile)
#include "tst_devicelistfile.moc"

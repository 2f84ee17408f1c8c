#include "device/devicelistfile.h"
#include "devicelisttest.h"
#include "disktrouble.h"
#include "thisprocess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QtTest>

#include <algorithm>
#include <sys/stat.h>

using devicelistfile::Outcome;

namespace {

/// A file that is so many times as long may take so many times as long to be read. With a cost that grows
/// with the square of the length it would take a thousand times.
constexpr int longer = 32;
constexpr double longerToRead = 256.0;

} // namespace

/// The list's file among links, pipes and modes, on disks that fail, and the time that it takes: Unix has
/// ways to bring that about.
class TestDeviceListFileUnix : public QObject, private DeviceListTest
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void readsNothingFromWhatIsNoFile_data();
    void readsNothingFromWhatIsNoFile();
    void readsNothingThatItMayNotRead();
    void readsLongFilesInAStraightLine_data();
    void readsLongFilesInAStraightLine();
    void readsNoDeviceWithoutAnEnd();
    void readsNoPipeIntoWhichNobodyWrites();
    void keepsASymbolicLink();
    void followsALinkToNowhere();
    void keepsTheMode_data();
    void keepsTheMode();
    void doesNotOpenALink_data();
    void doesNotOpenALink();
    void doesNotOpenInAReadOnlyDirectory();
    void doesNotOpenOnAReadOnlyDisk();
    void doesNotOpenWithoutRoomForANewFile();
    void keepsTheOldFileOnAFullDisk_data();
    void keepsTheOldFileOnAFullDisk();
    void keepsTheOldFileAtASizeLimit_data();
    void keepsTheOldFileAtASizeLimit();
    void leavesNoHalfFileWhereThereWasNone();
};

void TestDeviceListFileUnix::readsNothingFromWhatIsNoFile_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("a link to nowhere") << "gone";
    QTest::newRow("a link to itself") << "devices.json";
    // Address 0, which no process has.
    QTest::newRow("a file whose reading fails") << "/proc/self/mem";
}

void TestDeviceListFileUnix::readsNothingFromWhatIsNoFile()
{
    QFETCH(QString, target);
    QVERIFY(QFile::link(target, path()));
    const Reading seen = read(path());
    QCOMPARE(seen.elements, QJsonArray());
    QCOMPARE(seen.messages, QStringList());
    QCOMPARE(names(), QStringList{usualName});
}

void TestDeviceListFileUnix::readsNothingThatItMayNotRead()
{
    put(oldContent);
    QCOMPARE(chmod(QFile::encodeName(path()).constData(), 0), 0);
    const ModesCount modesCount;
    const Reading seen = read(path());
    QCOMPARE(seen.elements, QJsonArray());
    QCOMPARE(seen.messages, QStringList());
}

void TestDeviceListFileUnix::readsLongFilesInAStraightLine_data()
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

void TestDeviceListFileUnix::readsLongFilesInAStraightLine()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, part);
    QFETCH(int, parts);
    QFETCH(QByteArray, after);
    // Processor time: how much of it others leave to us is no matter of the file.
    const auto timeToRead = [&](int count) {
        put(before + part.repeated(count) + after);
        const qint64 start = thisprocess::workOfThread();
        const Reading seen = read(path());
        return qMakePair(seen, thisprocess::workOfThread() - start);
    };
    const auto shortFile = timeToRead(parts / longer);
    const auto longFile = timeToRead(parts);
    qInfo("%lld and %lld ms", shortFile.second, longFile.second);
    QTEST(longFile.first.elements.size(), "size");
    QCOMPARE(shortFile.first.messages, QStringList());
    QCOMPARE(longFile.first.messages, QStringList());
    // Below it is the grain of the clock and of the allocator that shows.
    constexpr qint64 measurable = 2; // milliseconds
    QVERIFY(static_cast<double>(longFile.second) <=
            longerToRead * static_cast<double>(std::max(shortFile.second, measurable)));
}

void TestDeviceListFileUnix::readsNoDeviceWithoutAnEnd()
{
    const Reading seen = read(QStringLiteral("/dev/zero"));
    QCOMPARE(seen.elements.size(), 0);
    QCOMPARE(seen.messages, QStringList());
}

void TestDeviceListFileUnix::readsNoPipeIntoWhichNobodyWrites()
{
    QCOMPARE(mkfifo(QFile::encodeName(path()).constData(), S_IRUSR | S_IWUSR), 0);
    const Reading seen = read(path());
    QCOMPARE(seen.elements.size(), 0);
    QCOMPARE(seen.messages, QStringList());
}

void TestDeviceListFileUnix::keepsASymbolicLink()
{
    QVERIFY(QDir(directory()).mkdir(QStringLiteral("elsewhere")));
    put(oldContent, QStringLiteral("elsewhere/known.json"));
    QVERIFY(QFile::link(QStringLiteral("elsewhere/known.json"), path()));
    QCOMPARE(devicelistfile::write(path(), {}), Outcome::Saved);
    QVERIFY(QFileInfo(path()).isSymLink());
    QVERIFY(!QFileInfo(path(QStringLiteral("elsewhere/known.json"))).isSymLink());
    QCOMPARE(content(QStringLiteral("elsewhere/known.json")),
             QByteArray("{\n    \"devices\": [\n    ]\n}\n"));
    QCOMPARE(names(), (QStringList{QStringLiteral("devices.json"), QStringLiteral("elsewhere"),
                                   QStringLiteral("elsewhere/known.json")}));
}

void TestDeviceListFileUnix::followsALinkToNowhere()
{
    QVERIFY(QFile::link(QStringLiteral("known.json"), path()));
    QCOMPARE(devicelistfile::write(path(), {}), Outcome::Saved);
    QVERIFY(QFileInfo(path()).isSymLink());
    QCOMPARE(content(QStringLiteral("known.json")), QByteArray("{\n    \"devices\": [\n    ]\n}\n"));
}

void TestDeviceListFileUnix::keepsTheMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("private") << 0600;
    QTest::newRow("for the group to read") << 0640;
    QTest::newRow("for the group to write") << 0660;
    QTest::newRow("for all to write") << 0666;
    QTest::newRow("for all to run") << 0755;
}

void TestDeviceListFileUnix::keepsTheMode()
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

void TestDeviceListFileUnix::doesNotOpenALink_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("to a directory") << "directory";
    QTest::newRow("into a missing directory") << "missing/devices.json";
}

void TestDeviceListFileUnix::doesNotOpenALink()
{
    QFETCH(QString, target);
    QVERIFY(QDir(directory()).mkdir(QStringLiteral("directory")));
    put(oldContent, QStringLiteral("directory/file"));
    QVERIFY(QFile::link(target, path()));
    const QStringList before = names();
    QCOMPARE(devicelistfile::write(path(), devices(1000)), Outcome::NotOpened);
    QCOMPARE(names(), before);
    QVERIFY(QFileInfo(path()).isSymLink());
    QCOMPARE(content(QStringLiteral("directory/file")), oldContent);
}

void TestDeviceListFileUnix::doesNotOpenInAReadOnlyDirectory()
{
    put(oldContent);
    QCOMPARE(chmod(QFile::encodeName(directory()).constData(), 0500), 0);
    {
        const ModesCount modesCount;
        QCOMPARE(devicelistfile::write(path(), devices(1000)), Outcome::NotOpened);
        QCOMPARE(devicelistfile::write(path(QStringLiteral("new.json")), {}), Outcome::NotOpened);
    }
    QCOMPARE(chmod(QFile::encodeName(directory()).constData(), 0700), 0);
    QCOMPARE(content(), oldContent);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestDeviceListFileUnix::doesNotOpenOnAReadOnlyDisk()
{
    const SmallDisk disk(directory(), "size=1m");
    SKIP_WITHOUT(disk);
    put(oldContent);
    QVERIFY(disk.makeReadOnly());
    QCOMPARE(devicelistfile::write(path(), devices(10)), Outcome::NotOpened);
    QCOMPARE(devicelistfile::write(path(QStringLiteral("new.json")), {}), Outcome::NotOpened);
    QCOMPARE(content(), oldContent);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestDeviceListFileUnix::doesNotOpenWithoutRoomForANewFile()
{
    // One for the directory, one for the old file.
    const SmallDisk disk(directory(), "size=1m,nr_inodes=2");
    SKIP_WITHOUT(disk);
    put(oldContent);
    QCOMPARE(devicelistfile::write(path(), devices(10)), Outcome::NotOpened);
    QCOMPARE(content(), oldContent);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestDeviceListFileUnix::keepsTheOldFileOnAFullDisk_data()
{
    QTest::addColumn<int>("freeBytes");
    QTest::addColumn<int>("devices");
    QTest::newRow("full, a short list") << 0 << 2;
    QTest::newRow("full, a long list") << 0 << 2000;
    QTest::newRow("filled up on the way") << 65536 << 2000;
    QTest::newRow("filled up just before the end") << 389120 << 2000;
}

void TestDeviceListFileUnix::keepsTheOldFileOnAFullDisk()
{
    QFETCH(int, freeBytes);
    QFETCH(int, devices);
    constexpr int diskSize = 1048576;
    constexpr int pageSize = 4096;
    const SmallDisk disk(directory(), "size=" + QByteArray::number(diskSize));
    SKIP_WITHOUT(disk);
    put(oldContent);
    put(QByteArray(diskSize - pageSize - freeBytes, 'x'), QStringLiteral("others"));
    QCOMPARE(devicelistfile::write(path(), DeviceListTest::devices(devices)), Outcome::NotWritten);
    QCOMPARE(content(), oldContent);
    QCOMPARE(names(), (QStringList{QStringLiteral("devices.json"), QStringLiteral("others")}));
}

void TestDeviceListFileUnix::keepsTheOldFileAtASizeLimit_data()
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

void TestDeviceListFileUnix::keepsTheOldFileAtASizeLimit()
{
    QFETCH(int, bytes);
    QFETCH(int, devices);
    put(oldContent);
    {
        const FileSizeLimit limit(bytes);
        QCOMPARE(devicelistfile::write(path(), DeviceListTest::devices(devices)), Outcome::NotWritten);
    }
    QCOMPARE(content(), oldContent);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
    // The next attempt doesn't suffer from it.
    QCOMPARE(devicelistfile::write(path(), {}), Outcome::Saved);
    QCOMPARE(content(), QByteArray("{\n    \"devices\": [\n    ]\n}\n"));
}

void TestDeviceListFileUnix::leavesNoHalfFileWhereThereWasNone()
{
    {
        const FileSizeLimit limit(100000);
        QCOMPARE(devicelistfile::write(path(), devices(2000)), Outcome::NotWritten);
    }
    QCOMPARE(names(), QStringList());
}

QTEST_GUILESS_MAIN(TestDeviceListFileUnix)
#include "tst_devicelistfile_unix.moc"

#include "disktrouble.h"
#include "operations/outputfile.h"
#include "outputtest.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

/// Files among links and modes, on disks that fail, and of a process that is killed: Unix has ways to bring
/// that about.
class TestOutputFileUnix : public QObject, private OutputTest
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void refusesALinkToNoDirectory_data();
    void refusesALinkToNoDirectory();
    void removesWhatAKilledProcessLeft();
    void replacesALinkAndSparesItsTarget_data();
    void replacesALinkAndSparesItsTarget();
    void writesIntoALinkedDirectory();
    void failsWhenTheDirectoryGoes();
    void failsWithoutWriteAccess();
    void failsOnAReadOnlyDisk();
    void failsWithoutRoomForANewFile();
    void failsOnAFullDisk_data();
    void failsOnAFullDisk();
    void failsAtASizeLimit_data();
    void failsAtASizeLimit();
    void tellsWhatCantBePutOnTheDisk();
    void keepsTheOldFileWhenItFails();
    void hasTheModeOfAnyNewFile();
};

void TestOutputFileUnix::refusesALinkToNoDirectory_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("a link to nowhere") << "gone";
    QTest::newRow("a link to itself") << "link";
}

void TestOutputFileUnix::refusesALinkToNoDirectory()
{
    QFETCH(QString, target);
    const QString link = rootPath(QStringLiteral("link"));
    QVERIFY(QFile::link(rootPath(target), link));
    verifyRefusal(link);
}

void TestOutputFileUnix::removesWhatAKilledProcessLeft()
{
    const pid_t child = fork();
    if (child == 0) {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write("some of it");
        raise(SIGKILL);
    }
    QCOMPARE(waitpid(child, nullptr, 0), child);
    QCOMPARE(everythingBelow(directory()).size(), 1);
    OutputFile::removeLeftovers(directory());
    QCOMPARE(everything(), nothing);
}

void TestOutputFileUnix::replacesALinkAndSparesItsTarget_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("to a file elsewhere") << "precious";
    QTest::newRow("to nowhere") << "missing";
    QTest::newRow("to a directory") << "inside";
}

void TestOutputFileUnix::replacesALinkAndSparesItsTarget()
{
    QFETCH(QString, target);
    putInRoot(QStringLiteral("precious"), "don't touch");
    QVERIFY(QDir().mkdir(rootPath(QStringLiteral("inside"))));
    QVERIFY(QFile::link(rootPath(target), path(usualName)));
    {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write("new");
        QVERIFY(file.commit(answerTime()));
    }
    QCOMPARE(everything(), (QStringList{QStringLiteral("inside"), QStringLiteral("out"),
                                        QLatin1String("out/") + usualName, QStringLiteral("precious")}));
    QVERIFY(!QFileInfo(path(usualName)).isSymLink());
    QCOMPARE(content(usualName), QByteArray("new"));
    QCOMPARE(content(QStringLiteral("../precious")), QByteArray("don't touch"));
}

void TestOutputFileUnix::writesIntoALinkedDirectory()
{
    const QString link = rootPath(QStringLiteral("link"));
    QVERIFY(QFile::link(directory(), link));
    OutputFile file(link, nameOf(usualHostname));
    file.write("content");
    QVERIFY(file.commit(answerTime()));
    QCOMPARE(everythingBelow(directory()), QStringList{usualName});
    QVERIFY(QFileInfo(link).isSymLink());
}

void TestOutputFileUnix::failsWhenTheDirectoryGoes()
{
    {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write("content");
        QVERIFY(QDir(directory()).removeRecursively());
        file.write("more of it");
        QVERIFY(!file.commit(answerTime()));
    }
    QCOMPARE(everything(), QStringList());
}

void TestOutputFileUnix::failsWithoutWriteAccess()
{
    const ModesCount modesCount;
    QVERIFY(QFile::setPermissions(directory(), QFile::ReadOwner | QFile::ExeOwner));
    {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write("content");
        QVERIFY(!file.isGood());
        QVERIFY(!file.commit(answerTime()));
    }
    QCOMPARE(everything(), nothing);
    QVERIFY(QFile::setPermissions(directory(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

void TestOutputFileUnix::failsOnAReadOnlyDisk()
{
    const SmallDisk disk(directory(), "size=64k");
    SKIP_WITHOUT(disk);
    QVERIFY(disk.makeReadOnly());
    {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write("content");
        QVERIFY(!file.isGood());
        QVERIFY(!file.commit(answerTime()));
    }
    QCOMPARE(everything(), nothing);
}

void TestOutputFileUnix::failsWithoutRoomForANewFile()
{
    // One for the directory itself.
    const SmallDisk disk(directory(), "nr_inodes=1");
    SKIP_WITHOUT(disk);
    {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write("content");
        QVERIFY(!file.isGood());
        QVERIFY(!file.commit(answerTime()));
    }
    QCOMPARE(everything(), nothing);
}

void TestOutputFileUnix::failsOnAFullDisk_data()
{
    QTest::addColumn<int>("pieceSize");
    QTest::addColumn<int>("pieces");
    // Shorter than the file's buffer: only the end shows that the disk is full.
    QTest::newRow("one short piece") << 9000 << 1;
    QTest::newRow("a piece that fills a buffer") << 16384 << 1;
    QTest::newRow("small pieces") << 1000 << 100;
    QTest::newRow("one big piece") << megabyte << 1;
    QTest::newRow("big pieces") << megabyte << 5;
}

void TestOutputFileUnix::failsOnAFullDisk()
{
    QFETCH(int, pieceSize);
    QFETCH(int, pieces);
    // Two pages of 4 KiB.
    const SmallDisk disk(directory(), "size=8k");
    SKIP_WITHOUT(disk);
    {
        OutputFile file(directory(), nameOf(usualHostname));
        for (int i = 0; i < pieces; ++i) {
            file.write(QByteArray(pieceSize, 'x'));
        }
        QVERIFY(!file.commit(answerTime()));
        QVERIFY(!file.isGood());
    }
    QCOMPARE(everything(), nothing);
}

void TestOutputFileUnix::failsAtASizeLimit_data()
{
    QTest::addColumn<int>("limit");
    QTest::newRow("nothing at all") << 0;
    QTest::newRow("one byte short") << 20000 - 1;
}

void TestOutputFileUnix::failsAtASizeLimit()
{
    QFETCH(int, limit);
    bool committed = true;
    {
        const FileSizeLimit sizeLimit(limit);
        OutputFile file(directory(), nameOf(usualHostname));
        file.write(QByteArray(20000, 'x'));
        committed = file.commit(answerTime());
    }
    QVERIFY(!committed);
    QCOMPARE(everything(), nothing);
}

void TestOutputFileUnix::tellsWhatCantBePutOnTheDisk()
{
    bool synced = true;
    bool committed = true;
    {
        const FileSizeLimit sizeLimit(50);
        OutputFile file(directory(), nameOf(usualHostname));
        file.write(QByteArray(100, 'x'));
        QVERIFY(file.isGood());
        synced = file.sync();
        committed = file.commit(answerTime());
    }
    QVERIFY(!synced);
    QVERIFY(!committed);
    QCOMPARE(everything(), nothing);
}

void TestOutputFileUnix::keepsTheOldFileWhenItFails()
{
    const SmallDisk disk(directory(), "size=16k");
    SKIP_WITHOUT(disk);
    put(usualName, "old");
    {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write(QByteArray(100000, 'x'));
        QVERIFY(!file.commit(answerTime()));
    }
    QCOMPARE(everything(), nothingBut(usualName));
    QCOMPARE(content(usualName), QByteArray("old"));
}

void TestOutputFileUnix::hasTheModeOfAnyNewFile()
{
    const mode_t before = umask(027);
    {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write("content");
        QVERIFY(file.commit(answerTime()));
    }
    umask(before);
    struct stat status = {};
    QCOMPARE(stat(QFile::encodeName(path(usualName)).constData(), &status), 0);
    QCOMPARE(status.st_mode & 0777U, 0640U);
}

QTEST_GUILESS_MAIN(TestOutputFileUnix)

#include "tst_outputfile_unix.moc"

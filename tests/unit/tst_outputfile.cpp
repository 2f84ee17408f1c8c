#include "disktrouble.h"
#include "operations/outputfile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QUrl>
#include <QtTest>

#include <csignal>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int megabyte = 1024 * 1024;

const QString mac = QStringLiteral("0E:5A:11:A1:B2:C3");
const QString usualHostname = QStringLiteral("lab-sensor");
const QString usualName = QStringLiteral("lab-sensor-0E5A11A1B2C3-20210303-090507.qini");
/// The surroundings of the directory when there is no file in it.
const QStringList nothing{QStringLiteral("out")};

/// 3 March 2021, 09:05:07 UTC.
QDateTime answerTime()
{
    return {QDate(2021, 3, 3), QTime(9, 5, 7, 999), Qt::UTC};
}

OutputName nameOf(const QString &hostname)
{
    return {hostname, mac, QStringLiteral(".qini")};
}

QByteArray everyByte()
{
    QByteArray bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
    }
    return bytes;
}

QStringList nothingBut(const QString &name)
{
    return nothing + QStringList{QLatin1String("out/") + name};
}

/// Everything that is in a directory and below it, hidden files and dangling links included.
QStringList everythingBelow(const QString &directory)
{
    QStringList names;
    const QFileInfoList entries = QDir(directory).entryInfoList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo &entry : entries) {
        names += entry.fileName();
        if (entry.isDir() && !entry.isSymLink()) {
            const QStringList below = everythingBelow(entry.filePath());
            for (const QString &name : below) {
                names += entry.fileName() + QLatin1Char('/') + name;
            }
        }
    }
    return names;
}

/// It has been, and nobody else has its number yet.
pid_t processThatIsGone()
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    return child;
}

/// With which the names of unfinished files begin here.
QString partPrefixOfThisComputer()
{
    const QTemporaryDir directory;
    OutputFile file(directory.path(), OutputName{QStringLiteral("lab"), QString(), QString()});
    file.write("some of it");
    const QString name = QDir(directory.path()).entryList(QDir::Files | QDir::Hidden).value(0);
    return name.section(QLatin1Char('-'), 0, 1) + QLatin1Char('-');
}

} // namespace

class TestOutputFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void names_data();
    void names();
    void keepsEveryByte_data();
    void keepsEveryByte();
    void isAbsentUntilItIsWhole();
    void isGoneIfNotCommitted_data();
    void isGoneIfNotCommitted();
    void removesLeftovers_data();
    void removesLeftovers();
    void removesWhatAKilledProcessLeft();
    void makesAnEmptyFileOfNothing();
    void createsNothingBeforeTheFirstPiece();
    void takesAHostNameAsItStands_data();
    void takesAHostNameAsItStands();
    void refusesAHostName_data();
    void refusesAHostName();
    void refusesADirectory_data();
    void refusesADirectory();
    void replacesAnOldFile();
    void replacesALinkAndSparesItsTarget_data();
    void replacesALinkAndSparesItsTarget();
    void sparesADirectoryOfItsName();
    void writesIntoALinkedDirectory();
    void failsWhenTheDirectoryGoes();
    void failsWithoutWriteAccess();
    void failsOnAReadOnlyDisk();
    void failsWithoutRoomForANewFile();
    void failsOnAFullDisk_data();
    void failsOnAFullDisk();
    void failsAtASizeLimit_data();
    void failsAtASizeLimit();
    void isOnTheDiskBeforeItHasItsName();
    void tellsWhatCantBePutOnTheDisk();
    void keepsTheOldFileWhenItFails();
    void tellsTheHead_data();
    void tellsTheHead();
    void goesOnWritingAfterTheHead();
    void leavesTheFilesOfOthersAlone();
    void hasTheModeOfAnyNewFile();

private:
    /// The directory for the files, inside a directory of the test's own.
    QString directory() const { return m_root->filePath(QStringLiteral("out")); }
    QString path(const QString &name) const { return directory() + QLatin1Char('/') + name; }
    QByteArray content(const QString &name) const;
    void put(const QString &path, const QByteArray &content) const;
    /// Everything that there is, the surroundings of the directory included.
    QStringList everything() const { return everythingBelow(m_root->path()); }

    std::unique_ptr<QTemporaryDir> m_root;
};

void TestOutputFile::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    QVERIFY(m_root->isValid());
    QVERIFY(QDir().mkdir(directory()));
}

void TestOutputFile::cleanup()
{
    m_root.reset();
}

QByteArray TestOutputFile::content(const QString &name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("(no such file)");
}

void TestOutputFile::put(const QString &path, const QByteArray &content) const
{
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.errorString()));
    QCOMPARE(file.write(content), qint64(content.size()));
}

void TestOutputFile::names_data()
{
    QTest::addColumn<QString>("hostname");
    QTest::addColumn<QString>("macText");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QDateTime>("time");
    QTest::addColumn<QString>("name");
    const QDateTime morning(QDate(2021, 3, 3), QTime(9, 5, 7), Qt::UTC);
    QTest::newRow("configuration") << "lab-sensor" << mac << ".qini" << morning
                                   << "lab-sensor-0E5A11A1B2C3-20210303-090507.qini";
    QTest::newRow("history") << "lab-sensor" << mac << ".csv" << morning
                             << "lab-sensor-0E5A11A1B2C3-20210303-090507.csv";
    QTest::newRow("no host name") << "" << mac << ".csv" << morning << "-0E5A11A1B2C3-20210303-090507.csv";
    QTest::newRow("afternoon") << "a" << mac << ".csv"
                               << QDateTime(QDate(1999, 12, 31), QTime(23, 59, 59, 999), Qt::UTC)
                               << "a-0E5A11A1B2C3-19991231-235959.csv";
    QTest::newRow("midnight") << "a" << mac << ".csv" << QDateTime(QDate(2022, 1, 1), QTime(0, 0), Qt::UTC)
                              << "a-0E5A11A1B2C3-20220101-000000.csv";
    QTest::newRow("placeholders") << "%1%2" << mac << ".csv" << morning
                                  << "%1%2-0E5A11A1B2C3-20210303-090507.csv";
    QTest::newRow("colons in the host name")
        << "a:b" << mac << ".csv" << morning << "a:b-0E5A11A1B2C3-20210303-090507.csv";
}

void TestOutputFile::names()
{
    QFETCH(QString, hostname);
    QFETCH(QString, macText);
    QFETCH(QString, suffix);
    QFETCH(QDateTime, time);
    QTEST((OutputName{hostname, macText, suffix}.at(time)), "name");
}

void TestOutputFile::keepsEveryByte_data()
{
    QTest::addColumn<QList<QByteArray>>("pieces");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("one piece") << QList<QByteArray>{"abc"} << QByteArray("abc");
    QTest::newRow("several pieces") << QList<QByteArray>{"a", "", "bc", "d"} << QByteArray("abcd");
    QTest::newRow("line ends") << QList<QByteArray>{"a\r\nb\nc\rd\r\n"} << QByteArray("a\r\nb\nc\rd\r\n");
    QTest::newRow("every byte") << QList<QByteArray>{everyByte()} << everyByte();
    QTest::newRow("zeros") << QList<QByteArray>{QByteArray(3, '\0'), QByteArray(2, '\0')}
                           << QByteArray(5, '\0');
    QTest::newRow("an empty piece") << QList<QByteArray>{""} << QByteArray();
    QTest::newRow("no UTF-8") << QList<QByteArray>{"\xC3", "\x28\xFF\xFE"} << QByteArray("\xC3\x28\xFF\xFE");
    const QByteArray big = everyByte().repeated(4 * megabyte / 256);
    QTest::newRow("longer than every buffer") << QList<QByteArray>{big, "tail"} << big + "tail";
}

void TestOutputFile::keepsEveryByte()
{
    QFETCH(QList<QByteArray>, pieces);
    QFETCH(QByteArray, bytes);
    OutputFile file(directory(), nameOf(usualHostname));
    for (const QByteArray &piece : pieces) {
        file.write(piece);
        QVERIFY(file.isGood());
    }
    QVERIFY(file.commit(answerTime()));
    // The program may look at it at once.
    QCOMPARE(everything(), nothingBut(usualName));
    const QByteArray written = content(usualName);
    QCOMPARE(written.size(), bytes.size());
    QVERIFY(written == bytes);
}

void TestOutputFile::isAbsentUntilItIsWhole()
{
    {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write(QByteArray(megabyte, 'x'));
        QVERIFY(!QFile::exists(path(usualName)));
        const QStringList names = everythingBelow(directory());
        QCOMPARE(names.size(), 1);
        // Out of the way of whoever looks at the directory meanwhile.
        QVERIFY2(names.constFirst().startsWith(QLatin1Char('.')), qPrintable(names.constFirst()));
        QVERIFY(file.commit(answerTime()));
    }
    QCOMPARE(everythingBelow(directory()), QStringList{usualName});
}

void TestOutputFile::isGoneIfNotCommitted_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("nothing") << 0;
    QTest::newRow("a byte") << 1;
    QTest::newRow("longer than every buffer") << megabyte;
}

void TestOutputFile::isGoneIfNotCommitted()
{
    QFETCH(int, size);
    {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write(QByteArray(size, 'x'));
        QCOMPARE(everythingBelow(directory()).size(), 1);
    }
    QCOMPARE(everything(), nothing);
}

void TestOutputFile::removesLeftovers_data()
{
    QTest::addColumn<QString>("name");
    const QString here = partPrefixOfThisComputer();
    const QString rest = QStringLiteral("-0123456789abcdef0123456789abcdef.part");
    const QString gone = QString::number(processThatIsGone());

    QTest::newRow("of this process") << here + QString::number(QCoreApplication::applicationPid()) + rest;
    QTest::newRow("of another one that runs") << here + QString::number(getppid()) + rest;
    QTest::newRow("of another computer") << QLatin1String(".nembra-0123456789abcdef-") + gone + rest;
    QTest::newRow("of no process") << here + QLatin1String("x") + rest;
    QTest::newRow("of process 0") << here + QLatin1String("0") + rest;
    QTest::newRow("of a number that is none") << here + QLatin1String("-1") + rest;
    QTest::newRow("not a part") << here + gone + QLatin1String("-0123456789abcdef0123456789abcdef.qini");
    QTest::newRow("not ours") << QLatin1String(".other-") + gone + rest;
    QTest::newRow("not hidden") << here.mid(1) + gone + rest;
}

void TestOutputFile::removesLeftovers()
{
    QFETCH(QString, name);
    QFile file(QDir(directory()).filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    OutputFile::removeLeftovers(directory());
    QCOMPARE(everythingBelow(directory()), QStringList{name});
}

void TestOutputFile::removesWhatAKilledProcessLeft()
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

void TestOutputFile::makesAnEmptyFileOfNothing()
{
    OutputFile file(directory(), nameOf(usualHostname));
    QVERIFY(file.commit(answerTime()));
    QCOMPARE(everythingBelow(directory()), QStringList{usualName});
    QCOMPARE(content(usualName), QByteArray());
}

void TestOutputFile::createsNothingBeforeTheFirstPiece()
{
    const OutputFile file(directory(), nameOf(usualHostname));
    QVERIFY(file.isGood());
    QCOMPARE(everything(), nothing);
}

void TestOutputFile::takesAHostNameAsItStands_data()
{
    QTest::addColumn<QString>("hostname");
    QTest::addColumn<QString>("name");
    const QString tail = QStringLiteral("-0E5A11A1B2C3-20210303-090507.qini");
    const auto row = [&tail](const char *title, const QString &hostname) {
        QTest::newRow(title) << hostname << hostname + tail;
    };
    row("usual", QStringLiteral("lab-sensor"));
    row("empty", QString());
    row("blanks", QStringLiteral("  roof sensor  "));
    row("umlauts", QStringLiteral("Prüfstand Öl ß"));
    row("beyond the basic plane", QString::fromUtf8("\xF0\x9F\x8C\xA1"));
    row("a line break", QStringLiteral("roof\nsensor"));
    row("other control characters", QStringLiteral("a\x01\x1B[31m\x7F"));
    row("one dot", QStringLiteral("."));
    row("two dots", QStringLiteral(".."));
    row("a hidden one", QStringLiteral(".profile"));
    row("a backslash", QStringLiteral("..\\x"));
    row("an option", QStringLiteral("-rf"));
    row("a home", QStringLiteral("~root"));
    row("a variable", QStringLiteral("$HOME"));
    row("wild cards", QStringLiteral("*?[a]"));
    row("markup", QStringLiteral("<b>x&amp;"));
    row("a resource", QStringLiteral(":"));
    row("as long as a file system takes", QString(255 - tail.size(), QLatin1Char('n')));
}

void TestOutputFile::takesAHostNameAsItStands()
{
    QFETCH(QString, hostname);
    QFETCH(QString, name);
    {
        OutputFile file(directory(), nameOf(hostname));
        file.write("content");
        QVERIFY(file.commit(answerTime()));
    }
    QCOMPARE(everything(), nothingBut(name));
    QCOMPARE(content(name), QByteArray("content"));
}

void TestOutputFile::refusesAHostName_data()
{
    QTest::addColumn<QString>("hostname");
    QTest::addColumn<bool>("atOnce");
    const QString nul(1, QChar::Null);
    QTest::newRow("a slash") << "a/b" << true;
    QTest::newRow("only a slash") << "/" << true;
    QTest::newRow("a leading slash") << "/tmp/lab" << true;
    QTest::newRow("a trailing slash") << "lab/" << true;
    QTest::newRow("up") << "../x" << true;
    QTest::newRow("up and down again") << "../out/x" << true;
    QTest::newRow("into a directory that is there") << "inside/x" << true;
    QTest::newRow("this directory") << "./x" << true;
    QTest::newRow("a zero") << QLatin1Char('a') + nul + QLatin1Char('b') << true;
    QTest::newRow("a zero in front") << nul + QLatin1Char('b') << true;
    QTest::newRow("a zero at the end") << QLatin1Char('a') + nul << true;
    // Only the file system knows that.
    QTest::newRow("a letter too long") << QString(222, QLatin1Char('n')) << false;
    QTest::newRow("300 letters") << QString(300, QLatin1Char('n')) << false;
    QTest::newRow("300 umlauts") << QString(300, QChar(0xFC)) << false;
    QTest::newRow("too long only in bytes") << QString(150, QChar(0xFC)) << false;
    QTest::newRow("60,000 letters") << QString(60000, QLatin1Char('n')) << false;
}

void TestOutputFile::refusesAHostName()
{
    QFETCH(QString, hostname);
    QFETCH(bool, atOnce);
    QVERIFY(QDir().mkdir(path(QStringLiteral("inside"))));
    QVERIFY(QDir().mkdir(path(QStringLiteral("a"))));
    const QStringList before = everything();
    const QStringList temporaryBefore = everythingBelow(QDir::tempPath());
    {
        OutputFile file(directory(), nameOf(hostname));
        QCOMPARE(file.isGood(), !atOnce);
        file.write("content");
        if (atOnce) {
            QCOMPARE(everything(), before);
        }
        QVERIFY(!file.commit(answerTime()));
        QVERIFY(!file.isGood());
    }
    QCOMPARE(everything(), before);
    QCOMPARE(everythingBelow(QDir::tempPath()), temporaryBefore);
}

void TestOutputFile::refusesADirectory_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("none of that name") << "missing";
    QTest::newRow("two levels that are not there") << "missing/too";
    QTest::newRow("a file") << "file";
    QTest::newRow("below a file") << "file/below";
    QTest::newRow("a link to nowhere") << "dangling";
    QTest::newRow("a link to itself") << "loop";
    QTest::newRow("empty") << "";
    QTest::newRow("none") << QString();
}

void TestOutputFile::refusesADirectory()
{
    QFETCH(QString, name);
    put(m_root->filePath(QStringLiteral("file")), "a file");
    QVERIFY(
        QFile::link(m_root->filePath(QStringLiteral("gone")), m_root->filePath(QStringLiteral("dangling"))));
    QVERIFY(QFile::link(m_root->filePath(QStringLiteral("loop")), m_root->filePath(QStringLiteral("loop"))));
    const QStringList before = everything();
    const auto namesOf = [](const QString &directory) {
        return QDir(directory).entryList(QDir::AllEntries | QDir::Hidden | QDir::System);
    };
    const QStringList rootBefore = namesOf(QStringLiteral("/"));
    const QStringList currentBefore = namesOf(QDir::currentPath());
    {
        OutputFile file(name.isEmpty() ? name : m_root->filePath(name), nameOf(usualHostname));
        file.write("content");
        QVERIFY(!file.isGood());
        QVERIFY(!file.commit(answerTime()));
    }
    {
        // The same when nothing was written.
        OutputFile file(name.isEmpty() ? name : m_root->filePath(name), nameOf(usualHostname));
        QVERIFY(!file.commit(answerTime()));
    }
    QCOMPARE(everything(), before);
    QCOMPARE(namesOf(QStringLiteral("/")), rootBefore);
    QCOMPARE(namesOf(QDir::currentPath()), currentBefore);
}

void TestOutputFile::replacesAnOldFile()
{
    put(path(usualName), QByteArray(3000, 'o'));
    OutputFile file(directory(), nameOf(usualHostname));
    file.write("new");
    QCOMPARE(content(usualName).size(), 3000);
    QVERIFY(file.commit(answerTime()));
    QCOMPARE(content(usualName), QByteArray("new"));
    QCOMPARE(everything(), nothingBut(usualName));
}

void TestOutputFile::replacesALinkAndSparesItsTarget_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("to a file elsewhere") << "precious";
    QTest::newRow("to nowhere") << "missing";
    QTest::newRow("to a directory") << "inside";
}

void TestOutputFile::replacesALinkAndSparesItsTarget()
{
    QFETCH(QString, target);
    put(m_root->filePath(QStringLiteral("precious")), "don't touch");
    QVERIFY(QDir().mkdir(m_root->filePath(QStringLiteral("inside"))));
    QVERIFY(QFile::link(m_root->filePath(target), path(usualName)));
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

void TestOutputFile::sparesADirectoryOfItsName()
{
    QVERIFY(QDir().mkdir(path(usualName)));
    {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write("content");
        QVERIFY(!file.commit(answerTime()));
    }
    QCOMPARE(everything(), nothingBut(usualName));
    QVERIFY(QFileInfo(path(usualName)).isDir());
}

void TestOutputFile::writesIntoALinkedDirectory()
{
    const QString link = m_root->filePath(QStringLiteral("link"));
    QVERIFY(QFile::link(directory(), link));
    OutputFile file(link, nameOf(usualHostname));
    file.write("content");
    QVERIFY(file.commit(answerTime()));
    QCOMPARE(everythingBelow(directory()), QStringList{usualName});
    QVERIFY(QFileInfo(link).isSymLink());
}

void TestOutputFile::failsWhenTheDirectoryGoes()
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

void TestOutputFile::failsWithoutWriteAccess()
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

void TestOutputFile::failsOnAReadOnlyDisk()
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

void TestOutputFile::failsWithoutRoomForANewFile()
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

void TestOutputFile::failsOnAFullDisk_data()
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

void TestOutputFile::failsOnAFullDisk()
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

void TestOutputFile::failsAtASizeLimit_data()
{
    QTest::addColumn<int>("limit");
    QTest::newRow("nothing at all") << 0;
    QTest::newRow("one byte short") << 20000 - 1;
}

void TestOutputFile::failsAtASizeLimit()
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

void TestOutputFile::isOnTheDiskBeforeItHasItsName()
{
    OutputFile file(directory(), nameOf(usualHostname));
    file.write("bytes");
    QVERIFY(file.sync());
    QVERIFY(!everything().contains(usualName));
    const QStringList names = QDir(directory()).entryList(QDir::Files | QDir::Hidden);
    QCOMPARE(names.size(), 1);
    // Nothing of it waits in this process any more.
    QCOMPARE(content(names.first()), QByteArray("bytes"));
    QVERIFY(file.commit(answerTime()));
    QCOMPARE(content(usualName), QByteArray("bytes"));
}

void TestOutputFile::tellsWhatCantBePutOnTheDisk()
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

void TestOutputFile::keepsTheOldFileWhenItFails()
{
    const SmallDisk disk(directory(), "size=16k");
    SKIP_WITHOUT(disk);
    put(path(usualName), "old");
    {
        OutputFile file(directory(), nameOf(usualHostname));
        file.write(QByteArray(100000, 'x'));
        QVERIFY(!file.commit(answerTime()));
    }
    QCOMPARE(everything(), nothingBut(usualName));
    QCOMPARE(content(usualName), QByteArray("old"));
}

void TestOutputFile::tellsTheHead_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<QByteArray>("head");
    QTest::newRow("all of it") << QByteArray("content") << 100 << QByteArray("content");
    QTest::newRow("exactly as much") << QByteArray("content") << 7 << QByteArray("content");
    QTest::newRow("a part") << QByteArray("content") << 4 << QByteArray("cont");
    QTest::newRow("none of it") << QByteArray("content") << 0 << QByteArray();
    QTest::newRow("of nothing") << QByteArray() << 100 << QByteArray();
    QTest::newRow("zeros") << QByteArray("a\0b", 3) << 100 << QByteArray("a\0b", 3);
    QTest::newRow("of a lot") << QByteArray(megabyte, 'x') << 5 << QByteArray("xxxxx");
}

void TestOutputFile::tellsTheHead()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, maximum);
    OutputFile file(directory(), nameOf(usualHostname));
    file.write(bytes);
    QTEST(file.head(maximum), "head");
    QVERIFY(file.isGood());
    QVERIFY(file.commit(answerTime()));
    QVERIFY(content(usualName) == bytes);
}

void TestOutputFile::goesOnWritingAfterTheHead()
{
    OutputFile file(directory(), nameOf(usualHostname));
    // Before the first piece there is nothing to tell, and nothing is created.
    QCOMPARE(file.head(100), QByteArray());
    QCOMPARE(everything(), nothing);
    file.write("one ");
    QCOMPARE(file.head(2), QByteArray("on"));
    file.write("two");
    QCOMPARE(file.head(100), QByteArray("one two"));
    QVERIFY(file.commit(answerTime()));
    QCOMPARE(content(usualName), QByteArray("one two"));
}

void TestOutputFile::leavesTheFilesOfOthersAlone()
{
    put(path(QStringLiteral("lab-sensor")), "1");
    put(path(QStringLiteral(".nembra-of-somebody-else.part")), "2");
    {
        // Two of one name at a time: each has a place of its own to write, and the last one stays.
        OutputFile first(directory(), nameOf(usualHostname));
        OutputFile second(directory(), nameOf(usualHostname));
        first.write("first");
        second.write("second");
        QVERIFY(second.commit(answerTime()));
        QVERIFY(first.commit(answerTime()));
        const OutputFile third(directory(), nameOf(usualHostname));
    }
    QCOMPARE(everything(),
             (QStringList{QStringLiteral("out"), QStringLiteral("out/.nembra-of-somebody-else.part"),
                          QStringLiteral("out/lab-sensor"), QLatin1String("out/") + usualName}));
    QCOMPARE(content(usualName), QByteArray("first"));
    QCOMPARE(content(QStringLiteral("lab-sensor")), QByteArray("1"));
}

void TestOutputFile::hasTheModeOfAnyNewFile()
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

QTEST_GUILESS_MAIN(TestOutputFile)

#include "tst_outputfile.moc"

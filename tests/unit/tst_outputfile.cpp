#include "onwindows.h"
#include "operations/outputfile.h"
#include "otherprocess.h"
#include "outputtest.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <array>
#include <utility>

namespace {

/// What follows the host name in the names of the test's files.
const QString tail = QStringLiteral("-0E5A11A1B2C3-20210303-090507.qini");
/// With which the names of unfinished files end.
const QString leftoverEnd = QStringLiteral("-0123456789abcdef0123456789abcdef.part");

/// Each with a title. To Unix they are names like others. Windows refuses them, or takes them for
/// directories, streams of other files and devices, whatever follows.
const std::array<std::pair<const char *, QString>, 16> hostnamesThatWindowsRefuses{{
    {"a line break", QStringLiteral("roof\nsensor")},
    {"other control characters", QStringLiteral("a\x01\x1B[31m\x7F")},
    {"a backslash", QStringLiteral("..\\x")},
    {"a backslash between names", QStringLiteral("inside\\x")},
    {"a drive", QStringLiteral("C:\\lab")},
    {"wild cards", QStringLiteral("*?[a]")},
    {"markup", QStringLiteral("<b>x&amp;")},
    {"quotes", QStringLiteral("\"lab\"")},
    {"a pipe", QStringLiteral("lab|x")},
    {"a resource", QStringLiteral(":")},
    {"a stream of a directory", QStringLiteral("a:b")},
    {"the console", QStringLiteral("con.lab")},
    {"the device that swallows everything", QStringLiteral("NUL.x")},
    {"a serial port", QStringLiteral("com1.")},
    {"a printer", QStringLiteral("LPT9.a")},
    {"a device and a blank", QStringLiteral("aux .b")},
}};

QByteArray everyByte()
{
    QByteArray bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
    }
    return bytes;
}

/// It has been, and nobody else has its number yet.
qint64 processThatIsGone()
{
    OtherProcess process;
    return process.end() ? process.number() : 0;
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

class TestOutputFile : public QObject, private OutputTest
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { begin(); }
    void cleanup() { end(); }

    void names_data();
    void names();
    void keepsEveryByte_data();
    void keepsEveryByte();
    void isAbsentUntilItIsWhole();
    void isGoneIfNotCommitted_data();
    void isGoneIfNotCommitted();
    void removesLeftovers_data();
    void removesLeftovers();
    void removesWhatAProcessThatIsGoneLeft();
    void makesAnEmptyFileOfNothing();
    void createsNothingBeforeTheFirstPiece();
    void takesAHostNameAsItStands_data();
    void takesAHostNameAsItStands();
    void refusesAHostName_data();
    void refusesAHostName();
    void makesNoStreamOfAnotherFile();
    void refusesADirectory_data();
    void refusesADirectory();
    void replacesAnOldFile();
    void sparesADirectoryOfItsName();
    void isOnTheDiskBeforeItHasItsName();
    void tellsTheHead_data();
    void tellsTheHead();
    void goesOnWritingAfterTheHead();
    void leavesTheFilesOfOthersAlone();

private:
    const OtherProcess m_other;
    const QTemporaryDir m_temporary;
};

void TestOutputFile::initTestCase()
{
    QVERIFY(m_other.number() > 0);
    // What is written into the system's directory for such files may be the work of others.
    for (const char *const variable : {"TMPDIR", "TMP", "TEMP"}) {
        qputenv(variable, QFile::encodeName(QDir::toNativeSeparators(m_temporary.path())));
    }
    QCOMPARE(QFileInfo(QDir::tempPath()).canonicalFilePath(),
             QFileInfo(m_temporary.path()).canonicalFilePath());
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
    const QString rest = leftoverEnd;
    const QString gone = QString::number(processThatIsGone());

    QTest::newRow("of this process") << here + QString::number(QCoreApplication::applicationPid()) + rest;
    QTest::newRow("of another one that runs") << here + QString::number(m_other.number()) + rest;
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

void TestOutputFile::removesWhatAProcessThatIsGoneLeft()
{
    put(partPrefixOfThisComputer() + QString::number(processThatIsGone()) + leftoverEnd, "some of it");
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
    const auto row = [](const char *title, const QString &hostname) {
        QTest::newRow(title) << hostname << hostname + tail;
    };
    row("usual", QStringLiteral("lab-sensor"));
    row("empty", QString());
    row("blanks", QStringLiteral("  roof sensor  "));
    row("umlauts", QStringLiteral("Prüfstand Öl ß"));
    row("beyond the basic plane", QString::fromUtf8("\xF0\x9F\x8C\xA1"));
    row("one dot", QStringLiteral("."));
    row("two dots", QStringLiteral(".."));
    row("a hidden one", QStringLiteral(".profile"));
    row("an option", QStringLiteral("-rf"));
    row("a home", QStringLiteral("~root"));
    row("a variable", QStringLiteral("$HOME"));
    row("a device of Windows, but for the rest of the name", QStringLiteral("con"));
    row("a longer name than a device's", QStringLiteral("console.lab"));
    row("as long as a file system takes", QString(255 - tail.size(), QLatin1Char('n')));
    if (!onWindows) {
        for (const auto &[title, hostname] : hostnamesThatWindowsRefuses) {
            row(title, hostname);
        }
    }
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
    if (onWindows) {
        for (const auto &[title, hostname] : hostnamesThatWindowsRefuses) {
            QTest::newRow(title) << hostname << true;
        }
    }
    // Only the file system knows that.
    QTest::newRow("a letter too long") << QString(222, QLatin1Char('n')) << false;
    QTest::newRow("300 letters") << QString(300, QLatin1Char('n')) << false;
    QTest::newRow("300 umlauts") << QString(300, QChar(0xFC)) << false;
    if (!onWindows) {
        // Windows counts letters.
        QTest::newRow("too long only in bytes") << QString(150, QChar(0xFC)) << false;
    }
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

void TestOutputFile::makesNoStreamOfAnotherFile()
{
    put(QStringLiteral("lab"), "of somebody else");
    OutputFile file(directory(), nameOf(QStringLiteral("lab:x")));
    file.write("content");
    // On Unix it is a name like others. On Windows it would be bytes of "lab" that no list shows.
    QCOMPARE(file.commit(answerTime()), !onWindows);
    QCOMPARE(QFile::exists(path(QStringLiteral("lab:x-0E5A11A1B2C3-20210303-090507.qini"))), !onWindows);
    QCOMPARE(content(QStringLiteral("lab")), QByteArray("of somebody else"));
}

void TestOutputFile::refusesADirectory_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("none of that name") << "missing";
    QTest::newRow("two levels that are not there") << "missing/too";
    QTest::newRow("a file") << "file";
    QTest::newRow("below a file") << "file/below";
    QTest::newRow("empty") << "";
    QTest::newRow("none") << QString();
}

void TestOutputFile::refusesADirectory()
{
    QFETCH(QString, name);
    putInRoot(QStringLiteral("file"), "a file");
    verifyRefusal(name.isEmpty() ? name : rootPath(name));
}

void TestOutputFile::replacesAnOldFile()
{
    put(usualName, QByteArray(3000, 'o'));
    OutputFile file(directory(), nameOf(usualHostname));
    file.write("new");
    QCOMPARE(content(usualName).size(), 3000);
    QVERIFY(file.commit(answerTime()));
    QCOMPARE(content(usualName), QByteArray("new"));
    QCOMPARE(everything(), nothingBut(usualName));
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

void TestOutputFile::isOnTheDiskBeforeItHasItsName()
{
    OutputFile file(directory(), nameOf(usualHostname));
    file.write("bytes");
    QVERIFY(file.sync());
    QVERIFY(!QFile::exists(path(usualName)));
    const QStringList names = QDir(directory()).entryList(QDir::Files | QDir::Hidden);
    QCOMPARE(names.size(), 1);
    // Nothing of it waits in this process any more.
    QCOMPARE(content(names.first()), QByteArray("bytes"));
    QVERIFY(file.commit(answerTime()));
    QCOMPARE(content(usualName), QByteArray("bytes"));
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
    put(QStringLiteral("lab-sensor"), "1");
    put(QStringLiteral(".nembra-of-somebody-else.part"), "2");
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

QTEST_GUILESS_MAIN(TestOutputFile)

#include "tst_outputfile.moc"

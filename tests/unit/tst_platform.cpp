#include "onwindows.h"
#include "otherprocess.h"
#include "platform/files.h"
#include "platform/process.h"
#include "platform/sockets.h"
#include "testdirectory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

#include <array>
#ifndef Q_OS_WIN
#include <cerrno>
#endif

namespace {

struct SocketFailure
{
    const char *title;
    long systemError;
    std::errc meaning;
};

#ifdef Q_OS_WIN
const std::array<SocketFailure, 10> socketFailures{{
    {"access denied", 10013, std::errc::permission_denied},
    {"network unreachable", 10051, std::errc::network_unreachable},
    {"given up by this side", 10053, std::errc::connection_reset},
    {"given up by the other side", 10054, std::errc::connection_reset},
    {"closed by this side", 10058, std::errc::broken_pipe},
    {"timeout", 10060, std::errc::timed_out},
    {"refused", 10061, std::errc::connection_refused},
    {"host unreachable", 10065, std::errc::host_unreachable},
    {"no failure", 0, std::errc{}},
    {"a number without a word", 11999, static_cast<std::errc>(11999)},
}};
#else
const std::array<SocketFailure, 9> socketFailures{{
    {"access denied", EACCES, std::errc::permission_denied},
    {"network unreachable", ENETUNREACH, std::errc::network_unreachable},
    {"given up by this side", ECONNABORTED, std::errc::connection_aborted},
    {"given up by the other side", ECONNRESET, std::errc::connection_reset},
    {"timeout", ETIMEDOUT, std::errc::timed_out},
    {"refused", ECONNREFUSED, std::errc::connection_refused},
    {"host unreachable", EHOSTUNREACH, std::errc::host_unreachable},
    {"no failure", 0, std::errc{}},
    {"a number without a word", 11999, static_cast<std::errc>(11999)},
}};
#endif

} // namespace

/// What systems do in different ways.
class TestPlatform : public QObject, private TestDirectory
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void judgesFileNames_data();
    void judgesFileNames();
    void givesAFileAnotherName_data();
    void givesAFileAnotherName();
    void replacesAFileAtALongPath();
    void leavesTheTargetWithoutASource();
    void givesAFileASecondName();
    void givesNoSecondName();
    void sparesADirectory_data();
    void sparesADirectory();
    void putsAFileOnTheDisk();
    void putsAFileOnTheDiskThousandsOfTimes();
    void passesOverADirectoryThatCantBeSynced();
    void knowsThatItRunsItself();
    void knowsWhetherAnotherProcessRuns();
    void knowsNumbersThatNobodyHas_data();
    void knowsNumbersThatNobodyHas();
    void allowsDescriptors();
    void understandsSocketErrors_data();
    void understandsSocketErrors();
};

void TestPlatform::judgesFileNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("unixTakesIt");
    QTest::addColumn<bool>("windowsTakesIt");
    const auto row = [](const char *title, const QString &name, bool unixTakesIt, bool windowsTakesIt) {
        QTest::newRow(title) << name << unixTakesIt << windowsTakesIt;
    };
    row("usual", QStringLiteral("lab-sensor.csv"), true, true);
    row("blanks", QStringLiteral(" roof  sensor.csv"), true, true);
    row("several dots", QStringLiteral("..lab...csv"), true, true);
    row("umlauts", QStringLiteral("Prüfstand Öl ß"), true, true);
    row("beyond the basic plane", QString::fromUtf8("\xF0\x9F\x8C\xA1"), true, true);
    row("other signs", QStringLiteral("~$%&'()+,-;=@[]^_`{}#!"), true, true);
    row("a slash", QStringLiteral("a/b"), false, false);
    row("a leading slash", QStringLiteral("/a"), false, false);
    row("a trailing slash", QStringLiteral("a/"), false, false);
    row("only a slash", QStringLiteral("/"), false, false);
    row("a zero", QString(QChar(QChar::Null)), false, false);
    row("a zero inside", QStringLiteral("a") + QChar(QChar::Null) + QStringLiteral("b"), false, false);

    row("a backslash", QStringLiteral("a\\b"), true, false);
    row("a colon", QStringLiteral("a:b"), true, false);
    row("a drive", QStringLiteral("C:"), true, false);
    row("a star", QStringLiteral("a*"), true, false);
    row("a question mark", QStringLiteral("a?"), true, false);
    row("an opening bracket", QStringLiteral("<a"), true, false);
    row("a closing bracket", QStringLiteral("a>"), true, false);
    row("a quote", QStringLiteral("\"a"), true, false);
    row("a pipe", QStringLiteral("a|b"), true, false);
    row("a line break", QStringLiteral("a\nb"), true, false);
    row("a line break at the end", QStringLiteral("a\n"), true, false);
    row("a tab", QStringLiteral("a\tb"), true, false);
    row("the last control character", QStringLiteral("a\x1F"), true, false);
    row("delete", QStringLiteral("a\x7F"), true, true);
    row("a dot at the end", QStringLiteral("a."), true, false);
    row("a blank at the end", QStringLiteral("a "), true, false);

    row("con", QStringLiteral("con"), true, false);
    row("Con with a suffix", QStringLiteral("Con.csv"), true, false);
    row("PRN", QStringLiteral("PRN"), true, false);
    row("aux with blanks and a suffix", QStringLiteral("aux  .csv"), true, false);
    row("nul with two suffixes", QStringLiteral("nul.a.csv"), true, false);
    row("what is typed", QStringLiteral("CONIN$"), true, false);
    row("what is shown", QStringLiteral("conout$.csv"), true, false);
    row("com1", QStringLiteral("com1"), true, false);
    row("COM9 with a suffix", QStringLiteral("COM9.csv"), true, false);
    row("com with a raised digit", QStringLiteral("com²"), true, false);
    row("lpt1", QStringLiteral("lpt1.csv"), true, false);
    row("con and more", QStringLiteral("con-0E5A.csv"), true, true);
    row("con behind something", QStringLiteral("lab.con"), true, true);
    row("console", QStringLiteral("console"), true, true);
    row("com without a digit", QStringLiteral("com.csv"), true, true);
    row("com with two digits", QStringLiteral("com10.csv"), true, true);
}

void TestPlatform::judgesFileNames()
{
    QFETCH(QString, name);
    QFETCH(bool, unixTakesIt);
    QFETCH(bool, windowsTakesIt);
    QCOMPARE(isFileName(name), onWindows ? windowsTakesIt : unixTakesIt);
}

void TestPlatform::givesAFileAnotherName_data()
{
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::newRow("plain") << "new"
                           << "target";
    QTest::newRow("blanks") << "a new one"
                            << "the target";
    QTest::newRow("umlauts") << QStringLiteral("für später") << QStringLiteral("Prüfstand Öl ß");
    QTest::newRow("other scripts") << QStringLiteral("новый") << QStringLiteral("測定器");
    QTest::newRow("beyond the basic plane")
        << QString::fromUtf8("\xF0\x9F\x8C\xA1") << QString::fromUtf8("\xF0\x9F\x8C\xA2");
    QTest::newRow("hidden") << ".new"
                            << ".target";
}

void TestPlatform::givesAFileAnotherName()
{
    QFETCH(QString, from);
    QFETCH(QString, to);
    put(from, "first");
    QVERIFY(replaceFile(path(from), path(to)));
    QCOMPARE(everything(), QStringList{to});
    QCOMPARE(content(to), QByteArray("first"));
    // An old file goes.
    put(from, "second");
    QVERIFY(replaceFile(path(from), path(to)));
    QCOMPARE(everything(), QStringList{to});
    QCOMPARE(content(to), QByteArray("second"));
}

void TestPlatform::replacesAFileAtALongPath()
{
    // Above the 260 characters that Windows takes without more ado.
    const QString level(100, QLatin1Char('d'));
    const QString directory = level + QLatin1Char('/') + level + QLatin1Char('/') + level;
    QVERIFY(QDir(path()).mkpath(directory));
    const QString from = directory + QLatin1String("/new");
    const QString to = directory + QLatin1String("/target");
    put(from, "new");
    put(to, "old");
    QVERIFY(replaceFile(path(from), path(to)));
    QVERIFY(!QFile::exists(path(from)));
    QCOMPARE(content(to), QByteArray("new"));
}

void TestPlatform::leavesTheTargetWithoutASource()
{
    put(QStringLiteral("target"), "old");
    QVERIFY(!replaceFile(path(QStringLiteral("missing")), path(QStringLiteral("target"))));
    QCOMPARE(everything(), QStringList{QStringLiteral("target")});
    QCOMPARE(content(QStringLiteral("target")), QByteArray("old"));
}

void TestPlatform::givesAFileASecondName()
{
    const QString first = QStringLiteral("Prüfstand");
    const QString second = QStringLiteral("Prüfstand.old");
    put(first, "content");
    QVERIFY(linkFile(path(first), path(second)));
    QCOMPARE(content(second), QByteArray("content"));
    // The content stays as long as one of its names does.
    QVERIFY(QFile::remove(path(first)));
    QCOMPARE(content(second), QByteArray("content"));
    QCOMPARE(everything(), QStringList{second});
}

void TestPlatform::givesNoSecondName()
{
    const QString taken = QStringLiteral("taken");
    const QString missing = QStringLiteral("missing");
    put(taken, "taken");
    put(QStringLiteral("file"), "file");
    QVERIFY(!linkFile(path(QStringLiteral("file")), path(taken)));
    QCOMPARE(content(taken), QByteArray("taken"));
    QVERIFY(!linkFile(path(missing), path(QStringLiteral("second"))));
    QCOMPARE(everything().size(), 2);
}

void TestPlatform::sparesADirectory_data()
{
    QTest::addColumn<bool>("isEmpty");
    QTest::newRow("empty") << true;
    QTest::newRow("with a file") << false;
}

void TestPlatform::sparesADirectory()
{
    QFETCH(bool, isEmpty);
    QVERIFY(QDir().mkdir(path(QStringLiteral("target"))));
    if (!isEmpty) {
        put(QStringLiteral("target/file"), "inside");
    }
    put(QStringLiteral("new"), "new");
    const QStringList before = everything();
    QVERIFY(!replaceFile(path(QStringLiteral("new")), path(QStringLiteral("target"))));
    QCOMPARE(everything(), before);
    QVERIFY(QFileInfo(path(QStringLiteral("target"))).isDir());
    QCOMPARE(content(QStringLiteral("new")), QByteArray("new"));
}

void TestPlatform::putsAFileOnTheDisk()
{
    QFile file(path(QStringLiteral("Prüfstand")));
    QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::NewOnly));
    QCOMPARE(file.write("one "), 4);
    QVERIFY(file.flush());
    QVERIFY(syncFile(file));
    // It stays open, where it was.
    QCOMPARE(file.write("two"), 3);
    QVERIFY(file.flush());
    QVERIFY(syncFile(file));
    file.close();
    QCOMPARE(content(QStringLiteral("Prüfstand")), QByteArray("one two"));
}

void TestPlatform::putsAFileOnTheDiskThousandsOfTimes()
{
    // Above the number of files that the C library of Windows can have open: none may stay so.
    constexpr int times = 3000;
    QFile file(path(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::ReadWrite));
    for (int i = 0; i < times; ++i) {
        QVERIFY2(syncFile(file), qPrintable(QString::number(i)));
    }
}

void TestPlatform::passesOverADirectoryThatCantBeSynced()
{
    syncDirectory(path());
    syncDirectory(path(QStringLiteral("missing")));
    QCOMPARE(everything(), QStringList());
}

void TestPlatform::knowsThatItRunsItself()
{
    QVERIFY(isRunning(QCoreApplication::applicationPid()));
}

void TestPlatform::knowsWhetherAnotherProcessRuns()
{
    OtherProcess process;
    QVERIFY(process.number() > 0);
    QVERIFY(isRunning(process.number()));
    QVERIFY(process.end());
    QVERIFY(!isRunning(process.number()));
}

void TestPlatform::knowsNumbersThatNobodyHas_data()
{
    QTest::addColumn<qint64>("number");
    // Numbers of Windows are multiples of four; those of Linux end at four millions.
    QTest::newRow("high") << qint64{2000000000};
    QTest::newRow("the highest") << qint64{0x7FFFFFFC};
}

void TestPlatform::knowsNumbersThatNobodyHas()
{
    QFETCH(qint64, number);
    QVERIFY(!isRunning(number));
}

void TestPlatform::allowsDescriptors()
{
    raiseDescriptorLimit();
    QVERIFY2(descriptorLimit() >= 256, qPrintable(QString::number(descriptorLimit())));
    QVERIFY2(descriptorLimit() <= 65536, qPrintable(QString::number(descriptorLimit())));
}

void TestPlatform::understandsSocketErrors_data()
{
    QTest::addColumn<qint64>("systemError");
    QTest::addColumn<int>("meaning");
    for (const SocketFailure &failure : socketFailures) {
        QTest::newRow(failure.title) << qint64{failure.systemError} << static_cast<int>(failure.meaning);
    }
}

void TestPlatform::understandsSocketErrors()
{
    QFETCH(qint64, systemError);
    QTEST(static_cast<int>(socketError(static_cast<long>(systemError))), "meaning");
}

QTEST_GUILESS_MAIN(TestPlatform)

#include "tst_platform.moc"

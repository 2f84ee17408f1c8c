#include "common/settings.h"
#include "onwindows.h"
#include "testdirectory.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <type_traits>

namespace {

/// Of the files that the toolkit writes.
const QByteArray lineEnd = onWindows ? "\r\n" : "\n";

} // namespace

class TestSettings : public QObject, private TestDirectory
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void hasTheseTypes();
    void standsUnder_data();
    void standsUnder();
    void fallsBackTo_data();
    void fallsBackTo();
    void namesTheFilterHistory();
    void readsWhatWasStored();
    void writesIniFiles();
    void keepsPreferExtendedAtTheTopLevel();
    void ignoresPreferExtendedInAnyGroup();
    void readsFilesWrittenByHand();
    void readsOtherTypes_data();
    void readsOtherTypes();
    void keepsBytes();
    void readsTheStoreAnewEachTime();
    void opensTheUsersOwnFile();
    void survivesAFileThatIsNone();
    void leavesNothingBesideItsFile();
    void forgetsEverythingWhenCleared();

private:
    QString file() const { return path(QStringLiteral("settings.ini")); }
    void write(const QByteArray &content) const;
    QByteArray written() const;
};

void TestSettings::init()
{
    begin();
    settings::open(file());
}

void TestSettings::cleanup()
{
    // The store lets go of its file before the directory goes.
    settings::open(QString());
    end();
}

void TestSettings::write(const QByteArray &content) const
{
    put(QStringLiteral("settings.ini"), content);
    settings::open(file());
}

QByteArray TestSettings::written() const
{
    settings::store().sync();
    return content(QStringLiteral("settings.ini"));
}

void TestSettings::hasTheseTypes()
{
    static_assert(std::is_same_v<decltype(settings::value(settings::scanPort)), int>);
    static_assert(std::is_same_v<decltype(settings::value(settings::scanHttpPort)), int>);
    static_assert(std::is_same_v<decltype(settings::value(settings::scanHttpsPort)), int>);
    static_assert(std::is_same_v<decltype(settings::value(settings::scanAutoUpdate)), bool>);
    static_assert(std::is_same_v<decltype(settings::value(settings::scanAutoUpdateInterval)), double>);
    static_assert(std::is_same_v<decltype(settings::value(settings::preferExtended)), bool>);
    static_assert(std::is_same_v<decltype(settings::value(settings::language)), QString>);
    static_assert(std::is_same_v<decltype(settings::bytes(settings::windowGeometry)), QByteArray>);
    static_assert(std::is_same_v<decltype(settings::bytes(settings::windowState)), QByteArray>);
    static_assert(std::is_same_v<decltype(settings::bytes(settings::tableHeader)), QByteArray>);
    static_assert(std::is_same_v<decltype(settings::bytes(settings::tableHeaderState)), QByteArray>);
    static_assert(std::is_same_v<decltype(settings::value(settings::sortColumn)), int>);
    static_assert(std::is_same_v<decltype(settings::value(settings::sortDescending)), int>);
    static_assert(std::is_same_v<decltype(settings::value(settings::listFont)), QString>);
    static_assert(std::is_same_v<decltype(settings::value(settings::listFontSize)), int>);
    static_assert(std::is_same_v<decltype(settings::value(settings::statusBarShown)), bool>);
    static_assert(std::is_same_v<decltype(settings::value(settings::iconSize)), int>);
}

void TestSettings::standsUnder_data()
{
    QTest::addColumn<QString>("seen");
    const auto row = [](const char *path, const QString &seen) { QTest::newRow(path) << seen; };
    row("Scan/Port", settings::path(settings::scanPort));
    row("Scan/HTTPPort", settings::path(settings::scanHttpPort));
    row("Scan/HTTPSPort", settings::path(settings::scanHttpsPort));
    row("Scan/AutoUpdate", settings::path(settings::scanAutoUpdate));
    row("Scan/AutoUpdateInterval", settings::path(settings::scanAutoUpdateInterval));
    row("PreferExtended", settings::path(settings::preferExtended));
    row("Language", settings::path(settings::language));
    row("MainWindow/Geometry", settings::path(settings::windowGeometry));
    row("MainWindow/WindowState", settings::path(settings::windowState));
    row("MainWindow/tableHeader", settings::path(settings::tableHeader));
    row("MainWindow/tableHeaderState", settings::path(settings::tableHeaderState));
    row("MainWindow/SortColumn", settings::path(settings::sortColumn));
    row("MainWindow/SortDescending", settings::path(settings::sortDescending));
    row("MainWindow/Font", settings::path(settings::listFont));
    row("MainWindow/FontSize", settings::path(settings::listFontSize));
    row("MainWindow/Statusbar", settings::path(settings::statusBarShown));
    row("MainWindow/IconSize", settings::path(settings::iconSize));
}

void TestSettings::standsUnder()
{
    QFETCH(QString, seen);
    QCOMPARE(seen, QString::fromLatin1(QTest::currentDataTag()));
}

void TestSettings::fallsBackTo_data()
{
    QTest::addColumn<QVariant>("seen");
    QTest::addColumn<QVariant>("fallback");
    // An empty store of its own: rows are made before init() runs.
    const QTemporaryDir directory;
    settings::open(directory.filePath(QStringLiteral("empty.ini")));
    const auto row = [](const char *name, const QVariant &seen, const QVariant &fallback) {
        QTest::newRow(name) << seen << fallback;
    };
    row("Port", settings::value(settings::scanPort), 9806);
    row("HTTPPort", settings::value(settings::scanHttpPort), 80);
    row("HTTPSPort", settings::value(settings::scanHttpsPort), 443);
    row("AutoUpdate", settings::value(settings::scanAutoUpdate), false);
    row("AutoUpdateInterval", settings::value(settings::scanAutoUpdateInterval), 10.0);
    row("PreferExtended", settings::value(settings::preferExtended), false);
    row("Language", settings::value(settings::language), QString());
    row("Geometry", settings::bytes(settings::windowGeometry), QByteArray());
    row("WindowState", settings::bytes(settings::windowState), QByteArray());
    row("tableHeader", settings::bytes(settings::tableHeader), QByteArray());
    row("tableHeaderState", settings::bytes(settings::tableHeaderState), QByteArray());
    row("SortColumn", settings::value(settings::sortColumn), 0);
    row("SortDescending", settings::value(settings::sortDescending), 0);
    row("Font", settings::value(settings::listFont), QString());
    row("FontSize", settings::value(settings::listFontSize), 9);
    row("Statusbar", settings::value(settings::statusBarShown), true);
    row("IconSize", settings::value(settings::iconSize), 22);
    settings::open(QString());
}

void TestSettings::fallsBackTo()
{
    QFETCH(QVariant, seen);
    QTEST(seen, "fallback");
}

void TestSettings::namesTheFilterHistory()
{
    QCOMPARE(QByteArray(settings::filterHistoryGroup), QByteArray("MainWindow"));
    QCOMPARE(QByteArray(settings::filterHistoryArray), QByteArray("FilterHistory"));
    QCOMPARE(QByteArray(settings::filterHistoryEntry), QByteArray("String"));
}

void TestSettings::readsWhatWasStored()
{
    settings::setValue(settings::scanPort, 12345);
    settings::setValue(settings::scanAutoUpdate, true);
    settings::setValue(settings::scanAutoUpdateInterval, 2.5);
    settings::setValue(settings::statusBarShown, false);
    settings::setValue(settings::language, QStringLiteral("de"));
    // Written and read again, not only remembered.
    settings::store().sync();
    settings::open(file());
    QCOMPARE(settings::value(settings::scanPort), 12345);
    QCOMPARE(settings::value(settings::scanAutoUpdate), true);
    QCOMPARE(settings::value(settings::scanAutoUpdateInterval), 2.5);
    QCOMPARE(settings::value(settings::statusBarShown), false);
    QCOMPARE(settings::value(settings::language), QStringLiteral("de"));
    QCOMPARE(settings::value(settings::scanHttpPort), 80);
}

void TestSettings::writesIniFiles()
{
    settings::setValue(settings::scanPort, 12345);
    QCOMPARE(written(), "[Scan]" + lineEnd + "Port=12345" + lineEnd);
}

void TestSettings::keepsPreferExtendedAtTheTopLevel()
{
    settings::setValue(settings::preferExtended, true);
    QCOMPARE(written(), "[General]" + lineEnd + "PreferExtended=true" + lineEnd);
    settings::setValue(settings::language, QStringLiteral("de"));
    // Which of the two comes first differs from system to system.
    const QByteArray both = written();
    QVERIFY(both.startsWith("[General]" + lineEnd));
    QVERIFY(both.contains("Language=de" + lineEnd));
    QVERIFY(both.contains("PreferExtended=true" + lineEnd));
    QCOMPARE(both.count('\n'), 3);
}

void TestSettings::ignoresPreferExtendedInAnyGroup()
{
    write("[Scan]\nPreferExtended=true\n");
    QCOMPARE(settings::value(settings::preferExtended), false);
    write("[MainWindow]\nPreferExtended=true\n");
    QCOMPARE(settings::value(settings::preferExtended), false);
    write("[General]\nPreferExtended=true\n");
    QCOMPARE(settings::value(settings::preferExtended), true);
}

void TestSettings::readsFilesWrittenByHand()
{
    write("PreferExtended=1\r\nLanguage = fr\r\n\r\n; ports\r\n[Scan]\r\nPort = 9807\r\n"
          "AutoUpdateInterval=0.5\r\nAutoUpdate=true\r\n[MainWindow]\r\nIconSize=44\r\nStatusbar=false\r\n");
    QCOMPARE(settings::value(settings::preferExtended), true);
    QCOMPARE(settings::value(settings::language), QStringLiteral("fr"));
    QCOMPARE(settings::value(settings::scanPort), 9807);
    QCOMPARE(settings::value(settings::scanAutoUpdateInterval), 0.5);
    QCOMPARE(settings::value(settings::scanAutoUpdate), true);
    QCOMPARE(settings::value(settings::iconSize), 44);
    QCOMPARE(settings::value(settings::statusBarShown), false);
}

void TestSettings::readsOtherTypes_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<int>("port");
    QTest::addColumn<double>("interval");
    QTest::addColumn<bool>("autoUpdate");
    QTest::newRow("text") << QByteArray("many") << 0 << 0.0 << true;
    QTest::newRow("empty") << QByteArray("") << 0 << 0.0 << false;
    QTest::newRow("zero") << QByteArray("0") << 0 << 0.0 << false;
    QTest::newRow("one") << QByteArray("1") << 1 << 1.0 << true;
    QTest::newRow("negative") << QByteArray("-5") << -5 << -5.0 << true;
    QTest::newRow("false") << QByteArray("false") << 0 << 0.0 << false;
    QTest::newRow("hexadecimal") << QByteArray("0x10") << 0 << 0.0 << true;
    QTest::newRow("too big for an integer") << QByteArray("4294967296") << 0 << 4294967296.0 << true;
    QTest::newRow("a number and more") << QByteArray("80 or so") << 0 << 0.0 << true;
    QTest::newRow("a list") << QByteArray("80, 81") << 0 << 0.0 << false;
    QTest::newRow("bytes") << QByteArray("@ByteArray(80)") << 80 << 80.0 << true;
    QTest::newRow("invalid") << QByteArray("@Invalid()") << 0 << 0.0 << false;
}

void TestSettings::readsOtherTypes()
{
    QFETCH(QByteArray, stored);
    write("[Scan]\nPort=" + stored + "\nAutoUpdateInterval=" + stored + "\nAutoUpdate=" + stored + '\n');
    QTEST(settings::value(settings::scanPort), "port");
    QTEST(settings::value(settings::scanAutoUpdateInterval), "interval");
    QTEST(settings::value(settings::scanAutoUpdate), "autoUpdate");
    // What stands beside it is not touched.
    QCOMPARE(settings::value(settings::scanHttpPort), 80);
}

void TestSettings::keepsBytes()
{
    const QByteArray state = QByteArray::fromHex("000000ff00ff0d0a3b2c5c22");
    settings::setValue(settings::tableHeaderState, state);
    settings::store().sync();
    settings::open(file());
    QCOMPARE(settings::bytes(settings::tableHeaderState).toHex(), state.toHex());
    write("[MainWindow]\ntableHeaderState=7\nGeometry=plain text\n");
    QCOMPARE(settings::bytes(settings::tableHeaderState), QByteArray("7"));
    QCOMPARE(settings::bytes(settings::windowGeometry), QByteArray("plain text"));
}

void TestSettings::readsTheStoreAnewEachTime()
{
    QCOMPARE(settings::value(settings::scanHttpPort), 80);
    settings::store().setValue(QStringLiteral("Scan/HTTPPort"), 8080);
    QCOMPARE(settings::value(settings::scanHttpPort), 8080);
    settings::store().remove(QStringLiteral("Scan/HTTPPort"));
    QCOMPARE(settings::value(settings::scanHttpPort), 80);
}

void TestSettings::opensTheUsersOwnFile()
{
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, path());
    QCoreApplication::setOrganizationName(QStringLiteral("ostrel GmbH"));
    QCoreApplication::setApplicationName(QStringLiteral("NembraHub"));
    settings::open(QString());
    QCOMPARE(settings::store().fileName(), path(QStringLiteral("ostrel GmbH/NembraHub.ini")));
    QCOMPARE(settings::store().format(), QSettings::IniFormat);
    QCOMPARE(settings::store().scope(), QSettings::UserScope);
    QCOMPARE(QSettings::defaultFormat(), QSettings::IniFormat);
}

void TestSettings::survivesAFileThatIsNone()
{
    // A directory in its place.
    settings::open(path());
    QCOMPARE(settings::value(settings::scanPort), 9806);
    settings::setValue(settings::scanPort, 1);
    settings::store().sync();
    QCOMPARE(settings::value(settings::scanPort), 1);

    write(QByteArray("\0\xff[Scan\nPort=1\n]]]==\n", 20));
    QCOMPARE(settings::value(settings::scanPort), 9806);
}

void TestSettings::leavesNothingBesideItsFile()
{
    // What a program that was killed has left.
    put(QStringLiteral("settings.ini.nembra-old"), "[General]\nLanguage=de\n");
    for (int port = 1; port <= 3; ++port) {
        settings::setValue(settings::scanPort, port);
        // The toolkit writes as soon as the event loop turns.
        QCoreApplication::sendPostedEvents(&settings::store(), QEvent::UpdateRequest);
        QVERIFY(content(QStringLiteral("settings.ini")).contains("Port=" + QByteArray::number(port)));
    }
    QCOMPARE(everything(), QStringList{QStringLiteral("settings.ini")});
}

void TestSettings::forgetsEverythingWhenCleared()
{
    settings::setValue(settings::scanPort, 12345);
    settings::setValue(settings::language, QStringLiteral("de"));
    settings::setValue(settings::iconSize, 44);
    QVERIFY(written().contains("Port=12345"));
    settings::store().clear();
    QCOMPARE(settings::value(settings::scanPort), 9806);
    QCOMPARE(settings::value(settings::language), QString());
    QCOMPARE(settings::value(settings::iconSize), 22);
    QCOMPARE(written(), QByteArray());
}

QTEST_GUILESS_MAIN(TestSettings)

#include "tst_settings.moc"

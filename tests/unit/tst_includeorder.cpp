#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <iterator>

// The folders of the program stand on each other, and none looks up: what a folder may include is written
// here, and every source file is held to it.

namespace {

/// The folders that a folder may include besides itself.
const QMap<QString, QStringList> &foldersBelow()
{
    static const QMap<QString, QStringList> below = [] {
        const QString platform = QStringLiteral("platform");
        const QString common = QStringLiteral("common");
        const QString web = QStringLiteral("web");
        const QString discovery = QStringLiteral("discovery");
        const QString device = QStringLiteral("device");
        const QString operations = QStringLiteral("operations");
        const QString mainwindow = QStringLiteral("mainwindow");
        const QString widgets = QStringLiteral("widgets");
        const QString syslog = QStringLiteral("syslog");
        return QMap<QString, QStringList>{
            {platform, {}},
            {common, {platform}},
            {web, {common, platform}},
            {discovery, {common}},
            {widgets, {common}},
            {syslog, {common}},
            {device, {discovery, web, common, widgets, syslog}},
            {operations, {device, platform, discovery, web, common, widgets, syslog}},
            {mainwindow, {operations, device, discovery, web, common, widgets, syslog}},
            {QStringLiteral("app"),
             {mainwindow, operations, device, discovery, web, common, platform, widgets, syslog}},
        };
    }();
    return below;
}

/// Why a file in `folder` may not include `path`; empty if it may. A path without a folder is a header that
/// the build makes.
QString objection(const QString &folder, const QString &path)
{
    const QString wanted = path.section(QLatin1Char('/'), 0, -2);
    if (wanted.isEmpty()) {
        return path.startsWith(QLatin1String("ui_")) ? QString() : QStringLiteral("it names no folder");
    }
    if (!foldersBelow().contains(folder)) {
        return QStringLiteral("nobody has said what may be included in ") + folder;
    }
    if (wanted == folder || foldersBelow().value(folder).contains(wanted)) {
        return {};
    }
    return QStringLiteral("%1 is not below %2").arg(wanted, folder);
}

/// Whether a header comes with the toolkit, the language or a library that every system has.
bool isOnEverySystem(const QString &header)
{
    // The first ones have no suffix either, and what they declare differs from system to system.
    static const QRegularExpression known(
        QStringLiteral("^(?!cerrno|csignal)(Q[A-Za-z0-9]+|[a-z_]+|(curl/curl|openssl/crypto)\\.h|nlohmann/"
                       "json(_fwd)?\\.hpp)$"));
    return known.match(header).hasMatch();
}

/// What is included between `open` and `close`.
QStringList includes(const QString &source, QChar open, QChar close)
{
    const QRegularExpression include(QStringLiteral("^\\s*#\\s*include\\s*%1([^%2]*)%2").arg(open).arg(close),
                                     QRegularExpression::MultilineOption);
    QStringList paths;
    for (auto matches = include.globalMatch(source); matches.hasNext();) {
        paths << matches.next().captured(1);
    }
    return paths;
}

QStringList projectIncludes(const QString &source)
{
    return includes(source, QLatin1Char('"'), QLatin1Char('"'));
}

/// Lines that differ from system to system: what is included, and what is asked of the preprocessor.
QStringList systemLines(const QString &source)
{
    static const QRegularExpression condition(QStringLiteral(
        "\\b(Q_OS_\\w+|Q_CC_\\w+|_?WIN(32|64)|_MSC_VER|__MINGW\\w+|__linux__|__unix__|__APPLE__)\\b"));
    QStringList lines;
    const QStringList headers = includes(source, QLatin1Char('<'), QLatin1Char('>'));
    std::remove_copy_if(headers.begin(), headers.end(), std::back_inserter(lines), isOnEverySystem);
    for (auto matches = condition.globalMatch(source); matches.hasNext();) {
        lines << matches.next().captured();
    }
    return lines;
}

/// Calls `look` with the folder, the name and the content of each source of the program.
void forEachSource(const std::function<void(const QString &, const QString &, const QString &)> &look)
{
    const QDir sources(QStringLiteral(NEMBRA_SOURCE_DIRECTORY));
    QDirIterator files(sources.path(), {QStringLiteral("*.h"), QStringLiteral("*.cpp")}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
        const QString name = sources.relativeFilePath(file.fileName());
        look(name.section(QLatin1Char('/'), 0, -2), name, QString::fromUtf8(file.readAll()));
    }
}

} // namespace

class TestIncludeOrder : public QObject
{
    Q_OBJECT

private slots:
    void judgesIncludes_data();
    void judgesIncludes();
    void findsIncludes();
    void includesOnlyWhatIsBelow();
    void knowsSystemLines_data();
    void knowsSystemLines();
    void keepsSystemsInOneFolder();
};

void TestIncludeOrder::judgesIncludes_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("allowed");
    QTest::newRow("the same folder") << "device"
                                     << "device/device.h" << true;
    QTest::newRow("the folder below") << "device"
                                      << "discovery/discoverydevice.h" << true;
    QTest::newRow("far below") << "app"
                               << "common/settings.h" << true;
    QTest::newRow("widgets in a window") << "mainwindow"
                                         << "widgets/plainmessagebox.h" << true;
    QTest::newRow("a form") << "mainwindow"
                            << "ui_mainwindow.h" << true;
    QTest::newRow("the folder above") << "discovery"
                                      << "device/device.h" << false;
    QTest::newRow("far above") << "common"
                               << "app/application.h" << false;
    QTest::newRow("widgets in discovery") << "discovery"
                                          << "widgets/plainmessagebox.h" << false;
    QTest::newRow("discovery in widgets") << "widgets"
                                          << "discovery/discovery.h" << false;
    QTest::newRow("the log in widgets") << "widgets"
                                        << "syslog/loglist.h" << false;
    QTest::newRow("the window in the log") << "syslog"
                                           << "mainwindow/mainwindow.h" << false;
    QTest::newRow("anything in common") << "common"
                                        << "discovery/discovery.h" << false;
    QTest::newRow("a folder that doesn't exist") << "app"
                                                 << "simulator/fleet.h" << false;
    QTest::newRow("in a folder that nobody knows") << "other"
                                                   << "common/settings.h" << false;
    QTest::newRow("without a folder") << "device"
                                      << "device.h" << false;
    QTest::newRow("upwards by dots") << "device"
                                     << "../mainwindow/mainwindow.h" << false;
}

void TestIncludeOrder::judgesIncludes()
{
    QFETCH(QString, folder);
    QFETCH(QString, path);
    const QString reason = objection(folder, path);
    QFETCH(bool, allowed);
    QVERIFY2(reason.isEmpty() == allowed, qPrintable(path + QStringLiteral(": ") + reason));
}

void TestIncludeOrder::findsIncludes()
{
    const QString source = QStringLiteral("#include \"a/b.h\"\n  #  include \"c/d.h\"\n#include <QString>\n"
                                          "// see \"e/f.h\"\n#include \"ui_x.h\" // form\n");
    const QStringList expected{QStringLiteral("a/b.h"), QStringLiteral("c/d.h"), QStringLiteral("ui_x.h")};
    QCOMPARE(projectIncludes(source), expected);
}

void TestIncludeOrder::includesOnlyWhatIsBelow()
{
    QStringList objections;
    int includes = 0;
    forEachSource([&](const QString &folder, const QString &name, const QString &source) {
        const QStringList paths = projectIncludes(source);
        for (const QString &path : paths) {
            ++includes;
            const QString reason = objection(folder, path);
            if (!reason.isEmpty()) {
                objections << QStringLiteral("%1 includes %2: %3").arg(name, path, reason);
            }
        }
    });
    // A test that looks into the wrong folder finds nothing to object to.
    QVERIFY2(includes > 50, qPrintable(QString::number(includes)));
    QVERIFY2(objections.isEmpty(), qPrintable(objections.join(QLatin1Char('\n'))));
}

void TestIncludeOrder::knowsSystemLines_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<int>("count");
    QTest::newRow("the language") << "#include <algorithm>\n#include <system_error>" << 0;
    QTest::newRow("the toolkit") << "#include <QString>" << 0;
    QTest::newRow("libraries")
        << "#include <curl/curl.h>\n#include <openssl/crypto.h>\n#include <nlohmann/json.hpp>" << 0;
    QTest::newRow("in a text") << "see Q_OS and windows.h" << 0;
    QTest::newRow("a header of Unix") << "#include <unistd.h>" << 1;
    QTest::newRow("in a folder of the system") << "#include <sys/socket.h>" << 1;
    QTest::newRow("a header of Windows") << "#include <windows.h>" << 1;
    QTest::newRow("signals and error numbers") << "#include <csignal>\n#include <cerrno>" << 2;
    QTest::newRow("conditions") << "#ifdef Q_OS_UNIX\n#elif defined(_WIN32)" << 2;
    QTest::newRow("compilers") << "#if defined(WIN32) || defined(_WIN64)\n#ifdef _MSC_VER\n#ifdef __MINGW64__"
                               << 4;
}

void TestIncludeOrder::knowsSystemLines()
{
    QFETCH(QString, source);
    QTEST(systemLines(source).size(), "count");
}

void TestIncludeOrder::keepsSystemsInOneFolder()
{
    QStringList elsewhere;
    int there = 0;
    forEachSource([&](const QString &folder, const QString &name, const QString &source) {
        const QStringList lines = systemLines(source);
        if (folder == QLatin1String("platform")) {
            there += lines.size();
        } else if (!lines.isEmpty()) {
            elsewhere << name + QLatin1String(": ") + lines.join(QLatin1String(", "));
        }
    });
    QVERIFY(there > 0);
    QVERIFY2(elsewhere.isEmpty(), qPrintable(elsewhere.join(QLatin1Char('\n'))));
}

QTEST_APPLESS_MAIN(TestIncludeOrder)

#include "tst_includeorder.moc"

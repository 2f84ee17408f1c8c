#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QtTest>

// The folders of the program stand on each other, and none looks up: what a folder may include is written
// here, and every source file is held to it.

namespace {

/// The folders that a folder may include besides itself.
const QMap<QString, QStringList> &foldersBelow()
{
    static const QMap<QString, QStringList> below = [] {
        const QString common = QStringLiteral("common");
        const QString web = QStringLiteral("web");
        const QString discovery = QStringLiteral("discovery");
        const QString device = QStringLiteral("device");
        const QString operations = QStringLiteral("operations");
        const QString mainwindow = QStringLiteral("mainwindow");
        const QString widgets = QStringLiteral("widgets");
        const QString syslog = QStringLiteral("syslog");
        return QMap<QString, QStringList>{
            {common, {}},
            {web, {common}},
            {discovery, {common}},
            {widgets, {common}},
            {syslog, {common}},
            {device, {discovery, web, common, widgets, syslog}},
            {operations, {device, discovery, web, common, widgets, syslog}},
            {mainwindow, {operations, device, discovery, web, common, widgets, syslog}},
            {QStringLiteral("app"),
             {mainwindow, operations, device, discovery, web, common, widgets, syslog}},
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

QStringList projectIncludes(const QString &source)
{
    static const QRegularExpression include(QStringLiteral("^\\s*#\\s*include\\s*\"([^\"]*)\""),
                                            QRegularExpression::MultilineOption);
    QStringList paths;
    for (auto matches = include.globalMatch(source); matches.hasNext();) {
        paths << matches.next().captured(1);
    }
    return paths;
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
    const QDir sources(QStringLiteral(NEMBRA_SOURCE_DIRECTORY));
    QStringList objections;
    int includes = 0;
    QDirIterator files(sources.path(), {QStringLiteral("*.h"), QStringLiteral("*.cpp")}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
        const QString name = sources.relativeFilePath(file.fileName());
        const QString folder = name.section(QLatin1Char('/'), 0, -2);
        const QStringList paths = projectIncludes(QString::fromUtf8(file.readAll()));
        for (const QString &path : paths) {
            ++includes;
            const QString reason = objection(folder, path);
            if (!reason.isEmpty()) {
                objections << QStringLiteral("%1 includes %2: %3").arg(name, path, reason);
            }
        }
    }
    // A test that looks into the wrong folder finds nothing to object to.
    QVERIFY2(includes > 50,
             qPrintable(QStringLiteral("%1 includes in %2").arg(includes).arg(sources.path())));
    QVERIFY2(objections.isEmpty(), qPrintable(objections.join(QLatin1Char('\n'))));
}

QTEST_APPLESS_MAIN(TestIncludeOrder)

#include "tst_includeorder.moc"

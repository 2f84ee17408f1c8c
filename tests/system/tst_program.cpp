#include "fleetprocess.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <sys/resource.h>

namespace {

constexpr int startTimeout = 30000;
constexpr int exitTimeout = 20000;

QByteArray outputOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished();
    return process.readAllStandardOutput().trimmed();
}

QByteArray contentOf(const QString &path)
{
    QFile content(path);
    return content.open(QIODevice::ReadOnly) ? content.readAll() : QByteArray();
}

} // namespace

/// The program as it is built, in real windows under a virtual X server with a window manager, with a fleet
/// of three devices in a process of its own.
class TestProgram : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void listsEveryDevice();
    void logsWithTheTimeInFront();
    void closesWithExitCode0AndKeepsItsView();
    void hasAnIconInEverySize();
    void takesTheScaleOfTheScreenAsItIs();
    void secondStartWakesTheFirst();
    void thirdStartWakesTheFirstToo();
    void startAfterACrashClearsUpAndTheNextOneRuns();
    void resetBringsAFreshWindowInTheSameProcess();
    void refusesUnknownOptions_data();
    void refusesUnknownOptions();
    void runsWhereverItIsInstalled();
    void choosesTheLanguage_data();
    void choosesTheLanguage();
    void runsUntranslatedInALanguageItHasNot();
    void makesTheDirectoryOfTheDevicesFile();
    void leavesTheDevicesFileWhereItIsTold();
    void raisesTheDescriptorLimit();
    void remembersTheListItSaved_data();
    void remembersTheListItSaved();
    void looksAfterAStartAsItDidBefore();
    void writesThePasswordNowhere();
    void quitsWhileDevicesHang();

private:
    /// Of three devices.
    void startFleet();
    QString file(const QString &name) const { return m_directory->filePath(name); }
    /// Starts the program with its own settings file.
    void start(QProcess &process, const QStringList &more = {});
    /// The id of the program's window of that title if it is on the screen, else empty.
    QByteArray visibleWindowOf(const QProcess &process, const QString &title = QStringLiteral("Nembra Hub"));
    /// The id of the window that has the keyboard, which a menu never is; empty if none has it.
    static QByteArray activeWindow()
    {
        return outputOf(QStringLiteral("xdotool"), {QStringLiteral("getactivewindow")});
    }
    /// The titles of all windows that the program has, shown or not.
    QByteArray titlesOf(const QProcess &process);
    void press(const QByteArray &window, const QStringList &keys);
    /// Moves the mouse with its button down, in coordinates of the window.
    static void drag(const QByteArray &window, const QPoint &from, const QPoint &to);
    /// Width and height of the window in a first start at this resolution.
    void measureAt(const QString &dotsPerInch, QList<int> *size);
    /// "800x400", without the frame.
    static QByteArray sizeOf(const QByteArray &window);
    /// What a window shows, taken when it has stopped changing.
    QImage pictureOf(const QByteArray &window) const;
    void type(const QString &text);
    QVariant setting(const QString &key) const;
    void writeSettings(const QByteArray &text);

    /// Quits the program when it has asked all 300 devices of the scenario.
    void measureQuitting(const QByteArray &scenario, qint64 &milliseconds);
    /// Writes a list of devices that are not there; what the program is told of it.
    QStringList makeListOfThree();
    /// Whether the window looks different after these keys.
    bool changesBy(const QByteArray &window, const QStringList &keys);
    void changeTheColumns(const QByteArray &window);
    void changeTheWindow(const QByteArray &window);

    class User;
    void logIn(User &user);
    void saveConfigurations(User &user);
    void uploadAConfiguration(User &user);
    void verifyNoFileHolds(const QList<QByteArray> &traces, const QByteArray &told);

    QString m_program;
    QProcess m_display;
    QProcess m_windowManager;
    FleetProcess m_fleet;
    QProcessEnvironment m_environment;
    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestProgram::initTestCase()
{
    QVERIFY2(qgetenv("NEMBRA_PRIVATE_NETWORK") == "1", "run this through scripts/private-network");

    m_display.setProcessChannelMode(QProcess::SeparateChannels);
    m_display.start(QStringLiteral("Xvfb"),
                    {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                     QStringLiteral("0"), QStringLiteral("1024x700x24"), QStringLiteral("-dpi"),
                     QStringLiteral("96"), QStringLiteral("-noreset"), QStringLiteral("-nolisten"),
                     QStringLiteral("tcp")});
    QVERIFY2(m_display.waitForReadyRead(startTimeout), "Xvfb did not start");
    qputenv("DISPLAY", ":" + m_display.readLine().trimmed());
    m_windowManager.start(QStringLiteral("openbox"), QStringList());
    QVERIFY(m_windowManager.waitForStarted());

    startFleet();
}

void TestProgram::startFleet()
{
    QCOMPARE(m_fleet.start({QStringLiteral("--devices"), QStringLiteral("3")}), QString());
}

void TestProgram::cleanupTestCase()
{
    QVERIFY(m_fleet.stop());
    for (QProcess *process : {&m_windowManager, &m_display}) {
        process->terminate();
        process->waitForFinished(exitTimeout);
    }
}

void TestProgram::init()
{
    m_program = QStringLiteral(NEMBRA_PROGRAM);
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
    m_environment = QProcessEnvironment::systemEnvironment();
    m_environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    // The lock of running instances goes by files in here.
    m_environment.insert(QStringLiteral("TMPDIR"), m_directory->path());
    m_environment.insert(QStringLiteral("XDG_DATA_HOME"), file(QStringLiteral("data")));
    m_environment.insert(QStringLiteral("XDG_CONFIG_HOME"), file(QStringLiteral("config")));
    // The virtual screen and the toolkit leave memory behind that is not ours to free.
    m_environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
    writeSettings("[General]\nLanguage=en\n[Scan]\nAutoUpdate=true\nAutoUpdateInterval=1\n");
}

void TestProgram::cleanup()
{
    if (!m_fleet.isRunning()) {
        startFleet();
    }
    m_directory.reset();
}

void TestProgram::start(QProcess &process, const QStringList &more)
{
    process.setProcessEnvironment(m_environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(m_program,
                  QStringList{QStringLiteral("--config"), file(QStringLiteral("settings.ini"))} + more);
    QVERIFY(process.waitForStarted());
}

QByteArray TestProgram::visibleWindowOf(const QProcess &process, const QString &title)
{
    return outputOf(QStringLiteral("xdotool"),
                    {QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--all"),
                     QStringLiteral("--pid"), QString::number(process.processId()), QStringLiteral("--name"),
                     QLatin1Char('^') + title + QLatin1Char('$')})
        .split('\n')
        .first();
}

QByteArray TestProgram::titlesOf(const QProcess &process)
{
    QByteArray titles;
    const QList<QByteArray> windows =
        outputOf(QStringLiteral("xdotool"),
                 {QStringLiteral("search"), QStringLiteral("--pid"), QString::number(process.processId())})
            .split('\n');
    for (const QByteArray &window : windows) {
        titles += outputOf(QStringLiteral("xdotool"),
                           {QStringLiteral("getwindowname"), QString::fromLatin1(window)}) +
                  '\n';
    }
    return titles;
}

void TestProgram::type(const QString &text)
{
    outputOf(QStringLiteral("xdotool"),
             {QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("30"), text});
}

void TestProgram::press(const QByteArray &window, const QStringList &keys)
{
    outputOf(QStringLiteral("xdotool"),
             {QStringLiteral("windowactivate"), QStringLiteral("--sync"), QString::fromLatin1(window)});
    for (const QString &key : keys) {
        outputOf(QStringLiteral("xdotool"),
                 {QStringLiteral("key"), QStringLiteral("--delay"), QStringLiteral("100"), key});
    }
}

void TestProgram::drag(const QByteArray &window, const QPoint &from, const QPoint &to)
{
    const auto move = [&window](const QPoint &place) {
        return QStringList{QStringLiteral("mousemove"), QStringLiteral("--window"),
                           QString::fromLatin1(window), QString::number(place.x()),
                           QString::number(place.y())};
    };
    const QString xdotool = QStringLiteral("xdotool");
    outputOf(xdotool, move(from));
    outputOf(xdotool, {QStringLiteral("mousedown"), QStringLiteral("1")});
    constexpr int steps = 10;
    for (int i = 1; i <= steps; ++i) {
        outputOf(xdotool, move(from + (to - from) * i / steps));
    }
    outputOf(xdotool, {QStringLiteral("mouseup"), QStringLiteral("1")});
}

QByteArray TestProgram::sizeOf(const QByteArray &window)
{
    const QByteArray geometry = outputOf(QStringLiteral("xdotool"),
                                         {QStringLiteral("getwindowgeometry"), QString::fromLatin1(window)});
    const QByteArray label = "Geometry: ";
    return geometry.mid(geometry.lastIndexOf(label) + label.size()).trimmed();
}

QImage TestProgram::pictureOf(const QByteArray &window) const
{
    // Out of the way, where it marks nothing.
    outputOf(QStringLiteral("xdotool"),
             {QStringLiteral("mousemove"), QStringLiteral("1020"), QStringLiteral("695")});
    const QString path = file(QStringLiteral("picture.png"));
    const auto take = [&] {
        outputOf(QStringLiteral("import"), {QStringLiteral("-window"), QString::fromLatin1(window), path});
        return QImage(path);
    };
    constexpr int equalPictures = 4;
    QImage picture = take();
    QElapsedTimer time;
    time.start();
    for (int equal = 0; equal < equalPictures && !time.hasExpired(startTimeout);) {
        const QImage next = take();
        equal = next == picture ? equal + 1 : 0;
        picture = next;
    }
    return picture;
}

QVariant TestProgram::setting(const QString &key) const
{
    return QSettings(file(QStringLiteral("settings.ini")), QSettings::IniFormat).value(key);
}

void TestProgram::writeSettings(const QByteArray &text)
{
    QFile settings(file(QStringLiteral("settings.ini")));
    QVERIFY(settings.open(QIODevice::WriteOnly));
    QCOMPARE(settings.write(text), qint64(text.size()));
}

#define START_AND_FIND(process, window)                                                                      \
    start(process);                                                                                          \
    QByteArray window;                                                                                       \
    QTRY_VERIFY_WITH_TIMEOUT(!((window) = visibleWindowOf(process)).isEmpty(), startTimeout)

#define QUIT(process, window)                                                                                \
    press(window, {QStringLiteral("ctrl+q")});                                                               \
    QVERIFY((process).waitForFinished(exitTimeout));                                                         \
    QCOMPARE((process).exitStatus(), QProcess::NormalExit);                                                  \
    QCOMPARE((process).exitCode(), 0)

void TestProgram::listsEveryDevice()
{
    QProcess program;
    START_AND_FIND(program, window);
    QByteArray log;
    QTRY_VERIFY2_WITH_TIMEOUT((log += program.readAll()).contains("Active devices: 3/3"), log.constData(),
                              startTimeout);
    QUIT(program, window);
}

void TestProgram::logsWithTheTimeInFront()
{
    QProcess program;
    START_AND_FIND(program, window);
    QByteArray log;
    QTRY_VERIFY2_WITH_TIMEOUT((log += program.readAll()).contains("Broadcast 128 bytes to"), log.constData(),
                              startTimeout);
    const QRegularExpression form(
        QStringLiteral(
            "^\\d\\d:\\d\\d:\\d\\d: Broadcast 128 bytes to 255\\.255\\.255\\.255 via 10\\.77\\.0\\.1$"),
        QRegularExpression::MultilineOption);
    QVERIFY2(form.match(QString::fromUtf8(log)).hasMatch(), log.constData());
    QUIT(program, window);
}

void TestProgram::closesWithExitCode0AndKeepsItsView()
{
    QProcess program;
    START_AND_FIND(program, window);
    outputOf(QStringLiteral("xdotool"),
             {QStringLiteral("windowsize"), QStringLiteral("--sync"), QString::fromLatin1(window),
              QStringLiteral("800"), QStringLiteral("400")});
    QUIT(program, window);
    QVERIFY(!setting(QStringLiteral("MainWindow/Geometry")).toByteArray().isEmpty());
    QCOMPARE(setting(QStringLiteral("Scan/AutoUpdate")).toBool(), true);

    QProcess again;
    START_AND_FIND(again, sameWindow);
    QTRY_COMPARE_WITH_TIMEOUT(sizeOf(sameWindow), QByteArray("800x400"), startTimeout);
    QUIT(again, sameWindow);
}

void TestProgram::hasAnIconInEverySize()
{
    QProcess program;
    START_AND_FIND(program, window);
    const QByteArray icon =
        outputOf(QStringLiteral("xprop"),
                 {QStringLiteral("-id"), QString::fromLatin1(window), QStringLiteral("_NET_WM_ICON")});
    for (const char *const size : {"16 x 16", "24 x 24", "32 x 32", "48 x 48", "64 x 64", "128 x 128"}) {
        QVERIFY2(icon.contains(QByteArray("Icon (") + size + ')'), size);
    }
    QUIT(program, window);
}

void TestProgram::measureAt(const QString &dotsPerInch, QList<int> *size)
{
    m_environment.insert(QStringLiteral("QT_FONT_DPI"), dotsPerInch);
    // As big as it was before would be restored.
    writeSettings("[General]\nLanguage=en\n");
    QProcess program;
    START_AND_FIND(program, window);
    const QList<QByteArray> numbers = sizeOf(window).split('x');
    std::transform(numbers.begin(), numbers.end(), std::back_inserter(*size),
                   [](const QByteArray &number) { return number.toInt(); });
    QUIT(program, window);
}

void TestProgram::takesTheScaleOfTheScreenAsItIs()
{
    QList<int> usual;
    measureAt(QStringLiteral("96"), &usual);
    QList<int> larger;
    measureAt(QStringLiteral("144"), &larger);
    QCOMPARE(usual.size(), 2);
    QCOMPARE(larger.size(), 2);
    for (int i = 0; i < 2; ++i) {
        QVERIFY(usual.at(i) > 0);
        QVERIFY2(std::abs(larger.at(i) - usual.at(i) * 3 / 2) <= 1,
                 qPrintable(QString::number(larger.at(i))));
    }
}

void TestProgram::secondStartWakesTheFirst()
{
    QProcess first;
    START_AND_FIND(first, window);
    outputOf(QStringLiteral("xdotool"), {QStringLiteral("windowminimize"), QString::fromLatin1(window)});
    QTRY_VERIFY_WITH_TIMEOUT(visibleWindowOf(first).isEmpty(), startTimeout);

    QProcess second;
    start(second);
    QVERIFY(second.waitForFinished(exitTimeout));
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 0);
    QCOMPARE(first.state(), QProcess::Running);
    QTRY_COMPARE_WITH_TIMEOUT(visibleWindowOf(first), window, startTimeout);
    QUIT(first, window);
}

void TestProgram::thirdStartWakesTheFirstToo()
{
    QProcess first;
    START_AND_FIND(first, window);
    for (int i = 0; i < 2; ++i) {
        QProcess further;
        start(further);
        QVERIFY(further.waitForFinished(exitTimeout));
        QCOMPARE(further.exitCode(), 0);
    }
    QCOMPARE(first.state(), QProcess::Running);
    QUIT(first, window);
}

void TestProgram::startAfterACrashClearsUpAndTheNextOneRuns()
{
    QProcess crashed;
    START_AND_FIND(crashed, window);
    crashed.kill();
    QVERIFY(crashed.waitForFinished(exitTimeout));

    QProcess clearing;
    start(clearing);
    QVERIFY(clearing.waitForFinished(exitTimeout));
    QCOMPARE(clearing.exitStatus(), QProcess::NormalExit);
    QCOMPARE(clearing.exitCode(), 0);

    QProcess running;
    START_AND_FIND(running, newWindow);
    QUIT(running, newWindow);
}

void TestProgram::resetBringsAFreshWindowInTheSameProcess()
{
    writeSettings("[General]\nLanguage=en\n[Scan]\nAutoUpdate=true\nAutoUpdateInterval=1\n"
                  "[MainWindow]\nIconSize=44\n[Forgotten]\nKey=1\n");
    QProcess program;
    START_AND_FIND(program, window);
    const qint64 pid = program.processId();
    // Setup > Reset to defaults > Yes. The last key would be lost if it came before the question.
    press(window, {QStringLiteral("alt+s"), QStringLiteral("r")});
    QByteArray question;
    QTRY_VERIFY_WITH_TIMEOUT(!(question = activeWindow()).isEmpty() && question != window, startTimeout);
    press(question, {QStringLiteral("alt+y")});
    QByteArray freshWindow;
    QTRY_VERIFY_WITH_TIMEOUT(!(freshWindow = visibleWindowOf(program)).isEmpty() && freshWindow != window,
                             startTimeout);
    QCOMPARE(program.processId(), pid);
    QUIT(program, freshWindow);
    QVERIFY(!setting(QStringLiteral("Forgotten/Key")).isValid());
    QVERIFY(!setting(QStringLiteral("MainWindow/IconSize")).isValid());
    QCOMPARE(setting(QStringLiteral("Scan/AutoUpdate")).toBool(), false);
    QCOMPARE(setting(QStringLiteral("Language")).toString(), QStringLiteral("en"));
}

void TestProgram::refusesUnknownOptions_data()
{
    QTest::addColumn<QString>("option");
    QTest::newRow("unknown") << QStringLiteral("--nonsense");
    QTest::newRow("there is no help option") << QStringLiteral("--help");
    QTest::newRow("there is no version option") << QStringLiteral("--version");
}

void TestProgram::refusesUnknownOptions()
{
    QFETCH(QString, option);
    QProcess program;
    start(program, {option});
    QVERIFY(program.waitForFinished(exitTimeout));
    QCOMPARE(program.exitCode(), 1);
    const QByteArray message = program.readAll();
    QVERIFY2(message.contains("Unknown option '" + option.mid(2).toLatin1() + "'"), message.constData());

    // It left nothing behind that would take the next start for a second one.
    QProcess next;
    START_AND_FIND(next, window);
    QUIT(next, window);
}

void TestProgram::runsWhereverItIsInstalled()
{
    const QString place = file(QStringLiteral("any place"));
    QProcess installing;
    installing.start(QStringLiteral(NEMBRA_CMAKE),
                     {QStringLiteral("--install"), QStringLiteral(NEMBRA_BUILD_DIRECTORY),
                      QStringLiteral("--prefix"), place, QStringLiteral("--component"),
                      QStringLiteral("program")});
    QVERIFY(installing.waitForFinished(startTimeout));
    QVERIFY2(installing.exitCode() == 0, installing.readAllStandardError().constData());
    m_program = place + QLatin1String("/" NEMBRA_INSTALLED_PROGRAM);
    writeSettings("[General]\nLanguage=de\n[Scan]\nAutoUpdate=true\nAutoUpdateInterval=1\n");

    QProcess program;
    START_AND_FIND(program, window);
    // It has found its translations.
    QByteArray log;
    QTRY_VERIFY2_WITH_TIMEOUT((log += program.readAll()).contains("Aktive Ger\u00e4te: 3/3"), log.constData(),
                              startTimeout);
    QUIT(program, window);
}

void TestProgram::choosesTheLanguage_data()
{
    QTest::addColumn<QString>("languages");
    QTest::addColumn<QString>("chosen");
    QTest::newRow("the first that there is") << QStringLiteral("fr_FR:de_DE:en_US") << QStringLiteral("de");
    QTest::newRow("the first of two") << QStringLiteral("en_GB:de_DE") << QStringLiteral("en");
    QTest::newRow("none that there is") << QStringLiteral("fr_FR:it_IT") << QStringLiteral("en");
}

void TestProgram::choosesTheLanguage()
{
    QFETCH(QString, languages);
    QFETCH(QString, chosen);
    writeSettings("[General]\n");
    m_environment.remove(QStringLiteral("LC_ALL"));
    m_environment.insert(QStringLiteral("LANG"), QStringLiteral("C.UTF-8"));
    m_environment.insert(QStringLiteral("LANGUAGE"), languages);
    QProcess program;
    START_AND_FIND(program, window);
    QUIT(program, window);
    QCOMPARE(setting(QStringLiteral("Language")).toString(), chosen);
}

void TestProgram::runsUntranslatedInALanguageItHasNot()
{
    writeSettings("[General]\nLanguage=fr\n[Scan]\nAutoUpdate=true\nAutoUpdateInterval=1\n");
    QProcess program;
    START_AND_FIND(program, window);
    QByteArray log;
    QTRY_VERIFY2_WITH_TIMEOUT((log += program.readAll()).contains("Active devices: 3/3"), log.constData(),
                              startTimeout);
    QVERIFY2(!log.contains(".qm"), log.constData());
    QUIT(program, window);
    QCOMPARE(setting(QStringLiteral("Language")).toString(), QStringLiteral("fr"));
}

void TestProgram::makesTheDirectoryOfTheDevicesFile()
{
    const QString directory = file(QStringLiteral("data/ostrel GmbH/NembraHub"));
    QVERIFY(!QDir(directory).exists());
    QProcess program;
    START_AND_FIND(program, window);
    QVERIFY(QDir(directory).exists());
    QUIT(program, window);
}

void TestProgram::leavesTheDevicesFileWhereItIsTold()
{
    QProcess program;
    start(program, {QStringLiteral("--devices"), file(QStringLiteral("elsewhere/devices.json"))});
    QByteArray window;
    QTRY_VERIFY_WITH_TIMEOUT(!(window = visibleWindowOf(program)).isEmpty(), startTimeout);
    QVERIFY(!QDir(file(QStringLiteral("data"))).exists());
    QVERIFY(!QDir(file(QStringLiteral("elsewhere"))).exists());
    QUIT(program, window);
}

void TestProgram::raisesTheDescriptorLimit()
{
    // The usual soft limit, whatever the tests themselves run with.
    rlimit own{};
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &own), 0);
    const rlimit usual{1024, own.rlim_max};
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &usual), 0);
    QProcess program;
    START_AND_FIND(program, window);
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &own), 0);
    QFile limits(QStringLiteral("/proc/%1/limits").arg(program.processId()));
    QVERIFY(limits.open(QIODevice::ReadOnly));
    const QString text = QString::fromLatin1(limits.readAll());
    const QRegularExpression form(QStringLiteral("Max open files\\s+(\\d+)\\s+(\\d+)"));
    const QRegularExpressionMatch match = form.match(text);
    QVERIFY2(match.hasMatch(), qPrintable(text));
    QCOMPARE(match.captured(1).toLongLong(), qMin(match.captured(2).toLongLong(), 65536LL));
    QUIT(program, window);
}

void TestProgram::remembersTheListItSaved_data()
{
    QTest::addColumn<bool>("told");
    QTest::addColumn<QString>("fileName");
    QTest::newRow("in its own place") << false << "data/ostrel GmbH/NembraHub/devices.json";
    QTest::newRow("where it is told") << true << "my devices.json";
}

void TestProgram::remembersTheListItSaved()
{
    QFETCH(bool, told);
    QFETCH(QString, fileName);
    const QString path = file(fileName);
    const QStringList options = told ? QStringList{QStringLiteral("--devices"), path} : QStringList();
    QByteArray window;
    QByteArray log;
    const auto logged = [&log](QProcess &program, const QByteArray &text) {
        log += program.readAll();
        return log.contains(text);
    };
    const QByteArray saved = "saved \"" + path.toUtf8() + '"';
    const auto content = [&path] {
        QFile list(path);
        return list.open(QIODevice::ReadOnly) ? list.readAll() : QByteArray("not there");
    };

    QProcess first;
    start(first, options);
    QTRY_VERIFY_WITH_TIMEOUT(!(window = visibleWindowOf(first)).isEmpty(), startTimeout);
    QTRY_VERIFY2_WITH_TIMEOUT(logged(first, "Active devices: 3/3"), log.constData(), startTimeout);
    QVERIFY(!QFile::exists(path));
    press(window, {QStringLiteral("ctrl+s")});
    QTRY_VERIFY2_WITH_TIMEOUT(logged(first, saved), log.constData(), startTimeout);
    QUIT(first, window);
    const QByteArray list = content();
    const QRegularExpression form(QStringLiteral(
        R"(^\{\n    "devices": \[\n(        \{\n            "first_seen": "\d{4}(-\d\d){2}T\d\d(:\d\d){2}Z",\n)"
        R"(            "hostname": "[^"]+",\n            "last_seen": "\d{4}(-\d\d){2}T\d\d(:\d\d){2}Z",\n)"
        R"(            "mac": "[0-9A-F]{2}(:[0-9A-F]{2}){5}"\n        \},?\n){3}    \]\n\}\n$)"));
    QVERIFY2(form.match(QString::fromUtf8(list)).hasMatch(), list.constData());

    // Without any device on the network: what it saves now is what it shows.
    QVERIFY(m_fleet.stop());
    log.clear();
    QProcess second;
    start(second, options);
    QTRY_VERIFY_WITH_TIMEOUT(!(window = visibleWindowOf(second)).isEmpty(), startTimeout);
    QTRY_VERIFY2_WITH_TIMEOUT(logged(second, "Active devices: 0/3"), log.constData(), startTimeout);
    QVERIFY(QFile::remove(path));
    press(window, {QStringLiteral("ctrl+s")});
    QTRY_VERIFY2_WITH_TIMEOUT(logged(second, saved), log.constData(), startTimeout);
    QUIT(second, window);
    QCOMPARE(content(), list);

    // The devices that come back find their rows.
    startFleet();
    log.clear();
    QProcess third;
    start(third, options);
    QTRY_VERIFY_WITH_TIMEOUT(!(window = visibleWindowOf(third)).isEmpty(), startTimeout);
    QTRY_VERIFY2_WITH_TIMEOUT(logged(third, "Active devices: 3/3"), log.constData(), startTimeout);
    QUIT(third, window);
    // Nothing is saved unasked.
    QCOMPARE(content(), list);
}

QStringList TestProgram::makeListOfThree()
{
    QFile list(file(QStringLiteral("devices.json")));
    const QByteArray content = R"({"devices": [
        {"hostname": "b", "mac": "0E:5A:11:00:00:01", "first_seen": "2021-03-04T05:06:07Z"},
        {"hostname": "a longer name than others", "mac": "0E:5A:11:00:00:02"},
        {"hostname": "c", "mac": "0E:5A:11:00:00:03", "last_seen": "2022-03-04T05:06:07Z"}]})";
    if (!list.open(QIODevice::WriteOnly) || list.write(content) != content.size()) {
        qFatal("The list cannot be written.");
    }
    return {QStringLiteral("--devices"), list.fileName()};
}

bool TestProgram::changesBy(const QByteArray &window, const QStringList &keys)
{
    const QImage before = pictureOf(window);
    press(window, keys);
    return pictureOf(window) != before;
}

void TestProgram::changeTheColumns(const QByteArray &window)
{
    const QString down = QStringLiteral("Down");
    const QString view = QStringLiteral("alt+v");
    // Another order of the columns, a further one, all as wide as their content, and sorted downwards.
    const QPoint firstHeader(60, 32);
    const QImage usual = pictureOf(window);
    drag(window, firstHeader + QPoint(220, 0), firstHeader + QPoint(100, 0));
    const QImage moved = pictureOf(window);
    QVERIFY(moved != usual);
    QVERIFY(changesBy(window, {view, QStringLiteral("c"), down, down, down, QStringLiteral("Return")}));
    QVERIFY(changesBy(window, {view, QStringLiteral("r")}));
    const QImage ascending = pictureOf(window);
    drag(window, firstHeader, firstHeader);
    QVERIFY(pictureOf(window) != ascending);
}

void TestProgram::changeTheWindow(const QByteArray &window)
{
    const QString down = QStringLiteral("Down");
    const QString enter = QStringLiteral("Return");
    const QString view = QStringLiteral("alt+v");
    // No status bar, large icons, a bigger font, another language.
    QVERIFY(changesBy(window, {view, down, down, down, enter}));
    QVERIFY(changesBy(window, {view, down, down, QStringLiteral("Right"), down, enter}));
    press(window, {view, QStringLiteral("f")});
    const auto fontDialog = [] {
        return outputOf(QStringLiteral("xdotool"), {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                                    QStringLiteral("--name"), QStringLiteral("Font")});
    };
    QTRY_VERIFY_WITH_TIMEOUT(!fontDialog().isEmpty(), startTimeout);
    press(fontDialog(), {QStringLiteral("alt+s"), QStringLiteral("1"), QStringLiteral("4"), enter});
    QTRY_VERIFY_WITH_TIMEOUT(fontDialog().isEmpty(), startTimeout);
    QVERIFY(changesBy(window, {QStringLiteral("alt+s"), QStringLiteral("l"), enter}));
}

void TestProgram::looksAfterAStartAsItDidBefore()
{
    QVERIFY(m_fleet.stop());
    writeSettings("[General]\nLanguage=en\n");
    const QStringList options = makeListOfThree();
    const auto geometryOf = [](const QByteArray &window) {
        return outputOf(QStringLiteral("xdotool"), {QStringLiteral("getwindowgeometry"),
                                                    QStringLiteral("--shell"), QString::fromLatin1(window)})
            .replace(window, QByteArray());
    };
    QByteArray window;

    QProcess first;
    start(first, options);
    QTRY_VERIFY_WITH_TIMEOUT(!(window = visibleWindowOf(first)).isEmpty(), startTimeout);
    const QImage fresh = pictureOf(window);
    outputOf(QStringLiteral("xdotool"),
             {QStringLiteral("windowsize"), QStringLiteral("--sync"), QString::fromLatin1(window),
              QStringLiteral("700"), QStringLiteral("400")});
    outputOf(QStringLiteral("xdotool"),
             {QStringLiteral("windowmove"), QStringLiteral("--sync"), QString::fromLatin1(window),
              QStringLiteral("120"), QStringLiteral("90")});
    for (const auto change : {&TestProgram::changeTheColumns, &TestProgram::changeTheWindow}) {
        (this->*change)(window);
        if (QTest::currentTestFailed()) {
            return;
        }
    }
    // In which row the keyboard is doesn't outlive the program.
    const QStringList toTheFirst{QStringLiteral("End"), QStringLiteral("Home")};
    press(window, toTheFirst);
    const QImage left = pictureOf(window);
    const QByteArray place = geometryOf(window);
    QUIT(first, window);

    QProcess second;
    start(second, options);
    QTRY_VERIFY_WITH_TIMEOUT(!(window = visibleWindowOf(second)).isEmpty(), startTimeout);
    press(window, toTheFirst);
    const QImage restored = pictureOf(window);
    QVERIFY(left.save(file(QStringLiteral("left.png"))));
    QVERIFY2(restored == left, "the window looks different after the start");
    QCOMPARE(geometryOf(window), place);
    QVERIFY(left != fresh);
    QUIT(second, window);
}

void TestProgram::measureQuitting(const QByteArray &scenario, qint64 &milliseconds)
{
    const QTemporaryDir elsewhere;
    QFile journal(elsewhere.filePath(QStringLiteral("journal")));
    QVERIFY(m_fleet.stop());
    QCOMPARE(m_fleet.startScenario(scenario, {QStringLiteral("--journal"), journal.fileName()}), QString());
    QProcess program;
    START_AND_FIND(program, window);
    QVERIFY(journal.open(QIODevice::ReadOnly));
    int requests = 0;
    const auto countRequests = [&journal, &requests] {
        requests += journal.readAll().count("admin/proctpl.cgi");
        return requests;
    };
    QTRY_VERIFY_WITH_TIMEOUT(countRequests() >= 300, startTimeout);
    QElapsedTimer clock;
    clock.start();
    QUIT(program, window);
    milliseconds = clock.elapsed();
    QVERIFY(m_fleet.stop());
}

void TestProgram::quitsWhileDevicesHang()
{
    // The same with devices that answer, for the keys and the end of a process take their time.
    qint64 usual = 0;
    measureQuitting(R"({"fleet": {"devices": 300}})", usual);
    QVERIFY(usual > 0);
    qint64 hanging = 0;
    measureQuitting(R"({"fleet": {"devices": 300}, "faults": [{"kind": "hang"}]})", hanging);
    QVERIFY(hanging > 0);
    // Nothing is waited for. A request that hangs is given up after twenty seconds.
    QVERIFY2(hanging < 5 * usual, qPrintable(QStringLiteral("%1 ms, usually %2 ms").arg(hanging).arg(usual)));
}

/// Somebody at the program, with all that it tells.
class TestProgram::User final
{
public:
    User(TestProgram &test, QProcess &program, const QByteArray &window, const QString &secret)
        : m_test(test)
        , m_program(program)
        , m_window(window)
        , m_secret(secret)
    {
    }

    QString secret() const { return m_secret; }
    QByteArray log() const { return m_log; }
    /// The titles of the windows that were looked at.
    QByteArray titles() const { return m_titles; }
    /// Whether the log holds a text so often, sooner or later.
    bool reads(const QByteArray &text, int times = 1)
    {
        return QTest::qWaitFor(
            [&] {
                readLog();
                return m_log.count(text) >= times;
            },
            startTimeout);
    }
    void readLog() { m_log += m_program.readAll(); }
    void readTitles() { m_titles += m_test.titlesOf(m_program); }
    bool sees(const char *title)
    {
        const bool there = QTest::qWaitFor([&] { return isVisible(title); }, startTimeout);
        readTitles();
        return there;
    }
    bool seesNoMore(const char *title) const
    {
        return QTest::qWaitFor([&] { return !isVisible(title); }, startTimeout);
    }
    bool isVisible(const char *title) const { return !windowOf(title).isEmpty(); }
    void presses(const QStringList &keys) const { m_test.press(m_window, keys); }
    void presses(const char *title, const QStringList &keys) const { m_test.press(windowOf(title), keys); }
    void types(const QString &text) const { m_test.type(text); }

private:
    QByteArray windowOf(const char *title) const
    {
        return m_test.visibleWindowOf(m_program, QLatin1String(title));
    }

    TestProgram &m_test;
    QProcess &m_program;
    const QByteArray m_window;
    const QString m_secret;
    QByteArray m_log;
    QByteArray m_titles;
};

/// At three devices, at first with a slip.
void TestProgram::logIn(User &user)
{
    // Devices > Configure > User login, for all of them.
    user.presses(
        {QStringLiteral("ctrl+a"), QStringLiteral("alt+d"), QStringLiteral("c"), QStringLiteral("l")});
    QVERIFY(user.sees("Login"));
    user.presses("Login", {});
    user.types(QStringLiteral("boss"));
    user.presses("Login", {QStringLiteral("Return")});
    user.types(QStringLiteral("m1styped &word"));
    user.presses("Login", {QStringLiteral("Return")});
    QVERIFY2(user.reads("onLoginResult false \"Wrong login\""), user.log().constData());
    user.types(user.secret());
    user.presses("Login", {QStringLiteral("Return")});
    for (int i = 1; i <= 3; ++i) {
        QVERIFY2(user.reads("onDeviceData true 3", i), user.log().constData());
        user.readTitles();
        if (i < 3) {
            user.presses("Login", {QStringLiteral("Return"), QStringLiteral("Return")});
        }
    }
    QVERIFY(user.seesNoMore("Login"));
}

void TestProgram::saveConfigurations(User &user)
{
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("saved")));
    // Devices > Download > Configuration.
    user.presses({QStringLiteral("alt+d"), QStringLiteral("l"), QStringLiteral("f")});
    QVERIFY(user.sees("Open Directory"));
    user.presses("Open Directory", {QStringLiteral("ctrl+a")});
    user.types(file(QStringLiteral("saved")));
    user.presses("Open Directory", {QStringLiteral("Return")});
    QVERIFY(user.sees("Save config"));
    QTRY_COMPARE_WITH_TIMEOUT(QDir(file(QStringLiteral("saved"))).entryList(QDir::Files).size(), 3,
                              startTimeout);
    QVERIFY2(user.reads("config.tpl", 3), user.log().constData());
    user.presses("Save config", {QStringLiteral("Escape")});
    QVERIFY(user.seesNoMore("Save config"));
}

void TestProgram::uploadAConfiguration(User &user)
{
    const QFileInfoList saved = QDir(file(QStringLiteral("saved"))).entryInfoList(QDir::Files);
    QVERIFY(!saved.isEmpty());
    // Devices > Upload > Configuration.
    user.presses({QStringLiteral("alt+d"), QStringLiteral("u"), QStringLiteral("g")});
    QVERIFY(user.sees("Upload config"));
    user.presses("Upload config", {QStringLiteral("ctrl+a")});
    user.types(saved.constFirst().filePath());
    user.presses("Upload config", {QStringLiteral("Return")});
    QVERIFY(user.seesNoMore("Upload config"));
    // The question in between has no title to wait for.
    QVERIFY(QTest::qWaitFor(
        [&] {
            outputOf(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("alt+y")});
            return user.isVisible("Upload config");
        },
        startTimeout));
    user.readTitles();
    QVERIFY2(user.reads("finished QUrl(\"http://10.77.128.", 6), user.log().constData());
    user.presses("Upload config", {QStringLiteral("Escape")});
    QVERIFY(user.seesNoMore("Upload config"));
}

/// Nor in `told`. The user has logged in and done all the rest.
void TestProgram::verifyNoFileHolds(const QList<QByteArray> &traces, const QByteArray &told)
{
    QByteArray everything = told;
    QDirIterator written(m_directory->path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (written.hasNext()) {
        everything += written.next().toUtf8() + contentOf(written.filePath());
    }
    for (const char *const proof :
         {"on_LoginFinished", "Save config", "LastUploadConfigFile=", R"("hostname": "lab-)", "boss=3"}) {
        QVERIFY2(everything.contains(proof), proof);
    }
    for (const QByteArray &trace : traces) {
        QVERIFY2(!everything.contains(trace), trace.constData());
    }
}

void TestProgram::writesThePasswordNowhere()
{
    const QString secret = QStringLiteral("s3cret &word+1%/");
    const QByteArray encoded = "s3cret%20%26word%2B1%25%2F";
    // What the simulator is told and writes is not the program's.
    const QTemporaryDir elsewhere;
    const QByteArray scenario =
        R"({"groups": [{"count": 3, "host_name": "lab-{n}", "users": [{"name": "boss", "password": ")" +
        secret.toUtf8() + R"(", "level": 3}]}]})";
    const QString journal = elsewhere.filePath(QStringLiteral("journal"));
    QVERIFY(m_fleet.stop());
    QCOMPARE(m_fleet.startScenario(scenario, {QStringLiteral("--journal"), journal}), QString());

    QProcess program;
    START_AND_FIND(program, window);
    User user(*this, program, window, secret);
    QVERIFY2(user.reads("Active devices: 3/3"), user.log().constData());
    for (const auto step :
         {&TestProgram::logIn, &TestProgram::saveConfigurations, &TestProgram::uploadAConfiguration}) {
        (this->*step)(user);
        if (QTest::currentTestFailed()) {
            return;
        }
    }
    user.presses({QStringLiteral("ctrl+s")});
    QVERIFY2(user.reads("saved \""), user.log().constData());
    user.readTitles();
    QUIT(program, window);
    user.readLog();

    // It did go over the wire, to each device, ...
    QVERIFY(m_fleet.stop());
    QCOMPARE(contentOf(journal).count("login_password=" + encoded), 3);
    QCOMPARE(contentOf(journal).count("login_password=m1styped%20%26word"), 1);
    // ... and nowhere else.
    verifyNoFileHolds({secret.toUtf8(), encoded, encoded.toLower(), QByteArray("s3cret"),
                       QByteArray("s3cret").toHex(), QByteArray("m1styped")},
                      user.log() + user.titles());
}

QTEST_GUILESS_MAIN(TestProgram)
#include "tst_program.moc"

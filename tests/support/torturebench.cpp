#include "torturebench.h"

#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "failingcalls.h"
#include "thisprocess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QtTest>

#include <algorithm>
#include <set>

using failingcalls::Call;

namespace {

/// After which somebody asks again who waits for devices that don't show up; each time twice as long.
constexpr int impatience = 50;

const QByteArray scenario(R"({
    "fleet": {"restart_ms": 1},
    "groups": [
        {"count": 3, "mac": "0E:5A:11:00:00:01", "host_name": "lab-{n}", "anonymous_level": 3,
         "device_type": "TH2", "configuration": "[system]\r\nname=lab\r\n", "redirect_to_https": false},
        {"count": 2, "mac": "0E:5A:11:00:00:04", "host_name": "tls-{n}", "anonymous_level": 3,
         "device_type": "TH2", "configuration": "[system]\r\nname=lab\r\n", "redirect_to_https": true}]})");

/// Set by an earlier run of the program.
const QString keptSetting = QStringLiteral("Kept");

QString macOf(int index)
{
    return QStringLiteral("0E:5A:11:00:00:%1").arg(index + 1, 2, 16, QLatin1Char('0')).toUpper();
}

/// Which of so many calls are to fail: all if they are few, else the first, one in the middle and the last.
std::set<int> numbersUpTo(int last)
{
    constexpr int few = 4;
    std::set<int> numbers;
    for (int number = 1; number <= std::min(last, few); ++number) {
        numbers.insert(number);
    }
    return last <= few ? numbers : std::set<int>{1, (last + 1) / 2, last};
}

} // namespace

const QByteArray TortureBench::configuration("[system]\r\nname=lab\r\n");

TortureBench::TortureBench() = default;
TortureBench::~TortureBench() = default;

TortureBench::Holdings TortureBench::Holdings::now()
{
    return {thisprocess::descriptorCount(), thisprocess::threadCount()};
}

bool TortureBench::Holdings::operator==(const Holdings &other) const
{
    return descriptors == other.descriptors && threads == other.threads;
}

QString TortureBench::Holdings::text() const
{
    return QStringLiteral("%1 descriptors, %2 threads").arg(descriptors).arg(threads);
}

QStringList TortureBench::allDevices(const QString &outcome)
{
    QStringList outcomes;
    for (int i = 0; i < deviceCount; ++i) {
        outcomes += outcome;
    }
    return outcomes;
}

QByteArray TortureBench::contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(not there)");
}

void TortureBench::begin()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    QCOMPARE(m_fleet.startScenario(scenario), QString());
    // What the process makes once and keeps.
    open();
    openWindow();
    close();
}

void TortureBench::end()
{
    QVERIFY(m_fleet.stop());
}

void TortureBench::open()
{
    m_environment = std::make_unique<TestEnvironment>();
    QVERIFY(QDir().mkdir(outputDirectory()));
    settings::store().setValue(keptSetting, QStringLiteral("kept"));
    settings::store().sync();
    m_injected = 0;
}

void TortureBench::close()
{
    failingcalls::stop();
    m_bench.reset();
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, patience);
    m_environment.reset();
}

void TortureBench::openWindow()
{
    m_bench = std::make_unique<WindowBench>(path(QStringLiteral("devices.json")));
    QVERIFY2(comesToRest(), qPrintable(rows()));
}

QString TortureBench::rows() const
{
    QStringList rows;
    for (int i = 0; i < deviceCount; ++i) {
        rows += m_bench->cell(macOf(i), Column::Status);
    }
    return rows.join(QLatin1String(" | "));
}

bool TortureBench::isAtRest() const
{
    for (int i = 0; i < deviceCount; ++i) {
        const DeviceItem *const row = m_bench->row(macOf(i));
        if (!row || row->device().requestOutstanding() || row->device().queryPending() ||
            row->device().dataAge() > 0 || row->text(Column::Status) != QLatin1String("200 OK")) {
            return false;
        }
    }
    return orphanedManagers().isEmpty();
}

bool TortureBench::comesToRest()
{
    QElapsedTimer time;
    time.start();
    for (int wait = impatience; !QTest::qWaitFor([this] { return isAtRest(); }, wait); wait *= 2) {
        if (time.hasExpired(patience)) {
            return false;
        }
        m_bench->trigger("actionDiscover_devices");
    }
    return true;
}

QList<Device *> TortureBench::devices() const
{
    QList<Device *> devices;
    for (int i = 0; i < deviceCount; ++i) {
        devices += &m_bench->row(macOf(i))->device();
    }
    return devices;
}

QString TortureBench::checkOutput(int count, const std::function<bool(const QByteArray &)> &isGood) const
{
    QDir directory(outputDirectory());
    const auto all = [&directory] {
        return directory.entryList(QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    };
    // What was not finished goes in its own time.
    (void)QTest::qWaitFor([&] { return all().size() == count; }, patience);
    const QStringList names = all();
    QString wrong;
    if (names.size() != count) {
        wrong = QStringLiteral("the files are ") + names.join(QLatin1String(", "));
    }
    for (const QString &name : names) {
        if (!isGood(contentOf(directory.filePath(name)))) {
            wrong = name + QLatin1String(" holds ") + QString::fromUtf8(contentOf(directory.filePath(name)));
        }
        directory.remove(name);
    }
    return wrong;
}

void TortureBench::torture(const Action &action)
{
    QVERIFY2(comesToRest(), qPrintable(rows()));
    // Twice: what the first one makes for good is no leak.
    for (int i = 0; i < 2; ++i) {
        action.prepare();
        QCOMPARE(action.run(), action.good);
        QCOMPARE(action.checkFiles(action.good), QString());
        QVERIFY2(comesToRest(), qPrintable(rows()));
    }
    QTRY_COMPARE_WITH_TIMEOUT(thisprocess::threadsNamed("Disk"), 0, patience);
    m_holdings = Holdings::now();
    action.prepare();
    failingcalls::count();
    const QStringList outcome = action.run();
    const failingcalls::Counts counts = failingcalls::stop();
    QCOMPARE(outcome, action.good);
    QCOMPARE(action.checkFiles(outcome), QString());
    QStringList report;
    for (std::size_t i = 0; i < failingcalls::callKinds; ++i) {
        const auto call = static_cast<Call>(i);
        const int last = counts.at(i);
        const int before = m_injected;
        for (const int number : numbersUpTo(last)) {
            QString wrong = failAt(action, call, number);
            // Whatever lets one file fail for lack of room lets those after it fail, too.
            if (call == Call::Write && wrong.isEmpty()) {
                wrong = failAt(action, call, number, last);
            }
            QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
        }
        if (last > 0) {
            report += QStringLiteral("%1 %2/%3")
                          .arg(QLatin1String(failingcalls::nameOf(call)))
                          .arg(m_injected - before)
                          .arg(last);
        }
    }
    qInfo().noquote() << "failed of each:" << report.join(QLatin1String(", "));
    // Which calls an action makes depends on how busy the machine is, but a file or a socket it always needs.
    QVERIFY(m_injected > 0);
}

QString TortureBench::failAt(const Action &action, Call call, int number, int inARow)
{
    const QLatin1String separator(" | ");
    QString place = QStringLiteral("%1 %2 (%3 in a row)")
                        .arg(QLatin1String(failingcalls::nameOf(call)))
                        .arg(number)
                        .arg(inARow);
    action.prepare();
    failingcalls::fail(call, number, inARow);
    const QStringList outcome = action.run();
    const int failures = failingcalls::failures();
    failingcalls::stop();
    m_injected += failures;
    place += QLatin1String(": ") + outcome.join(separator) + QLatin1String("; ");

    const QRegularExpression bad(QRegularExpression::anchoredPattern(action.bad));
    const bool isToldWell = std::all_of(outcome.begin(), outcome.end(), [&](const QString &text) {
        return action.good.contains(text) || bad.match(text).hasMatch();
    });
    if (!isToldWell || outcome.size() < action.good.size()) {
        return place + QLatin1String("nobody understands that");
    }
    const QString wrongFiles = action.checkFiles(outcome);
    if (!wrongFiles.isEmpty()) {
        return place + wrongFiles;
    }
    if (!comesToRest()) {
        return place + rows();
    }
    const QByteArray settingsText = contentOf(m_environment->settingsFile());
    if (!settingsText.contains("Kept=kept")) {
        return place + QLatin1String("the settings are ") + QString::fromUtf8(settingsText);
    }

    action.prepare();
    const QStringList again = action.run();
    const QString wrongAgain = action.checkFiles(again);
    if (again != action.good || !wrongAgain.isEmpty()) {
        return place + QLatin1String("then ") + again.join(separator) + wrongAgain;
    }
    if (!comesToRest()) {
        return place + QLatin1String("then ") + rows();
    }
    if (!QTest::qWaitFor([this] { return Holdings::now() == m_holdings; }, patience)) {
        return place + Holdings::now().text() + QLatin1String(" instead of ") + m_holdings.text();
    }
    return {};
}

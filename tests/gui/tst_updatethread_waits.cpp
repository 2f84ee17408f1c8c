#include "device/device.h"
#include "devicerow.h"
#include "discovery/discovery.h"
#include "fleet.h"
#include "operations/updatethread.h"
#include "testenvironment.h"
#include "transferbench.h"
#include "updatebench.h"

#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QMutex>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

Q_DECLARE_METATYPE(simulator::Fault)

using namespace std::chrono_literals;
using simulator::Fault;

/// When a worker goes on, and when it ends.
class TestUpdateThreadWaits final : public QObject, private UpdateBench
{
    Q_OBJECT

private slots:
    void initTestCase() { omitDebugOutput(); }
    void init() { open(); }
    void cleanup() { close(); }

    void waitsTenSecondsByDefault();
    void doesNotCountAnswersOfTheTimeBefore();
    void countsTwoAnswersOnce();
    void staysWithTheAddress();
    void doesNotFollowADeviceToAnotherAddress();
    void waitsForADeviceThatNeverComesBack();
    void hearsADeviceThroughDiscovery();
    void outlivesItsDevice_data();
    void outlivesItsDevice();
    void doesNothingIfStoppedBefore();
    void endsWhenStoppedRightAfterTheStart();
    void endsWhenStoppedWhileItWaits_data();
    void endsWhenStoppedWhileItWaits();
    void endsWhenStoppedInAFlood_data();
    void endsWhenStoppedInAFlood();
    void endsByItselfInAFlood_data();
    void endsByItselfInAFlood();
    void endsWhenStoppedBetweenTwoSteps_data();
    void endsWhenStoppedBetweenTwoSteps();
    void endsWhenStoppedInAnUpload();
    void mayBeStoppedAfterTheEnd();
    void endsWheneverItIsStopped();
    void updatesTwentyDevicesAtOnce();
    void writesNoPasswordIntoTheLog();

private:
    /// A run for each device.
    std::vector<std::unique_ptr<Run>> startAll(const UpdateThread::Job &todo) const;
};

void TestUpdateThreadWaits::waitsTenSecondsByDefault()
{
    QCOMPARE(UpdateThread::Job().restartTime, std::chrono::milliseconds(10000));
    begin();
    answerDiscovery();
    UpdateThread::Job todo = job();
    todo.restartTime = UpdateThread::Job().restartTime;
    Run run(m_bench->device(0), todo);
    run.start();
    QVERIFY(run.awaitMessage(waitingTenSeconds));
    // These ten seconds are real: devices need them. That it takes no longer is told by a clock that stands
    // still when we do.
    QElapsedTimer timer;
    timer.start();
    QTimer seconds;
    const QSignalSpy ticks(&seconds, &QTimer::timeout);
    seconds.start(1s);
    QVERIFY(run.awaitMessage(waitingForDevice));
    QVERIFY2(timer.elapsed() >= 9400, qPrintable(QString::number(timer.elapsed())));
    QVERIFY2(ticks.count() < 13, qPrintable(QString::number(ticks.count())));
    QVERIFY(run.stop());
}

void TestUpdateThreadWaits::doesNotCountAnswersOfTheTimeBefore()
{
    begin();
    UpdateThread::Job todo = job();
    // Long enough for some answers, whatever else the machine has to do.
    todo.restartTime = 1s;
    constexpr int answersMeanwhile = 10;
    Run run(m_bench->device(0), todo);
    Device &device = m_bench->device(0);
    const DiscoveryDevice record = device.record();
    // From before the run into the first wait, whose messages come one after the other.
    int meanwhile = 0;
    QTimer answers;
    connect(&answers, &QTimer::timeout, &device, [&] {
        meanwhile += run.lastMessage() == waitingTenSeconds ? 1 : 0;
        device.updateFromDiscovery(record);
        if (meanwhile == answersMeanwhile) {
            answers.stop();
        }
    });
    answers.start(5ms);
    run.start();
    QVERIFY(run.awaitMessage(waitingForDevice));
    QCOMPARE(meanwhile, answersMeanwhile);
    QVERIFY(run.waits());
    QCOMPARE(run.lastMessage(), waitingForDevice);
    QCOMPARE(run.lastProgress(), 70);
    QCOMPARE(requestCount(), std::size_t(3));
    device.updateFromDiscovery(record);
    QVERIFY(run.awaitMessage(restoringConfig));
    QVERIFY(run.stop());
}

void TestUpdateThreadWaits::countsTwoAnswersOnce()
{
    begin();
    Device &device = m_bench->device(0);
    Run run(device, job());
    run.start();
    QVERIFY(run.awaitMessage(waitingForDevice));
    QTRY_VERIFY_WITH_TIMEOUT(m_bench->fleet().device(0).restarts == 1, patience);
    // The worker listens at once, but it may not have come to it yet.
    QVERIFY(run.waits());
    const DiscoveryDevice record = device.record();
    device.updateFromDiscovery(record);
    device.updateFromDiscovery(record);
    QVERIFY(run.awaitMessage(waitingForDevice, 2));
    QVERIFY(run.waits());
    QCOMPARE(run.lastProgress(), 90);
    QCOMPARE(run.lastMessage(), waitingForDevice);
    device.updateFromDiscovery(record);
    device.updateFromDiscovery(record);
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), finished);
}

void TestUpdateThreadWaits::staysWithTheAddress()
{
    begin();
    Device &device = m_bench->device(0);
    DiscoveryDevice elsewhere = device.record();
    elsewhere.setAddress(QHostAddress(QStringLiteral("10.77.128.99")));
    elsewhere.setHostname(QStringLiteral("other"));
    Run run(device, job());
    run.start();
    QTimer answers;
    connect(&answers, &QTimer::timeout, &device, [&] {
        if (!m_bench->fleet().device(0).restarting) {
            device.updateFromDiscovery(elsewhere);
        }
    });
    answers.start(10ms);
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), finished);
    QCOMPARE(requestCount(), std::size_t(13));
}

void TestUpdateThreadWaits::doesNotFollowADeviceToAnotherAddress()
{
    begin();
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitMessage(waitingForDevice));
    m_bench->fleet().change(0, [](simulator::DeviceOptions &options) {
        options.address = simulator::addressFromText("10.77.130.1");
    });
    answerDiscovery();
    QVERIFY(run.awaitEnd());
    QCOMPARE(m_bench->device(0).record().address().toString(), QStringLiteral("10.77.130.1"));
    QCOMPARE(run.lastMessage(),
             httpError + QStringLiteral("Connection refused  http://10.77.128.1:80/login.cgi"));
    QCOMPARE(run.lastProgress(), 80);
    QCOMPARE(requestCount(), std::size_t(3));
}

void TestUpdateThreadWaits::waitsForADeviceThatNeverComesBack()
{
    simulator::DeviceOptions options;
    options.restartTime = 1h;
    addDevice("lab", options);
    begin();
    answerDiscovery();
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitMessage(waitingForDevice));
    QVERIFY(!QTest::qWaitFor([&] { return run.lastMessage() != waitingForDevice; }, 5 * silence));
    QVERIFY(run.thread().isRunning());
    QCOMPARE(run.lastProgress(), 70);
    QVERIFY(run.stop());
    QCOMPARE(run.lastMessage(), waitingForDevice);
    QCOMPARE(requestCount(), std::size_t(3));
}

void TestUpdateThreadWaits::hearsADeviceThroughDiscovery()
{
    addDevice("lab");
    addDevice("other");
    begin();
    Discovery discovery(m_bench->fleet().discoveryPort());
    discovery.setListening(true);
    // As the main window hands answers out: each to its own device.
    connect(&discovery, &Discovery::device, this, [this](const DiscoveryDevice &record) {
        const QList<Device *> devices = m_bench->devices();
        for (Device *const device : devices) {
            if (device->record().macText() == record.macText()) {
                device->updateFromDiscovery(record);
            }
        }
    });
    QTimer refresh;
    connect(&refresh, &QTimer::timeout, &discovery, &Discovery::refresh);
    refresh.start(20ms);
    m_bench->fleet().change(0, [](simulator::DeviceOptions &options) { options.silent = true; });
    Run run(m_bench->device(0), job());
    Run other(m_bench->device(1), job());
    run.start();
    other.start();
    QVERIFY(other.awaitEnd());
    QCOMPARE(other.lastMessage(), finished);
    // The answers of the other one were none of this one's.
    QCOMPARE(run.lastMessage(), waitingForDevice);
    QCOMPARE(run.lastProgress(), 70);
    m_bench->fleet().change(0, [](simulator::DeviceOptions &options) { options.silent = false; });
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), finished);
}

void TestUpdateThreadWaits::outlivesItsDevice_data()
{
    QTest::addColumn<QString>("moment");
    QTest::newRow("before the start") << QString();
    QTest::newRow("while the configuration is fetched") << savingConfig;
    QTest::newRow("in the upload") << uploadingFirmware;
    QTest::newRow("while it shuts down") << waitingTenSeconds;
    QTest::newRow("while it is waited for") << waitingForDevice;
}

void TestUpdateThreadWaits::outlivesItsDevice()
{
    QFETCH(QString, moment);
    begin();
    Run run(m_bench->device(0), job());
    if (moment.isEmpty()) {
        m_bench->dropRows();
        run.start();
    } else {
        run.start();
        QVERIFY(run.awaitMessage(moment));
        m_bench->dropRows();
    }
    // Nobody is left to tell it of the device.
    QVERIFY(run.awaitMessage(waitingForDevice));
    QVERIFY(run.waits());
    QCOMPARE(run.lastMessage(), waitingForDevice);
    QVERIFY(run.stop());
    QCOMPARE(requestCount(), std::size_t(3));
}

void TestUpdateThreadWaits::doesNothingIfStoppedBefore()
{
    begin();
    Run run(m_bench->device(0), job());
    run.thread().stop();
    run.start();
    QVERIFY(run.thread().wait(patience));
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.messages(), QStringList());
    QVERIFY(comesToRest());
    QCOMPARE(requestCount(), std::size_t(0));
}

void TestUpdateThreadWaits::endsWhenStoppedRightAfterTheStart()
{
    begin();
    for (int i = 0; i < 50; ++i) {
        Run run(m_bench->device(0), job());
        run.start();
        QVERIFY(run.stop());
        QVERIFY2(run.lastMessage() == savingConfig || run.lastMessage().isEmpty(),
                 qPrintable(run.lastMessage()));
    }
    QVERIFY(comesToRest());
    const QStringList requested = lines();
    for (const QString &line : requested) {
        QCOMPARE(line, QStringLiteral("GET http://tpl/document.cgi?tpl/j/config.tpl"));
    }
}

void TestUpdateThreadWaits::endsWhenStoppedWhileItWaits_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("requests");
    QTest::newRow("the first time for the restart") << waitingTenSeconds << 1 << 3;
    QTest::newRow("the first time for the device") << waitingForDevice << 1 << 3;
    QTest::newRow("the second time for the restart") << waitingTenSeconds << 2 << 13;
    QTest::newRow("the second time for the device") << waitingForDevice << 2 << 13;
}

void TestUpdateThreadWaits::endsWhenStoppedWhileItWaits()
{
    QFETCH(QString, message);
    QFETCH(int, count);
    QFETCH(int, requests);
    begin();
    answerDiscovery();
    const int threads = threadCount();
    UpdateThread::Job todo = job();
    if (message == waitingTenSeconds) {
        // The first of two must come to its end.
        todo.restartTime = count == 1 ? 1h : std::chrono::milliseconds(800ms);
    }
    Run run(m_bench->device(0), todo);
    run.start();
    if (count == 2) {
        QVERIFY(run.awaitMessage(restoringConfig));
    }
    if (message == waitingForDevice) {
        m_discovery->stop();
        // A last answer may be on its way.
        if (count == 1) {
            QVERIFY(run.awaitMessage(waitingForDevice));
        }
    }
    QVERIFY(run.awaitMessage(message, count));
    QVERIFY(run.stop());
    QCOMPARE(run.lastMessage(), message);
    QVERIFY(!run.messages().contains(finished));
    QVERIFY(comesToRest());
    QCOMPARE(requestCount(), static_cast<std::size_t>(requests));
    QTRY_VERIFY_WITH_TIMEOUT(threadCount() <= threads, patience);
}

void TestUpdateThreadWaits::endsWhenStoppedInAFlood_data()
{
    QTest::addColumn<Fault>("flood");
    QTest::addColumn<QString>("message");
    const std::vector<std::pair<const char *, Fault>> floods{{"headers", Fault::endlessHeaders()},
                                                             {"a body", Fault::endlessBody()},
                                                             {"a chunk size", Fault::endlessChunkSize()}};
    const std::vector<std::pair<const char *, QString>> steps{{"admin/upload.cgi", uploadingFirmware},
                                                              {"admin/upgrade.cgi", activatingFirmware},
                                                              {"admin/config.cgi", restoringConfig}};
    QTest::newRow("headers instead of the configuration") << Fault::endlessHeaders() << savingConfig;
    QTest::newRow("a call for a password") << Fault::endlessBody(401) << savingConfig;
    for (const auto &[what, flood] : floods) {
        for (const auto &[path, message] : steps) {
            QTest::addRow("%s from %s", what, path) << Fault(flood).onPath(path) << message;
        }
    }
}

void TestUpdateThreadWaits::endsWhenStoppedInAFlood()
{
    QFETCH(Fault, flood);
    QFETCH(QString, message);
    begin();
    answerDiscovery();
    const int threads = threadCount();
    m_bench->fleet().addFault(0, flood);
    UpdateThread::Job todo = job();
    todo.restartTime = shortRestart;
    Run run(m_bench->device(0), todo);
    run.start();
    QVERIFY(run.awaitMessage(message));
    QVERIFY(run.stop());
    // The flood may just have ended the request.
    QVERIFY2(run.lastMessage() == message || run.lastMessage().startsWith(httpError),
             qPrintable(run.lastMessage()));
    QTRY_VERIFY_WITH_TIMEOUT(threadCount() <= threads, patience);
}

void TestUpdateThreadWaits::endsByItselfInAFlood_data()
{
    QTest::addColumn<Fault>("flood");
    QTest::addColumn<QString>("target");
    const Fault headers = Fault::endlessHeaders();
    const Fault call = Fault::endlessBody(401);
    const QString upload = QStringLiteral("/admin/upload.cgi");
    QTest::newRow("headers to a download") << headers << QStringLiteral("/tpl/document.cgi?tpl/j/config.tpl");
    QTest::newRow("headers to an upload") << headers << upload;
    QTest::newRow("headers to a form") << headers << QStringLiteral("/admin/upgrade.cgi");
    QTest::newRow("a call for a password") << call << upload;
}

void TestUpdateThreadWaits::endsByItselfInAFlood()
{
    QFETCH(Fault, flood);
    QFETCH(QString, target);
    begin();
    const int threads = threadCount();
    m_bench->fleet().addFault(0, Fault(flood).onPath(target.mid(1).toStdString()));
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitEnd());
    // As the client sees the end first, or the one who cut it.
    QVERIFY2(run.lastMessage().startsWith(httpError) ||
                 run.lastMessage() == QLatin1String("Wrong HTTP Status-Code 401"),
             qPrintable(run.lastMessage()));
    QCOMPARE(QString::fromStdString(m_bench->fleet().requests(0).back().target), target);
    QTRY_VERIFY_WITH_TIMEOUT(threadCount() <= threads, patience);
}

void TestUpdateThreadWaits::endsWhenStoppedBetweenTwoSteps_data()
{
    QTest::addColumn<int>("progress");
    QTest::addColumn<int>("requests");
    QTest::newRow("after the start") << 0 << 0;
    QTest::newRow("after the configuration") << 10 << 1;
    QTest::newRow("after the upload") << 60 << 2;
    QTest::newRow("after the activation") << 70 << 3;
    QTest::newRow("after the device has come back") << 80 << 3;
    QTest::newRow("after the reset") << 90 << 13;
}

void TestUpdateThreadWaits::endsWhenStoppedBetweenTwoSteps()
{
    QFETCH(int, progress);
    QFETCH(int, requests);
    begin();
    answerDiscovery();
    Run run(m_bench->device(0), job());
    // In the worker's own thread, so that it does nothing before it has been stopped. The upload tells of
    // its 60 first, the step does after it.
    int passes = progress == 60 ? 1 : 0;
    connect(
        &run.thread(), &UpdateThread::changeProgress, &run.thread(),
        [&](int value) {
            if (value == progress && passes-- == 0) {
                run.thread().stop();
            }
        },
        Qt::DirectConnection);
    run.start();
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastProgress(), progress);
    QVERIFY(!run.messages().contains(finished));
    QVERIFY(comesToRest());
    QCOMPARE(requestCount(), static_cast<std::size_t>(requests));
}

void TestUpdateThreadWaits::endsWhenStoppedInAnUpload()
{
    begin();
    QFile file(job().firmwareFile);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(32 << 20));
    Run run(m_bench->device(0), job());
    std::atomic_bool isStopped{false};
    connect(
        &run.thread(), &UpdateThread::changeProgress, &run.thread(),
        [&](int value) {
            if (value > 10 && !isStopped.exchange(true)) {
                run.thread().stop();
            }
        },
        Qt::DirectConnection);
    run.start();
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), uploadingFirmware);
    QVERIFY(run.lastProgress() < 60);
    QVERIFY(comesToRest());
    // It never became a whole request.
    QCOMPARE(lines(), QStringList{QStringLiteral("GET http://tpl/document.cgi?tpl/j/config.tpl")});
}

void TestUpdateThreadWaits::mayBeStoppedAfterTheEnd()
{
    begin();
    answerDiscovery();
    const int threads = threadCount();
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), finished);
    const QStringList events = run.events();
    QVERIFY(run.stop());
    run.thread().stop();
    QVERIFY(comesToRest());
    QTRY_VERIFY_WITH_TIMEOUT(threadCount() <= threads, patience);
    QCOMPARE(run.events(), events);
    QCOMPARE(requestCount(), std::size_t(13));
}

std::vector<std::unique_ptr<Run>> TestUpdateThreadWaits::startAll(const UpdateThread::Job &todo) const
{
    m_bench->fleet().clearJournal();
    std::vector<std::unique_ptr<Run>> runs;
    for (int i = 0; i < m_bench->fleet().deviceCount(); ++i) {
        runs.push_back(std::make_unique<Run>(m_bench->device(i), todo));
        runs.back()->start();
    }
    return runs;
}

void TestUpdateThreadWaits::endsWheneverItIsStopped()
{
    constexpr int rounds = 20;
    constexpr int workers = 10;
    simulator::DeviceOptions options;
    options.restartTime = 5ms;
    options.anonymousLevel = 3;
    for (int i = 0; i < workers; ++i) {
        options.redirectToHttps = i % 5 == 4;
        addDevice("lab", options);
    }
    begin();
    answerDiscovery(2ms);
    const int threads = threadCount();
    const UpdateThread::Job todo = job();
    QElapsedTimer timer;
    timer.start();
    const std::vector<std::unique_ptr<Run>> undisturbed = startAll(todo);
    for (const auto &run : undisturbed) {
        QVERIFY(run->awaitEnd());
        QCOMPARE(run->lastMessage(), finished);
    }
    // From the start to well beyond the end.
    const qint64 stepTime = 2 * timer.nsecsElapsed() / (rounds * workers);
    int ended = 0;
    for (int round = 0; round < rounds; ++round) {
        const std::vector<std::unique_ptr<Run>> runs = startAll(todo);
        timer.start();
        for (int i = 0; i < workers; ++i) {
            const qint64 moment = (round * workers + i) * stepTime;
            QVERIFY(QTest::qWaitFor([&] { return timer.nsecsElapsed() >= moment; }, patience));
            Run &run = *runs.at(static_cast<std::size_t>(i));
            const auto stopped = std::chrono::steady_clock::now();
            QVERIFY(run.stop());
            ended += run.lastMessage() == finished ? 1 : 0;
            // What was on its way at this moment.
            const auto requests = m_bench->fleet().requests(i);
            const auto late = std::count_if(requests.begin(), requests.end(),
                                            [&](const auto &request) { return request.time > stopped; });
            QVERIFY2(late <= 1, qPrintable(QString::number(late)));
        }
        QVERIFY(comesToRest());
        for (int i = 0; i < workers; ++i) {
            const auto requests = m_bench->fleet().requests(i);
            const auto activations = std::count_if(requests.begin(), requests.end(), [](const auto &request) {
                return request.target == "/admin/upgrade.cgi";
            });
            QVERIFY(activations <= 1);
        }
    }
    QTRY_VERIFY_WITH_TIMEOUT(threadCount() <= threads, patience);
    QVERIFY2(ended > 0 && ended < rounds * workers, qPrintable(QString::number(ended)));
}

void TestUpdateThreadWaits::updatesTwentyDevicesAtOnce()
{
    constexpr int count = 20;
    for (int i = 0; i < count; ++i) {
        simulator::DeviceOptions options;
        options.configuration = "[system]\r\nlocation=place " + std::to_string(i) + "\r\n";
        options.redirectToHttps = i % 4 == 3;
        addDevice("lab", options);
    }
    begin();
    QVERIFY(writeImage("version=9.9\n" + QByteArray(1 << 20, 'x')));
    answerDiscovery(20ms);
    const int threads = threadCount();
    std::vector<std::unique_ptr<Run>> runs;
    for (int i = 0; i < count; ++i) {
        UpdateThread::Job todo = job();
        todo.buffer = 1 + i % 2;
        todo.configsDir = m_bench->directory();
        runs.push_back(std::make_unique<Run>(m_bench->device(i), todo, i));
        runs.back()->start();
    }
    for (int i = 0; i < count; ++i) {
        const Run &run = *runs.at(static_cast<std::size_t>(i));
        QVERIFY(run.awaitEnd());
        QCOMPARE(run.lastMessage(), finished);
        QCOMPARE(run.lastProgress(), complete);
        const std::string document = "[system]\r\nlocation=place " + std::to_string(i) + "\r\n";
        for (const simulator::HttpRecord &upload : m_bench->fleet().requests(i, "admin/config.cgi")) {
            QCOMPARE(partsOf(upload).at("image"), document);
        }
        const simulator::DeviceInfo info = m_bench->fleet().device(i);
        QCOMPARE(info.firmwareVersion, std::string("9.9"));
        QCOMPARE(info.activeBuffer, 1 + i % 2);
        QCOMPARE(info.configurationUploads, 2);
        QCOMPARE(info.restarts, 2);
        QCOMPARE(requestCount(i), std::size_t(i % 4 == 3 ? 14 : 13));
    }
    QCOMPARE(m_bench->files().size(), count);
    QVERIFY(comesToRest());
    QTRY_VERIFY_WITH_TIMEOUT(threadCount() <= threads, patience);
}

namespace {

QMutex logMutex;
QStringList logLines;

void keepLine(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    Q_UNUSED(type)
    Q_UNUSED(context)
    const QMutexLocker locker(&logMutex);
    logLines += text;
}

} // namespace

void TestUpdateThreadWaits::writesNoPasswordIntoTheLog()
{
    simulator::DeviceOptions options;
    options.users = {{"operator", "s3cret+%", 3}};
    addDevice("lab", options);
    m_bench->start();
    setUp(0, QString());
    Device &device = m_bench->device(0);
    QSignalSpy news(&device, &Device::newData);
    device.login(QStringLiteral("operator"), QStringLiteral("s3cret+%"));
    QTRY_COMPARE_WITH_TIMEOUT(news.count(), 1, patience);
    QCOMPARE(device.loginGroup(), 3);
    answerDiscovery();
    logLines.clear();
    QLoggingCategory::setFilterRules(QString());
    const QtMessageHandler before = qInstallMessageHandler(keepLine);
    Run run(device, job());
    run.start();
    const bool ended = run.awaitEnd();
    qInstallMessageHandler(before);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    QVERIFY(ended);
    QCOMPARE(run.lastMessage(), finished);
    const QMutexLocker locker(&logMutex);
    const QString all = logLines.join(QLatin1Char('\n'));
    QVERIFY(!all.contains(QLatin1String("s3cret")));
    QVERIFY(!all.contains(QString::fromLatin1(device.sidCookie().value())));
    for (const char *const line :
         {R"(request QUrl("http://10.77.128.1:80/tpl/document.cgi?tpl/j/config.tpl"))",
          R"(finished QUrl("http://10.77.128.1:80/tpl/document.cgi?tpl/j/config.tpl") 200)",
          R"(upload QUrl("http://10.77.128.1:80/admin/upload.cgi"))",
          R"(finished QUrl("http://10.77.128.1:80/admin/reset.cgi") 303)", "upload config status 200",
          R"(newDiscovery "10.77.128.1" "lab")"}) {
        QVERIFY2(all.contains(QLatin1String(line)), line);
    }
    QVERIFY(all.contains(QLatin1String("[system]\r\nname=lab\r\n")));
}

NEMBRA_GUI_TEST_MAIN(TestUpdateThreadWaits)
#include "tst_updatethread_waits.moc"

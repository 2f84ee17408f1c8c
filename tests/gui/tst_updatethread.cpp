#include "device/device.h"
#include "disktrouble.h"
#include "fleet.h"
#include "form.h"
#include "operations/updatethread.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "transferbench.h"
#include "updatebench.h"

#include <QDir>
#include <QFile>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <sys/stat.h>
#include <vector>

using namespace std::chrono_literals;
using simulator::Fault;

Q_DECLARE_METATYPE(simulator::Fault)

namespace {

struct Step;
struct Trouble;

QString wrongStatus(int status)
{
    return QStringLiteral("Wrong HTTP Status-Code %1").arg(status);
}

/// A line for a request: method, target, kind of body, and body, with the boundary named.
QString described(const simulator::HttpRecord &record)
{
    QByteArray type = QByteArray::fromStdString(record.header("Content-Type"));
    QByteArray body = QByteArray::fromStdString(record.body);
    static const QByteArray boundaryBegin("boundary=\"");
    const int begin = type.indexOf(boundaryBegin);
    if (begin >= 0) {
        const QByteArray boundary = type.mid(begin + boundaryBegin.size()).chopped(1);
        type.replace(boundary, "B");
        body.replace(boundary, "B");
    }
    return requestLine(record) + QLatin1Char(' ') + QString::fromLatin1(type) + QLatin1Char(' ') +
           QString::fromLatin1(body.replace("\r\n", "|"));
}

/// A fault in a request that is the same as others before it: those are answered as usual, or nearly.
std::vector<Fault> after(int passes, const std::string &path, const Fault &fault)
{
    std::vector<Fault> faults;
    if (passes > 0) {
        faults.push_back(Fault::status(303, "See Other", "/").onPath(path).times(passes));
    }
    faults.push_back(fault);
    return faults;
}

} // namespace

class TestUpdateThread final : public QObject, private UpdateBench
{
    Q_OBJECT

private slots:
    void initTestCase() { omitDebugOutput(); }
    void init() { open(); }
    void cleanup() { close(); }

    void takesAllStepsInTheirOrder_data();
    void takesAllStepsInTheirOrder();
    void managesWithADeviceThatHangsUpUnannounced_data();
    void managesWithADeviceThatHangsUpUnannounced();
    void leavesTheLoginOutWithoutASession_data();
    void leavesTheLoginOutWithoutASession();
    void staysInTheSessionUntilItIsLoggedIn();
    void sendsCredentialsAsTyped_data();
    void sendsCredentialsAsTyped();
    void bringsTheImageToTheBuffer_data();
    void bringsTheImageToTheBuffer();
    void sendsAnEmptyImageAsItIs();
    void streamsTheImage();
    void movesTheProgressWithTheUpload();
    void leavesTheProgressWhereNothingIsUploaded();
    void stopsWithoutAnImage_data();
    void stopsWithoutAnImage();
    void findsTheSchemeAgain_data();
    void findsTheSchemeAgain();
    void endsAtTheFirstFailure_data();
    void endsAtTheFirstFailure();
    void flashesNothingForARedirection();
    void endsAtADeviceThatIsSwitchedOff_data();
    void endsAtADeviceThatIsSwitchedOff();
    void neverUploadsWithoutTheWholeConfiguration_data();
    void neverUploadsWithoutTheWholeConfiguration();
    void restoresTheConfigurationByteForByte_data();
    void restoresTheConfigurationByteForByte();
    void keepsTheConfigurationInAFile();
    void keepsNoFileWithoutADirectory();
    void stopsWhereTheConfigurationCannotBeKept_data();
    void stopsWhereTheConfigurationCannotBeKept();

private:
    struct Outcome;
    using Cases = std::vector<std::pair<const Step *, const Trouble *>>;
    /// A device for each of them, which fails at its step.
    Cases addAllFailures();
    /// Stops a run that would hang, when it has got there.
    bool stopsInTime(int index, Run &run, const Step &step, const Trouble &trouble) const;
    static std::vector<Outcome> runAllFailures();
    const Outcome *outcome(const QString &name);

    std::vector<Outcome> m_outcomes;
};

/// What became of a run with a fault.
struct TestUpdateThread::Outcome
{
    QString name;
    QString address;
    QString lastMessage;
    int lastProgress = -1;
    bool endedInTime = false;
    QStringList requests;
};

namespace {

/// A request of a run, where something goes wrong.
struct Step
{
    const char *name;
    std::string path;
    /// As many equal requests come before it.
    int passes;
    /// Of all requests.
    int number;
    const char *message;
    int progress;
    /// Whether a form is sent that has an effect each time it arrives.
    bool isSentOnce;
    bool overHttps = false;
};

const std::vector<Step> &steps()
{
    static const std::vector<Step> all{
        {"save", "tpl/document.cgi", 0, 0, "Saving config", 0, false},
        {"upload", "admin/upload.cgi", 0, 1, "Uploading firmware", 60, false},
        {"activate", "admin/upgrade.cgi", 0, 2, "Activating firmware", 60, true},
        {"detect", "", 0, 3, "Waiting for device", 80, false, true},
        {"first login", "login.cgi", 0, 3, "Restoring config", 80, true},
        {"second login", "login.cgi", 1, 4, "Restoring config", 80, true},
        {"announce", "admin/postform.cgi", 0, 5, "Restoring config", 80, true},
        {"restore", "admin/config.cgi", 0, 6, "Restoring config", 80, false},
        {"third login", "login.cgi", 2, 7, "Restoring config", 80, true},
        {"fourth login", "login.cgi", 3, 8, "Restoring config", 80, true},
        {"second restore", "admin/config.cgi", 1, 9, "Restoring config", 80, false},
        {"fifth login", "login.cgi", 4, 10, "Restoring config", 80, true},
        {"sixth login", "login.cgi", 5, 11, "Restoring config", 80, true},
        {"reset", "admin/reset.cgi", 0, 12, "Restoring config", 80, true},
    };
    return all;
}

struct Trouble
{
    const char *name;
    Fault fault;
    /// Of the last message; an error of the network has its address behind.
    QString message;
};

const std::vector<Trouble> &troubles()
{
    static const std::vector<Trouble> all{
        {"status 404", Fault::status(404, "Not Found"), wrongStatus(404)},
        {"status 500", Fault::status(500, "Oops"), wrongStatus(500)},
        {"status 400", Fault::status(400, "Bad Request"), wrongStatus(400)},
        {"status 302", Fault::status(302, "Found", "https://10.77.0.1/"), finished},
        {"status 399", Fault::status(399, "Fine"), finished},
        {"refuse", Fault::refuse(), httpError},
        {"close", Fault::closeWithoutAnswer(), httpError},
        {"cut", Fault::cut(), httpError},
        {"garbage", Fault::garbage(), httpError},
        {"hang and stop", Fault::hang(), {}},
    };
    return all;
}

/// Where the line between success and failure lies is the same for all steps.
bool isTried(const Step &step, const Trouble &trouble)
{
    const bool isAtTheLine = trouble.fault.statusCode == 399 || trouble.fault.statusCode == 400;
    // A configuration is what must really come, see flashesNothingForARedirection().
    const bool isNoConfiguration = trouble.fault.statusCode == 302 && step.passes == 0 && step.number == 0;
    return !isNoConfiguration && (!isAtTheLine || step.path == "admin/postform.cgi");
}

QString troubleName(const Step &step, const Trouble &trouble)
{
    return QLatin1String(step.name) + QLatin1String(": ") + QLatin1String(trouble.name);
}

/// The targets of a whole run.
QStringList allTargets(bool overHttps)
{
    QStringList targets{QStringLiteral("/tpl/document.cgi?tpl/j/config.tpl"),
                        QStringLiteral("/admin/upload.cgi"),
                        QStringLiteral("/admin/upgrade.cgi"),
                        QStringLiteral("/login.cgi"),
                        QStringLiteral("/login.cgi"),
                        QStringLiteral("/admin/postform.cgi"),
                        QStringLiteral("/admin/config.cgi"),
                        QStringLiteral("/login.cgi"),
                        QStringLiteral("/login.cgi"),
                        QStringLiteral("/admin/config.cgi"),
                        QStringLiteral("/login.cgi"),
                        QStringLiteral("/login.cgi"),
                        QStringLiteral("/admin/reset.cgi")};
    if (overHttps) {
        targets.insert(3, QStringLiteral("/"));
    }
    return targets;
}

/// The requests of a whole run, as described() tells them.
QStringList allRequests(bool https, int buffer)
{
    const QString scheme = https ? QStringLiteral("https") : QStringLiteral("http");
    const QString form = QStringLiteral(" application/x-www-form-urlencoded ");
    const QString parts = QStringLiteral(" multipart/form-data; boundary=\"B\" ");
    const QString part = QStringLiteral("--B|Content-Disposition: form-data; name=");
    const QString post = QStringLiteral("POST ") + scheme;
    const QString number = QString::number(buffer);
    const QString emptyLogin = post + QStringLiteral("://login.cgi") + form +
                               QStringLiteral("login_user=admin&login_password=&redir=/&btnapp=Submit");
    const QString login = post + QStringLiteral("://login.cgi") + form +
                          QStringLiteral("login_user=admin&login_password=admin&redir=/&btnapp=Submit");
    const QString restore =
        post + QStringLiteral("://admin/config.cgi") + parts + part + QStringLiteral(R"("image"||)") +
        QString::fromLatin1(configuration).replace(QLatin1String("\r\n"), QLatin1String("|")) +
        QLatin1Char('|') + part + QStringLiteral(R"("redir"|||)") + part +
        QStringLiteral(R"("form_fw_up"||Submit|--B--|)");
    QStringList expected{
        QStringLiteral("GET ") + scheme + QStringLiteral("://tpl/document.cgi?tpl/j/config.tpl  "),
        post + QStringLiteral("://admin/upload.cgi") + parts + part + QStringLiteral(R"("buffer"||)") +
            number + QLatin1Char('|') + part + QStringLiteral("\"image\"||version=7.8.9\nimage|--B--|"),
        post + QStringLiteral("://admin/upgrade.cgi") + form + QStringLiteral("buffer=") + number +
            QStringLiteral("&redir=/wait.shtml?url%3D/%26text%3D4&form_fw_ac=Submit")};
    if (https) {
        expected += QStringLiteral("GET http://  ");
    }
    expected +=
        {emptyLogin,
         login,
         post + QStringLiteral("://admin/postform.cgi") + form +
             QStringLiteral("config_upgrading=&redir=/&btnapp=Submit"),
         restore,
         emptyLogin,
         login,
         restore,
         emptyLogin,
         login,
         post + QStringLiteral("://admin/reset.cgi") + form + QStringLiteral("redir=/&btnapp=Submit")};
    return expected;
}

} // namespace

void TestUpdateThread::takesAllStepsInTheirOrder_data()
{
    QTest::addColumn<bool>("https");
    QTest::addColumn<int>("buffer");
    QTest::newRow("HTTP, buffer 1") << false << 1;
    QTest::newRow("HTTP, buffer 2") << false << 2;
    QTest::newRow("HTTPS, buffer 1") << true << 1;
    QTest::newRow("HTTPS, buffer 2") << true << 2;
}

void TestUpdateThread::takesAllStepsInTheirOrder()
{
    QFETCH(bool, https);
    QFETCH(int, buffer);
    simulator::DeviceOptions options;
    options.redirectToHttps = https;
    addDevice("lab", options);
    begin();
    answerDiscovery();
    UpdateThread::Job todo = job();
    todo.buffer = buffer;
    Run run(m_bench->device(0), todo, 17);
    QCOMPARE(run.thread().row(), 17);
    run.start();
    QVERIFY(run.awaitEnd());

    QCOMPARE(run.milestones(),
             (QStringList{QStringLiteral("0"), savingConfig, QStringLiteral("10"), uploadingFirmware,
                          QStringLiteral("60"), activatingFirmware, QStringLiteral("70"), waitingTenSeconds,
                          waitingForDevice, QStringLiteral("80"), restoringConfig, QStringLiteral("90"),
                          waitingTenSeconds, waitingForDevice, QStringLiteral("100"), finished}));

    QStringList seen;
    for (const simulator::HttpRecord &record : m_bench->fleet().requests(0)) {
        seen += described(record);
        QCOMPARE(record.header("Accept-Encoding"), std::string("identity"));
    }
    QCOMPARE(seen, allRequests(https, buffer));

    const simulator::DeviceInfo info = m_bench->fleet().device(0);
    QCOMPARE(info.firmwareVersion, std::string("7.8.9"));
    QCOMPARE(info.activeBuffer, buffer);
    QCOMPARE(info.restarts, 2);
    QCOMPARE(info.configurationUploads, 2);
    QVERIFY(comesToRest());
}

void TestUpdateThread::managesWithADeviceThatHangsUpUnannounced_data()
{
    QTest::addColumn<bool>("https");
    QTest::newRow("HTTP") << false;
    QTest::newRow("HTTPS") << true;
}

void TestUpdateThread::managesWithADeviceThatHangsUpUnannounced()
{
    QFETCH(bool, https);
    simulator::DeviceOptions options;
    options.redirectToHttps = https;
    options.answersOnce = true;
    addDevice("lab", options);
    begin();
    answerDiscovery();
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), finished);
    QCOMPARE(m_bench->fleet().requests(0, "login.cgi").size(), std::size_t(6));
    QCOMPARE(m_bench->fleet().requests(0, "admin/upgrade.cgi").size(), std::size_t(1));
    QCOMPARE(m_bench->fleet().requests(0, "admin/reset.cgi").size(), std::size_t(1));
}

void TestUpdateThread::leavesTheLoginOutWithoutASession_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<bool>("hasCookie");
    QTest::newRow("never logged in") << QString() << false;
    QTest::newRow("a user, but no cookie") << QStringLiteral("stranger") << false;
    QTest::newRow("a cookie, but no user") << QString() << true;
}

void TestUpdateThread::leavesTheLoginOutWithoutASession()
{
    QFETCH(QString, user);
    QFETCH(bool, hasCookie);
    simulator::DeviceOptions options;
    options.anonymousLevel = 3;
    options.users.push_back({"", "nobody", 3});
    addDevice("lab", options);
    m_bench->start();
    setUp(0, QString());
    Device &device = m_bench->device(0);
    if (hasCookie || !user.isEmpty()) {
        QSignalSpy news(&device, &Device::newData);
        device.login(user, hasCookie ? QStringLiteral("nobody") : QStringLiteral("wrong"));
        QTRY_COMPARE_WITH_TIMEOUT(news.count(), 1, patience);
        device.recreateNetworkManager();
        m_bench->fleet().clearJournal();
    }
    QCOMPARE(device.loginUser(), user);
    QCOMPARE(device.cookies().size(), hasCookie ? 1 : 0);
    answerDiscovery();
    Run run(device, job());
    run.start();
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), finished);
    QCOMPARE(lines(), (QStringList{QStringLiteral("GET http://tpl/document.cgi?tpl/j/config.tpl"),
                                   QStringLiteral("POST http://admin/upload.cgi"),
                                   QStringLiteral("POST http://admin/upgrade.cgi"),
                                   QStringLiteral("POST http://admin/postform.cgi"),
                                   QStringLiteral("POST http://admin/config.cgi"),
                                   QStringLiteral("POST http://admin/config.cgi"),
                                   QStringLiteral("POST http://admin/reset.cgi")}));
    QCOMPARE(m_bench->fleet().requests(0).front().header("Cookie").empty(), !hasCookie);
}

void TestUpdateThread::staysInTheSessionUntilItIsLoggedIn()
{
    begin();
    answerDiscovery();
    const std::string first = "sid=" + m_bench->device(0).sidCookie().value().toStdString();
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), finished);
    const auto requests = m_bench->fleet().requests(0);
    QCOMPARE(requests.size(), std::size_t(13));
    const auto cookie = [&](std::size_t index) { return requests.at(index).header("Cookie"); };
    for (const std::size_t before : {0U, 1U, 2U, 3U, 4U}) {
        QCOMPARE(cookie(before), first);
    }
    // Each login with the right password brings a new session, the one without it none.
    QVERIFY(cookie(5) != first);
    for (const std::size_t within : {6U, 7U, 8U}) {
        QCOMPARE(cookie(within), cookie(5));
    }
    QVERIFY(cookie(9) != cookie(5));
    QCOMPARE(cookie(10), cookie(9));
    QCOMPARE(cookie(11), cookie(9));
    QVERIFY(cookie(12) != cookie(9));
    for (const std::size_t index : {5U, 9U, 12U}) {
        QVERIFY2(cookie(index).rfind("sid=", 0) == 0, cookie(index).c_str());
    }
    // The device knows nothing of them.
    QCOMPARE("sid=" + m_bench->device(0).sidCookie().value().toStdString(), first);
}

void TestUpdateThread::sendsCredentialsAsTyped_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::newRow("plus") << QStringLiteral("a+b") << QStringLiteral("+c+");
    QTest::newRow("percent") << QStringLiteral("50%") << QStringLiteral("%41%zz%");
    QTest::newRow("percent and digits") << QStringLiteral("50%25") << QStringLiteral("%41%2B");
    QTest::newRow("ampersand, equals sign") << QStringLiteral("a&b=c") << QStringLiteral("&redir=/x");
    QTest::newRow("blanks") << QStringLiteral(" a b ") << QStringLiteral("  ");
    QTest::newRow("umlauts") << QString::fromUtf8("J\xC3\xB6rg \xC3\x9F")
                             << QString::fromUtf8("\xC3\xBC\xE2\x82\xAC");
    QTest::newRow("others") << QStringLiteral("a'<b>;#?/") << QStringLiteral("!$()*,:@[]{}|~`^");
}

void TestUpdateThread::sendsCredentialsAsTyped()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    simulator::DeviceOptions options;
    options.users = {{user.toStdString(), password.toStdString(), 3}};
    addDevice("lab", options);
    m_bench->start();
    setUp(0, QString());
    Device &device = m_bench->device(0);
    QSignalSpy news(&device, &Device::newData);
    device.login(user, password);
    QTRY_COMPARE_WITH_TIMEOUT(news.count(), 1, patience);
    QCOMPARE(device.loginGroup(), 3);
    m_bench->fleet().clearJournal();
    answerDiscovery();
    Run run(device, job());
    run.start();
    QVERIFY(run.awaitEnd());
    // Without the right password nothing would have been allowed any more.
    QCOMPARE(run.lastMessage(), finished);
    QCOMPARE(m_bench->fleet().device(0).configurationUploads, 2);
    const auto logins = m_bench->fleet().requests(0, "login.cgi");
    QCOMPARE(logins.size(), std::size_t(6));
    for (std::size_t i = 0; i < logins.size(); ++i) {
        const simulator::FieldMap fields = simulator::formFields(logins.at(i).body);
        QCOMPARE(fields.size(), std::size_t(4));
        QCOMPARE(QString::fromStdString(fields.at("login_user")), user);
        QCOMPARE(QString::fromStdString(fields.at("login_password")), i % 2 == 0 ? QString() : password);
    }
}

void TestUpdateThread::bringsTheImageToTheBuffer_data()
{
    QTest::addColumn<QByteArray>("image");
    QTest::addColumn<int>("buffer");
    QByteArray large(32 << 20, '\0');
    unsigned state = 1;
    for (char &byte : large) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24U);
    }
    QTest::newRow("1 byte, buffer 1") << QByteArray("\0", 1) << 1;
    QTest::newRow("1 byte, buffer 2") << QByteArray("\xFF") << 2;
    QTest::newRow("lines") << QByteArray("\r\n--\r\n\r\n--boundary_.oOo._--\r\n") << 1;
    QTest::newRow("32 MB, buffer 1") << large << 1;
    QTest::newRow("32 MB, buffer 2") << large << 2;
}

void TestUpdateThread::bringsTheImageToTheBuffer()
{
    QFETCH(QByteArray, image);
    QFETCH(int, buffer);
    begin();
    answerDiscovery();
    QVERIFY(writeImage(image));
    UpdateThread::Job todo = job();
    todo.buffer = buffer;
    Run run(m_bench->device(0), todo);
    run.start();
    QVERIFY(run.awaitMessage(restoringConfig));
    const simulator::DeviceInfo info = m_bench->fleet().device(0);
    QCOMPARE(info.bufferSizes.at(static_cast<std::size_t>(buffer - 1)),
             static_cast<std::uint64_t>(image.size()));
    QCOMPARE(info.activeBuffer, buffer);
    const auto uploads = m_bench->fleet().requests(0, "admin/upload.cgi");
    QCOMPARE(uploads.size(), std::size_t(1));
    const simulator::FieldMap parts = partsOf(uploads.front());
    QCOMPARE(parts.size(), std::size_t(2));
    QCOMPARE(parts.at("buffer"), std::to_string(buffer));
    QVERIFY(parts.at("image") == image.toStdString());
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), finished);
}

void TestUpdateThread::sendsAnEmptyImageAsItIs()
{
    begin();
    QVERIFY(writeImage(QByteArray()));
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitEnd());
    const auto uploads = m_bench->fleet().requests(0, "admin/upload.cgi");
    QCOMPARE(uploads.size(), std::size_t(1));
    const simulator::FieldMap parts = partsOf(uploads.front());
    QCOMPARE(parts.at("buffer"), std::string("1"));
    QCOMPARE(parts.at("image"), std::string());
    // No device takes it.
    QCOMPARE(run.lastMessage(), wrongStatus(400));
    QCOMPARE(requestCount(), std::size_t(2));
}

void TestUpdateThread::streamsTheImage()
{
    // The journal notes the beginning of a body, not all of it.
    m_bench = std::make_unique<TransferBench>();
    begin();
    m_bench->fleet().addFault(0, Fault::status(200, "OK").onPath("admin/upload.cgi"));
    m_bench->fleet().addFault(0, Fault::hang().onPath("admin/upgrade.cgi"));
    constexpr qint64 size = 128LL << 20;
    QFile file(job().firmwareFile);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(size));
    QVERIFY(thisprocess::restartPeakMemory());
    const qint64 before = thisprocess::residentMemory();
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitMessage(activatingFirmware));
    const qint64 growth = thisprocess::peakMemory() - before;
    const auto uploads = m_bench->fleet().requests(0, "admin/upload.cgi");
    QCOMPARE(uploads.size(), std::size_t(1));
    QVERIFY(uploads.front().bodySize > std::uint64_t(size));
    // The device, a part of this process, holds the image once. The system takes pages of code from
    // a process and brings them back when it likes, which shows in these figures, too.
    QVERIFY2(growth < size / 2 * 3, qPrintable(QString::number(growth)));
    QVERIFY(run.stop());
}

void TestUpdateThread::movesTheProgressWithTheUpload()
{
    begin();
    QFile file(job().firmwareFile);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(32 << 20));
    m_bench->fleet().addFault(0, Fault::hang().onPath("admin/upgrade.cgi"));
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitMessage(activatingFirmware));
    // 0, then 10 for the configuration, then the upload, and 60 as it is over.
    const QList<int> values = run.progress();
    QVERIFY(std::is_sorted(values.begin(), values.end()));
    QCOMPARE(values.mid(0, 2), (QList<int>{0, 10}));
    QCOMPARE(values.mid(values.size() - 2), (QList<int>{60, 60}));
    const auto within = [](int value) { return value > 10 && value < 60; };
    QVERIFY(std::any_of(values.begin(), values.end(), within));
    QVERIFY(run.stop());
}

void TestUpdateThread::leavesTheProgressWhereNothingIsUploaded()
{
    simulator::DeviceOptions options;
    options.keepAlive = false;
    addDevice("lab", options);
    begin();
    // The configuration is all that comes before the listener is gone.
    m_bench->fleet().addFault(0, Fault::answerAfter(300ms).onPath("tpl/"));
    Run run(m_bench->device(0), job());
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(requestCount(), std::size_t(1), patience);
    m_bench->fleet().addFault(0, Fault::refuse());
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.events().mid(0, 4),
             (QStringList{QStringLiteral("0"), savingConfig, QStringLiteral("10"), uploadingFirmware}));
    QCOMPARE(run.events().size(), 5);
    QCOMPARE(run.lastMessage(), httpError + QStringLiteral("Connection refused  "
                                                           "http://10.77.128.1:80/admin/upload.cgi"));
}

void TestUpdateThread::stopsWithoutAnImage_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("no such file") << QStringLiteral("/nonexistent/image.bin");
    QTest::newRow("a directory") << QStringLiteral("/tmp");
    QTest::newRow("no name") << QString();
    // Nobody writes into it: opening it would last for ever.
    QTest::newRow("a pipe") << QStringLiteral("pipe");
    QTest::newRow("without an end") << QStringLiteral("/dev/zero");
}

void TestUpdateThread::stopsWithoutAnImage()
{
    QFETCH(QString, path);
    begin();
    if (path == QLatin1String("pipe")) {
        path = m_bench->directory() + QLatin1String("/pipe");
        QCOMPARE(mkfifo(QFile::encodeName(path).constData(), S_IRUSR | S_IWUSR), 0);
    }
    UpdateThread::Job todo = job();
    todo.firmwareFile = path;
    Run run(m_bench->device(0), todo);
    run.start();
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.events(),
             (QStringList{QStringLiteral("0"), savingConfig, QStringLiteral("10"), uploadingFirmware,
                          QStringLiteral("Error opening firmware file ") + path}));
    QVERIFY(comesToRest());
    QCOMPARE(lines(), QStringList{QStringLiteral("GET http://tpl/document.cgi?tpl/j/config.tpl")});
}

void TestUpdateThread::findsTheSchemeAgain_data()
{
    QTest::addColumn<bool>("redirects");
    QTest::addColumn<Fault>("answer");
    QTest::addColumn<bool>("https");
    const auto answer = [](int status, const char *location) {
        return Fault::status(status, "Answer", location).onExactly("").onlyHttp();
    };
    const Fault none = Fault::hang().onPath("nowhere");
    QTest::newRow("comes back with HTTPS") << true << none << true;
    QTest::newRow("comes back with HTTP") << false << none << false;
    QTest::newRow("redirects elsewhere by HTTPS") << false << answer(303, "https://10.77.0.9/x") << true;
    QTest::newRow("redirects by HTTP") << false << answer(303, "http://10.77.128.1/x") << false;
    QTest::newRow("redirects to a path") << false << answer(303, "/https://") << false;
    QTest::newRow("redirects to nothing") << false << answer(303, "") << false;
    QTest::newRow("redirects to something like it") << false << answer(303, "httpsx://10.77.0.9/") << false;
    QTest::newRow("redirects with status 302") << false << answer(302, "https://10.77.0.9/") << false;
    QTest::newRow("redirects with status 301") << false << answer(301, "https://10.77.0.9/") << false;
    QTest::newRow("redirects with status 307") << false << answer(307, "https://10.77.0.9/") << false;
}

void TestUpdateThread::findsTheSchemeAgain()
{
    QFETCH(bool, redirects);
    QFETCH(Fault, answer);
    QFETCH(bool, https);
    simulator::DeviceOptions options;
    options.redirectToHttps = true;
    addDevice("lab", options);
    begin();
    QVERIFY(m_bench->device(0).useHttps());
    m_bench->fleet().addFault(0, answer);
    answerDiscovery();
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitMessage(waitingTenSeconds));
    m_bench->fleet().change(
        0, [redirects](simulator::DeviceOptions &changed) { changed.redirectToHttps = redirects; });
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), finished);
    const QStringList seen = lines();
    QCOMPARE(seen.mid(0, 4),
             (QStringList{QStringLiteral("GET https://tpl/document.cgi?tpl/j/config.tpl"),
                          QStringLiteral("POST https://admin/upload.cgi"),
                          QStringLiteral("POST https://admin/upgrade.cgi"), QStringLiteral("GET http://")}));
    QCOMPARE(seen.size(), 14);
    const QStringList later = seen.mid(4);
    for (const QString &line : later) {
        QVERIFY2(line.startsWith(https ? QLatin1String("POST https://") : QLatin1String("POST http://")),
                 qPrintable(line));
    }
    QCOMPARE(m_bench->fleet().device(0).configurationUploads, 2);
    // What the device was known for isn't changed by its update.
    QVERIFY(m_bench->device(0).useHttps());
}

TestUpdateThread::Cases TestUpdateThread::addAllFailures()
{
    Cases cases;
    for (const Step &step : steps()) {
        for (const Trouble &trouble : troubles()) {
            if (!isTried(step, trouble)) {
                continue;
            }
            simulator::DeviceOptions options;
            options.redirectToHttps = step.overHttps;
            options.anonymousLevel = 3;
            addDevice("lab", options);
            cases.emplace_back(&step, &trouble);
        }
    }
    begin();
    simulator::Fleet &fleet = m_bench->fleet();
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto [step, trouble] = cases.at(i);
        const int index = static_cast<int>(i);
        const Fault fault = step->path.empty() ? Fault(trouble->fault).onExactly("").onlyHttp()
                                               : Fault(trouble->fault).onPath(step->path);
        for (const Fault &each : after(step->passes, step->path, fault)) {
            fleet.addFault(index, each);
        }
        if (trouble->message == finished) {
            // It would have no image to activate.
            fleet.addFault(index, Fault::status(303, "See Other", "/").onPath("admin/upgrade.cgi"));
        }
    }
    return cases;
}

bool TestUpdateThread::stopsInTime(int index, Run &run, const Step &step, const Trouble &trouble) const
{
    if (!trouble.message.isEmpty()) {
        return true;
    }
    const auto wanted = static_cast<std::size_t>(step.number) + 1;
    return QTest::qWaitFor([&] { return requestCount(index) >= wanted; }, patience) && run.stop();
}

std::vector<TestUpdateThread::Outcome> TestUpdateThread::runAllFailures()
{
    TestUpdateThread bench;
    bench.open();
    const Cases cases = bench.addAllFailures();
    simulator::Fleet &fleet = bench.m_bench->fleet();
    std::vector<std::unique_ptr<Run>> runs;
    std::vector<Outcome> outcomes(cases.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto [step, trouble] = cases.at(i);
        const int index = static_cast<int>(i);
        runs.push_back(std::make_unique<Run>(bench.m_bench->device(index), bench.job()));
        outcomes.at(i).name = troubleName(*step, *trouble);
        outcomes.at(i).address = QString::fromStdString(simulator::addressText(fleet.device(index).address));
    }
    bench.answerDiscovery(50ms);
    for (const auto &run : runs) {
        run->start();
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto [step, trouble] = cases.at(i);
        outcomes.at(i).endedInTime = bench.stopsInTime(static_cast<int>(i), *runs.at(i), *step, *trouble);
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
        outcomes.at(i).endedInTime = outcomes.at(i).endedInTime && runs.at(i)->awaitEnd();
        outcomes.at(i).lastMessage = runs.at(i)->lastMessage();
        outcomes.at(i).lastProgress = runs.at(i)->lastProgress();
    }
    const bool isAtRest = bench.comesToRest();
    for (std::size_t i = 0; i < cases.size(); ++i) {
        outcomes.at(i).endedInTime = outcomes.at(i).endedInTime && isAtRest;
        for (const simulator::HttpRecord &record : fleet.requests(static_cast<int>(i))) {
            outcomes.at(i).requests += QString::fromStdString(record.target);
        }
    }
    runs.clear();
    bench.close();
    return outcomes;
}

/// All of them run at the same time, once.
const TestUpdateThread::Outcome *TestUpdateThread::outcome(const QString &name)
{
    if (m_outcomes.empty()) {
        m_outcomes = runAllFailures();
    }
    const auto found = std::find_if(m_outcomes.begin(), m_outcomes.end(),
                                    [&](const Outcome &candidate) { return candidate.name == name; });
    return found == m_outcomes.end() ? nullptr : &*found;
}

void TestUpdateThread::endsAtTheFirstFailure_data()
{
    QTest::addColumn<int>("stepNumber");
    QTest::addColumn<int>("troubleNumber");
    for (std::size_t i = 0; i < steps().size(); ++i) {
        for (std::size_t j = 0; j < troubles().size(); ++j) {
            if (isTried(steps().at(i), troubles().at(j))) {
                QTest::newRow(qPrintable(troubleName(steps().at(i), troubles().at(j))))
                    << static_cast<int>(i) << static_cast<int>(j);
            }
        }
    }
}

void TestUpdateThread::endsAtTheFirstFailure()
{
    QFETCH(int, stepNumber);
    QFETCH(int, troubleNumber);
    const Step &step = steps().at(static_cast<std::size_t>(stepNumber));
    const Trouble &trouble = troubles().at(static_cast<std::size_t>(troubleNumber));
    const Outcome *const seen = outcome(troubleName(step, trouble));
    QVERIFY(seen);
    QVERIFY(seen->endedInTime);
    const QStringList all = allTargets(step.overHttps);
    if (trouble.message == finished) {
        QCOMPARE(seen->lastMessage, finished);
        QCOMPARE(seen->lastProgress, complete);
        QCOMPARE(seen->requests, all);
        return;
    }

    if (trouble.message == httpError) {
        QVERIFY2(seen->lastMessage.startsWith(httpError), qPrintable(seen->lastMessage));
        const bool isDetection = step.path.empty();
        const QString url = QStringLiteral("  http://%1:80").arg(seen->address) +
                            (isDetection ? QString() : all.at(step.number));
        QVERIFY2(seen->lastMessage.endsWith(url), qPrintable(seen->lastMessage));
        QVERIFY2(seen->lastMessage.size() > httpError.size() + url.size(), qPrintable(seen->lastMessage));
    } else if (trouble.message.isEmpty()) {
        QCOMPARE(seen->lastMessage, QLatin1String(step.message));
    } else {
        QCOMPARE(seen->lastMessage, trouble.message);
    }
    // How much of an upload has gone before it breaks off is up to the network.
    if (step.path == "admin/upload.cgi") {
        QVERIFY2(seen->lastProgress >= 10 && seen->lastProgress <= step.progress,
                 qPrintable(QString::number(seen->lastProgress)));
    } else {
        QCOMPARE(seen->lastProgress, step.progress);
    }

    QStringList requests = seen->requests;
    // The toolkit asks anew if it got no answer at all; what has an effect each time is sent once.
    const bool mayBeRepeated = !step.isSentOnce && trouble.message == httpError;
    while (mayBeRepeated && requests.size() > step.number + 1 &&
           requests.constLast() == all.at(step.number)) {
        requests.removeLast();
    }
    QCOMPARE(requests, all.mid(0, step.number + 1));
}

void TestUpdateThread::flashesNothingForARedirection()
{
    addDevice("lab");
    begin();
    m_bench->fleet().addFault(0, Fault::status(302, "Found", "/login.html").onPath("tpl/document.cgi"));
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), wrongStatus(302));
    QCOMPARE(run.lastProgress(), 0);
    QCOMPARE(m_bench->fleet().requests(0).size(), std::size_t(1));
}

void TestUpdateThread::endsAtADeviceThatIsSwitchedOff_data()
{
    QTest::addColumn<bool>("https");
    QTest::addColumn<QString>("lastMessage");
    QTest::newRow("HTTP") << false
                          << QStringLiteral("http://10.77.128.1:80/tpl/document.cgi?tpl/j/config.tpl");
    QTest::newRow("HTTPS") << true
                           << QStringLiteral("https://10.77.128.1:443/tpl/document.cgi?tpl/j/config.tpl");
}

void TestUpdateThread::endsAtADeviceThatIsSwitchedOff()
{
    QFETCH(bool, https);
    QFETCH(QString, lastMessage);
    simulator::DeviceOptions options;
    options.redirectToHttps = https;
    addDevice("lab", options);
    begin();
    m_bench->fleet().setPowered(0, false);
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.events(), (QStringList{QStringLiteral("0"), savingConfig,
                                        httpError + QStringLiteral("Connection refused  ") + lastMessage}));
    QVERIFY(comesToRest());
    QCOMPARE(requestCount(), std::size_t(0));
}

void TestUpdateThread::neverUploadsWithoutTheWholeConfiguration_data()
{
    QTest::addColumn<Fault>("fault");
    QTest::addColumn<bool>("breaksOff");
    QTest::addColumn<QString>("lastMessage");
    QTest::newRow("cut") << Fault::cut() << false << httpError;
    QTest::newRow("goes off in the middle") << Fault::drip(4, 20ms) << true << httpError;
    QTest::newRow("goes off in a chunk") << Fault::endlessBody() << true << httpError;
    QTest::newRow("has no end") << Fault::endlessBody() << false << httpError;
    QTest::newRow("no rights") << Fault::status(403, "Forbidden") << false << wrongStatus(403);
    QTest::newRow("no answer at all") << Fault::hang() << true << httpError;
    const QString unusable = QStringLiteral("The device sent no usable configuration");
    QTest::newRow("empty") << Fault::answerWith("") << false << unusable;
    QTest::newRow("packed unasked") << Fault::answerWith("\x1f\x8b", {{"Content-Encoding", "gzip"}}) << false
                                    << unusable;
    QTest::newRow("status 199") << Fault::status(199, "Odd") << false << QString();
}

void TestUpdateThread::neverUploadsWithoutTheWholeConfiguration()
{
    QFETCH(Fault, fault);
    QFETCH(bool, breaksOff);
    QFETCH(QString, lastMessage);
    begin();
    m_bench->fleet().addFault(0, fault);
    UpdateThread::Job todo = job();
    todo.configsDir = m_bench->directory();
    Run run(m_bench->device(0), todo);
    run.start();
    QTRY_VERIFY_WITH_TIMEOUT(requestCount() > 0, patience);
    if (breaksOff) {
        m_bench->fleet().setPowered(0, false);
    }
    if (lastMessage.isEmpty()) {
        QVERIFY(!QTest::qWaitFor([&] { return run.hasEnded() && run.lastMessage() == finished; }, silence));
        QVERIFY(run.stop());
    } else {
        QVERIFY(run.awaitEnd());
        QVERIFY2(run.lastMessage().startsWith(lastMessage), qPrintable(run.lastMessage()));
    }
    QCOMPARE(run.progress(), QList<int>{0});
    QVERIFY(comesToRest());
    const QStringList requested = lines();
    for (const QString &line : requested) {
        QCOMPARE(line, QStringLiteral("GET http://tpl/document.cgi?tpl/j/config.tpl"));
    }
    QCOMPARE(m_bench->files(), (QMap<QString, QByteArray>()));
}

void TestUpdateThread::restoresTheConfigurationByteForByte_data()
{
    QTest::addColumn<QByteArray>("document");
    QByteArray allBytes;
    for (int i = 0; i < 256; ++i) {
        allBytes += static_cast<char>(i);
    }
    QTest::newRow("one byte") << QByteArray("x");
    QTest::newRow("all bytes") << allBytes;
    QTest::newRow("lines") << QByteArray("\r\n\n\r--\r\n--boundary_.oOo._\r\n");
    QTest::newRow("1 MB") << allBytes.repeated(4096);
    QTest::newRow("16 MB") << allBytes.repeated(65536);
}

void TestUpdateThread::restoresTheConfigurationByteForByte()
{
    QFETCH(QByteArray, document);
    begin();
    m_bench->fleet().addFault(0, Fault::answerWith(document.toStdString()).onPath("tpl/"));
    answerDiscovery();
    UpdateThread::Job todo = job();
    todo.configsDir = m_bench->directory();
    Run run(m_bench->device(0), todo);
    run.start();
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), finished);
    const auto uploads = m_bench->fleet().requests(0, "admin/config.cgi");
    QCOMPARE(uploads.size(), std::size_t(2));
    for (const simulator::HttpRecord &upload : uploads) {
        const simulator::FieldMap parts = partsOf(upload);
        QCOMPARE(parts.size(), std::size_t(3));
        QVERIFY(parts.at("image") == document.toStdString());
        QCOMPARE(parts.at("redir"), std::string());
        QCOMPARE(parts.at("form_fw_up"), std::string("Submit"));
    }
    QVERIFY(m_bench->files().value(QStringLiteral("lab-0E5A11000001-TIME.qini"), "none") == document);
}

void TestUpdateThread::keepsTheConfigurationInAFile()
{
    addDevice("Pr\xC3\xBC"
              "fstand 1");
    begin();
    m_bench->fleet().addFault(0, Fault::hang().onPath("admin/upload.cgi"));
    UpdateThread::Job todo = job();
    todo.configsDir = m_bench->directory();
    Run run(m_bench->device(0), todo);
    run.start();
    // Before anything is uploaded.
    QTRY_COMPARE_WITH_TIMEOUT(requestCount(), std::size_t(2), patience);
    const QMap<QString, QByteArray> expected{{QString::fromUtf8("Pr\xC3\xBC"
                                                                "fstand 1-0E5A11000001-TIME.qini"),
                                              configuration}};
    QCOMPARE(m_bench->files(), expected);
    QVERIFY(run.stop());
    QCOMPARE(m_bench->files(), expected);
    QCOMPARE(m_bench->fleet().requests(0).front().target, std::string("/tpl/document.cgi?tpl/j/config.tpl"));
}

void TestUpdateThread::keepsNoFileWithoutADirectory()
{
    begin();
    const QStringList rootBefore = QDir::root().entryList(QDir::AllEntries | QDir::Hidden);
    const QStringList hereBefore = QDir().entryList(QDir::AllEntries | QDir::Hidden);
    answerDiscovery();
    Run run(m_bench->device(0), job());
    run.start();
    QVERIFY(run.awaitEnd());
    QCOMPARE(run.lastMessage(), finished);
    QCOMPARE(m_bench->fleet().device(0).configurationUploads, 2);
    QCOMPARE(m_bench->files(), (QMap<QString, QByteArray>()));
    QCOMPARE(QDir::root().entryList(QDir::AllEntries | QDir::Hidden), rootBefore);
    QCOMPARE(QDir().entryList(QDir::AllEntries | QDir::Hidden), hereBefore);
}

void TestUpdateThread::stopsWhereTheConfigurationCannotBeKept_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QByteArray>("hostName");
    QTest::newRow("no such directory") << QStringLiteral("/nonexistent") << QByteArray("lab");
    QTest::newRow("a file") << QStringLiteral("/proc/self/status") << QByteArray("lab");
    QTest::newRow("no rights") << QStringLiteral("(mine)") << QByteArray("lab");
    QTest::newRow("no room") << QStringLiteral("(small)") << QByteArray("lab");
    QTest::newRow("a name that leads elsewhere") << QStringLiteral("(mine)") << QByteArray("../lab");
    QTest::newRow("a name that is too long") << QStringLiteral("(mine)") << QByteArray(90, '\xFC');
}

void TestUpdateThread::stopsWhereTheConfigurationCannotBeKept()
{
    QFETCH(QString, directory);
    QFETCH(QByteArray, hostName);
    const QString row = QString::fromLatin1(QTest::currentDataTag());
    if (row == QLatin1String("a name that is too long")) {
        hostName = QByteArray(250, 'x');
    }
    addDevice(hostName);
    begin();
    UpdateThread::Job todo = job();
    todo.configsDir = directory.startsWith(QLatin1Char('(')) ? m_bench->directory() : directory;
    std::unique_ptr<ModesCount> modes;
    std::unique_ptr<FileSizeLimit> limit;
    if (row == QLatin1String("no rights")) {
        modes = std::make_unique<ModesCount>();
        QVERIFY(QFile::setPermissions(todo.configsDir, QFile::ReadOwner | QFile::ExeOwner));
    } else if (directory == QLatin1String("(small)")) {
        limit = std::make_unique<FileSizeLimit>(configuration.size() - 1);
    }
    const QDateTime begin = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch(), Qt::UTC);
    Run run(m_bench->device(0), todo);
    run.start();
    const bool ended = run.awaitEnd();
    const QDateTime end = QDateTime::currentDateTimeUtc();
    limit.reset();
    QFile::setPermissions(m_bench->directory(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    modes.reset();
    QVERIFY(ended);

    QCOMPARE(run.events().size(), 3);
    QCOMPARE(run.events().mid(0, 2), (QStringList{QStringLiteral("0"), savingConfig}));
    const QString before = QStringLiteral("Error opening file ") + todo.configsDir + QLatin1Char('/') +
                           QString::fromUtf8(hostName) + QStringLiteral("-0E5A11000001-");
    const QString behind = QStringLiteral(".qinifor writing");
    const QString last = run.lastMessage();
    QVERIFY2(last.startsWith(before) && last.endsWith(behind), qPrintable(last));
    QDateTime time =
        QDateTime::fromString(last.mid(before.size(), last.size() - before.size() - behind.size()),
                              QStringLiteral("yyyyMMdd-hhmmss"));
    time.setTimeSpec(Qt::UTC);
    QVERIFY2(time.isValid() && time >= begin && time <= end, qPrintable(last));
    QVERIFY(comesToRest());
    QCOMPARE(lines(), QStringList{QStringLiteral("GET http://tpl/document.cgi?tpl/j/config.tpl")});
    QCOMPARE(m_bench->files(), (QMap<QString, QByteArray>()));
}

NEMBRA_GUI_TEST_MAIN(TestUpdateThread)
#include "tst_updatethread.moc"

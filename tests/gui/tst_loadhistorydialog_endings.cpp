#include "common/settings.h"
#include "testenvironment.h"
#include "transfertest.h"
#include "widgets/fileselectorwidget.h"

#include <QAbstractButton>
#include <QCalendarWidget>
#include <QElapsedTimer>
#include <QPointer>
#include <QRegularExpression>
#include <QTableWidget>
#include <QtTest>

#include <functional>

using namespace std::chrono_literals;
using simulator::Fault;

/// How the download of a history ends: by errors, by Cancel and with the dialog.
class TestLoadHistoryDialogEndings final : public QObject, private HistoryTest
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void endsEachRowByItsDevice();
    void endsAnswersWithoutAnEnd_data();
    void endsAnswersWithoutAnEnd();
    void readsOnAfterAForgottenSession();
    void tellsTheErrorUntilTheEnd();
    void tellsAFileThatCannotBeWritten_data();
    void tellsAFileThatCannotBeWritten();

    void keepsFinishedRowsAtCancel();
    void waitsForCancelWithoutDevices();
    void goesWithItsRequests_data();
    void goesWithItsRequests();
    void goesWithTheProgram();
};

void TestLoadHistoryDialogEndings::endsEachRowByItsDevice()
{
    simulator::DeviceOptions options;
    options.historyStart = 1600000000;
    options.sensors = std::vector<simulator::Sensor>{};
    addMisbehavingDevices(options);
    m_bench->start();
    // For the range of the calendars.
    QVERIFY(m_bench->ask(0));
    Expectation expected;
    misbehave({&Misbehaviour::downloadStatus, true, "Time\r\n1614553200\r\n1614596400\r\n"}, expected);

    run([&](DialogUser &user) {
        chooseHistory(user, QDate(2021, 3, 1), QDate(2021, 3, 1), 12, 1);
        user.button("pushButtonLoad").click();
        // Once something has come, they also tell how much.
        const QRegularExpression atWork(QStringLiteral("^Downloading"));
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().filter(atWork).size(), expected.hanging, patience);
        QCOMPARE(enabledHistoryInputs(user), QStringLiteral("pushButtonCancel"));
        user.button("pushButtonCancel").click();
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
        QTRY_COMPARE_WITH_TIMEOUT(namedStatuses(user), expected.statuses, patience);
    });

    QCOMPARE(namedFiles(QStringLiteral("-TIME.csv")), expected.files);
}

void TestLoadHistoryDialogEndings::endsAnswersWithoutAnEnd_data()
{
    QTest::addColumn<bool>("body");
    QTest::newRow("a body") << true;
    QTest::newRow("headers") << false;
}

void TestLoadHistoryDialogEndings::endsAnswersWithoutAnEnd()
{
    QFETCH(bool, body);
    m_bench->addOpenDevice("endless");
    m_bench->addOpenDevice("usual");
    m_bench->start();
    m_bench->fleet().addFault(0, body ? Fault::endlessBody() : Fault::endlessHeaders());
    QElapsedTimer clock;
    run([&](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().at(1), finished, patience);
        QTRY_VERIFY_WITH_TIMEOUT(m_bench->fleet().counters().httpRequests == 2, patience);
        if (body) {
            // It tells of more and more.
            QTRY_VERIFY_WITH_TIMEOUT(user.past(0).size() > 2, patience);
        }
        clock.start();
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses(), (QStringList{canceled, finished}));
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), 1, patience);
    });
    // Who waits for the end of the answer waits for ever.
    QVERIFY2(clock.elapsed() < patience, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(m_bench->comesToRest());
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), 1, patience);
}

void TestLoadHistoryDialogEndings::readsOnAfterAForgottenSession()
{
    m_bench->addDevice("lets everybody read");
    simulator::DeviceOptions options;
    options.anonymousLevel = 0;
    m_bench->addDevice("lets nobody read", options);
    m_bench->start();
    QVERIFY(m_bench->logIn(0, QStringLiteral("guest")));
    QVERIFY(m_bench->logIn(1, QStringLiteral("guest")));
    m_bench->fleet().addFault(Fault::forgetSession());
    run([](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(),
                 (QStringList{finished, QStringLiteral("Wrong HTTP Status-Code 403, #ff0000")}));
    });
    QCOMPARE(m_bench->fileNames(), QStringList{suffixed("lets everybody read-0E5A11000001")});
}

void TestLoadHistoryDialogEndings::tellsTheErrorUntilTheEnd()
{
    simulator::DeviceOptions options;
    options.historyStart = 1600000000;
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    m_bench->fleet().addFault(Fault::refuse());
    run([](DialogUser &user) {
        chooseHistory(user, QDate(2021, 3, 1), QDate(2021, 3, 1), 1, 0);
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{canceled});
        const QString error =
            QStringLiteral("Error for HTTP-Request: Connection refused  "
                           "http://10.77.128.1:80/tpl/document.cgi?tpl/j/csv.tpl&start=1614553200"
                           "&end=1614639600&step=60, #ff0000");
        QVERIFY2(user.past(0).contains(error), qPrintable(user.past(0).join(QLatin1Char('\n'))));
        QCOMPARE(user.past(0).constLast(), canceled);
    });
}

void TestLoadHistoryDialogEndings::tellsAFileThatCannotBeWritten_data()
{
    addUnwritableFiles();
}

void TestLoadHistoryDialogEndings::tellsAFileThatCannotBeWritten()
{
    QFETCH(QByteArray, hostName);
    QFETCH(QString, directory);
    m_bench->addOpenDevice(hostName);
    m_bench->start();
    // Late enough for progress to be told in the same breath.
    m_bench->fleet().addFault(Fault::answerAfter(200ms));
    run([&](DialogUser &user) {
        user.find<FileSelectorWidget>("fileSelectorOutput")
            .setText(directory.isNull() ? QString() : m_bench->directory().chopped(3) + directory);
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{errorWriting});
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
    });
    verifyNothingWritten();
}

void TestLoadHistoryDialogEndings::keepsFinishedRowsAtCancel()
{
    m_bench->addOpenDevice("finishes");
    m_bench->addOpenDevice("hangs");
    m_bench->addOpenDevice("drips");
    m_bench->start();
    m_bench->fleet().addFault(1, Fault::hang());
    m_bench->fleet().addFault(2, Fault::drip(50, 50ms));
    run([this](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().at(0), finished, patience);
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), 2, patience);
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses(), (QStringList{finished, canceled, canceled}));
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames(), QStringList{suffixed("finishes-0E5A11000001")},
                                  patience);
    });
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames(), QStringList{suffixed("finishes-0E5A11000001")}, patience);
}

void TestLoadHistoryDialogEndings::waitsForCancelWithoutDevices()
{
    m_bench->start();
    run([](DialogUser &user) {
        QCOMPARE(user.table().rowCount(), 0);
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
        for (const char *const name : {"calendarWidgetStart", "calendarWidgetEnd"}) {
            QCOMPARE(user.find<QCalendarWidget>(name).minimumDate(), QDate::currentDate());
            QCOMPARE(user.find<QCalendarWidget>(name).maximumDate(), QDate::currentDate());
        }
        user.button("pushButtonLoad").click();
        QCOMPARE(enabledHistoryInputs(user), QStringLiteral("pushButtonCancel"));
        user.button("pushButtonCancel").click();
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
    });
}

void TestLoadHistoryDialogEndings::goesWithItsRequests_data()
{
    addLeavings({"Escape", "close", "reject"});
}

void TestLoadHistoryDialogEndings::goesWithItsRequests()
{
    QFETCH(QString, how);
    QFETCH(QString, when);
    startUntil(when, Fault::drip(50, 50ms), {});
    const bool someFinish = when == QLatin1String("some finished");
    QPointer<QDialog> dialog;
    run([&](DialogUser &user) {
        dialog = &user.dialog();
        user.button("pushButtonLoad").click();
        awaitPoint(when, user);
        leave(user.dialog(), how);
        QVERIFY(!dialog->isVisible());
        QCOMPARE(user.statuses().count(canceled), someFinish ? 5 : 6);
    });
    QVERIFY(dialog.isNull());
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), someFinish ? 1 : 0, patience);
    QVERIFY(m_bench->comesToRest());
    QVERIFY(m_bench->fleet().counters().httpRequests <= 6);
    QVERIFY(settings::store().contains(QStringLiteral("LoadHistoryDialog/stepSize")));
}

void TestLoadHistoryDialogEndings::goesWithTheProgram()
{
    verifyGoesWithTheProgram([this](const std::function<void()> &inDialog) {
        run([&inDialog](DialogUser &user) {
            user.button("pushButtonLoad").click();
            inDialog();
        });
    });
}

NEMBRA_GUI_TEST_MAIN(TestLoadHistoryDialogEndings)

#include "tst_loadhistorydialog_endings.moc"

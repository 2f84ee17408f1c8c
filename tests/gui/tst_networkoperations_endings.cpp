#include "device/device.h"
#include "operations/networkoperationsdialog.h"
#include "testenvironment.h"
#include "transfertest.h"

#include <QAbstractButton>
#include <QElapsedTimer>
#include <QPointer>
#include <QTableWidget>
#include <QtTest>

#include <functional>

using namespace std::chrono_literals;
using simulator::Fault;

/// How the transfer of a configuration ends: by errors, by Cancel and with the dialog.
class TestNetworkOperationsEndings final : public QObject, private ConfigurationTest
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void endsEachRowByItsDevice_data();
    void endsEachRowByItsDevice();
    void endsAnswersWithoutAnEnd_data();
    void endsAnswersWithoutAnEnd();
    void refusesAStatusBelow200();
    void unpacksNothing();
    void endsASessionThatTheDeviceForgot_data();
    void endsASessionThatTheDeviceForgot();
    void tellsTheErrorUntilTheEnd_data();
    void tellsTheErrorUntilTheEnd();
    void tellsAFileThatCannotBeWritten_data();
    void tellsAFileThatCannotBeWritten();
    void isNotHeldUpByManyThatHang();

    void endsAtCancelBeforeAnyAnswer_data();
    void endsAtCancelBeforeAnyAnswer();
    void endsAtCancelAmidAnswers();
    void keepsFinishedRowsAtCancel();
    void endsAtCancelWhileARowChanges();
    void waitsForCancelWithoutDevices_data();
    void waitsForCancelWithoutDevices();
    void startsNothingMoreAfterCancel();

    void goesWithItsRequests_data();
    void goesWithItsRequests();
    void goesWithTheProgram();
    void outlivesNoDevice();
};

void TestNetworkOperationsEndings::endsEachRowByItsDevice_data()
{
    addOperations();
}

void TestNetworkOperationsEndings::endsEachRowByItsDevice()
{
    QFETCH(Operation, operation);
    simulator::DeviceOptions options;
    options.configuration = "own";
    options.users = {};
    addMisbehavingDevices(options);
    m_bench->start();
    const bool isUpload = operation == Operation::Upload;
    Expectation expected;
    misbehave({isUpload ? &Misbehaviour::uploadStatus : &Misbehaviour::downloadStatus, !isUpload,
               operation == Operation::Download ? "own" : "own[passwords]\r\n"},
              expected);

    run(operation, [&](DialogUser &user) {
        const QString working = isUpload ? uploading : downloading;
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().count(working), expected.hanging, patience);
        QCOMPARE(user.enabledButtons(), QStringLiteral("Cancel"));
        user.button("pushButtonCancel").click();
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
        QTRY_COMPARE_WITH_TIMEOUT(namedStatuses(user), expected.statuses, patience);
    });

    QCOMPARE(namedFiles(QStringLiteral("-TIME.qini")), expected.files);
}

void TestNetworkOperationsEndings::endsAnswersWithoutAnEnd_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<bool>("body");
    QTest::newRow("a body for a download") << Operation::Download << true;
    QTest::newRow("a body for an upload") << Operation::Upload << true;
    QTest::newRow("headers for a download") << Operation::Download << false;
    QTest::newRow("headers for an upload") << Operation::Upload << false;
}

void TestNetworkOperationsEndings::endsAnswersWithoutAnEnd()
{
    QFETCH(Operation, operation);
    QFETCH(bool, body);
    m_bench->addOpenDevice("endless");
    m_bench->addOpenDevice("usual");
    m_bench->start();
    m_bench->fleet().addFault(0, body ? Fault::endlessBody() : Fault::endlessHeaders());
    QElapsedTimer clock;
    run(operation, [&](DialogUser &user) {
        // The other one isn't held up by it.
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().at(1), finished, patience);
        QTRY_VERIFY_WITH_TIMEOUT(m_bench->fleet().counters().httpRequests == 2, patience);
        if (body && operation == Operation::Download) {
            QTRY_VERIFY_WITH_TIMEOUT(m_bench->fileNames().size() == 2, patience);
        }
        clock.start();
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses(), (QStringList{canceled, finished}));
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
        // Also before the dialog goes.
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), operation == Operation::Download ? 1 : 0,
                                  patience);
    });
    // Who waits for the end of the answer waits for ever.
    QVERIFY2(clock.elapsed() < patience, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(m_bench->comesToRest());
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), operation == Operation::Download ? 1 : 0,
                              patience);
}

void TestNetworkOperationsEndings::refusesAStatusBelow200()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    m_bench->fleet().addFault(Fault::status(199, "As told"));
    run(Operation::Download, [](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{QStringLiteral("Wrong HTTP Status-Code 199, #ff0000")});
    });
    QCOMPARE(m_bench->fileNames(), QStringList());
}

void TestNetworkOperationsEndings::unpacksNothing()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    m_bench->fleet().addFault(Fault::inflatingBody());
    run(Operation::Download, [](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{finished});
    });
    QCOMPARE(m_bench->files().size(), 1);
    const QByteArray saved = m_bench->files().first();
    QVERIFY(saved.startsWith("\x1F\x8B"));
    QVERIFY2(saved.size() < 1000000, qPrintable(QString::number(saved.size())));
    QCOMPARE(m_bench->operations().front().header("Accept-Encoding"), std::string("identity"));
}

void TestNetworkOperationsEndings::endsASessionThatTheDeviceForgot_data()
{
    addOperations();
}

void TestNetworkOperationsEndings::endsASessionThatTheDeviceForgot()
{
    QFETCH(Operation, operation);
    m_bench->addDevice("lab-sensor");
    m_bench->start();
    QVERIFY(m_bench->logIn(0, QStringLiteral("admin")));
    m_bench->fleet().addFault(Fault::forgetSession());
    run(operation, [](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{QStringLiteral("Wrong HTTP Status-Code 403, #ff0000")});
    });
    QCOMPARE(m_bench->fileNames(), QStringList());
}

void TestNetworkOperationsEndings::tellsTheErrorUntilTheEnd_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("error");
    QTest::newRow("download") << Operation::Download
                              << "Error for HTTP-Request: Connection refused  "
                                 "http://10.77.128.1:80/tpl/document.cgi?tpl/j/config.tpl, #ff0000";
    QTest::newRow("upload") << Operation::Upload
                            << "Error for HTTP-Request: Connection refused  "
                               "http://10.77.128.1:80/admin/config.cgi, #ff0000";
}

void TestNetworkOperationsEndings::tellsTheErrorUntilTheEnd()
{
    QFETCH(Operation, operation);
    QFETCH(QString, error);
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    m_bench->fleet().addFault(Fault::refuse());
    run(operation, [&](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{canceled});
        QVERIFY2(user.past(0).contains(error), qPrintable(user.past(0).join(QLatin1Char('\n'))));
        QCOMPARE(user.past(0).constLast(), canceled);
    });
}

void TestNetworkOperationsEndings::tellsAFileThatCannotBeWritten_data()
{
    addUnwritableFiles();
}

void TestNetworkOperationsEndings::tellsAFileThatCannotBeWritten()
{
    QFETCH(QByteArray, hostName);
    QFETCH(QString, directory);
    m_bench->addOpenDevice(hostName);
    m_bench->start();
    const QString path = directory.isNull() ? QString() : m_bench->directory().chopped(3) + directory;
    QVERIFY(withDialog(
        [&] { NetworkOperationsDialog::downloadConfigs(path, m_bench->devices(), false, nullptr); },
        [](DialogUser &user) {
            QVERIFY(user.awaitEnd());
            QCOMPARE(user.statuses(), QStringList{errorWriting});
            QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
        }));
    verifyNothingWritten();
}

void TestNetworkOperationsEndings::isNotHeldUpByManyThatHang()
{
    constexpr int hanging = 270;
    for (int i = 0; i < hanging + 10; ++i) {
        m_bench->addOpenDevice("lab-sensor");
    }
    m_bench->start();
    for (int i = 0; i < hanging; ++i) {
        m_bench->fleet().addFault(i, Fault::hang());
    }
    run(Operation::Upload, [](DialogUser &user) {
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().count(finished), 10, patience);
        QCOMPARE(user.statuses().count(uploading), hanging);
    });
}

void TestNetworkOperationsEndings::endsAtCancelBeforeAnyAnswer_data()
{
    addOperations();
}

void TestNetworkOperationsEndings::endsAtCancelBeforeAnyAnswer()
{
    QFETCH(Operation, operation);
    for (int i = 0; i < 5; ++i) {
        m_bench->addOpenDevice("lab-sensor");
    }
    m_bench->start();
    // Before the first byte of the first request is out.
    run(operation, [](DialogUser &user) {
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses(), (QStringList{canceled, canceled, canceled, canceled, canceled}));
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
    });
    QVERIFY(m_bench->comesToRest());
    QCOMPARE(m_bench->fileNames(), QStringList());
    // While all devices think.
    m_bench->fleet().addFault(Fault::hang());
    const auto before = m_bench->fleet().counters().httpRequests;
    run(operation, [&](DialogUser &user) {
        QTRY_VERIFY_WITH_TIMEOUT(m_bench->fleet().counters().httpRequests == before + 5, patience);
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses(), (QStringList{canceled, canceled, canceled, canceled, canceled}));
    });
    QCOMPARE(m_bench->fileNames(), QStringList());
}

void TestNetworkOperationsEndings::endsAtCancelAmidAnswers()
{
    simulator::DeviceOptions options;
    options.configuration = std::string(100000, 'x');
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->start();
    m_bench->fleet().addFault(Fault::drip(500, 50ms));
    run(Operation::Download, [this](DialogUser &user) {
        // The beginning of the answer is there, as a hidden file.
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), 1, patience);
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses(), QStringList{canceled});
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames(), QStringList(), patience);
    });
}

void TestNetworkOperationsEndings::keepsFinishedRowsAtCancel()
{
    m_bench->addOpenDevice("finishes");
    m_bench->addOpenDevice("hangs");
    m_bench->addOpenDevice("fails");
    m_bench->addOpenDevice("finishes too");
    m_bench->start();
    m_bench->fleet().addFault(1, Fault::hang());
    m_bench->fleet().addFault(2, Fault::status(500, "Oops"));
    run(Operation::Download, [](DialogUser &user) {
        const QString failed = QStringLiteral("Wrong HTTP Status-Code 500, #ff0000");
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses(), (QStringList{finished, downloading, failed, finished}),
                                  patience);
        QCOMPARE(user.enabledButtons(), QStringLiteral("Cancel"));
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses(), (QStringList{finished, canceled, failed, finished}));
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
    });
    QCOMPARE(m_bench->fileNames(),
             (QStringList{suffixed("finishes too-0E5A11000004"), suffixed("finishes-0E5A11000001")}));
}

void TestNetworkOperationsEndings::endsAtCancelWhileARowChanges()
{
    for (int i = 0; i < 20; ++i) {
        m_bench->addOpenDevice("lab-sensor");
    }
    m_bench->start();
    run(Operation::Download, [this](DialogUser &user) {
        QAbstractButton &cancel = user.button("pushButtonCancel");
        QObject::connect(&user.table(), &QTableWidget::itemChanged, &cancel,
                         [&cancel](const QTableWidgetItem *item) {
                             if (item->text() == QLatin1String("Finished")) {
                                 cancel.click();
                             }
                         });
        QVERIFY(user.awaitEnd());
        // A file that the disk is just giving its name is kept, and its row tells so when it has it.
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().count(finished) + user.statuses().count(canceled), 20,
                                  patience);
        const int good = user.statuses().count(finished);
        QVERIFY2(good >= 1, qPrintable(user.statuses().join(QLatin1Char('\n'))));
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), good, patience);
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
    });
}

void TestNetworkOperationsEndings::waitsForCancelWithoutDevices_data()
{
    addOperations();
}

void TestNetworkOperationsEndings::waitsForCancelWithoutDevices()
{
    QFETCH(Operation, operation);
    m_bench->start();
    run(operation, [](DialogUser &user) {
        QCOMPARE(user.table().rowCount(), 0);
        QCOMPARE(user.enabledButtons(), QStringLiteral("Cancel"));
        user.button("pushButtonClose").click();
        QVERIFY(user.dialog().isVisible());
        user.button("pushButtonCancel").click();
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
        user.button("pushButtonClose").click();
        QVERIFY(!user.dialog().isVisible());
    });
}

void TestNetworkOperationsEndings::startsNothingMoreAfterCancel()
{
    constexpr int many = 300;
    for (int i = 0; i < many; ++i) {
        m_bench->addOpenDevice("lab-sensor");
    }
    m_bench->start();
    m_bench->fleet().addFault(Fault::hang());
    run(Operation::Upload, [this](DialogUser &user) {
        QTRY_VERIFY_WITH_TIMEOUT(m_bench->fleet().counters().httpRequests >= 10, patience);
        user.button("pushButtonCancel").click();
        QCOMPARE(user.statuses().count(canceled), many);
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
        QVERIFY(m_bench->areAllClosed());
        const auto requests = m_bench->fleet().counters().httpRequests;
        // A timer that was to start some more would have had its turn by then.
        QVERIFY(!m_bench->fleet().waitFor(
            [requests](const simulator::Counters &counters) { return counters.httpRequests > requests; },
            500ms));
        QCOMPARE(user.statuses().count(canceled), many);
    });
}

void TestNetworkOperationsEndings::goesWithItsRequests_data()
{
    addLeavings({"Escape", "close", "reject", "parent goes"});
}

void TestNetworkOperationsEndings::goesWithItsRequests()
{
    QFETCH(QString, how);
    QFETCH(QString, when);
    simulator::DeviceOptions options;
    options.configuration = std::string(100000, 'x');
    startUntil(when, Fault::drip(500, 50ms), options);
    QPointer<QWidget> parent(new QWidget);
    parent->show();
    QPointer<QDialog> dialog;
    QVERIFY(withDialog(
        [&] {
            NetworkOperationsDialog::downloadConfigs(m_bench->directory(), m_bench->devices(), false, parent);
        },
        [&](DialogUser &user) {
            dialog = &user.dialog();
            awaitPoint(when, user);
            if (how != QLatin1String("parent goes")) {
                leave(user.dialog(), how);
            } else {
                // As it happens when the window is closed by the session.
                parent->close();
                dialog->close();
            }
            QVERIFY(!dialog->isVisible());
        }));
    QVERIFY(dialog.isNull());
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), when == QLatin1String("some finished") ? 1 : 0,
                              patience);
    QVERIFY(m_bench->comesToRest());
    QVERIFY(m_bench->fleet().counters().httpRequests <= 6);
    QCOMPARE(m_bench->fleet().counters().openConnections, std::uint64_t(0));
    delete parent;
}

void TestNetworkOperationsEndings::goesWithTheProgram()
{
    verifyGoesWithTheProgram([this](const std::function<void()> &inDialog) {
        run(Operation::Download, [&inDialog](DialogUser &) { inDialog(); });
    });
}

void TestNetworkOperationsEndings::outlivesNoDevice()
{
    // The list may lose rows while the dialog is open, by whatever way: nothing may look at them.
    m_bench->addOpenDevice("lab-sensor");
    m_bench->addOpenDevice("roof");
    m_bench->start();
    m_bench->fleet().addFault(Fault::answerAfter(300ms));
    run(Operation::Download, [this](DialogUser &user) {
        m_bench->dropRows();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), (QStringList{finished, finished}));
    });
    QCOMPARE(m_bench->fileNames(),
             (QStringList{suffixed("lab-sensor-0E5A11000001"), suffixed("roof-0E5A11000002")}));
}

NEMBRA_GUI_TEST_MAIN(TestNetworkOperationsEndings)

#include "tst_networkoperations_endings.moc"

#include "device/device.h"
#include "devicerow.h"
#include "operations/networkoperationsdialog.h"
#include "testenvironment.h"
#include "transferbench.h"

#include <QAbstractButton>
#include <QDir>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QTableWidget>
#include <QtTest>

#include <algorithm>
#include <memory>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

/// Milliseconds for what the devices do.
constexpr int patience = 20000;

enum class Operation { Download, DownloadWithPasswords, Upload };

const QString finished = QStringLiteral("Finished, #00ff00");
const QString canceled = QStringLiteral("Canceled, #ff0000");
const QString errorWriting = QStringLiteral("Error writing file, #ff0000");
const QString downloading = QStringLiteral("Downloading, none");
const QString uploading = QStringLiteral("Uploading, none");

/// What is uploaded.
const QByteArray uploaded("[system]\r\nname=roof\r\n\0\xFF", 23);

QString suffixed(const char *stem)
{
    return QLatin1String(stem) + QLatin1String("-TIME.qini");
}

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestNetworkOperations : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void looksAsADownload();
    void looksAsAnUpload();
    void canBeUsedWithoutAMouse();
    void showsTextsOfDevicesAsTheyAre();
    void staysReadableOnDarkGround();

    void savesWhatTheDeviceSends_data();
    void savesWhatTheDeviceSends();
    void asksForPasswordsOnlyWhereItShall_data();
    void asksForPasswordsOnlyWhereItShall();
    void actsWithinTheSession_data();
    void actsWithinTheSession();
    void actsWithinTheSessionOverHttps_data();
    void actsWithinTheSessionOverHttps();
    void uploadsTheBytesOfAFile();
    void uploadsWhatItDownloaded();
    void keepsDevicesOfOneNameApart();
    void leavesTheDirectoryToOthers();

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
    void staysWithTheDevicesItWasStartedWith();
    void isNotHeldUpByManyThatHang();

private:
    /// Opens the dialog for all devices of the bench.
    void open(Operation operation) const;
    /// The same, with something to do while it is open.
    void run(Operation operation, const std::function<void(DialogUser &)> &use) const;

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<TransferBench> m_bench;
};

void TestNetworkOperations::init()
{
    m_environment = std::make_unique<TestEnvironment>();
    m_bench = std::make_unique<TransferBench>();
}

void TestNetworkOperations::cleanup()
{
    // Whatever a test did with the dialog: its requests went with it.
    m_bench->dropRows();
    const bool rests = m_bench->comesToRest();
    m_bench.reset();
    m_environment.reset();
    QVERIFY(rests);
}

void TestNetworkOperations::open(Operation operation) const
{
    if (operation == Operation::Upload) {
        NetworkOperationsDialog::uploadConfig(uploaded, m_bench->devices(), nullptr);
    } else {
        NetworkOperationsDialog::downloadConfigs(m_bench->directory(), m_bench->devices(),
                                                 operation == Operation::DownloadWithPasswords, nullptr);
    }
}

void TestNetworkOperations::run(Operation operation, const std::function<void(DialogUser &)> &use) const
{
    QVERIFY(withDialog([this, operation] { open(operation); }, use));
}

namespace {

void addOperations()
{
    QTest::addColumn<Operation>("operation");
    QTest::newRow("download") << Operation::Download;
    QTest::newRow("download with passwords") << Operation::DownloadWithPasswords;
    QTest::newRow("upload") << Operation::Upload;
}

} // namespace

void TestNetworkOperations::looksAsADownload()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->addOpenDevice("roof");
    m_bench->start();
    m_bench->fleet().addFault(Fault::hang());
    run(Operation::Download, [](DialogUser &user) {
        QCOMPARE(user.dialog().objectName(), QStringLiteral("NetworkOperationsDialog"));
        QCOMPARE(user.dialog().windowTitle(), QStringLiteral("Save config"));
        QCOMPARE(user.dialog().size(), QSize(405, 307));
        QVERIFY(user.dialog().isModal());
        QVERIFY(!user.dialog().windowFlags().testFlag(Qt::WindowContextHelpButtonHint));
        QCOMPARE(user.find<QLabel>("label").text(), QStringLiteral("Downloading configs."));
        QCOMPARE(user.button("pushButtonCancel").text(), QStringLiteral("Cancel"));
        QCOMPARE(user.button("pushButtonClose").text(), QStringLiteral("Close"));
        QCOMPARE(user.enabledButtons(), QStringLiteral("Cancel"));

        const QTableWidget &table = user.table();
        QCOMPARE(table.columnCount(), 2);
        QCOMPARE(table.horizontalHeaderItem(0)->text(), QStringLiteral("Hostname"));
        QCOMPARE(table.horizontalHeaderItem(1)->text(), QStringLiteral("Status"));
        QCOMPARE(table.columnWidth(1), 200);
        QCOMPARE(table.rowCount(), 2);
        QCOMPARE(table.item(0, 0)->text(), QStringLiteral("lab-sensor"));
        QCOMPARE(table.item(1, 0)->text(), QStringLiteral("roof"));
        for (int cell = 0; cell < 4; ++cell) {
            QVERIFY(!table.item(cell / 2, cell % 2)->flags().testFlag(Qt::ItemIsEditable));
        }
        QVERIFY(!table.item(0, 0)->data(Qt::BackgroundRole).isValid());
        QCOMPARE(user.statuses(), (QStringList{downloading, downloading}));

        user.button("pushButtonCancel").click();
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
        QVERIFY(user.dialog().isVisible());
        user.button("pushButtonClose").click();
        QVERIFY(!user.dialog().isVisible());
        QCOMPARE(user.dialog().result(), int(QDialog::Rejected));
    });
}

void TestNetworkOperations::looksAsAnUpload()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    m_bench->fleet().addFault(Fault::hang());
    run(Operation::Upload, [](DialogUser &user) {
        QCOMPARE(user.dialog().windowTitle(), QStringLiteral("Upload config"));
        QCOMPARE(user.find<QLabel>("label").text(), QStringLiteral("Uploading config."));
        QCOMPARE(user.dialog().size(), QSize(405, 307));
        QCOMPARE(user.table().columnWidth(1), 200);
        QCOMPARE(user.statuses(), QStringList{uploading});
        QCOMPARE(user.enabledButtons(), QStringLiteral("Cancel"));
    });
    m_bench->fleet().clearFaults();
    run(Operation::Upload, [](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{finished});
        QCOMPARE(user.past(0), (QStringList{QStringLiteral("Finished, none"), finished, finished}));
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
    });
}

void TestNetworkOperations::canBeUsedWithoutAMouse()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    run(Operation::Download, [](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        QTableWidget &table = user.table();
        QCOMPARE(user.find<QLabel>("label").buddy(), &table);
        QCOMPARE(table.accessibleName(), QStringLiteral("Devices"));
        // Tab leaves the table, and nothing in it can be written over.
        table.setFocus();
        table.setCurrentCell(0, 0);
        QTest::keyClick(&table, Qt::Key_F2);
        QTest::keyClick(&table, Qt::Key_X);
        QVERIFY(!table.isPersistentEditorOpen(table.item(0, 0)));
        QCOMPARE(table.item(0, 0)->text(), QStringLiteral("lab-sensor"));
        QTest::keyClick(&table, Qt::Key_Tab);
        QVERIFY(!table.hasFocus());
    });
}

void TestNetworkOperations::showsTextsOfDevicesAsTheyAre()
{
    const QString markup = QStringLiteral("<img src=/dev/zero><h1>&amp;roof</h1>");
    m_bench->addOpenDevice(markup.toUtf8());
    m_bench->addOpenDevice(QByteArray(3000, 'W'));
    m_bench->start();
    m_bench->fleet().addFault(0, Fault::refuse());
    run(Operation::Upload, [&markup](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        const QTableWidget &table = user.table();
        QCOMPARE(table.item(0, 0)->text(), markup);
        // A text that looks like markup would be shown as such in a tip, and in a label.
        for (int cell = 0; cell < 4; ++cell) {
            QVERIFY(!table.item(cell / 2, cell % 2)->data(Qt::ToolTipRole).isValid());
        }
        QCOMPARE(user.find<QLabel>("label").text(), QStringLiteral("Uploading config."));
        // The status stays in sight beside the longest name.
        QVERIFY2(table.columnWidth(0) <= 250, qPrintable(QString::number(table.columnWidth(0))));
        QCOMPARE(user.statuses(), (QStringList{canceled, finished}));
    });
}

void TestNetworkOperations::staysReadableOnDarkGround()
{
    m_bench->addOpenDevice("finishes");
    m_bench->addOpenDevice("fails");
    m_bench->addOpenDevice("hangs");
    m_bench->start();
    m_bench->fleet().addFault(1, Fault::refuse());
    m_bench->fleet().addFault(2, Fault::hang());
    const DarkPalette darkPalette;
    run(Operation::Upload, [](DialogUser &user) {
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses(), (QStringList{finished, canceled, uploading}), patience);
        for (int row = 0; row < 3; ++row) {
            QVERIFY2(contrast(user.table(), row, 1) >= 70, qPrintable(user.statuses().at(row)));
        }
    });
}

void TestNetworkOperations::savesWhatTheDeviceSends_data()
{
    QTest::addColumn<QByteArray>("configuration");
    QByteArray everyByte;
    for (int i = 0; i < 256; ++i) {
        everyByte += static_cast<char>(i);
    }
    QTest::newRow("a text") << QByteArray("[system]\r\nname=roof\r\n");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("every byte") << everyByte;
    QTest::newRow("zeros") << QByteArray(5000, '\0');
    QTest::newRow("no UTF-8") << QByteArray("\xC3\x28\xFF\xFE");
    QTest::newRow("a lot") << everyByte.repeated(20000);
}

void TestNetworkOperations::savesWhatTheDeviceSends()
{
    QFETCH(QByteArray, configuration);
    simulator::DeviceOptions options;
    options.configuration = configuration.toStdString();
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->start();
    run(Operation::Download, [this](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{finished});
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
        // It is there at once, not only when the dialog goes.
        QCOMPARE(m_bench->fileNames(), QStringList{suffixed("lab-sensor-0E5A11000001")});
    });
    QCOMPARE(m_bench->fileNames(), QStringList{suffixed("lab-sensor-0E5A11000001")});
    QVERIFY(m_bench->files().first() == configuration);
}

void TestNetworkOperations::asksForPasswordsOnlyWhereItShall_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<bool>("passwords");
    QTest::newRow("without") << Operation::Download << QByteArray("/tpl/document.cgi?tpl/j/config.tpl")
                             << false;
    QTest::newRow("with") << Operation::DownloadWithPasswords
                          << QByteArray("/tpl/document.cgi?tpl/j/config.tpl&incl_passwords=on") << true;
}

void TestNetworkOperations::asksForPasswordsOnlyWhereItShall()
{
    QFETCH(Operation, operation);
    QFETCH(QByteArray, target);
    QFETCH(bool, passwords);
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    run(operation, [](DialogUser &user) { QVERIFY(user.awaitEnd()); });
    const auto requests = m_bench->fleet().requests(0);
    QCOMPARE(requests.size(), std::size_t(1));
    QCOMPARE(requests.front().method, std::string("GET"));
    QCOMPARE(QByteArray::fromStdString(requests.front().target), target);
    QCOMPARE(requests.front().bodySize, std::uint64_t(0));
    QCOMPARE(requests.front().header("Cookie"), std::string());
    QCOMPARE(m_bench->fileNames(), QStringList{suffixed("lab-sensor-0E5A11000001")});
    QCOMPARE(m_bench->files().first().contains("[passwords]"), passwords);
}

void TestNetworkOperations::actsWithinTheSession_data()
{
    addOperations();
}

void TestNetworkOperations::actsWithinTheSession()
{
    QFETCH(Operation, operation);
    m_bench->addDevice("first");
    m_bench->addDevice("second");
    m_bench->start();
    QVERIFY(m_bench->logIn(0, QStringLiteral("admin")));
    QVERIFY(m_bench->logIn(1, QStringLiteral("admin")));
    run(operation, [](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), (QStringList{finished, finished}));
    });
    for (int i = 0; i < 2; ++i) {
        const auto requests = m_bench->operations(i);
        QCOMPARE(requests.size(), std::size_t(1));
        const QNetworkCookie sid = m_bench->device(i).sidCookie();
        QCOMPARE(QByteArray::fromStdString(requests.front().header("Cookie")), "sid=" + sid.value());
    }
    QVERIFY(m_bench->device(0).sidCookie().value() != m_bench->device(1).sidCookie().value());
}

void TestNetworkOperations::actsWithinTheSessionOverHttps_data()
{
    addOperations();
}

void TestNetworkOperations::actsWithinTheSessionOverHttps()
{
    QFETCH(Operation, operation);
    simulator::DeviceOptions options;
    options.redirectToHttps = true;
    m_bench->addDevice("lab-sensor", options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    QVERIFY(m_bench->device(0).useHttps());
    QVERIFY(m_bench->logIn(0, QStringLiteral("admin")));
    run(operation, [](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{finished});
    });
    const auto requests = m_bench->operations();
    QCOMPARE(requests.size(), std::size_t(1));
    QVERIFY(requests.front().https);
    QCOMPARE(QByteArray::fromStdString(requests.front().header("Cookie")),
             "sid=" + m_bench->device(0).sidCookie().value());
}

void TestNetworkOperations::uploadsTheBytesOfAFile()
{
    m_bench->addOpenDevice("first");
    m_bench->addOpenDevice("second");
    m_bench->start();
    QTest::ignoreMessage(QtDebugMsg, "upload QUrl(\"http://10.77.128.1:80/admin/config.cgi\")");
    QTest::ignoreMessage(QtDebugMsg, "upload QUrl(\"http://10.77.128.2:80/admin/config.cgi\")");
    run(Operation::Upload, [](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), (QStringList{finished, finished}));
    });
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(QByteArray::fromStdString(m_bench->fleet().device(i).configuration), uploaded);
        QCOMPARE(m_bench->fleet().device(i).configurationUploads, 1);
        const auto requests = m_bench->fleet().requests(i);
        QCOMPARE(requests.size(), std::size_t(1));
        QCOMPARE(requests.front().method, std::string("POST"));
        QCOMPARE(requests.front().target, std::string("/admin/config.cgi"));
        const QByteArray body = QByteArray::fromStdString(requests.front().body);
        QCOMPARE(body.count("Content-Disposition: form-data; name="), 3);
        QCOMPARE(body.count("Content-"), 3);
    }
    QCOMPARE(m_bench->fileNames(), QStringList());
}

void TestNetworkOperations::uploadsWhatItDownloaded()
{
    simulator::DeviceOptions options;
    options.configuration = std::string("name=roof\r\n\0\xFF\xFE--\r\n", 18);
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->start();
    run(Operation::Download, [](DialogUser &user) { QVERIFY(user.awaitEnd()); });
    QCOMPARE(m_bench->files().size(), 1);
    const QByteArray saved = m_bench->files().first();
    QVERIFY(withDialog([&] { NetworkOperationsDialog::uploadConfig(saved, m_bench->devices(), nullptr); },
                       [](DialogUser &user) { QVERIFY(user.awaitEnd()); }));
    QCOMPARE(m_bench->fleet().device(0).configurationUploads, 1);
    QCOMPARE(m_bench->fleet().device(0).configuration, *options.configuration);
}

void TestNetworkOperations::keepsDevicesOfOneNameApart()
{
    simulator::DeviceOptions options;
    options.configuration = "one";
    m_bench->addOpenDevice("lab-sensor", options);
    options.configuration = "two";
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->start();
    run(Operation::Download, [](DialogUser &user) { QVERIFY(user.awaitEnd()); });
    const QMap<QString, QByteArray> expected{{suffixed("lab-sensor-0E5A11000001"), "one"},
                                             {suffixed("lab-sensor-0E5A11000002"), "two"}};
    QCOMPARE(m_bench->files(), expected);
}

void TestNetworkOperations::leavesTheDirectoryToOthers()
{
    const QString old = m_bench->directory() + QLatin1String("/lab-sensor-0E5A11000001-20210303-090507.qini");
    QFile file(old);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    run(Operation::Download, [](DialogUser &user) { QVERIFY(user.awaitEnd()); });
    QCOMPARE(m_bench->fileNames(),
             (QStringList{QStringLiteral("lab-sensor-0E5A11000001-20210303-090507.qini"),
                          suffixed("lab-sensor-0E5A11000001")}));
}

void TestNetworkOperations::endsEachRowByItsDevice_data()
{
    addOperations();
}

void TestNetworkOperations::endsEachRowByItsDevice()
{
    QFETCH(Operation, operation);
    const std::vector<Misbehaviour> all = misbehaviours();
    for (const Misbehaviour &misbehaviour : all) {
        simulator::DeviceOptions options;
        options.configuration = "own";
        options.users = {};
        options.redirectToHttps = misbehaviour.overHttps;
        m_bench->addOpenDevice(misbehaviour.name, options);
    }
    m_bench->start();
    QStringList expected;
    QStringList expectedFiles;
    int hanging = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const Misbehaviour &misbehaviour = all[i];
        const int index = static_cast<int>(i);
        if (misbehaviour.overHttps) {
            QVERIFY2(m_bench->ask(index), misbehaviour.name);
        }
        for (const Fault &fault : misbehaviour.faults) {
            m_bench->fleet().addFault(index, fault);
        }
        const bool isUpload = operation == Operation::Upload;
        hanging += misbehaviour.hangs ? 1 : 0;
        expected += QLatin1String(misbehaviour.name) + QLatin1String(": ") +
                    (isUpload ? misbehaviour.uploadStatus : misbehaviour.downloadStatus);
        if (!isUpload && misbehaviour.hasFile) {
            QByteArray content = misbehaviour.content;
            if (content == "(own)") {
                content = operation == Operation::Download ? "own" : "own[passwords]\r\n";
            }
            expectedFiles +=
                QLatin1String(misbehaviour.name) + QLatin1String(": ") + QString::fromLatin1(content.toHex());
        }
    }

    run(operation, [&](DialogUser &user) {
        const QString working = operation == Operation::Upload ? uploading : downloading;
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().count(working), hanging, patience);
        QCOMPARE(user.enabledButtons(), QStringLiteral("Cancel"));
        user.button("pushButtonCancel").click();
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
        QStringList seen;
        for (int row = 0; row < user.table().rowCount(); ++row) {
            seen += user.table().item(row, 0)->text() + QLatin1String(": ") + user.statuses().at(row);
        }
        QCOMPARE(seen, expected);
    });

    QStringList files;
    const QMap<QString, QByteArray> written = m_bench->files();
    for (auto file = written.begin(); file != written.end(); ++file) {
        files += file.key().section(QStringLiteral("-0E5A"), 0, 0) + QLatin1String(": ") +
                 QString::fromLatin1(file.value().toHex());
        QVERIFY2(file.key().endsWith(QLatin1String("-TIME.qini")), qPrintable(file.key()));
    }
    expectedFiles.sort();
    QCOMPARE(files, expectedFiles);
}

void TestNetworkOperations::endsAnswersWithoutAnEnd_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<bool>("body");
    QTest::newRow("a body for a download") << Operation::Download << true;
    QTest::newRow("a body for an upload") << Operation::Upload << true;
    QTest::newRow("headers for a download") << Operation::Download << false;
    QTest::newRow("headers for an upload") << Operation::Upload << false;
}

void TestNetworkOperations::endsAnswersWithoutAnEnd()
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
        QCOMPARE(m_bench->fileNames().size(), operation == Operation::Download ? 1 : 0);
    });
    QVERIFY2(clock.elapsed() < 2000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(m_bench->comesToRest());
    QCOMPARE(m_bench->fileNames().size(), operation == Operation::Download ? 1 : 0);
}

void TestNetworkOperations::refusesAStatusBelow200()
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

void TestNetworkOperations::unpacksNothing()
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

void TestNetworkOperations::endsASessionThatTheDeviceForgot_data()
{
    addOperations();
}

void TestNetworkOperations::endsASessionThatTheDeviceForgot()
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

void TestNetworkOperations::tellsTheErrorUntilTheEnd_data()
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

void TestNetworkOperations::tellsTheErrorUntilTheEnd()
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

void TestNetworkOperations::tellsAFileThatCannotBeWritten_data()
{
    QTest::addColumn<QByteArray>("hostName");
    QTest::addColumn<QString>("directory");
    QTest::newRow("a slash in the host name") << QByteArray("a/b") << "out";
    QTest::newRow("up") << QByteArray("../lab-sensor") << "out";
    QTest::newRow("from the root") << QByteArray("/tmp/lab-sensor") << "out";
    QTest::newRow("too long a host name") << QByteArray(300, 'n') << "out";
    QTest::newRow("a zero") << QByteArray("a\0b", 3) << "out";
    QTest::newRow("no such directory") << QByteArray("lab-sensor") << "missing";
    QTest::newRow("no directory") << QByteArray("lab-sensor") << QString();
}

void TestNetworkOperations::tellsAFileThatCannotBeWritten()
{
    QFETCH(QByteArray, hostName);
    QFETCH(QString, directory);
    m_bench->addOpenDevice(hostName);
    m_bench->start();
    const QString base = m_bench->directory().chopped(3);
    const QString path = directory.isNull() ? QString() : base + directory;
    QVERIFY(withDialog(
        [&] { NetworkOperationsDialog::downloadConfigs(path, m_bench->devices(), false, nullptr); },
        [](DialogUser &user) {
            QVERIFY(user.awaitEnd());
            QCOMPARE(user.statuses(), QStringList{errorWriting});
            QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
        }));
    QCOMPARE(m_bench->fileNames(), QStringList());
    QCOMPARE(QDir(base).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("out")});
}

void TestNetworkOperations::endsAtCancelBeforeAnyAnswer_data()
{
    addOperations();
}

void TestNetworkOperations::endsAtCancelBeforeAnyAnswer()
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

void TestNetworkOperations::endsAtCancelAmidAnswers()
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
        QCOMPARE(m_bench->fileNames(), QStringList());
    });
}

void TestNetworkOperations::keepsFinishedRowsAtCancel()
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

void TestNetworkOperations::endsAtCancelWhileARowChanges()
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
        const int good = user.statuses().count(finished);
        QVERIFY2(good >= 1, qPrintable(user.statuses().join(QLatin1Char('\n'))));
        QCOMPARE(user.statuses().count(canceled), 20 - good);
        QCOMPARE(m_bench->fileNames().size(), good);
        QCOMPARE(user.enabledButtons(), QStringLiteral("Close"));
    });
}

void TestNetworkOperations::waitsForCancelWithoutDevices_data()
{
    addOperations();
}

void TestNetworkOperations::waitsForCancelWithoutDevices()
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

void TestNetworkOperations::startsNothingMoreAfterCancel()
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
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fleet().counters().openConnections, std::uint64_t(0), patience);
        const auto requests = m_bench->fleet().counters().httpRequests;
        // A timer that was to start some more would have had its turn by then.
        QVERIFY(!m_bench->fleet().waitFor(
            [requests](const simulator::Counters &counters) { return counters.httpRequests > requests; },
            500ms));
        QCOMPARE(user.statuses().count(canceled), many);
    });
}

void TestNetworkOperations::goesWithItsRequests_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("when");
    for (const char *const how : {"Escape", "close", "reject", "parent goes"}) {
        for (const char *const when : {"at once", "hanging", "amid an answer", "some finished"}) {
            QTest::addRow("%s, %s", how, when) << how << when;
        }
    }
}

void TestNetworkOperations::goesWithItsRequests()
{
    QFETCH(QString, how);
    QFETCH(QString, when);
    simulator::DeviceOptions options;
    options.configuration = std::string(100000, 'x');
    for (int i = 0; i < 6; ++i) {
        m_bench->addOpenDevice("lab-sensor", options);
    }
    m_bench->start();
    simulator::Fleet &fleet = m_bench->fleet();
    const bool someFinish = when == QLatin1String("some finished");
    if (when == QLatin1String("amid an answer")) {
        fleet.addFault(Fault::drip(500, 50ms));
    } else if (someFinish) {
        for (int i = 0; i < 5; ++i) {
            fleet.addFault(i, Fault::hang());
        }
    } else {
        fleet.addFault(Fault::hang());
    }
    QPointer<QWidget> parent(new QWidget);
    parent->show();
    QPointer<QDialog> dialog;
    QVERIFY(withDialog(
        [&] {
            NetworkOperationsDialog::downloadConfigs(m_bench->directory(), m_bench->devices(), false, parent);
        },
        [&](DialogUser &user) {
            dialog = &user.dialog();
            if (when != QLatin1String("at once")) {
                QTRY_VERIFY_WITH_TIMEOUT(fleet.counters().httpRequests == 6, patience);
            }
            if (when == QLatin1String("amid an answer")) {
                QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), 6, patience);
            } else if (someFinish) {
                QTRY_COMPARE_WITH_TIMEOUT(user.statuses().count(finished), 1, patience);
            }
            if (how == QLatin1String("Escape")) {
                QTest::keyClick(dialog, Qt::Key_Escape);
            } else if (how == QLatin1String("close")) {
                QVERIFY(dialog->close());
            } else if (how == QLatin1String("reject")) {
                dialog->reject();
            } else {
                // As it happens when the window is closed by the session.
                parent->close();
                dialog->close();
            }
            QVERIFY(!dialog->isVisible());
        }));
    QVERIFY(dialog.isNull());
    QCOMPARE(m_bench->fileNames().size(), someFinish ? 1 : 0);
    QVERIFY(m_bench->comesToRest());
    const auto requests = fleet.counters().httpRequests;
    QVERIFY(requests <= 6);
    QCOMPARE(fleet.counters().openConnections, std::uint64_t(0));
    delete parent;
}

void TestNetworkOperations::goesWithTheProgram()
{
    for (int i = 0; i < 6; ++i) {
        m_bench->addOpenDevice("lab-sensor");
    }
    m_bench->start();
    m_bench->fleet().addFault(Fault::hang());
    // Else the dialog, as the last window, would end the program once more, at the next test.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    bool returned = false;
    QTimer::singleShot(0, this, [&] {
        run(Operation::Download, [&](DialogUser &) {
            QTRY_VERIFY_WITH_TIMEOUT(m_bench->fleet().counters().httpRequests == 6, patience);
            QCoreApplication::quit();
        });
        returned = true;
    });
    const int exitCode = QCoreApplication::exec();
    QGuiApplication::setQuitOnLastWindowClosed(true);
    QCOMPARE(exitCode, 0);
    QVERIFY(returned);
    QCOMPARE(m_bench->fileNames(), QStringList());
}

void TestNetworkOperations::outlivesNoDevice()
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

void TestNetworkOperations::staysWithTheDevicesItWasStartedWith()
{
    // More than are asked at a time, so that some are asked only after they have changed.
    constexpr int many = 300;
    for (int i = 0; i < many; ++i) {
        m_bench->addOpenDevice("before");
    }
    m_bench->start();
    m_bench->fleet().addFault(Fault::answerAfter(100ms));
    run(Operation::Download, [&](DialogUser &user) {
        QVERIFY(user.enabledButtons() == QLatin1String("Cancel"));
        const QList<Device *> devices = m_bench->devices();
        for (Device *const device : devices) {
            DiscoveryDevice record = device->record();
            record.setHostname(QStringLiteral("after"));
            record.setMacText(QStringLiteral("0E:5A:11:FF:FF:FF"));
            record.setAddress(QHostAddress(QStringLiteral("10.77.128.1")));
            device->updateFromDiscovery(record);
        }
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses().count(finished), many);
        QCOMPARE(user.table().item(many - 1, 0)->text(), QStringLiteral("before"));
    });
    QCOMPARE(m_bench->operations(many - 1).size(), std::size_t(1));
    const QStringList names = m_bench->fileNames();
    QCOMPARE(names.size(), many);
    QCOMPARE(names.constFirst(), suffixed("before-0E5A11000001"));
    QCOMPARE(names.constLast(), suffixed("before-0E5A1100012C"));
}

void TestNetworkOperations::isNotHeldUpByManyThatHang()
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

NEMBRA_GUI_TEST_MAIN(TestNetworkOperations)

#include "tst_networkoperations.moc"

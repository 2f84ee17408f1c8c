#include "device/device.h"
#include "operations/networkoperationsdialog.h"
#include "testenvironment.h"
#include "transfertest.h"

#include <QAbstractButton>
#include <QFile>
#include <QLabel>
#include <QStyledItemDelegate>
#include <QTableWidget>
#include <QtTest>

using namespace std::chrono_literals;
using simulator::Fault;

/// How the dialog for configurations looks, what it asks of the devices and what it saves.
class TestNetworkOperations final : public QObject, private ConfigurationTest
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

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
    void staysWithTheDevicesItWasStartedWith();
};

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
    m_bench->addOpenDevice("one\ntwo\x1b[2J");
    m_bench->start();
    m_bench->fleet().addFault(0, Fault::refuse());
    run(Operation::Upload, [&markup](DialogUser &user) {
        QVERIFY(user.awaitEnd());
        const QTableWidget &table = user.table();
        QCOMPARE(table.item(0, 0)->text(), markup);
        // A text that looks like markup would be shown as such in a tip, and in a label.
        for (int cell = 0; cell < 6; ++cell) {
            QVERIFY(!table.item(cell / 2, cell % 2)->data(Qt::ToolTipRole).isValid());
        }
        QCOMPARE(user.find<QLabel>("label").text(), QStringLiteral("Uploading config."));
        // The status stays in sight beside the longest name.
        QVERIFY2(table.columnWidth(0) <= 250, qPrintable(QString::number(table.columnWidth(0))));
        QCOMPARE(user.statuses(), (QStringList{canceled, finished, finished}));
        // No name hides what stands beside it, or looks like a row of its own.
        const auto *const delegate = qobject_cast<QStyledItemDelegate *>(table.itemDelegate());
        QVERIFY(delegate);
        QCOMPARE(delegate->displayText(table.item(2, 0)->text(), QLocale()), QStringLiteral("one two [2J"));
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

NEMBRA_GUI_TEST_MAIN(TestNetworkOperations)

#include "tst_networkoperations.moc"

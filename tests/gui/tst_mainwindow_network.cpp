#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "dialogseries.h"
#include "fleet.h"
#include "mainwindow/mainwindow.h"
#include "testenvironment.h"
#include "windowbench.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QTranslator>
#include <QWindow>
#include <QtTest>

#include <algorithm>
#include <memory>

using namespace std::chrono_literals;
using namespace dialogstep;
using simulator::DatagramRecord;
using simulator::Fleet;

namespace {

/// Milliseconds that the network has for a round of discovery and readings.
constexpr int patience = 10000;

const QString configDialog = QStringLiteral("ConfigDialog: Network Configuration");
const QString updateBox = QStringLiteral("box: Update device?");
const QString geometryKey = QStringLiteral("ConfigDialog/Geometry");
const QString mac1 = QStringLiteral("0E:5A:11:00:00:01");
const QString mac2 = QStringLiteral("0E:5A:11:00:00:02");
const QString unassignedMac = QStringLiteral("02:00:00:00:00:00");

/// Command of a datagram: behind the tag.
constexpr int commandOffset = 4;
constexpr char request = 0;
constexpr char configure = 2;

/// What is typed into the dialog.
struct Input
{
    bool manual = true;
    QString address{};
    QString mask{};
    QString gateway{};
};

/// A device that takes its address by DHCP.
simulator::DeviceOptions deviceOptions()
{
    simulator::DeviceOptions options;
    options.hostName = "lab-1";
    options.variant = 16;
    options.tag = 0x01020304;
    options.address = 0x0A4D8001;
    options.netmask = 0xFFFF0000;
    options.gateway = 0x0A4D00FE;
    options.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x00, 0x01};
    return options;
}

/// Types into the dialog what is given, and presses OK.
DialogSeries::Step enter(const Input &input)
{
    return [input](QWidget *dialog) {
        in<QCheckBox>(dialog, "manualIpCheck")->setChecked(input.manual);
        in<QLineEdit>(dialog, "ipAddress")->setText(input.address);
        in<QLineEdit>(dialog, "ipMask")->setText(input.mask);
        in<QLineEdit>(dialog, "ipGate")->setText(input.gateway);
        in<QPushButton>(dialog, "okButton")->click();
    };
}

/// Presses OK without a change.
void confirm(QWidget *dialog)
{
    in<QPushButton>(dialog, "okButton")->click();
}

/// The area of a name, filled with zero bytes.
QByteArray nameArea(QByteArray name)
{
    name.append(100 - name.size(), '\0');
    return name;
}

} // namespace

/// Configuring a device's network from the main window.
class TestMainWindowNetwork : public QObject, private WindowTest
{
    Q_OBJECT

private slots:
    void init() { open(); }
    void cleanup() { close(); }

    void opensForTheSelectedDevice();
    void opensForADeviceWithoutAnAddress();
    void doesNothingWithoutASelection();
    void doesNothingForTwoDevices();
    void tellsOfADeviceThatNeverAnswered();

    void asksBeforeItSends();
    void asksInGerman();
    void sendsWhenConfirmed_data();
    void sendsWhenConfirmed();
    void sendsNothingOtherwise_data();
    void sendsNothingOtherwise();
    void staysSilentAboutAnInvalidAddress_data();
    void staysSilentAboutAnInvalidAddress();
    void sendsTheDatagram_data();
    void sendsTheDatagram();
    void sendsTheMacThatItHadForABrokenOne();
    void sendsToAllLocalNetworks();
    void refreshesHalfASecondLater();
    void closesBeforeTheRefresh();
    void opensAgainWithItsGeometry();

    void givesADeviceAFixedAddressAndTakesItBack();
    void givesADeviceAMac();
    void leavesOtherDevicesAlone();

private:
    /// Starts a fleet of these devices, opens the window, and waits until all are read.
    void begin(const std::vector<simulator::DeviceOptions> &devices);
    void refresh() const;
    void call() const
    {
        QVERIFY(QMetaObject::invokeMethod(&m_bench->window(), "on_actionConfigureDevice_triggered"));
    }
    void trigger() const { m_bench->trigger("actionConfigureDevice"); }
    /// The datagrams with this command, in the order of their arrival.
    std::vector<DatagramRecord> datagrams(char command) const;
    /// Orders that have arrived by the time at which a later broadcast has. Each broadcast arrives twice.
    std::size_t ordersSoFar() const;
    /// The one order that was sent, in hexadecimal digits.
    QByteArray order() const;
    bool isRead(const QString &mac) const;
};

void TestMainWindowNetwork::begin(const std::vector<simulator::DeviceOptions> &devices)
{
    simulator::FleetOptions options;
    // It is back when the program asks for it.
    options.restartTime = 100ms;
    m_fleet = std::make_unique<Fleet>(options);
    for (const simulator::DeviceOptions &device : devices) {
        m_fleet->addDevice(device);
    }
    m_fleet->start();
    m_bench = std::make_unique<WindowBench>();
    for (int i = 0; i < m_fleet->deviceCount(); ++i) {
        const QString mac = QString::fromStdString(simulator::macText(m_fleet->device(i).mac));
        QTRY_VERIFY_WITH_TIMEOUT(isRead(mac), patience);
    }
}

bool TestMainWindowNetwork::isRead(const QString &mac) const
{
    DeviceItem *const item = m_bench->row(mac);
    return item && item->text(Column::Status) == QLatin1String("200 OK") &&
           !item->device().requestOutstanding();
}

void TestMainWindowNetwork::refresh() const
{
    const auto before = m_fleet->counters().discoveryRequests;
    m_bench->trigger("actionDiscover_devices");
    QTRY_VERIFY_WITH_TIMEOUT(m_fleet->counters().discoveryRequests >= before + 2, patience);
}

std::vector<DatagramRecord> TestMainWindowNetwork::datagrams(char command) const
{
    std::vector<DatagramRecord> found;
    const simulator::Journal journal = m_fleet->journal();
    std::copy_if(journal.datagrams.begin(), journal.datagrams.end(), std::back_inserter(found),
                 [command](const DatagramRecord &record) {
                     return record.bytes.size() > commandOffset && record.bytes[commandOffset] == command;
                 });
    return found;
}

std::size_t TestMainWindowNetwork::ordersSoFar() const
{
    refresh();
    return datagrams(configure).size();
}

QByteArray TestMainWindowNetwork::order() const
{
    QByteArray text;
    const auto orders = datagrams(configure);
    for (const DatagramRecord &record : orders) {
        const QByteArray hex = QByteArray::fromStdString(record.bytes).toHex();
        if (text != hex) {
            text += hex;
        }
    }
    return text;
}

void TestMainWindowNetwork::opensForTheSelectedDevice()
{
    simulator::DeviceOptions fixed = deviceOptions();
    fixed.staticAddress = 0x0A4D8001;
    begin({fixed});
    m_bench->select({mac1});
    QVERIFY(m_bench->action("actionConfigureDevice")->isEnabled());
    QString shown;
    bool modal = false;
    bool child = false;
    DialogSeries dialogs;
    dialogs.then([&](QWidget *dialog) {
        modal = dialog->isModal();
        child = dialog->parentWidget() == &m_bench->window();
        for (const char *const name : {"ipAddress", "ipMask", "ipGate", "macEdit"}) {
            shown += in<QLineEdit>(dialog, name)->text() + QLatin1Char(' ');
        }
        cancel(dialog);
    });
    trigger();
    QCOMPARE(dialogs.seen(), QStringList{configDialog});
    QCOMPARE(shown, QStringLiteral("10.77.128.1 255.255.0.0 10.77.0.254 0E:5A:11:00:00:01 "));
    QVERIFY(modal);
    QVERIFY(child);
    // It is gone.
    QVERIFY(!m_bench->window().findChild<QDialog *>(QStringLiteral("ConfigDialog")));
}

void TestMainWindowNetwork::opensForADeviceWithoutAnAddress()
{
    begin({deviceOptions()});
    DiscoveryDevice record;
    record.setMacText(mac2);
    record.setVariant(16);
    m_bench->window().onDevice(record);
    m_bench->select({mac2});
    QString shown;
    DialogSeries dialogs;
    dialogs.then([&shown](QWidget *dialog) {
        shown = in<QLineEdit>(dialog, "ipAddress")->text();
        cancel(dialog);
    });
    trigger();
    QCOMPARE(dialogs.seen(), QStringList{configDialog});
    QCOMPARE(shown, QStringLiteral("0.0.0.0"));
}

void TestMainWindowNetwork::doesNothingWithoutASelection()
{
    begin({deviceOptions()});
    m_bench->select({});
    QVERIFY(!m_bench->action("actionConfigureDevice")->isEnabled());
    const DialogSeries dialogs;
    call();
    QCOMPARE(dialogs.seen(), QStringList());
    QCOMPARE(ordersSoFar(), std::size_t(0));
}

void TestMainWindowNetwork::doesNothingForTwoDevices()
{
    simulator::DeviceOptions second = deviceOptions();
    second.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x00, 0x02};
    second.address = 0x0A4D8002;
    begin({deviceOptions(), second});
    m_bench->select({mac1, mac2});
    QVERIFY(!m_bench->action("actionConfigureDevice")->isEnabled());
    const DialogSeries dialogs;
    call();
    QCOMPARE(dialogs.seen(), QStringList());
    QVERIFY(!settings::store().contains(geometryKey));
    QCOMPARE(ordersSoFar(), std::size_t(0));
}

void TestMainWindowNetwork::tellsOfADeviceThatNeverAnswered()
{
    begin({deviceOptions()});
    DiscoveryDevice record;
    record.setMacText(mac2);
    record.setHostname(QStringLiteral("<b>roof</b> %1"));
    record.setAddress(QHostAddress(QStringLiteral("10.77.128.1")));
    m_bench->window().onDevice(record);
    m_bench->select({mac2});
    DialogSeries dialogs;
    dialogs.then(answer(QMessageBox::Ok));
    call();
    QCOMPARE(dialogs.seen(), QStringList{QStringLiteral("box: Device <b>roof</b> %1 is not reachable")});
    QCOMPARE(ordersSoFar(), std::size_t(0));
    QVERIFY(!settings::store().contains(geometryKey));
}

void TestMainWindowNetwork::asksBeforeItSends()
{
    begin({deviceOptions()});
    m_bench->select({mac1});
    QString told;
    int buttons = 0;
    int icon = 0;
    bool yesIsDefault = false;
    std::size_t before = 99;
    DialogSeries dialogs;
    dialogs.then(confirm).then([&](QWidget *dialog) {
        const auto *const box = qobject_cast<QMessageBox *>(dialog);
        told = box->informativeText();
        buttons = int(box->standardButtons());
        icon = int(box->icon());
        yesIsDefault = box->defaultButton() == box->button(QMessageBox::Yes);
        before = datagrams(configure).size();
        answer(QMessageBox::No)(dialog);
    });
    trigger();
    QCOMPARE(dialogs.seen(), QStringList({configDialog, updateBox}));
    QCOMPARE(told, QStringLiteral("The device will restart."));
    QCOMPARE(buttons, int(QMessageBox::Yes | QMessageBox::No));
    QCOMPARE(icon, int(QMessageBox::Question));
    QVERIFY(yesIsDefault);
    QCOMPARE(before, std::size_t(0));
}

void TestMainWindowNetwork::asksInGerman()
{
    QTranslator german;
    QVERIFY(german.load(QStringLiteral(NEMBRA_TRANSLATIONS "/NembraHub_de.qm")));
    begin({deviceOptions()});
    QVERIFY(QCoreApplication::installTranslator(&german));
    m_bench->select({mac1});
    QString told;
    DialogSeries dialogs;
    dialogs.then(confirm).then([&told](QWidget *dialog) {
        told = qobject_cast<QMessageBox *>(dialog)->informativeText();
        cancel(dialog);
    });
    trigger();
    QCOMPARE(
        dialogs.seen(),
        QStringList({QStringLiteral("ConfigDialog: Netzwerkkonfiguration"),
                     QString::fromUtf8("box: Die Netzwerkkonfiguration des Ger\xc3\xa4ts \xc3\xa4ndern?")}));
    QCOMPARE(told, QString::fromUtf8("Das Ger\xc3\xa4t startet danach neu."));
}

void TestMainWindowNetwork::sendsWhenConfirmed_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("Yes") << 0;
    QTest::newRow("Return") << int(Qt::Key_Return);
}

void TestMainWindowNetwork::sendsWhenConfirmed()
{
    QFETCH(int, key);
    begin({deviceOptions()});
    m_bench->select({mac1});
    DialogSeries dialogs;
    dialogs.then(confirm).then([key](QWidget *dialog) {
        if (key == 0) {
            answer(QMessageBox::Yes)(dialog);
        } else {
            QTest::keyClick(dialog, static_cast<Qt::Key>(key));
        }
    });
    trigger();
    QCOMPARE(dialogs.seen(), QStringList({configDialog, updateBox}));
    QCOMPARE(ordersSoFar(), std::size_t(2));
    QVERIFY(settings::store().contains(geometryKey));
}

void TestMainWindowNetwork::sendsNothingOtherwise_data()
{
    QTest::addColumn<bool>("confirmed");
    QTest::addColumn<bool>("byKey");
    QTest::newRow("No") << true << false;
    QTest::newRow("Escape in the box") << true << true;
    QTest::newRow("Cancel") << false << false;
    QTest::newRow("Escape in the dialog") << false << true;
}

void TestMainWindowNetwork::sendsNothingOtherwise()
{
    QFETCH(bool, confirmed);
    QFETCH(bool, byKey);
    begin({deviceOptions()});
    m_bench->select({mac1});
    DialogSeries dialogs;
    if (confirmed) {
        dialogs.then(confirm).then(byKey ? DialogSeries::Step(cancel) : answer(QMessageBox::No));
    } else {
        dialogs.then([byKey](QWidget *dialog) {
            if (byKey) {
                cancel(dialog);
            } else {
                in<QPushButton>(dialog, "cancelButton")->click();
            }
        });
    }
    QVERIFY(!settings::store().contains(geometryKey));
    trigger();
    QCOMPARE(dialogs.seen(), confirmed ? QStringList({configDialog, updateBox}) : QStringList{configDialog});
    QCOMPARE(ordersSoFar(), std::size_t(0));
    QCOMPARE(m_fleet->device(0).restarts, 0);
    QVERIFY(settings::store().contains(geometryKey));
}

void TestMainWindowNetwork::staysSilentAboutAnInvalidAddress_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("mask");
    QTest::addColumn<QString>("gateway");
    QTest::newRow("address") << "10.77.128.256"
                             << "255.255.0.0"
                             << "10.77.0.254";
    QTest::newRow("no address") << ""
                                << "255.255.0.0"
                                << "10.77.0.254";
    QTest::newRow("mask") << "10.77.128.5"
                          << "/16"
                          << "10.77.0.254";
    QTest::newRow("gateway") << "10.77.128.5"
                             << "255.255.0.0"
                             << "router";
}

void TestMainWindowNetwork::staysSilentAboutAnInvalidAddress()
{
    QFETCH(QString, address);
    QFETCH(QString, mask);
    QFETCH(QString, gateway);
    begin({deviceOptions()});
    m_bench->select({mac1});
    DialogSeries dialogs;
    dialogs.then(enter({true, address, mask, gateway}));
    trigger();
    QCOMPARE(dialogs.seen(), QStringList{configDialog});
    QCOMPARE(ordersSoFar(), std::size_t(0));
    QVERIFY(settings::store().contains(geometryKey));
}

void TestMainWindowNetwork::sendsTheDatagram_data()
{
    QTest::addColumn<int>("variant");
    QTest::addColumn<QByteArray>("hostName");
    QTest::addColumn<bool>("manual");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("mask");
    QTest::addColumn<QString>("gateway");
    QTest::addColumn<QByteArray>("addresses");
    QTest::addColumn<QByteArray>("name");

    const QByteArray zeroTerminated("lab-1");
    const QByteArray counted("\x05lab-1");
    QTest::newRow("fixed address") << 16 << zeroTerminated << true << "10.77.128.5"
                                   << "255.255.128.0"
                                   << "10.77.0.1" << QByteArray("ffff80000a4d00010a4d8005") << zeroTerminated;
    QTest::newRow("fixed address, counted name")
        << 17 << zeroTerminated << true << "10.77.128.5"
        << "255.255.128.0"
        << "10.77.0.1" << QByteArray("ffff80000a4d00010a4d8005") << counted;
    QTest::newRow("without mask and gateway")
        << 16 << zeroTerminated << true << "10.77.128.5"
        << ""
        << "" << QByteArray("ffffff00000000000a4d8005") << zeroTerminated;
    QTest::newRow("blanks around") << 16 << zeroTerminated << true << " 10.77.128.5 "
                                   << " 255.255.0.0 "
                                   << " 10.77.0.1 " << QByteArray("ffff00000a4d00010a4d8005")
                                   << zeroTerminated;
    QTest::newRow("DHCP, whatever the fields hold")
        << 16 << zeroTerminated << false << "10.77.128.5"
        << "255.255.128.0"
        << "nonsense" << QByteArray("000000000000000000000000") << zeroTerminated;
    QTest::newRow("DHCP, counted name") << 3 << zeroTerminated << false << ""
                                        << ""
                                        << "" << QByteArray("000000000000000000000000") << counted;
    QTest::newRow("longest name") << 16 << QByteArray(99, 'n') << false << ""
                                  << ""
                                  << "" << QByteArray("000000000000000000000000") << QByteArray(99, 'n');
    QTest::newRow("longest counted name") << 17 << QByteArray(99, 'n') << false << ""
                                          << ""
                                          << "" << QByteArray("000000000000000000000000")
                                          << QByteArray(QByteArray(1, 99) + QByteArray(99, 'n'));
}

void TestMainWindowNetwork::sendsTheDatagram()
{
    QFETCH(int, variant);
    QFETCH(QByteArray, hostName);
    QFETCH(bool, manual);
    QFETCH(QString, address);
    QFETCH(QString, mask);
    QFETCH(QString, gateway);
    QFETCH(QByteArray, addresses);
    QFETCH(QByteArray, name);
    simulator::DeviceOptions options = deviceOptions();
    options.variant = static_cast<std::int8_t>(variant);
    options.hostName = hostName.toStdString();
    begin({options});
    m_bench->select({mac1});
    DialogSeries dialogs;
    dialogs.then(enter({manual, address, mask, gateway})).then(answer(QMessageBox::Yes));
    trigger();
    QCOMPARE(dialogs.seen(), QStringList({configDialog, updateBox}));
    QCOMPARE(ordersSoFar(), std::size_t(2));
    const QByteArray expected = "01020304"
                                "02" +
                                QByteArray(1, static_cast<char>(variant)).toHex() +
                                "0e5a11000001"
                                "0a4d8001" +
                                addresses + nameArea(name).toHex();
    QCOMPARE(expected.size(), 2 * 128);
    QCOMPARE(order(), expected);
}

void TestMainWindowNetwork::sendsTheMacThatItHadForABrokenOne()
{
    begin({deviceOptions()});
    m_bench->select({mac1});
    DialogSeries dialogs;
    dialogs
        .then([](QWidget *dialog) {
            in<QLineEdit>(dialog, "macEdit")->setText(QStringLiteral("0E:5A:11:00:42"));
            confirm(dialog);
        })
        .then(answer(QMessageBox::Yes));
    trigger();
    QCOMPARE(dialogs.seen(), QStringList({configDialog, updateBox}));
    QCOMPARE(ordersSoFar(), std::size_t(2));
    QCOMPARE(order().mid(12, 12), QByteArray("0e5a11000001"));
}

void TestMainWindowNetwork::sendsToAllLocalNetworks()
{
    begin({deviceOptions()});
    m_bench->select({mac1});
    DialogSeries dialogs;
    dialogs.then(confirm).then(answer(QMessageBox::Yes));
    trigger();
    QTRY_COMPARE_WITH_TIMEOUT(datagrams(configure).size(), std::size_t(2), patience);
    QStringList destinations;
    const auto orders = datagrams(configure);
    for (const DatagramRecord &record : orders) {
        destinations += QString::fromStdString(simulator::addressText(record.destination));
        QCOMPARE(simulator::addressText(record.sender), std::string("10.77.0.1"));
    }
    destinations.sort();
    QCOMPARE(destinations, QStringList({QStringLiteral("10.77.255.255"), QStringLiteral("255.255.255.255")}));
}

void TestMainWindowNetwork::refreshesHalfASecondLater()
{
    begin({deviceOptions()});
    m_bench->select({mac1});
    const std::size_t before = datagrams(request).size();
    DialogSeries dialogs;
    dialogs.then(confirm).then(answer(QMessageBox::Yes));
    trigger();
    // It stands still when we do.
    QTimer quarters;
    const QSignalSpy ticks(&quarters, &QTimer::timeout);
    quarters.start(250ms);
    // Nothing else asks meanwhile, and one refresh it is.
    QTRY_COMPARE_WITH_TIMEOUT(datagrams(request).size(), before + 2, patience);
    const auto orders = datagrams(configure);
    QCOMPARE(orders.size(), std::size_t(2));
    const auto wait = datagrams(request).at(before).time - orders.front().time;
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(wait).count();
    QVERIFY2(milliseconds >= 490, qPrintable(QString::number(milliseconds)));
    QVERIFY2(ticks.count() < 4, qPrintable(QString::number(ticks.count())));
}

void TestMainWindowNetwork::closesBeforeTheRefresh()
{
    begin({deviceOptions()});
    m_bench->select({mac1});
    const std::size_t before = datagrams(request).size();
    DialogSeries dialogs;
    dialogs.then(confirm).then(answer(QMessageBox::Yes));
    trigger();
    m_bench.reset();
    QTRY_COMPARE_WITH_TIMEOUT(datagrams(configure).size(), std::size_t(2), patience);
    // A timer that was set later, and to more, has fired.
    QTimer later;
    QSignalSpy fired(&later, &QTimer::timeout);
    later.start(600ms);
    QVERIFY(fired.wait(patience));
    QCOMPARE(datagrams(request).size(), before);
}

void TestMainWindowNetwork::opensAgainWithItsGeometry()
{
    begin({deviceOptions()});
    m_bench->select({mac1});
    QSize left;
    QSize found;
    DialogSeries dialogs;
    dialogs
        .then([&left](QWidget *dialog) {
            left = dialog->size() + QSize(111, 22);
            dialog->resize(left);
            confirm(dialog);
        })
        .then(answer(QMessageBox::No))
        .then([&found](QWidget *dialog) {
            found = dialog->size();
            cancel(dialog);
        });
    trigger();
    trigger();
    QCOMPARE(dialogs.seen(), QStringList({configDialog, updateBox, configDialog}));
    QCOMPARE(found, left);
}

void TestMainWindowNetwork::givesADeviceAFixedAddressAndTakesItBack()
{
    begin({deviceOptions()});
    m_bench->select({mac1});
    {
        DialogSeries dialogs;
        dialogs.then(enter({true, QStringLiteral("10.77.128.77"), QStringLiteral("255.255.0.0"), QString()}))
            .then(answer(QMessageBox::Yes));
        trigger();
    }
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(mac1, Column::Ip), QStringLiteral("10.77.128.77"), patience);
    QTRY_VERIFY_WITH_TIMEOUT(isRead(mac1), patience);
    QCOMPARE(m_fleet->device(0).restarts, 1);
    QCOMPARE(m_fleet->device(0).staticAddress, simulator::Address(0x0A4D804D));
    QCOMPARE(m_fleet->device(0).gateway, simulator::Address(0));
    QCOMPARE(m_bench->list().topLevelItemCount(), 1);

    // Now it opens with the fixed one.
    QString shown;
    DialogSeries dialogs;
    dialogs
        .then([&shown](QWidget *dialog) {
            shown = in<QLineEdit>(dialog, "ipAddress")->text();
            if (!in<QCheckBox>(dialog, "manualIpCheck")->isChecked()) {
                shown += QLatin1String(" by DHCP");
            }
            in<QCheckBox>(dialog, "manualIpCheck")->setChecked(false);
            confirm(dialog);
        })
        .then(answer(QMessageBox::Yes));
    trigger();
    QCOMPARE(shown, QStringLiteral("10.77.128.77"));
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(mac1, Column::Ip), QStringLiteral("10.77.128.1"), patience);
    QTRY_VERIFY_WITH_TIMEOUT(isRead(mac1), patience);
    QCOMPARE(m_fleet->device(0).restarts, 2);
    QCOMPARE(m_fleet->device(0).staticAddress, simulator::Address(0));
    QCOMPARE(m_fleet->device(0).netmask, simulator::Address(0xFFFF0000));
    QCOMPARE(m_fleet->device(0).gateway, simulator::Address(0x0A4D00FE));
    QCOMPARE(m_bench->list().topLevelItemCount(), 1);
}

void TestMainWindowNetwork::givesADeviceAMac()
{
    simulator::DeviceOptions unassigned = deviceOptions();
    unassigned.mac = simulator::MacAddress{0x02, 0x00, 0x00, 0x00, 0x00, 0x00};
    begin({unassigned});
    m_bench->select({unassignedMac});
    bool open = false;
    DialogSeries dialogs;
    dialogs
        .then([&open](QWidget *dialog) {
            auto *const mac = in<QLineEdit>(dialog, "macEdit");
            open = mac->isEnabled();
            QTest::mouseDClick(dialog->windowHandle(), Qt::LeftButton, Qt::NoModifier,
                               mac->mapTo(dialog, mac->rect().center()));
            QTest::keyClicks(mac, QStringLiteral("00:00:42"));
            confirm(dialog);
        })
        .then(answer(QMessageBox::Yes));
    trigger();
    QVERIFY(open);
    const QString newMac = QStringLiteral("0E:5A:11:00:00:42");
    QTRY_VERIFY_WITH_TIMEOUT(isRead(newMac), patience);
    QCOMPARE(m_fleet->device(0).restarts, 1);
    QCOMPARE(m_bench->cell(newMac, Column::Ip), QStringLiteral("10.77.128.1"));
    QCOMPARE(m_bench->list().topLevelItemCount(), 2);
    QCOMPARE(m_bench->row(newMac)->device().discoveryAge(), 0);
    // What it was before stays, and gets older.
    const int age = m_bench->row(unassignedMac)->device().discoveryAge();
    refresh();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->row(newMac)->device().discoveryAge(), 0, patience);
    QCOMPARE(m_bench->row(unassignedMac)->device().discoveryAge(), age + 1);
    QCOMPARE(m_bench->selectedMacs(), QStringList{unassignedMac});
}

void TestMainWindowNetwork::leavesOtherDevicesAlone()
{
    simulator::DeviceOptions second = deviceOptions();
    second.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x00, 0x02};
    second.address = 0x0A4D8002;
    second.tag = 0x01020305;
    begin({deviceOptions(), second});
    m_bench->select({mac2});
    DialogSeries dialogs;
    dialogs.then(enter({true, QStringLiteral("10.77.128.78"), QStringLiteral("255.255.0.0"), QString()}))
        .then(answer(QMessageBox::Yes));
    trigger();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(mac2, Column::Ip), QStringLiteral("10.77.128.78"), patience);
    QTRY_VERIFY_WITH_TIMEOUT(isRead(mac2), patience);
    QCOMPARE(m_bench->cell(mac1, Column::Ip), QStringLiteral("10.77.128.1"));
    QCOMPARE(m_fleet->device(0).restarts, 0);
    QCOMPARE(m_fleet->device(1).restarts, 1);
}

NEMBRA_GUI_TEST_MAIN(TestMainWindowNetwork)
#include "tst_mainwindow_network.moc"

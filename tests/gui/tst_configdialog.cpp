#include "common/settings.h"
#include "discovery/configdialog.h"
#include "discovery/discoverydevice.h"
#include "testenvironment.h"

#include <QCheckBox>
#include <QDialog>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTranslator>
#include <QWindow>
#include <QtTest>

#include <memory>

namespace {

/// Milliseconds.
constexpr int patience = 20000;

const QString realMac = QStringLiteral("0E:5A:11:00:1F:A2");
const QString unassignedMac = QStringLiteral("02:00:00:00:00:00");
const QString macPrefix = QStringLiteral("0E:5A:11:");
const QString geometryKey = QStringLiteral("ConfigDialog/Geometry");

/// A device that says of itself: address 10.77.128.1, mask 255.255.0.0, gateway 10.77.0.254.
DiscoveryDevice recordWith(const QString &staticAddress, const QString &mac = realMac)
{
    DiscoveryDevice record;
    record.setTag(0x01020304);
    record.setVariant(16);
    record.setMacText(mac);
    record.setHostname(QStringLiteral("lab-1"));
    record.setAddress(QHostAddress(QStringLiteral("10.77.128.1")));
    record.setNetmask(QHostAddress(QStringLiteral("255.255.0.0")));
    record.setGateway(QHostAddress(QStringLiteral("10.77.0.254")));
    record.setStaticAddress(QHostAddress(staticAddress));
    return record;
}

/// "10.77.128.5 255.255.255.0 0.0.0.0": fixed address, mask and gateway.
QString addressesOf(const DiscoveryDevice &record)
{
    return record.staticAddress().toString() + QLatin1Char(' ') + record.netmask().toString() +
           QLatin1Char(' ') + record.gateway().toString();
}

} // namespace

class TestConfigDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void looksAsDesigned();
    void explainsItsFields();
    void namesItsFields();
    void leadsByTabThroughItsFields_data();
    void leadsByTabThroughItsFields();
    void speaksGerman();
    void closesByItsButtonsAndKeys_data();
    void closesByItsButtonsAndKeys();

    void showsTheRecord_data();
    void showsTheRecord();
    void showsEachRecordAnew();
    void opensItsFieldsForAManualConfiguration();
    void takesAddressesAsTyped_data();
    void takesAddressesAsTyped();
    void setsNothingByDhcp_data();
    void setsNothingByDhcp();
    void keepsTheRestOfTheRecord_data();
    void keepsTheRestOfTheRecord();

    void unlocksTheMac_data();
    void unlocksTheMac();
    void unlocksTheMacStepByStep();
    void unlocksTheMacByADoubleClickOnly();
    void marksNothingByTheDoubleClick();
    void takesTheMacAsTyped_data();
    void takesTheMacAsTyped();

    void savesItsGeometryOnDemand();
    void comesBackWithItsGeometry();
    void opensWithABrokenGeometry();

private:
    void open(const DiscoveryDevice &record);
    template <typename T>
    T *find(const char *objectName) const
    {
        return m_dialog->findChild<T *>(QLatin1String(objectName));
    }
    QLineEdit *field(const char *objectName) const { return find<QLineEdit>(objectName); }
    /// "manual: 10.77.128.1 255.255.0.0 10.77.0.254", with what can't be edited in brackets.
    QString state() const;
    void doubleClick(const char *objectName, Qt::MouseButton button = Qt::LeftButton) const;

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<CConfigDialog> m_dialog;
};

void TestConfigDialog::init()
{
    m_environment = std::make_unique<TestEnvironment>();
}

void TestConfigDialog::cleanup()
{
    m_dialog.reset();
    m_environment.reset();
}

void TestConfigDialog::open(const DiscoveryDevice &record)
{
    m_dialog = std::make_unique<CConfigDialog>(nullptr);
    m_dialog->showRecord(record);
    m_dialog->show();
    m_dialog->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_dialog.get()));
}

QString TestConfigDialog::state() const
{
    QStringList fields;
    for (const char *const name : {"ipAddress", "ipMask", "ipGate"}) {
        const QLineEdit *const edit = field(name);
        fields += edit->isEnabled() ? edit->text() : QLatin1Char('(') + edit->text() + QLatin1Char(')');
    }
    const bool manual = find<QCheckBox>("manualIpCheck")->isChecked();
    return QLatin1String(manual ? "manual: " : "dhcp: ") + fields.join(QLatin1Char(' '));
}

void TestConfigDialog::doubleClick(const char *objectName, Qt::MouseButton button) const
{
    const QLineEdit *const edit = field(objectName);
    const QPoint position = edit->mapTo(m_dialog.get(), edit->rect().center());
    // As the mouse does it, through the window: a disabled field hears of it, too.
    QTest::mouseDClick(m_dialog->windowHandle(), button, Qt::NoModifier, position);
}

void TestConfigDialog::looksAsDesigned()
{
    m_dialog = std::make_unique<CConfigDialog>(nullptr);
    QCOMPARE(m_dialog->objectName(), QStringLiteral("ConfigDialog"));
    QCOMPARE(m_dialog->windowTitle(), QStringLiteral("Network Configuration"));
    QVERIFY(!m_dialog->windowFlags().testFlag(Qt::WindowContextHelpButtonHint));
    QCOMPARE(find<QLabel>("label")->text(), QStringLiteral("IP address"));
    QCOMPARE(find<QLabel>("label_2")->text(), QStringLiteral("IP mask"));
    QCOMPARE(find<QLabel>("label_3")->text(), QStringLiteral("IP gate"));
    QCOMPARE(find<QLabel>("label_4")->text(), QStringLiteral("MAC"));
    QCOMPARE(find<QCheckBox>("manualIpCheck")->text(), QStringLiteral("Manual configuration"));
    QCOMPARE(find<QPushButton>("cancelButton")->text(), QStringLiteral("Cancel"));
    QCOMPARE(find<QPushButton>("okButton")->text(), QStringLiteral("OK"));
    QVERIFY(!field("macEdit")->isEnabled());

    const auto *const buttons = find<QHBoxLayout>("hboxLayout");
    QVERIFY(buttons);
    QVERIFY(buttons->indexOf(find<QPushButton>("cancelButton")) >= 0);
    QVERIFY(buttons->indexOf(find<QPushButton>("okButton")) >
            buttons->indexOf(find<QPushButton>("cancelButton")));
    const auto *const outer = qobject_cast<QVBoxLayout *>(m_dialog->layout());
    QVERIFY(outer);
    QCOMPARE(outer->count(), 2);
    QVERIFY(qobject_cast<QFormLayout *>(outer->itemAt(0)->layout()));
    QCOMPARE(outer->itemAt(1)->layout(), buttons);
}

void TestConfigDialog::explainsItsFields()
{
    m_dialog = std::make_unique<CConfigDialog>(nullptr);
    QCOMPARE(field("ipAddress")->whatsThis(),
             QStringLiteral("<html><head/><body><p>Set fixed IP address<br/>0.0.0.0 for "
                            "DHCP</p></body></html>"));
    QCOMPARE(field("ipMask")->whatsThis(),
             QStringLiteral("<html><head/><body><p>Typically 255.255.255.0</p></body></html>"));
    QCOMPARE(field("ipGate")->whatsThis(),
             QStringLiteral("<html><head/><body><p>Ip address of your Internet router<br/>Not required "
                            "when DHCP is used</p></body></html>"));
    for (const char *const name : {"manualIpCheck", "macEdit", "cancelButton", "okButton"}) {
        QCOMPARE(find<QWidget>(name)->whatsThis(), QString());
    }
    const QList<QWidget *> widgets = m_dialog->findChildren<QWidget *>();
    for (const QWidget *const widget : widgets) {
        QVERIFY2(widget->toolTip().isEmpty(), qPrintable(widget->objectName()));
    }
}

void TestConfigDialog::namesItsFields()
{
    m_dialog = std::make_unique<CConfigDialog>(nullptr);
    QCOMPARE(find<QLabel>("label")->buddy(), field("ipAddress"));
    QCOMPARE(find<QLabel>("label_2")->buddy(), field("ipMask"));
    QCOMPARE(find<QLabel>("label_3")->buddy(), field("ipGate"));
    QCOMPARE(find<QLabel>("label_4")->buddy(), field("macEdit"));
    // Beside it on the screen, too.
    const auto *const form = m_dialog->findChild<QFormLayout *>();
    QCOMPARE(form->labelForField(field("ipAddress")), find<QLabel>("label"));
    QCOMPARE(form->labelForField(field("ipMask")), find<QLabel>("label_2"));
    QCOMPARE(form->labelForField(field("ipGate")), find<QLabel>("label_3"));
    QCOMPARE(form->labelForField(field("macEdit")), find<QLabel>("label_4"));
}

void TestConfigDialog::leadsByTabThroughItsFields_data()
{
    QTest::addColumn<QString>("staticAddress");
    QTest::addColumn<QString>("mac");
    QTest::addColumn<QString>("path");
    QTest::newRow("everything open") << "10.77.128.1" << unassignedMac
                                     << "ipAddress ipMask manualIpCheck ipGate macEdit cancelButton okButton";
    QTest::newRow("the MAC locked") << "10.77.128.1" << realMac
                                    << "ipAddress ipMask manualIpCheck ipGate cancelButton okButton";
    QTest::newRow("by DHCP") << "0.0.0.0" << realMac << "manualIpCheck cancelButton okButton";
}

void TestConfigDialog::leadsByTabThroughItsFields()
{
    QFETCH(QString, staticAddress);
    QFETCH(QString, mac);
    QFETCH(QString, path);
    open(recordWith(staticAddress, mac));
    const QStringList names = path.split(QLatin1Char(' '));
    find<QWidget>(names.first().toLatin1().constData())->setFocus();
    QStringList visited;
    for (int i = 0; i < names.size(); ++i) {
        visited += m_dialog->focusWidget()->objectName();
        QTest::keyClick(m_dialog->focusWidget(), Qt::Key_Tab);
    }
    QCOMPARE(visited, names);
    QCOMPARE(m_dialog->focusWidget()->objectName(), names.first());
}

void TestConfigDialog::speaksGerman()
{
    QTranslator german;
    QVERIFY(german.load(QStringLiteral(NEMBRA_TRANSLATIONS "/NembraHub_de.qm")));
    QVERIFY(QCoreApplication::installTranslator(&german));
    m_dialog = std::make_unique<CConfigDialog>(nullptr);
    QCOMPARE(m_dialog->windowTitle(), QStringLiteral("Netzwerkkonfiguration"));
    QCOMPARE(find<QLabel>("label")->text(), QStringLiteral("IP-Adresse"));
    QCOMPARE(find<QLabel>("label_2")->text(), QStringLiteral("Netzmaske"));
    QCOMPARE(find<QLabel>("label_3")->text(), QStringLiteral("Gateway"));
    QCOMPARE(find<QLabel>("label_4")->text(), QStringLiteral("MAC"));
    QCOMPARE(find<QCheckBox>("manualIpCheck")->text(), QStringLiteral("Manuelle Konfiguration"));
    QCOMPARE(find<QPushButton>("cancelButton")->text(), QStringLiteral("Abbrechen"));
    QCOMPARE(find<QPushButton>("okButton")->text(), QStringLiteral("OK"));
    QCOMPARE(field("ipMask")->whatsThis(),
             QStringLiteral("<html><head/><body><p>Meist 255.255.255.0</p></body></html>"));
}

void TestConfigDialog::closesByItsButtonsAndKeys_data()
{
    QTest::addColumn<QString>("widget");
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("result");
    QTest::newRow("OK") << "okButton" << 0 << int(QDialog::Accepted);
    QTest::newRow("Cancel") << "cancelButton" << 0 << int(QDialog::Rejected);
    QTest::newRow("Return in a field") << "ipMask" << int(Qt::Key_Return) << int(QDialog::Accepted);
    QTest::newRow("Space on Cancel") << "cancelButton" << int(Qt::Key_Space) << int(QDialog::Rejected);
    QTest::newRow("Return on Cancel") << "cancelButton" << int(Qt::Key_Return) << int(QDialog::Rejected);
    QTest::newRow("Enter on Cancel") << "cancelButton" << int(Qt::Key_Enter) << int(QDialog::Rejected);
    QTest::newRow("Return on OK") << "okButton" << int(Qt::Key_Return) << int(QDialog::Accepted);
    QTest::newRow("Escape in a field") << "ipMask" << int(Qt::Key_Escape) << int(QDialog::Rejected);
}

void TestConfigDialog::closesByItsButtonsAndKeys()
{
    QFETCH(QString, widget);
    QFETCH(int, key);
    QFETCH(int, result);
    open(recordWith(QStringLiteral("10.77.128.1")));
    QSignalSpy finished(m_dialog.get(), &QDialog::finished);
    auto *const target = find<QWidget>(widget.toLatin1().constData());
    if (key == 0) {
        QTest::mouseClick(target, Qt::LeftButton);
    } else {
        target->setFocus();
        QTest::keyClick(target, static_cast<Qt::Key>(key));
    }
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.constFirst().constFirst().toInt(), result);
    QVERIFY(!m_dialog->isVisible());
}

void TestConfigDialog::showsTheRecord_data()
{
    QTest::addColumn<DiscoveryDevice>("record");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QString>("mac");
    QTest::addColumn<bool>("macEnabled");

    QTest::newRow("fixed address") << recordWith(QStringLiteral("10.77.128.9"))
                                   << "manual: 10.77.128.9 255.255.0.0 10.77.0.254" << realMac << false;
    QTest::newRow("DHCP: the current address")
        << recordWith(QStringLiteral("0.0.0.0")) << "dhcp: (10.77.128.1) (255.255.0.0) (10.77.0.254)"
        << realMac << false;
    QTest::newRow("highest fixed address")
        << recordWith(QStringLiteral("255.255.255.255")) << "manual: 255.255.255.255 255.255.0.0 10.77.0.254"
        << realMac << false;
    QTest::newRow("nothing known") << DiscoveryDevice() << "dhcp: (0.0.0.0) (0.0.0.0) (0.0.0.0)"
                                   << "00:00:00:00:00:00" << false;
    QTest::newRow("no MAC assigned") << recordWith(QStringLiteral("0.0.0.0"), unassignedMac)
                                     << "dhcp: (10.77.128.1) (255.255.0.0) (10.77.0.254)" << unassignedMac
                                     << true;
    QTest::newRow("no MAC assigned, fixed address")
        << recordWith(QStringLiteral("10.77.128.9"), unassignedMac)
        << "manual: 10.77.128.9 255.255.0.0 10.77.0.254" << unassignedMac << true;
    QTest::newRow("a MAC beside the unassigned one")
        << recordWith(QStringLiteral("0.0.0.0"), QStringLiteral("02:00:00:00:00:01"))
        << "dhcp: (10.77.128.1) (255.255.0.0) (10.77.0.254)"
        << "02:00:00:00:00:01" << false;
}

void TestConfigDialog::showsTheRecord()
{
    QFETCH(DiscoveryDevice, record);
    QFETCH(QString, shown);
    QFETCH(QString, mac);
    QFETCH(bool, macEnabled);
    open(record);
    QCOMPARE(state(), shown);
    QCOMPARE(field("macEdit")->text(), mac);
    QCOMPARE(field("macEdit")->isEnabled(), macEnabled);
}

void TestConfigDialog::showsEachRecordAnew()
{
    open(recordWith(QStringLiteral("10.77.128.9")));
    m_dialog->showRecord(recordWith(QStringLiteral("0.0.0.0")));
    QCOMPARE(state(), QStringLiteral("dhcp: (10.77.128.1) (255.255.0.0) (10.77.0.254)"));
    m_dialog->showRecord(recordWith(QStringLiteral("10.77.128.8")));
    QCOMPARE(state(), QStringLiteral("manual: 10.77.128.8 255.255.0.0 10.77.0.254"));
}

void TestConfigDialog::opensItsFieldsForAManualConfiguration()
{
    open(recordWith(QStringLiteral("0.0.0.0")));
    auto *const manual = find<QCheckBox>("manualIpCheck");
    QTest::keyClick(manual, Qt::Key_Space);
    QCOMPARE(state(), QStringLiteral("manual: 10.77.128.1 255.255.0.0 10.77.0.254"));
    QTest::keyClick(manual, Qt::Key_Space);
    QCOMPARE(state(), QStringLiteral("dhcp: (10.77.128.1) (255.255.0.0) (10.77.0.254)"));
    QVERIFY(!field("macEdit")->isEnabled());
}

void TestConfigDialog::takesAddressesAsTyped_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("sent");
    QTest::addColumn<QString>("address");

    struct Typed
    {
        const char *what;
        const char *text;
        /// Null: it can't be read.
        const char *address;
    };
    const QVector<Typed> common{
        {"plain", "10.77.128.5", "10.77.128.5"},
        {"zero", "0.0.0.0", "0.0.0.0"},
        {"all ones", "255.255.255.255", "255.255.255.255"},
        {"blanks around", "  10.77.128.5 ", "10.77.128.5"},
        {"tabulators around", "\t10.77.128.5\t", "10.77.128.5"},
        {"leading zeros count octally", "010.077.0200.05", "8.63.128.5"},
        {"an octal number with an eight", "10.77.128.08", nullptr},
        {"hexadecimal", "0x0a.0x4d.0x80.5", "10.77.128.5"},
        {"part out of range", "10.77.128.256", nullptr},
        {"first part out of range", "256.77.128.5", nullptr},
        {"negative part", "10.77.128.-5", nullptr},
        {"five parts", "10.77.128.5.6", nullptr},
        {"dot at the end", "10.77.128.5.", nullptr},
        {"dot in front", ".10.77.128.5", nullptr},
        {"two dots", "10..128.5", nullptr},
        {"blank behind a dot", "10.77. 128.5", "10.77.128.5"},
        {"blank before a dot", "10.77 .128.5", nullptr},
        {"commas", "10,77,128,5", nullptr},
        {"prefix length", "10.77.128.5/16", nullptr},
        {"port", "10.77.128.5:80", nullptr},
        {"host name", "lab-1.example.org", nullptr},
        {"localhost", "localhost", nullptr},
        {"URL", "http://10.77.128.5/", nullptr},
        {"digits of another script", "\xd9\xa1\xd9\xa0.77.128.5", nullptr},
        {"zero-width blank", "10.77.128.5\xe2\x80\x8b", nullptr},
        {"IPv6 has no IPv4 address", "fe80::1", "0.0.0.0"},
        {"IPv6 nothing", "::", "0.0.0.0"},
        {"IPv6 that holds an IPv4 address", "::ffff:10.77.128.5", "10.77.128.5"},
        {"broken IPv6", "fe80::1::2", nullptr},
        {"mask that is no mask", "255.0.255.0", "255.0.255.0"},
        // The last part fills all bytes that are left.
        {"one part", "24", "0.0.0.24"},
        {"one big part", "172851205", "10.77.128.5"},
        {"one part out of range", "4294967296", nullptr},
        {"two parts", "10.77", "10.0.0.77"},
        {"two parts, the last one big", "10.5079045", "10.77.128.5"},
        {"two parts, the last one out of range", "10.16777216", nullptr},
        {"three parts", "10.77.5", "10.77.0.5"},
        {"three parts, the last one big", "10.77.32773", "10.77.128.5"},
        {"three parts, the last one out of range", "10.77.65536", nullptr},
    };
    const QVector<QPair<QByteArray, Typed>> single{
        {"ipAddress", {"empty", "", nullptr}},
        {"ipAddress", {"only blanks", "   ", nullptr}},
        {"ipMask", {"empty", "", "255.255.255.0"}},
        {"ipMask", {"only blanks", " \t ", "255.255.255.0"}},
        {"ipMask", {"prefix length alone", "/24", nullptr}},
        {"ipGate", {"empty", "", "0.0.0.0"}},
        {"ipGate", {"only blanks", " \t ", "0.0.0.0"}},
    };
    const auto addRow = [](const QByteArray &name, const Typed &typed) {
        QTest::newRow((name + ": " + typed.what).constData())
            << name << QString::fromUtf8(typed.text) << (typed.address != nullptr)
            << QString::fromLatin1(typed.address);
    };
    for (const char *const name : {"ipAddress", "ipMask", "ipGate"}) {
        for (const Typed &typed : common) {
            addRow(name, typed);
        }
    }
    for (const auto &row : single) {
        addRow(row.first, row.second);
    }
}

void TestConfigDialog::takesAddressesAsTyped()
{
    QFETCH(QByteArray, name);
    QFETCH(QString, text);
    QFETCH(bool, sent);
    QFETCH(QString, address);
    DiscoveryDevice record = recordWith(QStringLiteral("10.77.128.9"));
    open(record);
    field(name.constData())->setText(text);
    QCOMPARE(m_dialog->applyTo(record), sent);
    if (!sent) {
        return;
    }
    const auto expected = [&](const char *fieldName, const char *before) {
        return name == fieldName ? address : QString::fromLatin1(before);
    };
    QCOMPARE(addressesOf(record), expected("ipAddress", "10.77.128.9") + QLatin1Char(' ') +
                                      expected("ipMask", "255.255.0.0") + QLatin1Char(' ') +
                                      expected("ipGate", "10.77.0.254"));
}

void TestConfigDialog::setsNothingByDhcp_data()
{
    QTest::addColumn<QString>("staticAddress");
    QTest::addColumn<QString>("typed");
    QTest::newRow("by DHCP already") << "0.0.0.0"
                                     << "10.77.128.5";
    QTest::newRow("had a fixed address") << "10.77.128.9"
                                         << "10.77.128.5";
    QTest::newRow("no addresses in the fields") << "10.77.128.9"
                                                << "nonsense";
    QTest::newRow("empty fields") << "10.77.128.9"
                                  << "";
}

void TestConfigDialog::setsNothingByDhcp()
{
    QFETCH(QString, staticAddress);
    QFETCH(QString, typed);
    DiscoveryDevice record = recordWith(staticAddress);
    open(record);
    for (const char *const name : {"ipAddress", "ipMask", "ipGate"}) {
        field(name)->setText(typed);
    }
    find<QCheckBox>("manualIpCheck")->setChecked(false);
    QVERIFY(m_dialog->applyTo(record));
    QCOMPARE(addressesOf(record), QStringLiteral("0.0.0.0 0.0.0.0 0.0.0.0"));
    QCOMPARE(record.address().toString(), QStringLiteral("10.77.128.1"));
}

void TestConfigDialog::keepsTheRestOfTheRecord_data()
{
    QTest::addColumn<int>("variant");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("name up to a zero byte") << 16 << QByteArray("lab-1");
    QTest::newRow("name behind its length") << 17 << QByteArray("\x05lab-1");
    QTest::newRow("negative variant") << -3 << QByteArray("\x05lab-1");
}

void TestConfigDialog::keepsTheRestOfTheRecord()
{
    QFETCH(int, variant);
    QFETCH(QByteArray, name);
    DiscoveryDevice record = recordWith(QStringLiteral("10.77.128.9"));
    record.setVariant(variant);
    open(record);
    field("ipAddress")->setText(QStringLiteral("10.77.128.5"));
    field("ipMask")->clear();
    field("ipGate")->clear();
    QVERIFY(m_dialog->applyTo(record));
    QByteArray expected = QByteArray::fromHex("01020304"
                                              "02") +
                          static_cast<char>(variant) +
                          QByteArray::fromHex("0e5a11001fa2"
                                              "0a4d8001"
                                              "ffffff00"
                                              "00000000"
                                              "0a4d8005") +
                          name;
    expected.append(128 - expected.size(), '\0');
    QCOMPARE(record.configurationDatagram().toHex(), expected.toHex());
}

void TestConfigDialog::unlocksTheMac_data()
{
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::newRow("locked, a real one stays") << false << realMac << realMac;
    QTest::newRow("locked, the unassigned one stays") << false << unassignedMac << unassignedMac;
    QTest::newRow("locked, the prefix stays") << false << macPrefix << macPrefix;
    QTest::newRow("locked, nothing stays") << false << ""
                                           << "";
    QTest::newRow("open, a real one goes") << true << realMac << unassignedMac;
    QTest::newRow("open, the unassigned one becomes the prefix") << true << unassignedMac << macPrefix;
    QTest::newRow("open, the prefix goes") << true << macPrefix << unassignedMac;
    QTest::newRow("open, nothing") << true << "" << unassignedMac;
    QTest::newRow("open, blank behind the unassigned one")
        << true << QString(unassignedMac + QLatin1Char(' ')) << unassignedMac;
    QTest::newRow("open, the unassigned one without zeros") << true << "2:0:0:0:0:0" << unassignedMac;
}

void TestConfigDialog::unlocksTheMac()
{
    QFETCH(bool, enabled);
    QFETCH(QString, before);
    QFETCH(QString, after);
    open(recordWith(QStringLiteral("0.0.0.0")));
    field("macEdit")->setText(before);
    field("macEdit")->setEnabled(enabled);
    doubleClick("macEdit");
    QCOMPARE(field("macEdit")->text(), after);
    QVERIFY(field("macEdit")->isEnabled());
    QCOMPARE(state(), QStringLiteral("dhcp: (10.77.128.1) (255.255.0.0) (10.77.0.254)"));
}

void TestConfigDialog::unlocksTheMacStepByStep()
{
    open(recordWith(QStringLiteral("0.0.0.0")));
    const auto shown = [this] {
        return field("macEdit")->text() + QLatin1String(field("macEdit")->isEnabled() ? "" : " (locked)");
    };
    QCOMPARE(shown(), QString(realMac + QLatin1String(" (locked)")));
    for (const QString &next : {realMac, unassignedMac, macPrefix, unassignedMac, macPrefix}) {
        doubleClick("macEdit");
        QCOMPARE(shown(), next);
    }
    // The user only types the rest.
    QTest::keyClicks(field("macEdit"), QStringLiteral("00:1F:A3"));
    DiscoveryDevice record = recordWith(QStringLiteral("0.0.0.0"));
    QVERIFY(m_dialog->applyTo(record));
    QCOMPARE(record.macText(), QStringLiteral("0E:5A:11:00:1F:A3"));
}

void TestConfigDialog::unlocksTheMacByADoubleClickOnly()
{
    open(recordWith(QStringLiteral("10.77.128.9")));
    const QLineEdit *const mac = field("macEdit");
    QTest::mouseClick(m_dialog->windowHandle(), Qt::LeftButton, Qt::NoModifier,
                      mac->mapTo(m_dialog.get(), mac->rect().center()));
    QVERIFY(!mac->isEnabled());
    doubleClick("ipAddress");
    doubleClick("ipMask");
    doubleClick("ipGate");
    QVERIFY(!mac->isEnabled());
    QCOMPARE(mac->text(), realMac);
    QCOMPARE(state(), QStringLiteral("manual: 10.77.128.9 255.255.0.0 10.77.0.254"));
    // There it does what it does everywhere.
    QVERIFY(field("ipGate")->hasSelectedText());
}

void TestConfigDialog::marksNothingByTheDoubleClick()
{
    open(recordWith(QStringLiteral("0.0.0.0"), unassignedMac));
    doubleClick("macEdit");
    QCOMPARE(field("macEdit")->text(), macPrefix);
    QCOMPARE(field("macEdit")->selectedText(), QString());
    QMouseEvent doubleClicked(QEvent::MouseButtonDblClick, QPointF(2, 2), Qt::LeftButton, Qt::LeftButton,
                              Qt::NoModifier);
    QVERIFY(m_dialog->eventFilter(field("macEdit"), &doubleClicked));
    QVERIFY(!m_dialog->eventFilter(field("ipMask"), &doubleClicked));
    QMouseEvent pressed(QEvent::MouseButtonPress, QPointF(2, 2), Qt::LeftButton, Qt::LeftButton,
                        Qt::NoModifier);
    QVERIFY(!m_dialog->eventFilter(field("macEdit"), &pressed));
}

void TestConfigDialog::takesTheMacAsTyped_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("mac");
    QTest::newRow("another one") << "0E:5A:11:00:00:42"
                                 << "0E:5A:11:00:00:42";
    QTest::newRow("lower case") << "0e:5a:11:00:ab:cd"
                                << "0E:5A:11:00:AB:CD";
    QTest::newRow("short parts") << "e:5a:11:0:0:1"
                                 << "0E:5A:11:00:00:01";
    QTest::newRow("the prefix alone") << macPrefix << realMac;
    QTest::newRow("empty") << "" << realMac;
    QTest::newRow("hyphens") << "0E-5A-11-00-00-42" << realMac;
    QTest::newRow("five parts") << "0E:5A:11:00:42" << realMac;
    QTest::newRow("seven parts") << "0E:5A:11:00:00:42:43" << realMac;
    QTest::newRow("no number gives zero") << "0E:5A:11:00:00:xy"
                                          << "0E:5A:11:00:00:00";
}

void TestConfigDialog::takesTheMacAsTyped()
{
    QFETCH(QString, text);
    QFETCH(QString, mac);
    for (const char *const address : {"0.0.0.0", "10.77.128.9"}) {
        DiscoveryDevice record = recordWith(QLatin1String(address));
        open(record);
        field("macEdit")->setText(text);
        QVERIFY(m_dialog->applyTo(record));
        QCOMPARE(record.macText(), mac);
        QCOMPARE(record.staticAddress().toString(), QLatin1String(address));
    }
}

void TestConfigDialog::savesItsGeometryOnDemand()
{
    open(recordWith(QStringLiteral("0.0.0.0")));
    m_dialog->reject();
    QVERIFY(!settings::store().contains(geometryKey));
    m_dialog->saveGeometrySettings();
    QCOMPARE(settings::store().value(geometryKey).toByteArray(), m_dialog->saveGeometry());
}

void TestConfigDialog::comesBackWithItsGeometry()
{
    open(recordWith(QStringLiteral("0.0.0.0")));
    const QSize size = m_dialog->size() + QSize(123, 45);
    m_dialog->resize(size);
    QTRY_COMPARE_WITH_TIMEOUT(m_dialog->size(), size, patience);
    m_dialog->accept();
    m_dialog->saveGeometrySettings();
    open(recordWith(QStringLiteral("0.0.0.0")));
    QCOMPARE(m_dialog->size(), size);
}

void TestConfigDialog::opensWithABrokenGeometry()
{
    settings::store().setValue(geometryKey, QByteArray("nonsense"));
    open(recordWith(QStringLiteral("0.0.0.0")));
    QVERIFY(m_dialog->isVisible());
    QVERIFY(m_dialog->width() >= m_dialog->minimumSizeHint().width());
}

NEMBRA_GUI_TEST_MAIN(TestConfigDialog)
#include "tst_configdialog.moc"

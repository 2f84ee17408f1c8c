#include "device/devicecolumns.h"

#include <QtTest>

class TestDeviceColumns : public QObject
{
    Q_OBJECT

private slots:
    void hasTwentySevenColumns();
    void holdsColumn_data();
    void holdsColumn();
    void namesColumnsByNumber_data();
    void namesColumnsByNumber();
};

void TestDeviceColumns::hasTwentySevenColumns()
{
    QCOMPARE(deviceColumns.size(), std::size_t{27});
    QCOMPARE(int{Column::Count}, 27);
    QCOMPARE(sensorColumns, 4);
}

void TestDeviceColumns::holdsColumn_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QByteArray>("informationTemplate");
    QTest::addColumn<bool>("hidden");

    const auto row = [](int column, const char *header, const char *informationTemplate, bool hidden) {
        QTest::newRow(header) << column << QByteArray(header) << QByteArray(informationTemplate) << hidden;
    };
    row(0, "System name", nullptr, false);
    row(1, "IP", nullptr, false);
    row(2, "MAC", nullptr, false);
    row(3, "First Seen", nullptr, true);
    row(4, "Last Seen", nullptr, true);
    row(5, "Firmware Manufacturer", "{{fw_manufacturer}}", true);
    row(6, "Firmware Name", "{{fw_name}}", true);
    row(7, "Version", "{{fw_version}}", true);
    row(8, "Type", nullptr, true);
    row(9, "Sensor 1", nullptr, true);
    row(10, "Sensor 2", nullptr, true);
    row(11, "Sensor 3", nullptr, true);
    row(12, "Sensor 4", nullptr, true);
    row(13, "Uptime", nullptr, true);
    row(14, "Date", "{{sysdate}}", true);
    row(15, "Time", "{{systime}}", true);
    row(16, "Location", "{{syslocation}}", true);
    row(17, "Contact", "{{syscontact}}", true);
    row(18, "WLAN SSID", "{%for netiftab%}{%if loop.index == 2%}{{wlan_name}}{%endif%}{%endfor%}", true);
    row(19, "Network Interface", "{{netif}}", true);
    row(20, "HTTP Type", nullptr, true);
    row(21, "Status", nullptr, true);
    row(22, "Login User", "{{login_user}}", true);
    row(23, "Access Rights", nullptr, true);
    row(24, "Memory usage", "{{memusage}}", true);
    row(25, "History start", nullptr, true);
    row(26, "History usage", "{{histo_usage}}", true);
}

void TestDeviceColumns::holdsColumn()
{
    QFETCH(int, column);
    const DeviceColumn &seen = deviceColumns.at(static_cast<std::size_t>(column));
    QTEST(QByteArray(seen.header), "header");
    QTEST(QByteArray(seen.informationTemplate), "informationTemplate");
    QTEST(seen.hidden, "hidden");
}

void TestDeviceColumns::namesColumnsByNumber_data()
{
    QTest::addColumn<int>("name");
    QTest::addColumn<int>("number");
    QTest::newRow("SystemName") << int{Column::SystemName} << 0;
    QTest::newRow("Ip") << int{Column::Ip} << 1;
    QTest::newRow("Mac") << int{Column::Mac} << 2;
    QTest::newRow("FirstSeen") << int{Column::FirstSeen} << 3;
    QTest::newRow("LastSeen") << int{Column::LastSeen} << 4;
    QTest::newRow("Type") << int{Column::Type} << 8;
    QTest::newRow("Sensor1") << int{Column::Sensor1} << 9;
    QTest::newRow("Uptime") << int{Column::Uptime} << 13;
    QTest::newRow("HttpType") << int{Column::HttpType} << 20;
    QTest::newRow("Status") << int{Column::Status} << 21;
    QTest::newRow("AccessRights") << int{Column::AccessRights} << 23;
    QTest::newRow("HistoryStart") << int{Column::HistoryStart} << 25;
}

void TestDeviceColumns::namesColumnsByNumber()
{
    QFETCH(int, name);
    QTEST(name, "number");
}

QTEST_APPLESS_MAIN(TestDeviceColumns)

#include "tst_devicecolumns.moc"

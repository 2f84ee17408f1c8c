#include "devicerow.h"
#include "fleet.h"
#include "testenvironment.h"

#include <QtTest>

using simulator::Fault;
using simulator::Fleet;

/// How long a device that doesn't answer is waited for. The one test that really waits so long; others
/// shorten it.
class TestGiveUpAge final : public QObject
{
    Q_OBJECT

private slots:
    void isTwentySeconds();
};

void TestGiveUpAge::isTwentySeconds()
{
    constexpr int patience = 30000; // milliseconds
    const TestEnvironment environment;
    Fleet fleet;
    fleet.addDevices(1);
    fleet.start();
    fleet.addFault(0, Fault::hang());
    DeviceRow row(fleet, 0);
    Device &device = row.device();
    device.updateInfo();

    QTRY_VERIFY_WITH_TIMEOUT(device.requestAge() >= 19500, patience);
    device.updateInfo();
    // A machine that stood still for half a second proves nothing here.
    if (device.requestAge() < 20000) {
        QVERIFY(device.requestOutstanding());
        QCOMPARE(row.newDataCount(), 0);
    }
    QTRY_VERIFY_WITH_TIMEOUT(device.requestAge() > 20000, patience);
    device.updateInfo();
    QVERIFY(!device.requestOutstanding());
    QCOMPARE(row.newDataCount(), 1);
    QCOMPARE(fleet.requests(0).size(), std::size_t(1));
}

NEMBRA_GUI_TEST_MAIN(TestGiveUpAge)
#include "tst_giveupage.moc"

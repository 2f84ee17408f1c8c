#include "onwindows.h"
#include "platform/process.h"

#include <QtTest>

class TestTimeZone : public QObject
{
    Q_OBJECT

private slots:
    void pins_data();
    void pins();
};

void TestTimeZone::pins_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    // Null where the variable isn't set.
    const QByteArray notSet;
    if (onWindows) {
        // The system keeps the zone in memory, and takes an empty variable for none.
        QTest::newRow("the system's own") << notSet << notSet;
        QTest::newRow("the user's") << QByteArray("CET-1CEST") << QByteArray("CET-1CEST");
        QTest::newRow("the user's, empty") << QByteArray("") << notSet;
        return;
    }
    // Otherwise the system looks at the file with every time that is converted.
    QTest::newRow("the system's own") << notSet << QByteArray(":/etc/localtime");
    QTest::newRow("the user's") << QByteArray("America/New_York") << QByteArray("America/New_York");
    QTest::newRow("the user's, empty") << QByteArray("") << QByteArray("");
}

void TestTimeZone::pins()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    if (before.isNull()) {
        qunsetenv("TZ");
    } else {
        qputenv("TZ", before);
    }
    pinTimeZone();
    QCOMPARE(qEnvironmentVariableIsSet("TZ"), !after.isNull());
    QCOMPARE(qgetenv("TZ"), after);
}

QTEST_APPLESS_MAIN(TestTimeZone)

#include "tst_timezone.moc"

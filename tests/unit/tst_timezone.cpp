#include "app/timezone.h"

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
    // Otherwise the system looks at the file with every time that is converted.
    QTest::newRow("the system's own") << QByteArray() << QByteArray(":/etc/localtime");
    QTest::newRow("the user's") << QByteArray("America/New_York") << QByteArray("America/New_York");
    QTest::newRow("the user's, empty") << QByteArray("") << QByteArray("");
}

void TestTimeZone::pins()
{
    QFETCH(QByteArray, before);
    if (before.isNull()) {
        qunsetenv("TZ");
    } else {
        qputenv("TZ", before);
    }
    pinTimeZone();
    QVERIFY(qEnvironmentVariableIsSet("TZ"));
    QTEST(qgetenv("TZ"), "after");
}

QTEST_APPLESS_MAIN(TestTimeZone)

#include "tst_timezone.moc"

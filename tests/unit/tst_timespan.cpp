#include "device/timespan.h"

#include <QVariant>
#include <QtTest>

#include <limits>

class TestTimespan : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void startsAtZero();
    void readsAsText_data();
    void readsAsText();
    void convertsToTextInAVariant_data();
    void convertsToTextInAVariant();
    void comparesFieldByField_data();
    void comparesFieldByField();
    void isRegisteredUnderItsName();
    void isRegisteredTwiceWithoutAWarning();
};

namespace {

constexpr qint32 most = std::numeric_limits<qint32>::max();
constexpr qint32 least = std::numeric_limits<qint32>::min();

void addTextRows()
{
    QTest::addColumn<Timespan>("span");
    QTest::addColumn<QString>("text");
    QTest::newRow("zero") << Timespan{0, 0, 0, 0} << "0d 0h 0m 0s";
    QTest::newRow("four different numbers") << Timespan{12, 3, 4, 5} << "12d 3h 4m 5s";
    QTest::newRow("nothing is carried over") << Timespan{0, 25, 61, 3600} << "0d 25h 61m 3600s";
    QTest::newRow("no separators in thousands") << Timespan{1234567, 0, 0, 0} << "1234567d 0h 0m 0s";
    QTest::newRow("negative") << Timespan{-1, -2, -3, -4} << "-1d -2h -3m -4s";
    QTest::newRow("limits") << Timespan{most, least, most, least}
                            << "2147483647d -2147483648h 2147483647m -2147483648s";
}

} // namespace

void TestTimespan::initTestCase()
{
    Timespan::registerMetaType();
}

void TestTimespan::startsAtZero()
{
    const Timespan span;
    QCOMPARE(span.days, 0);
    QCOMPARE(span.hours, 0);
    QCOMPARE(span.minutes, 0);
    QCOMPARE(span.seconds, 0);
}

void TestTimespan::readsAsText_data()
{
    addTextRows();
}

void TestTimespan::readsAsText()
{
    QFETCH(Timespan, span);
    QTEST(span.toString(), "text");
}

void TestTimespan::convertsToTextInAVariant_data()
{
    addTextRows();
}

void TestTimespan::convertsToTextInAVariant()
{
    QFETCH(Timespan, span);
    const QVariant variant = QVariant::fromValue(span);
    QVERIFY(variant.canConvert<QString>());
    QTEST(variant.toString(), "text");
}

void TestTimespan::comparesFieldByField_data()
{
    QTest::addColumn<Timespan>("left");
    QTest::addColumn<Timespan>("right");
    QTest::addColumn<bool>("less");
    QTest::addColumn<bool>("equal");
    QTest::newRow("same") << Timespan{1, 2, 3, 4} << Timespan{1, 2, 3, 4} << false << true;
    QTest::newRow("fewer seconds") << Timespan{1, 2, 3, 4} << Timespan{1, 2, 3, 5} << true << false;
    QTest::newRow("more seconds") << Timespan{1, 2, 3, 5} << Timespan{1, 2, 3, 4} << false << false;
    QTest::newRow("minutes before seconds") << Timespan{1, 2, 3, 9} << Timespan{1, 2, 4, 0} << true << false;
    QTest::newRow("hours before minutes") << Timespan{1, 2, 9, 9} << Timespan{1, 3, 0, 0} << true << false;
    QTest::newRow("days before hours") << Timespan{1, 9, 9, 9} << Timespan{2, 0, 0, 0} << true << false;
    QTest::newRow("as numbers, not as texts")
        << Timespan{9, 0, 0, 0} << Timespan{10, 0, 0, 0} << true << false;
    QTest::newRow("negative") << Timespan{-1, 0, 0, 0} << Timespan{0, 0, 0, 0} << true << false;
    QTest::newRow("limits") << Timespan{least, 0, 0, 0} << Timespan{most, 0, 0, 0} << true << false;
}

void TestTimespan::comparesFieldByField()
{
    QFETCH(Timespan, left);
    QFETCH(Timespan, right);
    QTEST(left < right, "less");
    QTEST(left == right, "equal");

    const QVariant leftVariant = QVariant::fromValue(left);
    const QVariant rightVariant = QVariant::fromValue(right);
    int order = 0;
    QVERIFY(QMetaType::compare(&left, &right, qMetaTypeId<Timespan>(), &order));
    QTEST(order < 0, "less");
    QTEST(leftVariant == rightVariant, "equal");
}

void TestTimespan::isRegisteredUnderItsName()
{
    QVERIFY(QMetaType::type("Timespan") != QMetaType::UnknownType);
    QCOMPARE(QMetaType::type("Timespan"), qMetaTypeId<Timespan>());
    QCOMPARE(QByteArray(QVariant::fromValue(Timespan()).typeName()), QByteArray("Timespan"));
}

void TestTimespan::isRegisteredTwiceWithoutAWarning()
{
    static QStringList messages;
    messages.clear();
    const QtMessageHandler usual = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &message) { messages << message; });
    Timespan::registerMetaType();
    qInstallMessageHandler(usual);
    QCOMPARE(messages, QStringList());
    QCOMPARE(QVariant::fromValue(Timespan{1, 2, 3, 4}).toString(), QStringLiteral("1d 2h 3m 4s"));
}

QTEST_APPLESS_MAIN(TestTimespan)

#include "tst_timespan.moc"

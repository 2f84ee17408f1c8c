#include "app/messagelog.h"

#include <QRegularExpression>
#include <QTime>
#include <QVector>
#include <QtTest>

namespace {

struct Message
{
    QtMsgType type;
    QByteArray category;
    QByteArray file;
    int line;
    QString text;
};

/// What arrived since the test began.
QVector<Message> &messages()
{
    static QVector<Message> all;
    return all;
}

void keepMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    messages().append({type, context.category, context.file, context.line, text});
}

} // namespace

class TestMessageLog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void putsTheTimeInFront_data();
    void putsTheTimeInFront();
    void tellsTheLocalTime();
    void passesTypeAndContextOn_data();
    void passesTypeAndContextOn();

private:
    QtMessageHandler m_usual = nullptr;
};

void TestMessageLog::initTestCase()
{
    // This is the handler that the log finds installed.
    m_usual = qInstallMessageHandler(keepMessage);
    installMessageLog();
}

void TestMessageLog::cleanupTestCase()
{
    qInstallMessageHandler(m_usual);
}

void TestMessageLog::init()
{
    messages().clear();
}

void TestMessageLog::putsTheTimeInFront_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("a sentence") << "nothing answers";
    QTest::newRow("empty") << "";
    QTest::newRow("place markers") << "%1 %s %n";
    QTest::newRow("several lines") << "one\ntwo";
    QTest::newRow("not Latin") << QString::fromUtf8("Kühlhaus ✖");
    QTest::newRow("long") << QString(100000, QLatin1Char('x'));
}

void TestMessageLog::putsTheTimeInFront()
{
    QFETCH(QString, text);
    qDebug().noquote().nospace() << text;
    QCOMPARE(messages().size(), 1);
    const QString seen = messages().constFirst().text;
    static const QRegularExpression time(QStringLiteral("^[0-2][0-9]:[0-5][0-9]:[0-5][0-9]: "));
    QVERIFY2(time.match(seen).hasMatch(), qPrintable(seen.left(100)));
    QCOMPARE(seen.mid(10), text);
}

void TestMessageLog::tellsTheLocalTime()
{
    const QTime before = QTime::currentTime();
    qDebug("now");
    const QTime after = QTime::currentTime();
    const QTime seen = QTime::fromString(messages().constFirst().text.left(8), QStringLiteral("HH:mm:ss"));
    QVERIFY2(seen.isValid(), qPrintable(messages().constFirst().text));
    // Also where midnight comes in between.
    const auto secondsSince = [begin = QTime(before.hour(), before.minute(), before.second())](QTime time) {
        constexpr int day = 24 * 60 * 60;
        return (begin.secsTo(time) + day) % day;
    };
    QVERIFY2(secondsSince(seen) <= secondsSince(after), qPrintable(messages().constFirst().text));
}

void TestMessageLog::passesTypeAndContextOn_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("debug") << int{QtDebugMsg};
    QTest::newRow("information") << int{QtInfoMsg};
    QTest::newRow("warning") << int{QtWarningMsg};
    QTest::newRow("critical") << int{QtCriticalMsg};
}

void TestMessageLog::passesTypeAndContextOn()
{
    QFETCH(int, type);
    const QMessageLogger logger("device.cpp", 42, "function", "nembra.test");
    switch (type) {
    case QtDebugMsg:
        logger.debug("text");
        break;
    case QtInfoMsg:
        logger.info("text");
        break;
    case QtWarningMsg:
        logger.warning("text");
        break;
    default:
        logger.critical("text");
    }
    QCOMPARE(messages().size(), 1);
    QCOMPARE(int{messages().constFirst().type}, type);
    QCOMPARE(messages().constFirst().category, QByteArray("nembra.test"));
    QCOMPARE(messages().constFirst().file, QByteArray("device.cpp"));
    QCOMPARE(messages().constFirst().line, 42);
    QCOMPARE(messages().constFirst().text.mid(8), QStringLiteral(": text"));
}

QTEST_APPLESS_MAIN(TestMessageLog)

#include "tst_messagelog.moc"

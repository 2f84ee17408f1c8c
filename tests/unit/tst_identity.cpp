#include "app/application.h"

#include <QFile>
#include <QGuiApplication>
#include <QtTest>

/// Who the program says it is, and whether its desktop entry says the same.
class TestIdentity : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void namesItsDesktopEntry();
    void hasTheWindowClassOfItsDesktopEntry();
};

void TestIdentity::initTestCase()
{
    startup::setIdentity();
}

void TestIdentity::namesItsDesktopEntry()
{
    QCOMPARE(QGuiApplication::desktopFileName(), QStringLiteral("example.ostrel.nembrahub"));
}

void TestIdentity::hasTheWindowClassOfItsDesktopEntry()
{
    // Qt names the class of windows after the application.
    QCOMPARE(QCoreApplication::applicationName(), QStringLiteral("NembraHub"));
    QFile entry(QStringLiteral(NEMBRA_DESKTOP_ENTRIES "/example.ostrel.nembrahub.desktop"));
    QVERIFY2(entry.open(QIODevice::ReadOnly), qPrintable(entry.fileName()));
    const QByteArray content = entry.readAll();
    QVERIFY2(content.contains("\nStartupWMClass=NembraHub\n"), content.constData());
}

QTEST_APPLESS_MAIN(TestIdentity)

#include "tst_identity.moc"

#include "outputtest.h"

#include <QDir>
#include <QtTest>

namespace {

QStringList namesIn(const QString &directory)
{
    return QDir(directory).entryList(QDir::AllEntries | QDir::Hidden | QDir::System);
}

} // namespace

const QString OutputTest::mac = QStringLiteral("0E:5A:11:A1:B2:C3");
const QString OutputTest::usualHostname = QStringLiteral("lab-sensor");
const QString OutputTest::usualName = QStringLiteral("lab-sensor-0E5A11A1B2C3-20210303-090507.qini");
const QStringList OutputTest::nothing{QStringLiteral("out")};

QDateTime OutputTest::answerTime()
{
    return {QDate(2021, 3, 3), QTime(9, 5, 7, 999), Qt::UTC};
}

OutputName OutputTest::nameOf(const QString &hostname)
{
    return {hostname, mac, QStringLiteral(".qini")};
}

QStringList OutputTest::nothingBut(const QString &name)
{
    return nothing + QStringList{QLatin1String("out/") + name};
}

void OutputTest::begin()
{
    TestDirectory::begin();
    QVERIFY(QDir().mkdir(directory()));
}

QByteArray OutputTest::content(const QString &name) const
{
    return TestDirectory::content(QLatin1String("out/") + name);
}

void OutputTest::put(const QString &name, const QByteArray &content) const
{
    TestDirectory::put(QLatin1String("out/") + name, content);
}

void OutputTest::putInRoot(const QString &name, const QByteArray &content) const
{
    TestDirectory::put(name, content);
}

void OutputTest::verifyRefusal(const QString &directory) const
{
    const QStringList before = everything();
    const QStringList rootBefore = namesIn(QStringLiteral("/"));
    const QStringList currentBefore = namesIn(QDir::currentPath());
    {
        OutputFile file(directory, nameOf(usualHostname));
        file.write("content");
        QVERIFY(!file.isGood());
        QVERIFY(!file.commit(answerTime()));
    }
    {
        // The same when nothing was written.
        OutputFile file(directory, nameOf(usualHostname));
        QVERIFY(!file.commit(answerTime()));
    }
    QCOMPARE(everything(), before);
    QCOMPARE(namesIn(QStringLiteral("/")), rootBefore);
    QCOMPARE(namesIn(QDir::currentPath()), currentBefore);
}

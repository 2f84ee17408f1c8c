#include "common/handbook.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

/// Where the handbook is looked for.
class TestHandbook : public QObject
{
    Q_OBJECT

private slots:
    void finds_data();
    void finds();
};

void TestHandbook::finds_data()
{
    QTest::addColumn<QStringList>("installed");
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("found");
    const QString shareEnglish = QStringLiteral("share/doc/nembrahub/handbook/nembrahub-handbook-en.html");
    const QString shareGerman = QStringLiteral("share/doc/nembrahub/handbook/nembrahub-handbook-de.html");
    const QString besideGerman = QStringLiteral("bin/handbook/nembrahub-handbook-de.html");
    const QStringList both{shareEnglish, shareGerman};
    QTest::newRow("English") << both << "en" << shareEnglish;
    QTest::newRow("German") << both << "de" << shareGerman;
    QTest::newRow("a language without a handbook") << both << "fr" << shareEnglish;
    QTest::newRow("beside the program") << QStringList{besideGerman} << "de" << besideGerman;
    QTest::newRow("in another language only") << QStringList{besideGerman} << "fr" << QString();
    QTest::newRow("a directory of that name")
        << QStringList{shareGerman + QStringLiteral("/x")} << "de" << QString();
    QTest::newRow("not installed") << QStringList() << "de" << QString();
}

void TestHandbook::finds()
{
    QFETCH(QStringList, installed);
    QFETCH(QString, language);
    QFETCH(QString, found);
    const QTemporaryDir directory;
    QVERIFY(directory.isValid());
    // A prefix may have any name.
    const QDir prefix(directory.filePath(QStringLiteral("My own %20 & prüfung#1")));
    QVERIFY(prefix.mkpath(QStringLiteral("bin")));
    for (const QString &name : qAsConst(installed)) {
        QVERIFY(prefix.mkpath(QFileInfo(name).path()));
        QFile page(prefix.filePath(name));
        QVERIFY(page.open(QIODevice::WriteOnly));
    }
    const QUrl url = handbook::url(prefix.filePath(QStringLiteral("bin")), language);
    if (found.isEmpty()) {
        QCOMPARE(url.scheme(), QStringLiteral("https"));
    } else {
        QCOMPARE(url.toLocalFile(), prefix.absoluteFilePath(found));
    }
}

QTEST_GUILESS_MAIN(TestHandbook)
#include "tst_handbook.moc"

#include "app/singleapplication.h"

#include <QtTest>

class TestSingleApplicationKey : public QObject
{
    Q_OBJECT

private slots:
    void makesAKey_data();
    void makesAKey();
};

void TestSingleApplicationKey::makesAKey_data()
{
    QTest::addColumn<QString>("application");
    QTest::addColumn<QString>("organization");
    QTest::addColumn<QString>("key");
    QTest::newRow("round brackets") << "Nembra Hub (test)"
                                    << ""
                                    << "Nembra Hub test";
    QTest::newRow("the program's file name") << "nembrahub"
                                             << ""
                                             << "nembrahub";
    QTest::newRow("both names, application first") << "NembraHub"
                                                   << "ostrel GmbH"
                                                   << "NembraHubostrel GmbH";
    QTest::newRow("organization only") << ""
                                       << "ostrel"
                                       << "ostrel";
    QTest::newRow("both empty") << ""
                                << ""
                                << "";
    QTest::newRow("letters, digits, underscore") << "aZ09_"
                                                 << "_90Za"
                                                 << "aZ09__90Za";
    QTest::newRow("hyphens, dots, blanks") << "a-b.c d"
                                           << "- ."
                                           << "a-b.c d- .";
    QTest::newRow("path separators") << "../a/b\\c"
                                     << "/etc"
                                     << "..abcetc";
    QTest::newRow("other white space") << "a\tb\nc\r"
                                       << ""
                                       << "abc";
    QTest::newRow("punctuation") << "a!\"#$%&'()*+,:;<=>?@[]^`{|}~b"
                                 << ""
                                 << "ab";
    QTest::newRow("a zero") << QString::fromUtf8("a\0b", 3) << ""
                            << "ab";
    QTest::newRow("nothing usable") << "(!)"
                                    << "/*/"
                                    << "";
}

void TestSingleApplicationKey::makesAKey()
{
    QFETCH(QString, application);
    QFETCH(QString, organization);
    QTEST(SingleApplication::instanceKey(application, organization), "key");
}

QTEST_APPLESS_MAIN(TestSingleApplicationKey)

#include "tst_singleapplicationkey.moc"

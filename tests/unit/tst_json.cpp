#include "common/json.h"

#include <QTest>

/// Reading JSON from the network.
class TestJson final : public QObject
{
    Q_OBJECT

private slots:
    void readsEveryType();
    void outlivesTheText();
    void takesTheLastOfEqualNames_data();
    void takesTheLastOfEqualNames();
    void readsAsDeepAsAllowed_data();
    void readsAsDeepAsAllowed();
    void takesWhatDevicesWrite_data();
    void takesWhatDevicesWrite();
    void takesEveryNumberOfQt_data();
    void takesEveryNumberOfQt();
    void refuses_data();
    void refuses();
    void needsNoPlaceForTheReason();
};

void TestJson::readsEveryType()
{
    const auto value =
        json::parse(R"({"text": "a\u00b0\u0000b", "empty": "", "whole": -7, "large": 18446744073709551615,
                                       "fraction": 2.5, "yes": true, "no": false, "nothing": null,
                                       "list": [1, "x", [], {}], "object": {"a": {"b": "c"}}})");
    QVERIFY(value);
    QCOMPARE((*value)["text"].text(), QString::fromUtf8("a\u00b0\0b", 5));
    QVERIFY((*value)["empty"].exists());
    QVERIFY(!(*value)["Empty"].exists());
    for (const char *const name :
         {"empty", "whole", "large", "fraction", "yes", "no", "nothing", "list", "object", "none"}) {
        QCOMPARE((*value)[name].text(), QString());
    }
    const json::Value list = (*value)["list"];
    QCOMPARE(list.size(), 4);
    QCOMPARE(list.at(1).text(), QStringLiteral("x"));
    QVERIFY(list.at(3).exists());
    QVERIFY(!list.at(4).exists());
    QVERIFY(!list.at(-1).exists());
    QVERIFY(!list["x"].exists());
    QCOMPARE((*value)["object"].size(), 0);
    QCOMPARE((*value)["object"]["a"]["b"].text(), QStringLiteral("c"));
    QCOMPARE((*value)["text"]["a"].at(3)["b"].text(), QString());
    QCOMPARE(json::Value()["a"].at(0).size(), 0);
}

void TestJson::outlivesTheText()
{
    json::Value inner;
    {
        QByteArray text = R"({"a": {"b": "c"}})";
        inner = (*json::parse(text))["a"];
        text.fill('x');
    }
    QCOMPARE(inner["b"].text(), QStringLiteral("c"));
}

void TestJson::takesTheLastOfEqualNames_data()
{
    QTest::addColumn<QByteArray>("first");

    QTest::newRow("texts") << QByteArray("\"first\"");
    // What must not be lost in memory; the leak check of the instrumented build looks after it.
    QTest::newRow("an array") << QByteArray("[1, [2], {\"a\": 3}]");
    QTest::newRow("an object") << QByteArray("{\"a\": [1, 2, 3]}");
}

void TestJson::takesTheLastOfEqualNames()
{
    QFETCH(QByteArray, first);
    const auto value = json::parse(R"({"name": )" + first + R"(, "name": )" + first + R"(, "name": "last"})");
    QVERIFY(value);
    QCOMPARE((*value)["name"].text(), QStringLiteral("last"));
}

void TestJson::readsAsDeepAsAllowed_data()
{
    QTest::addColumn<int>("depth");
    QTest::addColumn<bool>("allowed");

    QTest::newRow("flat") << 1 << true;
    QTest::newRow("deepest") << 1024 << true;
    QTest::newRow("one too deep") << 1025 << false;
    QTest::newRow("half a million") << 500000 << false;
}

void TestJson::readsAsDeepAsAllowed()
{
    QFETCH(int, depth);
    QFETCH(bool, allowed);
    QCOMPARE(json::parse(QByteArray(depth, '[') + QByteArray(depth, ']')).has_value(), allowed);
}

void TestJson::takesWhatDevicesWrite_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("value");

    QTest::newRow("a tab") << QByteArray("a\tb") << "a\tb";
    QTest::newRow("line breaks") << QByteArray("a\r\nb") << "a\r\nb";
    QTest::newRow("a zero byte") << QByteArray("a\0b", 3) << QString::fromUtf8("a\0b", 3);
    QTest::newRow("an unknown escape") << QByteArray(R"(Hall 3\Rack 2)") << "Hall 3Rack 2";
    QTest::newRow("an apostrophe") << QByteArray(R"(it\'s)") << "it's";
    QTest::newRow("a backslash before a tab") << QByteArray("a\\\tb") << "a\tb";
    QTest::newRow("a backslash before a letter of Latin-1") << QByteArray("Pr\\\xFC"
                                                                          "fstand")
                                                            << QString::fromUtf8("Prüfstand");
    QTest::newRow("a backslash before one of UTF-8") << QByteArray("Pr\\\xC3\xBC"
                                                                   "fstand")
                                                     << QString::fromUtf8("Prüfstand");
    QTest::newRow("known escapes") << QByteArray(R"(\"\\\/\b\f\n\r\t)") << "\"\\/\b\f\n\r\t";
    QTest::newRow("a code unit") << QByteArray(R"(21 \u00b0C)") << QString::fromUtf8("21 °C");
    QTest::newRow("a surrogate pair") << QByteArray(R"(\ud83d\ude00)") << QString::fromUtf8("\U0001F600");
    QTest::newRow("the first half of one") << QByteArray(R"(a\ud83d b)") << QString::fromUtf8("a\uFFFD b");
    QTest::newRow("the first half before a letter")
        << QByteArray(R"(\ud83d\u0041)") << QString::fromUtf8("\uFFFDA");
    QTest::newRow("the second half of one") << QByteArray(R"(\ude00)") << QString::fromUtf8("\uFFFD");
}

void TestJson::takesWhatDevicesWrite()
{
    QFETCH(QByteArray, text);
    const auto value = json::parse(R"({"Location": ")" + text + R"("})");
    QVERIFY(value);
    QTEST((*value)["Location"].text(), "value");
}

void TestJson::takesEveryNumberOfQt_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("a point at the end") << QByteArray("1.");
    QTest::newRow("a point at the beginning") << QByteArray(".5");
    QTest::newRow("a point after the sign") << QByteArray("-.5");
    QTest::newRow("a point before the exponent") << QByteArray("1.e5");
    QTest::newRow("an exponent with a sign") << QByteArray("1E+5");
}

void TestJson::takesEveryNumberOfQt()
{
    QFETCH(QByteArray, text);
    const auto value = json::parse('[' + text + ", \"next\"]");
    QVERIFY(value);
    QCOMPARE(value->at(1).text(), QStringLiteral("next"));
}

void TestJson::refuses_data()
{
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("a text alone") << QByteArray("\"text\"");
    QTest::newRow("a number alone") << QByteArray("42");
    QTest::newRow("cut off") << QByteArray("{\"a\": [1, 2");
    QTest::newRow("something behind the end") << QByteArray("{} {}");
    QTest::newRow("not a number") << QByteArray("[NaN]");
    QTest::newRow("a number beyond all") << QByteArray("[1e999]");
    QTest::newRow("invalid UTF-8") << QByteArray("[\"\xff\"]");
    QTest::newRow("an escape that breaks off") << QByteArray(R"(["\u12"])");
    QTest::newRow("an escape of no number") << QByteArray(R"(["\uZZZZ"])");
    QTest::newRow("a backslash before the end") << QByteArray("[\"\\");
    QTest::newRow("a number that is only a sign") << QByteArray("[-]");
    QTest::newRow("two points in a number") << QByteArray("[1.5.5]");
    QTest::newRow("a comma before the end") << QByteArray(R"({"a": 1,})");
    QTest::newRow("a zero byte") << QByteArray("[1]\0", 4);
}

void TestJson::refuses()
{
    QFETCH(QByteArray, text);
    QString error;
    QVERIFY(!json::parse(text, &error));
    QVERIFY(!error.isEmpty());
}

void TestJson::needsNoPlaceForTheReason()
{
    QVERIFY(!json::parse(QByteArrayLiteral("[")));
    QVERIFY(!json::parse(QByteArrayLiteral("7")));
}

QTEST_APPLESS_MAIN(TestJson)

#include "tst_json.moc"

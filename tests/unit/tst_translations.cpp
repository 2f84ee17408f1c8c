#include "common/translations.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QStringList &messages()
{
    static QStringList all;
    return all;
}

void collectMessage(QtMsgType, const QMessageLogContext &, const QString &message)
{
    messages() << message;
}

/// Whatever Qt or the program says while it lives.
class MessageCollector final
{
public:
    MessageCollector() { messages().clear(); }
    ~MessageCollector() { qInstallMessageHandler(m_usual); }
    Q_DISABLE_COPY_MOVE(MessageCollector)

private:
    QtMessageHandler m_usual = qInstallMessageHandler(collectMessage);
};

/// A file beside the running test, where translations are looked for.
class TranslationFile final
{
public:
    TranslationFile(const QString &name, const QByteArray &content)
        : m_directory(Translations().directory())
        , m_file(m_directory.filePath(name))
        , m_written(write(content))
    {
    }
    ~TranslationFile()
    {
        m_file.remove();
        // Only when it is empty.
        QDir().rmdir(m_directory.path());
    }
    Q_DISABLE_COPY_MOVE(TranslationFile)

    bool isWritten() const { return m_written; }

private:
    bool write(const QByteArray &content)
    {
        const bool written = m_directory.mkpath(QStringLiteral(".")) && m_file.open(QIODevice::WriteOnly) &&
                             m_file.write(content) == content.size();
        m_file.close();
        return written;
    }

    QDir m_directory;
    QFile m_file;
    bool m_written;
};

/// Translates "None" in "Device" to "Nichts".
QByteArray ownFile()
{
    return QByteArray::fromHex("3cb86418caef9c95cd211cbf60a1bddda7000000027171420000000800055645000000006900"
                               "00002b030000000c004e00690063006800740073080000000006000000044e6f6e6507000000"
                               "0644657669636501");
}

/// Translates "Cancel" in "QDialogButtonBox" to "Weg".
QByteArray qtFile()
{
    return QByteArray::fromHex("3cb86418caef9c95cd211cbf60a1bddda70000000271714200000008049849bc000000006900"
                               "00003103000000060057006500670800000000060000000643616e63656c07000000105144"
                               "69616c6f67427574746f6e426f7801");
}

QString ownText()
{
    return QCoreApplication::translate("Device", "None");
}

QString qtText()
{
    return QCoreApplication::translate("QDialogButtonBox", "Cancel");
}

} // namespace

class TestTranslations : public QObject
{
    Q_OBJECT

private slots:
    void detectsALanguage_data();
    void detectsALanguage();
    void prefersTheInstalledDirectory();
    void takesTheDirectoryBesideTheProgram();
    void looksInTheWorkingDirectoryWithoutAProgramDirectory();
    void startsWithTheDirectoryOfTheProgram();
    void isOneObject();
    void staysSilentWithoutFiles_data();
    void staysSilentWithoutFiles();
    void staysSilentWithABrokenFile();
    void loadsBothFiles();
    void loadsEachFileWithoutTheOther();
    void dropsTheLanguageBefore();
    void doesNotFallBackToAnotherLanguage_data();
    void doesNotFallBackToAnotherLanguage();
};

void TestTranslations::detectsALanguage_data()
{
    QTest::addColumn<QStringList>("wanted");
    QTest::addColumn<QString>("language");
    const auto list = [](std::initializer_list<const char *> codes) {
        QStringList result;
        for (const char *code : codes) {
            result << QString::fromLatin1(code);
        }
        return result;
    };
    QTest::newRow("French, German, English") << list({"fr-FR", "de-DE", "en-US"}) << "de";
    QTest::newRow("English, German") << list({"en-GB", "de-DE"}) << "en";
    QTest::newRow("German, English") << list({"de-AT", "en-US"}) << "de";
    QTest::newRow("without countries") << list({"de", "en"}) << "de";
    QTest::newRow("with scripts") << list({"sr-Latn-RS", "de-Latn-DE"}) << "de";
    QTest::newRow("with underscores") << list({"de_CH"}) << "de";
    QTest::newRow("none that we have") << list({"fr-FR", "it-IT", "nl-NL"}) << "en";
    QTest::newRow("no language") << list({}) << "en";
    QTest::newRow("empty texts") << list({"", ""}) << "en";
    QTest::newRow("the C locale") << list({"C"}) << "en";
    QTest::newRow("upper case is not ours") << list({"DE-DE", "De", "EN-US"}) << "en";
    QTest::newRow("upper case before lower case") << list({"EN-US", "de-DE"}) << "de";
    QTest::newRow("only the beginning counts") << list({"nds-de", "de-DE"}) << "de";
    QTest::newRow("inside the code") << list({"xde", "fr-en"}) << "en";
    QTest::newRow("a longer code that begins alike") << list({"den-CA", "en"}) << "de";
    QTest::newRow("ours comes last") << list({"fr", "it", "es", "pt", "de-LI"}) << "de";
}

void TestTranslations::detectsALanguage()
{
    QFETCH(QStringList, wanted);
    QTEST(Translations::detectLanguage(wanted), "language");
}

void TestTranslations::prefersTheInstalledDirectory()
{
    const QTemporaryDir prefix;
    QVERIFY(prefix.isValid());
    QVERIFY(QDir(prefix.path()).mkpath(QStringLiteral("bin/i18n")));
    QVERIFY(QDir(prefix.path()).mkpath(QStringLiteral("share/nembrahub/i18n")));
    const QString program = prefix.filePath(QStringLiteral("bin"));
    QCOMPARE(Translations::directoryFor(program), program + QStringLiteral("/../share/nembrahub/i18n"));
}

void TestTranslations::takesTheDirectoryBesideTheProgram()
{
    const QTemporaryDir prefix;
    QVERIFY(prefix.isValid());
    QVERIFY(QDir(prefix.path()).mkpath(QStringLiteral("bin")));
    QVERIFY(QDir(prefix.path()).mkpath(QStringLiteral("share/nembrahub")));
    const QString program = prefix.filePath(QStringLiteral("bin"));
    // It is named even where there is none.
    QCOMPARE(Translations::directoryFor(program), program + QStringLiteral("/i18n"));
}

void TestTranslations::looksInTheWorkingDirectoryWithoutAProgramDirectory()
{
    const QTemporaryDir prefix;
    QVERIFY(prefix.isValid());
    QVERIFY(QDir(prefix.path()).mkpath(QStringLiteral("work")));
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(prefix.filePath(QStringLiteral("work"))));
    const QString directory = Translations::directoryFor(QString());
    QVERIFY(QDir(prefix.path()).mkpath(QStringLiteral("share/nembrahub/i18n")));
    const QString installed = Translations::directoryFor(QString());
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(directory, QStringLiteral("./i18n"));
    QCOMPARE(installed, QStringLiteral("./../share/nembrahub/i18n"));
}

void TestTranslations::startsWithTheDirectoryOfTheProgram()
{
    const Translations translations;
    const QString program = QCoreApplication::applicationDirPath();
    QVERIFY2(translations.directory().startsWith(program), qPrintable(translations.directory()));
    QVERIFY2(translations.directory().endsWith(QStringLiteral("/i18n")),
             qPrintable(translations.directory()));
}

void TestTranslations::isOneObject()
{
    QVERIFY(!Translations::instance());
    {
        const Translations translations;
        QCOMPARE(Translations::instance(), &translations);
    }
    QVERIFY(!Translations::instance());
}

void TestTranslations::staysSilentWithoutFiles_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("a language without a translation") << "fr";
    QTest::newRow("a variant of one that may have a translation") << "de_XX";
    QTest::newRow("empty") << "";
    QTest::newRow("a path") << "../../../../etc/passwd";
    QTest::newRow("very long") << QString(10000, QLatin1Char('x'));
}

void TestTranslations::staysSilentWithoutFiles()
{
    QFETCH(QString, language);
    Translations translations;
    {
        const MessageCollector collector;
        translations.load(language);
    }
    QCOMPARE(messages(), QStringList());
    QCOMPARE(ownText(), QStringLiteral("None"));
}

void TestTranslations::staysSilentWithABrokenFile()
{
    const TranslationFile broken(QStringLiteral("NembraHub_zz.qm"),
                                 QByteArray("no translation\n").repeated(100));
    QVERIFY(broken.isWritten());
    Translations translations;
    {
        const MessageCollector collector;
        translations.load(QStringLiteral("zz"));
    }
    QCOMPARE(messages(), QStringList());
    QCOMPARE(ownText(), QStringLiteral("None"));
}

void TestTranslations::loadsBothFiles()
{
    const TranslationFile own(QStringLiteral("NembraHub_qq.qm"), ownFile());
    const TranslationFile qt(QStringLiteral("qtbase_qq.qm"), qtFile());
    QVERIFY(own.isWritten() && qt.isWritten());
    {
        Translations translations;
        translations.load(QStringLiteral("qq"));
        QCOMPARE(ownText(), QStringLiteral("Nichts"));
        QCOMPARE(qtText(), QStringLiteral("Weg"));
    }
    // They go with the object.
    QCOMPARE(ownText(), QStringLiteral("None"));
    QCOMPARE(qtText(), QStringLiteral("Cancel"));
}

void TestTranslations::loadsEachFileWithoutTheOther()
{
    Translations translations;
    {
        const TranslationFile own(QStringLiteral("NembraHub_qq.qm"), ownFile());
        translations.load(QStringLiteral("qq"));
        QCOMPARE(ownText(), QStringLiteral("Nichts"));
        QCOMPARE(qtText(), QStringLiteral("Cancel"));
    }
    const TranslationFile qt(QStringLiteral("qtbase_qq.qm"), qtFile());
    translations.load(QStringLiteral("qq"));
    QCOMPARE(ownText(), QStringLiteral("None"));
    QCOMPARE(qtText(), QStringLiteral("Weg"));
}

void TestTranslations::dropsTheLanguageBefore()
{
    const TranslationFile own(QStringLiteral("NembraHub_qq.qm"), ownFile());
    const TranslationFile qt(QStringLiteral("qtbase_qq.qm"), qtFile());
    Translations translations;
    translations.load(QStringLiteral("qq"));
    QCOMPARE(ownText(), QStringLiteral("Nichts"));
    translations.load(QStringLiteral("fr"));
    QCOMPARE(ownText(), QStringLiteral("None"));
    QCOMPARE(qtText(), QStringLiteral("Cancel"));
    translations.load(QStringLiteral("qq"));
    QCOMPARE(ownText(), QStringLiteral("Nichts"));
}

void TestTranslations::doesNotFallBackToAnotherLanguage_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("a country behind an underscore") << "qq_XX";
    QTest::newRow("something behind a dot") << "qq.XX";
    QTest::newRow("a longer code") << "qqx";
    QTest::newRow("a shorter code") << "q";
    QTest::newRow("empty") << "";
}

void TestTranslations::doesNotFallBackToAnotherLanguage()
{
    const TranslationFile own(QStringLiteral("NembraHub_qq.qm"), ownFile());
    const TranslationFile bare(QStringLiteral("NembraHub.qm"), ownFile());
    QVERIFY(own.isWritten() && bare.isWritten());
    QFETCH(QString, language);
    Translations translations;
    translations.load(language);
    QCOMPARE(ownText(), QStringLiteral("None"));
}

QTEST_GUILESS_MAIN(TestTranslations)

#include "tst_translations.moc"

#include "common/settings.h"
#include "disktrouble.h"
#include "testdirectory.h"

#include <QFile>
#include <QFileInfo>
#include <QtTest>

namespace {

/// As long as the settings of a window are.
const QByteArray longSettings = "[General]\nLanguage=de\nLong=" + QByteArray(2000, 'x') + "\n";

/// Has the toolkit write what has changed, as it does when the event loop turns.
void turn()
{
    QCoreApplication::sendPostedEvents(&settings::store(), QEvent::UpdateRequest);
}

} // namespace

/// The file of the settings on a disk that is full, which Unix has a way to bring about.
class TestSettingsUnix : public QObject, private TestDirectory
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void keepsTheFileOnAFullDisk_data();
    void keepsTheFileOnAFullDisk();
    void keepsAFileBehindALinkOnAFullDisk();
    void writesAgainAsSoonAsThereIsRoom();

private:
    QString file() const { return path(QStringLiteral("settings.ini")); }
    void write(const QByteArray &content) const;
};

void TestSettingsUnix::init()
{
    begin();
    settings::open(file());
}

void TestSettingsUnix::cleanup()
{
    // The store lets go of its file before the directory goes.
    settings::open(QString());
    end();
}

void TestSettingsUnix::write(const QByteArray &content) const
{
    put(QStringLiteral("settings.ini"), content);
    settings::open(file());
}

void TestSettingsUnix::keepsTheFileOnAFullDisk_data()
{
    QTest::addColumn<int>("room");
    // Some hundred are for the lock that others see.
    QTest::newRow("for next to nothing") << 500;
    QTest::newRow("for nearly all of it") << 2000;
}

void TestSettingsUnix::keepsTheFileOnAFullDisk()
{
    QFETCH(int, room);
    write(longSettings);
    {
        const FileSizeLimit limit(room);
        settings::setValue(settings::scanPort, 12345);
        turn();
    }
    QFile ini(file());
    QVERIFY(ini.open(QIODevice::ReadOnly));
    QCOMPARE(ini.readAll(), longSettings);
    QCOMPARE(everything(), QStringList{QStringLiteral("settings.ini")});
}

void TestSettingsUnix::keepsAFileBehindALinkOnAFullDisk()
{
    write(longSettings);
    settings::open(QString());
    const QString target = path(QStringLiteral("elsewhere.ini"));
    QVERIFY(QFile::rename(file(), target));
    QVERIFY(QFile::link(target, file()));
    settings::open(file());
    {
        const FileSizeLimit limit(500);
        settings::setValue(settings::scanPort, 12345);
        turn();
    }
    QCOMPARE(QFileInfo(file()).symLinkTarget(), target);
    QFile ini(target);
    QVERIFY(ini.open(QIODevice::ReadOnly));
    QCOMPARE(ini.readAll(), longSettings);
    QCOMPARE(everything(), QStringList({QStringLiteral("elsewhere.ini"), QStringLiteral("settings.ini")}));
}

void TestSettingsUnix::writesAgainAsSoonAsThereIsRoom()
{
    write(longSettings);
    {
        const FileSizeLimit limit(500);
        settings::setValue(settings::scanPort, 12345);
        turn();
    }
    settings::setValue(settings::iconSize, 44);
    turn();
    QFile ini(file());
    QVERIFY(ini.open(QIODevice::ReadOnly));
    const QByteArray content = ini.readAll();
    QVERIFY2(content.contains("Language=de\n") && content.contains("IconSize=44\n"), content.constData());
    QCOMPARE(everything(), QStringList{QStringLiteral("settings.ini")});
}

QTEST_GUILESS_MAIN(TestSettingsUnix)

#include "tst_settings_unix.moc"

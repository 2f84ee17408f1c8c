#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "disktrouble.h"
#include "fleet.h"
#include "mainwindow/mainwindow.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "windowbench.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QMessageBox>
#include <QSignalSpy>
#include <QToolBar>
#include <QTranslator>
#include <QtTest>

#include <algorithm>
#include <ctime>
#include <memory>

using simulator::Fleet;

namespace {

/// Milliseconds for what the window does by itself, and the network for a round of discovery and readings.
constexpr int patience = 10000;
/// Milliseconds for the longest list.
constexpr int longPatience = 60000;

const QString mac1 = QStringLiteral("0E:5A:11:00:00:01");
const QString mac2 = QStringLiteral("0E:5A:11:00:00:02");
const QString mac3 = QStringLiteral("0E:5A:11:00:00:03");
const QString noMac = QStringLiteral("00:00:00:00:00:00");

const QColor lightPlain(255, 255, 255);
const QColor lightYellow(255, 255, 171);
const QColor lightRed(255, 171, 171);
const QColor darkPlain(0, 0, 0);
const QColor darkYellow(155, 155, 0);
const QColor darkRed(155, 0, 0);

/// A device as it stands in the file.
QByteArray entry(const QByteArray &hostname, const QByteArray &mac,
                 const QByteArray &firstSeen = "2021-03-04T05:06:07Z",
                 const QByteArray &lastSeen = "2021-07-08T09:10:11Z")
{
    return "        {\n"
           "            \"first_seen\": \"" +
           firstSeen +
           "\",\n"
           "            \"hostname\": \"" +
           hostname +
           "\",\n"
           "            \"last_seen\": \"" +
           lastSeen +
           "\",\n"
           "            \"mac\": \"" +
           mac +
           "\"\n"
           "        }";
}

QByteArray fileOf(const QList<QByteArray> &entries)
{
    return "{\n    \"devices\": [\n" + entries.join(",\n") + (entries.isEmpty() ? "" : "\n") + "    ]\n}\n";
}

const QByteArray emptyFile = "{\n    \"devices\": [\n    ]\n}\n";

DiscoveryDevice answerOf(const QString &mac, const QString &hostname,
                         const QString &address = QStringLiteral("10.77.128.200"))
{
    DiscoveryDevice record;
    record.setMacText(mac);
    record.setHostname(hostname);
    record.setAddress(QHostAddress(address));
    record.setVariant(16);
    return record;
}

/// Deals with the next message boxes like a BoxAnswerer that presses Ok, and looks more closely.
class BoxReader final : public QObject
{
public:
    struct Box
    {
        QString title;
        QString text;
        QMessageBox::Icon icon;
        QMessageBox::StandardButtons buttons;
        const QWidget *parent;
        bool plain;
    };

    BoxReader()
    {
        connect(&m_timer, &QTimer::timeout, this, [this] {
            if (auto *const box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
                m_boxes += {box->windowTitle(),     box->text(),         box->icon(),
                            box->standardButtons(), box->parentWidget(), box->textFormat() == Qt::PlainText};
                box->close();
            }
        });
        m_timer.start(5);
    }
    const QList<Box> &boxes() const { return m_boxes; }

private:
    QList<Box> m_boxes;
    QTimer m_timer;
};

} // namespace

class TestMainWindowDeviceList : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void savesAnEmptyListByKey();
    void savesInRowOrder_data();
    void savesInRowOrder();
    void savesADeviceThatWasJustSeen();
    void savesAnyName();
    void savesRowsThatAreFilteredOut();
    void leavesOutRemovedRows();
    void savesOnlyWhatItNeedsOfALiveDevice();
    void notesInTheLogThatItSaved();
    void savesNothingUnasked();

    void loads();
    void colorsLoadedRows_data();
    void colorsLoadedRows();
    void loadsTimes_data();
    void loadsTimes();
    void loadsMacs_data();
    void loadsMacs();
    void loadsWhatIsMissingAsEmpty_data();
    void loadsWhatIsMissingAsEmpty();
    void loadsElementsThatAreNoObjects();
    void forgetsUnknownKeys();
    void takesTheLaterOfTwoEntries();
    void keepsRowsWithoutAMacApart();
    void loadsWithoutASignal();
    void startsWithoutAUsableFile_data();
    void startsWithoutAUsableFile();
    void loadsFiftyThousandRows();

    void offersLittleForALoadedDevice();
    void keepsTheFirstTimeAtALaterAnswer();
    void setsBothTimesAtTheFirstAnswer();
    void asksNoLoadedDeviceBeforeItsAnswer();
    void countsALoadedDeviceOnceItHasAnswered();

    void tellsThatItCantOpen_data();
    void tellsThatItCantOpen();
    void tellsThatItMayNotWrite();
    void tellsThatTheDiskIsFull_data();
    void tellsThatTheDiskIsFull();
    void tellsThatTheDiskFilledUp();
    void tellsInTheLanguageOfTheWindow();

private:
    void put(const QByteArray &content) const;
    QByteArray written() const;
    QString path() const { return m_environment->path(QStringLiteral("list/devices.json")); }
    /// The names of everything beside the file, and its own.
    QStringList names() const { return QDir(directory()).entryList(QDir::Files | QDir::Hidden, QDir::Name); }
    QString directory() const { return m_environment->path(QStringLiteral("list")); }
    /// Opens the window and waits until it has loaded so many rows and sorted them.
    void open(int rows);
    /// With a list of `path`, or of the usual one. Closes an open window as a user does.
    void show(const QString &path = {});
    /// `work`: milliseconds that it has cost until they are there.
    void loadRows(const QList<QByteArray> &entries, int rows, qint64 &work);
    void save() const { m_bench->trigger("actionSave_list"); }
    QDateTime time(const QString &mac, int column) const
    {
        return m_bench->row(mac)->data(column, Qt::DisplayRole).toDateTime();
    }
    /// The background of the first columns, of the readings, and of the access rights.
    void compareColors(const QString &mac, const QColor &discovery, const QColor &data,
                       const QColor &web) const;

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<Fleet> m_fleet;
    std::unique_ptr<WindowBench> m_bench;
    QPalette m_palette;
};

void TestMainWindowDeviceList::initTestCase()
{
    // With a summer time.
    qputenv("TZ", "Europe/Berlin");
    tzset();
    m_palette = QApplication::palette();
}

void TestMainWindowDeviceList::init()
{
    m_environment = std::make_unique<TestEnvironment>();
    QVERIFY(QDir().mkpath(directory()));
}

void TestMainWindowDeviceList::cleanup()
{
    m_bench.reset();
    m_fleet.reset();
    QApplication::setPalette(m_palette);
    // Requests that were out end with the fleet; none may outlive the test.
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, patience);
    m_environment.reset();
}

void TestMainWindowDeviceList::put(const QByteArray &content) const
{
    QFile file(path());
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.errorString()));
    QCOMPARE(file.write(content), qint64(content.size()));
}

QByteArray TestMainWindowDeviceList::written() const
{
    QFile file(path());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("not there");
}

void TestMainWindowDeviceList::show(const QString &path)
{
    if (m_bench) {
        m_bench->window().close();
    }
    m_bench.reset();
    m_bench = std::make_unique<WindowBench>(path.isEmpty() ? this->path() : path);
}

void TestMainWindowDeviceList::open(int rows)
{
    show();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->list().topLevelItemCount(), rows, patience);
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->list().hasChanges(), false, patience);
}

void TestMainWindowDeviceList::compareColors(const QString &mac, const QColor &discovery, const QColor &data,
                                             const QColor &web) const
{
    const DeviceItem *const row = m_bench->row(mac);
    QVERIFY(row);
    for (int i = 0; i < 27; ++i) {
        const QColor expected = i <= 4 ? discovery : i == 23 ? web : data;
        QVERIFY2(row->data(i, Qt::BackgroundRole).value<QBrush>().color() == expected,
                 qPrintable(QStringLiteral("column %1: %2 instead of %3")
                                .arg(QString::number(i),
                                     row->data(i, Qt::BackgroundRole).value<QBrush>().color().name(),
                                     expected.name())));
    }
}

void TestMainWindowDeviceList::savesAnEmptyListByKey()
{
    open(0);
    QTest::keyClick(&m_bench->window(), Qt::Key_S, Qt::ControlModifier);
    QCOMPARE(written(), emptyFile);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
    open(0);
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/0"));
}

void TestMainWindowDeviceList::savesInRowOrder_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<Qt::SortOrder>("order");
    QTest::addColumn<QString>("names");
    QTest::newRow("by name") << int(Column::SystemName) << Qt::AscendingOrder << "attic cellar roof";
    QTest::newRow("by name, downwards")
        << int(Column::SystemName) << Qt::DescendingOrder << "roof cellar attic";
    QTest::newRow("by MAC") << int(Column::Mac) << Qt::AscendingOrder << "cellar roof attic";
    QTest::newRow("by MAC, downwards") << int(Column::Mac) << Qt::DescendingOrder << "attic roof cellar";
    QTest::newRow("by first time") << int(Column::FirstSeen) << Qt::AscendingOrder << "attic roof cellar";
    QTest::newRow("by last time, downwards")
        << int(Column::LastSeen) << Qt::DescendingOrder << "cellar attic roof";
}

void TestMainWindowDeviceList::savesInRowOrder()
{
    QFETCH(int, column);
    QFETCH(Qt::SortOrder, order);
    QFETCH(QString, names);
    const QMap<QString, QByteArray> entries{
        {QStringLiteral("roof"),
         entry("roof", "0E:5A:11:00:00:02", "2021-03-04T05:06:07Z", "2021-05-01T00:00:00Z")},
        {QStringLiteral("attic"),
         entry("attic", "0E:5A:11:00:00:03", "2020-12-31T23:59:59Z", "2021-06-01T00:00:00Z")},
        {QStringLiteral("cellar"),
         entry("cellar", "0E:5A:11:00:00:01", "2021-04-04T05:06:07Z", "2021-10-01T00:00:00Z")}};
    put(fileOf(entries.values()));
    open(3);
    m_bench->list().sortByColumn(column, order);
    const QStringList expected = names.split(QLatin1Char(' '));
    QCOMPARE(m_bench->column(Column::SystemName), expected);
    save();
    QCOMPARE(written(), fileOf({entries.value(expected.at(0)), entries.value(expected.at(1)),
                                entries.value(expected.at(2))}));
}

void TestMainWindowDeviceList::savesADeviceThatWasJustSeen()
{
    open(0);
    const QDateTime before = QDateTime::currentDateTimeUtc();
    m_bench->window().onDevice(answerOf(mac1, QStringLiteral("roof")));
    const QDateTime after = QDateTime::currentDateTimeUtc();
    save();
    // A whole second of the two at most, without its fraction.
    const auto form = [](const QDateTime &time) {
        return time.toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss'Z'")).toLatin1();
    };
    const QByteArray early = fileOf({entry("roof", "0E:5A:11:00:00:01", form(before), form(before))});
    const QByteArray late = fileOf({entry("roof", "0E:5A:11:00:00:01", form(after), form(after))});
    const QByteArray content = written();
    QVERIFY2(content == early || content == late, content.constData());
}

void TestMainWindowDeviceList::savesAnyName()
{
    put(fileOf({entry("\\\"roof\\\\\\n\\u0001</b>\303\274\\u0000\360\237\214\241", "0E:5A:11:00:00:01"),
                entry("", "0E:5A:11:00:00:02")}));
    open(2);
    QCOMPARE(m_bench->cell(mac1, Column::SystemName), QStringLiteral("\"roof\\\n\u0001</b>\u00fc") +
                                                          QChar(QChar::Null) + QStringLiteral("\U0001f321"));
    const QByteArray before = written();
    m_bench->list().sortByColumn(Column::Mac, Qt::AscendingOrder);
    save();
    QCOMPARE(written(), before);
}

void TestMainWindowDeviceList::savesRowsThatAreFilteredOut()
{
    const QByteArray file =
        fileOf({entry("cellar", "0E:5A:11:00:00:02"), entry("roof", "0E:5A:11:00:00:01")});
    put(file);
    open(2);
    m_bench->trigger("actionFilter");
    auto *const bar = m_bench->window().findChild<QToolBar *>(QStringLiteral("filterToolBar"));
    bar->findChild<QLineEdit *>()->setText(QStringLiteral("roof"));
    m_bench->trigger("actionApply");
    QVERIFY(m_bench->row(mac2)->isHidden());
    QVERIFY(QFile::remove(path()));
    save();
    QCOMPARE(written(), file);
}

void TestMainWindowDeviceList::leavesOutRemovedRows()
{
    put(fileOf({entry("attic", "0E:5A:11:00:00:01"), entry("cellar", "0E:5A:11:00:00:02"),
                entry("roof", "0E:5A:11:00:00:03")}));
    open(3);
    m_bench->select({mac2});
    m_bench->trigger("actionRemove");
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/2"));
    save();
    QCOMPARE(written(), fileOf({entry("attic", "0E:5A:11:00:00:01"), entry("roof", "0E:5A:11:00:00:03")}));
    open(2);
    QCOMPARE(m_bench->column(Column::SystemName),
             (QStringList{QStringLiteral("attic"), QStringLiteral("roof")}));
}

void TestMainWindowDeviceList::savesOnlyWhatItNeedsOfALiveDevice()
{
    m_fleet = std::make_unique<Fleet>();
    simulator::DeviceOptions options;
    options.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x00, 0x01};
    options.hostName = "roof";
    m_fleet->addDevice(options);
    m_fleet->start();
    open(1);
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(mac1, Column::Status), QStringLiteral("200 OK"), patience);
    save();
    QByteArray content = written();
    content =
        QString::fromUtf8(content)
            .replace(QRegularExpression(QStringLiteral("\"\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ\"")),
                     QStringLiteral("\"then\""))
            .toUtf8();
    QCOMPARE(content, fileOf({entry("roof", "0E:5A:11:00:00:01", "then", "then")}));
}

void TestMainWindowDeviceList::notesInTheLogThatItSaved()
{
    open(0);
    QTest::ignoreMessage(QtDebugMsg, qPrintable(QStringLiteral("saved \"%1\"").arg(path())));
    save();
}

void TestMainWindowDeviceList::savesNothingUnasked()
{
    open(0);
    m_bench->window().onDevice(answerOf(mac1, QStringLiteral("roof")));
    m_bench->trigger("actionDiscover_devices");
    m_bench->window().close();
    m_bench.reset();
    QCOMPARE(names(), QStringList());

    const QByteArray file = R"({"devices":[{"mac":"0E:5A:11:00:00:01"}]})";
    put(file);
    open(1);
    m_bench->window().onDevice(answerOf(mac1, QStringLiteral("roof")));
    m_bench->select({mac1});
    m_bench->trigger("actionRemove");
    m_bench->window().close();
    m_bench.reset();
    QCOMPARE(written(), file);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestMainWindowDeviceList::loads()
{
    put(fileOf({entry("roof", "0E:5A:11:00:00:02"),
                entry("attic", "0E:5A:11:00:00:01", "2020-12-31T23:59:59Z", "2021-01-02T03:04:05Z")}));
    open(2);
    QCOMPARE(m_bench->column(Column::SystemName),
             (QStringList{QStringLiteral("attic"), QStringLiteral("roof")}));
    QCOMPARE(m_bench->column(Column::Mac), (QStringList{mac1, mac2}));
    QCOMPARE(m_bench->column(Column::Ip), (QStringList{QString(), QString()}));
    QCOMPARE(time(mac2, Column::FirstSeen), QDateTime(QDate(2021, 3, 4), QTime(6, 6, 7), Qt::LocalTime));
    QCOMPARE(time(mac2, Column::LastSeen), QDateTime(QDate(2021, 7, 8), QTime(11, 10, 11), Qt::LocalTime));
    QCOMPARE(time(mac1, Column::FirstSeen), QDateTime(QDate(2021, 1, 1), QTime(0, 59, 59), Qt::LocalTime));
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/2"));
    const Device &device = m_bench->row(mac1)->device();
    QCOMPARE(device.record().address().toIPv4Address(), 0U);
    QCOMPARE(device.record().variant(), 0);
    QCOMPARE(device.webInterfaceUrl(), QString());
    // Two when it was read, and one for the refresh that followed.
    QCOMPARE(device.discoveryAge(), 3);
    QCOMPARE(device.dataAge(), 3);
    QCOMPARE(device.webAge(), 3);
    // The cells of the readings are as empty as before any.
    for (int i = Column::LastSeen + 1; i < Column::Count; ++i) {
        QCOMPARE(m_bench->cell(mac1, i), i == Column::HttpType ? QStringLiteral("http") : QString());
    }
}

void TestMainWindowDeviceList::colorsLoadedRows_data()
{
    QTest::addColumn<QColor>("text");
    QTest::addColumn<QColor>("plain");
    QTest::addColumn<QColor>("yellow");
    QTest::addColumn<QColor>("red");
    QTest::newRow("light") << QColor(Qt::black) << lightPlain << lightYellow << lightRed;
    QTest::newRow("dark") << QColor(Qt::white) << darkPlain << darkYellow << darkRed;
}

void TestMainWindowDeviceList::colorsLoadedRows()
{
    QFETCH(QColor, text);
    QFETCH(QColor, plain);
    QFETCH(QColor, yellow);
    QFETCH(QColor, red);
    QPalette palette;
    palette.setColor(QPalette::Text, text);
    QApplication::setPalette(palette);
    put(fileOf({entry("attic", "0E:5A:11:00:00:01"), entry("roof", "0E:5A:11:00:00:02")}));
    open(2);
    compareColors(mac1, yellow, yellow, yellow);
    compareColors(mac2, yellow, yellow, yellow);
    m_bench->trigger("actionDiscover_devices");
    compareColors(mac1, red, red, red);
    // Read again it is as old as at the start.
    m_bench->window().loadDevices();
    QCOMPARE(m_bench->row(mac1)->device().discoveryAge(), 2);
    QCOMPARE(m_bench->row(mac1)->device().dataAge(), 2);
    QCOMPARE(m_bench->row(mac1)->device().webAge(), 2);
    compareColors(mac1, yellow, yellow, yellow);
    m_bench->window().onDevice(answerOf(mac1, QStringLiteral("attic")));
    compareColors(mac1, plain, yellow, yellow);
    compareColors(mac2, yellow, yellow, yellow);
    m_bench->trigger("actionDiscover_devices");
    m_bench->trigger("actionDiscover_devices");
    compareColors(mac1, yellow, red, red);
    compareColors(mac2, red, red, red);
}

void TestMainWindowDeviceList::loadsTimes_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QDateTime>("shown");
    QTest::addColumn<QByteArray>("saved");
    const auto row = [](const char *name, const QByteArray &text, const QDateTime &shown,
                        const QByteArray &saved) { QTest::newRow(name) << text << shown << saved; };
    const auto at = [](int year, int month, int day, int hour, int minute, int second) {
        return QDateTime(QDate(year, month, day), QTime(hour, minute, second), Qt::LocalTime);
    };
    row("in winter", R"("2021-01-04T05:06:07Z")", at(2021, 1, 4, 6, 6, 7), "2021-01-04T05:06:07Z");
    row("in summer", R"("2021-07-04T05:06:07Z")", at(2021, 7, 4, 7, 6, 7), "2021-07-04T05:06:07Z");
    row("next day here", R"("2021-07-04T22:30:00Z")", at(2021, 7, 5, 0, 30, 0), "2021-07-04T22:30:00Z");
    row("next year here", R"("2020-12-31T23:00:00Z")", at(2021, 1, 1, 0, 0, 0), "2020-12-31T23:00:00Z");
    row("leap day", R"("2020-02-29T12:00:00Z")", at(2020, 2, 29, 13, 0, 0), "2020-02-29T12:00:00Z");
    row("the epoch", R"("1970-01-01T00:00:00Z")", at(1970, 1, 1, 1, 0, 0), "1970-01-01T00:00:00Z");
    row("after 32 bits", R"("2106-02-07T06:28:16Z")", at(2106, 2, 7, 7, 28, 16), "2106-02-07T06:28:16Z");
    const QDateTime null;
    row("empty", R"("")", null, "");
    row("a word", R"("yesterday")", null, "");
    row("another form", R"("04.03.2021 05:06:07")", null, "");
    row("a day that there isn't", R"("2021-02-30T05:06:07Z")", null, "");
    row("an hour that there isn't", R"("2021-03-04T25:06:07Z")", null, "");
    row("cut off", R"("2021-03-0")", null, "");
    row("markup", R"("<b>2021-03-04T05:06:07Z</b>")", null, "");
    row("a number", "1614834367", null, "");
    row("null", "null", null, "");
    row("true", "true", null, "");
    row("an array", R"(["2021-03-04T05:06:07Z"])", null, "");
    row("an object", R"({"time":"2021-03-04T05:06:07Z"})", null, "");
}

void TestMainWindowDeviceList::loadsTimes()
{
    QFETCH(QByteArray, text);
    QFETCH(QDateTime, shown);
    QFETCH(QByteArray, saved);
    for (const bool first : {true, false}) {
        const QByteArray otherText = R"("2021-03-04T05:06:07Z")";
        put(R"({"devices":[{"mac":"0E:5A:11:00:00:01","hostname":"roof","first_seen":)" +
            (first ? text : otherText) + ",\"last_seen\":" + (first ? otherText : text) + "}]}");
        open(1);
        const int column = first ? Column::FirstSeen : Column::LastSeen;
        QCOMPARE(m_bench->row(mac1)->data(column, Qt::DisplayRole).userType(), int(QMetaType::QDateTime));
        QCOMPARE(time(mac1, column), shown);
        QCOMPARE(time(mac1, column).isNull(), shown.isNull());
        // Times of two zones can be equal.
        QCOMPARE(time(mac1, column).time(), shown.time());
        QCOMPARE(m_bench->cell(mac1, column).isEmpty(), shown.isNull());
        const QDateTime other(QDate(2021, 3, 4), QTime(6, 6, 7), Qt::LocalTime);
        QCOMPARE(time(mac1, first ? Column::LastSeen : Column::FirstSeen), other);
        save();
        const QByteArray otherSaved = "2021-03-04T05:06:07Z";
        QCOMPARE(written(), fileOf({entry("roof", "0E:5A:11:00:00:01", first ? saved : otherSaved,
                                          first ? otherSaved : saved)}));
    }
}

void TestMainWindowDeviceList::loadsMacs_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("mac");
    QTest::newRow("usual") << QByteArray("0E:5A:11:00:1F:A2") << "0E:5A:11:00:1F:A2";
    QTest::newRow("lower case") << QByteArray("0e:5a:11:00:1f:a2") << "0E:5A:11:00:1F:A2";
    QTest::newRow("one digit each") << QByteArray("1:2:3:4:5:F") << "01:02:03:04:05:0F";
    QTest::newRow("a part that is no number") << QByteArray("0E:5A:no:00:1F:A2") << "0E:5A:00:00:1F:A2";
    QTest::newRow("empty") << QByteArray() << noMac;
    QTest::newRow("a word") << QByteArray("roof") << noMac;
    QTest::newRow("five parts") << QByteArray("0E:5A:11:00:1F") << noMac;
    QTest::newRow("seven parts") << QByteArray("0E:5A:11:00:1F:A2:00") << noMac;
    QTest::newRow("other signs between") << QByteArray("0E-5A-11-00-1F-A2") << noMac;
    QTest::newRow("all zero") << QByteArray("00:00:00:00:00:00") << noMac;
}

void TestMainWindowDeviceList::loadsMacs()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, mac);
    put(fileOf({entry("roof", text)}));
    open(1);
    QCOMPARE(m_bench->column(Column::Mac), QStringList{mac});
    QCOMPARE(m_bench->column(Column::SystemName), QStringList{QStringLiteral("roof")});
    save();
    QCOMPARE(written(), fileOf({entry("roof", mac.toLatin1())}));
}

void TestMainWindowDeviceList::loadsWhatIsMissingAsEmpty_data()
{
    QTest::addColumn<QByteArray>("object");
    QTest::newRow("nothing there") << QByteArray("{}");
    QTest::newRow("numbers") << QByteArray(R"({"mac":1,"hostname":2,"first_seen":3,"last_seen":4})");
    QTest::newRow("null") << QByteArray(R"({"mac":null,"hostname":null,"first_seen":null,"last_seen":null})");
    QTest::newRow("true") << QByteArray(R"({"mac":true,"hostname":true,"first_seen":true,"last_seen":true})");
    QTest::newRow("arrays") << QByteArray(
        R"({"mac":["0E:5A:11:00:00:01"],"hostname":["x"],"first_seen":[],"last_seen":[[]]})");
    QTest::newRow("objects") << QByteArray(
        R"({"mac":{"mac":"0E:5A:11:00:00:01"},"hostname":{},"first_seen":{},"last_seen":{}})");
    QTest::newRow("other case") << QByteArray(
        R"({"MAC":"0E:5A:11:00:00:01","Hostname":"x","First_Seen":"2021-03-04T05:06:07Z"})");
}

void TestMainWindowDeviceList::loadsWhatIsMissingAsEmpty()
{
    QFETCH(QByteArray, object);
    put("{\"devices\":[" + object + "]}");
    open(1);
    QCOMPARE(m_bench->column(Column::SystemName), QStringList{QString()});
    QCOMPARE(m_bench->column(Column::Mac), QStringList{noMac});
    QCOMPARE(m_bench->column(Column::FirstSeen), QStringList{QString()});
    QCOMPARE(m_bench->column(Column::LastSeen), QStringList{QString()});
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/1"));
    compareColors(noMac, lightYellow, lightYellow, lightYellow);
    save();
    QCOMPARE(written(), fileOf({entry("", "00:00:00:00:00:00", "", "")}));
}

void TestMainWindowDeviceList::loadsElementsThatAreNoObjects()
{
    put(R"({"devices":[null,true,1,"0E:5A:11:00:00:01",[{"mac":"0E:5A:11:00:00:01"}],)"
        R"({"mac":"0E:5A:11:00:00:02","hostname":"roof"}]})");
    // They all lack a MAC, which makes them one device.
    open(2);
    QCOMPARE(m_bench->column(Column::Mac), (QStringList{noMac, mac2}));
    QCOMPARE(m_bench->column(Column::SystemName), (QStringList{QString(), QStringLiteral("roof")}));
    QCOMPARE(m_bench->cell(noMac, Column::FirstSeen), QString());
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/2"));
}

void TestMainWindowDeviceList::forgetsUnknownKeys()
{
    put(R"({"version":7,"devices":[{"mac":"0E:5A:11:00:00:01","hostname":"roof",)"
        R"("first_seen":"2021-03-04T05:06:07Z","last_seen":"2021-07-08T09:10:11Z","address":"10.77.128.1",)"
        R"("ip":"10.77.128.1","password":"secret","discoveryAge":0,"type":"x"}]})");
    open(1);
    QCOMPARE(m_bench->cell(mac1, Column::Ip), QString());
    QCOMPARE(m_bench->cell(mac1, Column::Type), QString());
    QCOMPARE(m_bench->row(mac1)->device().discoveryAge(), 3);
    save();
    QCOMPARE(written(), fileOf({entry("roof", "0E:5A:11:00:00:01")}));
}

void TestMainWindowDeviceList::takesTheLaterOfTwoEntries()
{
    put(fileOf({entry("earlier", "0E:5A:11:00:00:01", "2020-01-01T00:00:00Z", "2020-01-02T00:00:00Z"),
                entry("roof", "0E:5A:11:00:00:02"),
                entry("later", "0E:5A:11:00:00:01", "2021-01-01T00:00:00Z", "")}));
    open(2);
    QCOMPARE(m_bench->column(Column::SystemName),
             (QStringList{QStringLiteral("later"), QStringLiteral("roof")}));
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/2"));
    save();
    QCOMPARE(written(), fileOf({entry("later", "0E:5A:11:00:00:01", "2021-01-01T00:00:00Z", ""),
                                entry("roof", "0E:5A:11:00:00:02")}));
}

void TestMainWindowDeviceList::keepsRowsWithoutAMacApart()
{
    put(fileOf({entry("a", "roof"), entry("b", ""), entry("c", "cellar"), entry("d", "roof"),
                entry("e", "0E:5A:11:00:00:01")}));
    open(4);
    QCOMPARE(m_bench->column(Column::SystemName).join(QLatin1Char(' ')), QStringLiteral("b c d e"));
    // Each can be removed by itself.
    m_bench->list().clearSelection();
    m_bench->list().topLevelItem(1)->setSelected(true);
    m_bench->trigger("actionRemove");
    QCOMPARE(m_bench->column(Column::SystemName).join(QLatin1Char(' ')), QStringLiteral("b d e"));
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/3"));
}

void TestMainWindowDeviceList::loadsWithoutASignal()
{
    put(fileOf({entry("roof", "0E:5A:11:00:00:01")}));
    open(1);
    const Device *const device = &m_bench->row(mac1)->device();
    const QSignalSpy newDiscovery(device, &Device::newDiscovery);
    const QSignalSpy newData(device, &Device::newData);
    const QSignalSpy loginResult(device, &Device::loginResult);
    const QSignalSpy requestEnded(device, &Device::requestEnded);
    put(fileOf({entry("cellar", "0E:5A:11:00:00:01")}));
    m_bench->window().loadDevices();
    QCOMPARE(m_bench->column(Column::SystemName), QStringList{QStringLiteral("cellar")});
    QCOMPARE(newDiscovery.count() + newData.count() + loginResult.count() + requestEnded.count(), 0);
}

void TestMainWindowDeviceList::startsWithoutAUsableFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("name");
    const QString usual = QStringLiteral("devices.json");
    QTest::newRow("empty") << QByteArray("") << usual;
    QTest::newRow("nonsense") << QByteArray("roof") << usual;
    QTest::newRow("cut off") << QByteArray(R"({"devices":[{"mac":"0E:5A:11:00:00:01"})") << usual;
    QTest::newRow("root is an array") << QByteArray(R"([{"mac":"0E:5A:11:00:00:01"}])") << usual;
    QTest::newRow("no devices") << QByteArray(R"({"device":[{"mac":"0E:5A:11:00:00:01"}]})") << usual;
    QTest::newRow("devices is an object") << QByteArray(R"({"devices":{"mac":"x"}})") << usual;
    QTest::newRow("devices is a string") << QByteArray(R"({"devices":"x"})") << usual;
    QTest::newRow("devices is null") << QByteArray(R"({"devices":null})") << usual;
    QTest::newRow("missing") << QByteArray("x") << QStringLiteral("missing.json");
    QTest::newRow("a directory") << QByteArray("x") << QStringLiteral(".");
    QTest::newRow("below a file") << QByteArray("x") << QStringLiteral("devices.json/devices.json");
    QTest::newRow("in a missing directory") << QByteArray("x") << QStringLiteral("missing/devices.json");
}

void TestMainWindowDeviceList::startsWithoutAUsableFile()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, name);
    put(content);
    const BoxReader reader;
    show(directory() + QLatin1Char('/') + name);
    // The refresh after it has come as far as the network.
    m_bench->trigger("actionDiscover_devices");
    m_bench->window().loadDevices();
    QCOMPARE(m_bench->list().topLevelItemCount(), 0);
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/0"));
    m_bench->window().onDevice(answerOf(mac1, QStringLiteral("roof")));
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 1/1"));
    QCOMPARE(reader.boxes().size(), 0);
    QCOMPARE(written(), content);
}

void TestMainWindowDeviceList::loadRows(const QList<QByteArray> &entries, int rows, qint64 &work)
{
    m_bench.reset();
    put(fileOf(entries));
    const thisprocess::Work loading;
    show();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->list().topLevelItemCount(), rows, longPatience);
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->list().hasChanges(), false, longPatience);
    work = std::max<qint64>(loading.milliseconds(), 1);
}

void TestMainWindowDeviceList::loadsFiftyThousandRows()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    QTest::qSkip("Sanitizers take minutes to look at every allocation of so many rows.", __FILE__, __LINE__);
    return;
#endif
    QList<QByteArray> entries;
    for (int i = 0; i < 50002; ++i) {
        QByteArray mac = QByteArray::number(i, 16).rightJustified(6, '0').toUpper();
        mac = "0E:5A:11:" + mac.insert(4, ':').insert(2, ':');
        entries += entry("device " + QByteArray::number(i).rightJustified(5, '0'), mac);
    }
    qint64 fewWork = 0;
    loadRows(entries.mid(0, 5000), 5000, fewWork);
    qint64 manyWork = 0;
    loadRows(entries, 50000, manyWork);
    // Ten times as many cost ten times as much. If each row cost something for each other it would be a
    // hundred.
    QVERIFY2(manyWork < 40 * fewWork,
             qPrintable(QStringLiteral("%1 ms, a tenth %2 ms").arg(manyWork).arg(fewWork)));
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/50000"));
    QCOMPARE(m_bench->list().topLevelItem(0)->text(Column::Mac), QStringLiteral("0E:5A:11:00:00:00"));
    QCOMPARE(m_bench->list().topLevelItem(49999)->text(Column::Mac), QStringLiteral("0E:5A:11:00:C3:4F"));
    QCOMPARE(m_bench->list().topLevelItem(49999)->text(Column::SystemName), QStringLiteral("device 49999"));
    save();
    QVERIFY(written() == fileOf(entries.mid(0, 50000)));
}

void TestMainWindowDeviceList::offersLittleForALoadedDevice()
{
    put(fileOf({entry("attic", "0E:5A:11:00:00:01"), entry("roof", "0E:5A:11:00:00:02")}));
    open(2);
    BrowserCatcher browser;
    for (const QStringList &macs : {QStringList{mac1}, QStringList{mac1, mac2}}) {
        m_bench->select(macs);
        QCOMPARE(m_bench->action("actionRemove")->isEnabled(), true);
        for (const char *const name :
             {"actionConfigureDevice", "actionWeb_interface", "actionSet_Login", "actionSave_Configs",
              "actionSave_with_passwords", "actionDownload_CSV", "actionUpload_config",
              "actionUpdate_Firmware"}) {
            QVERIFY2(!m_bench->action(name)->isEnabled(), name);
        }
    }
    m_bench->window().on_devList_itemDoubleClicked(m_bench->row(mac1), 0);
    QCOMPARE(browser.urls(), QStringList());
    // The web interface goes by discovery alone.
    m_bench->window().onDevice(answerOf(mac1, QStringLiteral("attic")));
    m_bench->select({mac1});
    QCOMPARE(m_bench->action("actionWeb_interface")->isEnabled(), true);
    QCOMPARE(m_bench->action("actionSet_Login")->isEnabled(), false);
}

void TestMainWindowDeviceList::keepsTheFirstTimeAtALaterAnswer()
{
    put(fileOf({entry("roof", "0E:5A:11:00:00:01")}));
    open(1);
    const DeviceItem *const row = m_bench->row(mac1);
    const QDateTime before = QDateTime::currentDateTime();
    m_bench->window().onDevice(answerOf(mac1, QStringLiteral("renamed")));
    const QDateTime after = QDateTime::currentDateTime();
    QCOMPARE(m_bench->list().topLevelItemCount(), 1);
    QCOMPARE(m_bench->row(mac1), row);
    QCOMPARE(m_bench->cell(mac1, Column::SystemName), QStringLiteral("renamed"));
    QCOMPARE(m_bench->cell(mac1, Column::Ip), QStringLiteral("10.77.128.200"));
    QCOMPARE(time(mac1, Column::FirstSeen), QDateTime(QDate(2021, 3, 4), QTime(6, 6, 7), Qt::LocalTime));
    const QDateTime lastSeen = time(mac1, Column::LastSeen);
    QVERIFY2(before <= lastSeen && lastSeen <= after, qPrintable(lastSeen.toString(Qt::ISODateWithMs)));
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/1"));
    compareColors(mac1, lightPlain, lightYellow, lightYellow);
    save();
    const QByteArray content = written();
    QVERIFY2(content.contains("\"first_seen\": \"2021-03-04T05:06:07Z\""), content.constData());
    QVERIFY2(content.contains("\"hostname\": \"renamed\""), content.constData());
    QVERIFY2(!content.contains("2021-07-08"), content.constData());
}

void TestMainWindowDeviceList::setsBothTimesAtTheFirstAnswer()
{
    put(fileOf({entry("roof", "0E:5A:11:00:00:01", "", "2021-07-08T09:10:11Z")}));
    open(1);
    QCOMPARE(m_bench->cell(mac1, Column::FirstSeen), QString());
    const QDateTime before = QDateTime::currentDateTime();
    m_bench->window().onDevice(answerOf(mac1, QStringLiteral("roof")));
    const QDateTime after = QDateTime::currentDateTime();
    const QDateTime firstSeen = time(mac1, Column::FirstSeen);
    QVERIFY2(before <= firstSeen && firstSeen <= after, qPrintable(firstSeen.toString(Qt::ISODateWithMs)));
    QCOMPARE(time(mac1, Column::LastSeen), firstSeen);
    // The next one leaves the first.
    m_bench->window().onDevice(answerOf(mac1, QStringLiteral("roof")));
    QCOMPARE(time(mac1, Column::FirstSeen), firstSeen);
}

void TestMainWindowDeviceList::asksNoLoadedDeviceBeforeItsAnswer()
{
    m_fleet = std::make_unique<Fleet>();
    simulator::DeviceOptions options;
    options.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x00, 0x01};
    m_fleet->addDevices(2, options);
    m_fleet->start();
    m_fleet->change(0, [](simulator::DeviceOptions &device) { device.silent = true; });
    put(fileOf({entry("roof", "0E:5A:11:00:00:01")}));
    open(2);
    for (std::size_t round = 1; round <= 3; ++round) {
        // The other one has been asked and has answered, so that this one would have been asked, too.
        QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(1).size(), round, patience);
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->row(mac2)->device().requestOutstanding(), false, patience);
        QCOMPARE(m_fleet->requests(0).size(), std::size_t(0));
        QCOMPARE(m_bench->cell(mac1, Column::Status), QString());
        QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 1/2"));
        if (round < 3) {
            m_bench->trigger("actionDiscover_devices");
        }
    }
    m_fleet->change(0, [](simulator::DeviceOptions &device) { device.silent = false; });
    m_bench->trigger("actionDiscover_devices");
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->cell(mac1, Column::Status), QStringLiteral("200 OK"), patience);
    QCOMPARE(m_fleet->requests(0).size(), std::size_t(1));
    QCOMPARE(m_bench->list().topLevelItemCount(), 2);
}

void TestMainWindowDeviceList::countsALoadedDeviceOnceItHasAnswered()
{
    m_fleet = std::make_unique<Fleet>();
    simulator::DeviceOptions options;
    options.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x00, 0x01};
    options.hostName = "fresh";
    m_fleet->addDevice(options);
    m_fleet->addFault(simulator::Fault::hang());
    m_fleet->start();
    put(fileOf({entry("stale", "0E:5A:11:00:00:01"), entry("gone", "0E:5A:11:00:00:02")}));
    open(2);
    // Discovery alone doesn't make it active.
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0).size(), std::size_t(1), patience);
    QCOMPARE(m_bench->cell(mac1, Column::SystemName), QStringLiteral("fresh"));
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/2"));
    compareColors(mac1, lightPlain, lightYellow, lightYellow);
    m_bench->row(mac1)->device().abortQuery();
    m_fleet->clearFaults();
    m_bench->trigger("actionDiscover_devices");
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->statusText(), QStringLiteral("Active devices: 1/2"), patience);
    compareColors(mac1, lightPlain, lightPlain, lightPlain);
    compareColors(mac2, lightRed, lightRed, lightRed);
    QCOMPARE(time(mac1, Column::FirstSeen), QDateTime(QDate(2021, 3, 4), QTime(6, 6, 7), Qt::LocalTime));
}

#define COMPARE_BOX(reader, expectedText)                                                                    \
    QCOMPARE((reader).boxes().size(), 1);                                                                    \
    QCOMPARE((reader).boxes().constFirst().text, expectedText);                                              \
    QCOMPARE((reader).boxes().constFirst().title, QString());                                                \
    QCOMPARE((reader).boxes().constFirst().icon, QMessageBox::Critical);                                     \
    QCOMPARE((reader).boxes().constFirst().buttons, QMessageBox::StandardButtons(QMessageBox::Ok));          \
    QCOMPARE((reader).boxes().constFirst().parent, static_cast<const QWidget *>(&m_bench->window()));        \
    QVERIFY((reader).boxes().constFirst().plain)

void TestMainWindowDeviceList::tellsThatItCantOpen_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("in a missing directory") << "missing/devices.json";
    QTest::newRow("below a file") << "devices.json/devices.json";
    QTest::newRow("a directory") << ".";
    QTest::newRow("markup in the name") << "missing/<b>devices</b>&amp;.json";
    QTest::newRow("a sign of a format in the name") << "missing/%1 %n.json";
}

void TestMainWindowDeviceList::tellsThatItCantOpen()
{
    QFETCH(QString, name);
    const QByteArray file = fileOf({entry("roof", "0E:5A:11:00:00:01")});
    put(file);
    const QString path = directory() + QLatin1Char('/') + name;
    show(path);
    m_bench->window().onDevice(answerOf(mac2, QStringLiteral("cellar")));
    const BoxReader reader;
    save();
    COMPARE_BOX(reader, QStringLiteral("Error opening file ") + path + QStringLiteral(" for writing"));
    QCOMPARE(written(), file);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
    // The list is as it was, and can be saved as soon as that is possible.
    QCOMPARE(m_bench->column(Column::Mac), QStringList{mac2});
}

void TestMainWindowDeviceList::tellsThatItMayNotWrite()
{
    const SmallDisk disk(directory(), "size=1m");
    SKIP_WITHOUT(disk);
    const QByteArray file = fileOf({entry("roof", "0E:5A:11:00:00:01")});
    put(file);
    QVERIFY(disk.makeReadOnly());
    open(1);
    m_bench->select({mac1});
    m_bench->trigger("actionRemove");
    const BoxReader reader;
    save();
    COMPARE_BOX(reader, QStringLiteral("Error opening file ") + path() + QStringLiteral(" for writing"));
    QCOMPARE(written(), file);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestMainWindowDeviceList::tellsThatTheDiskIsFull_data()
{
    QTest::addColumn<int>("freeBytes");
    QTest::addColumn<int>("rows");
    QTest::newRow("a short list") << 0 << 1;
    QTest::newRow("a list of which a part fits") << 8192 << 100;
}

void TestMainWindowDeviceList::tellsThatTheDiskIsFull()
{
    QFETCH(int, freeBytes);
    QFETCH(int, rows);
    const SmallDisk disk(directory(), "size=65536");
    SKIP_WITHOUT(disk);
    const QByteArray file = fileOf({entry("roof", "0E:5A:11:00:00:00")});
    put(file);
    QFile others(directory() + QStringLiteral("/others"));
    QVERIFY(others.open(QIODevice::WriteOnly));
    const QByteArray filling(65536 - 4096 - freeBytes, 'x');
    QCOMPARE(others.write(filling), qint64(filling.size()));
    others.close();
    open(1);
    for (int i = 1; i < rows; ++i) {
        m_bench->window().onDevice(
            answerOf(QStringLiteral("0E:5A:11:00:00:%1").arg(i, 2, 16, QLatin1Char('0')).toUpper(),
                     QStringLiteral("device"), QString()));
    }
    QCOMPARE(m_bench->list().topLevelItemCount(), rows);
    {
        const BoxReader reader;
        save();
        COMPARE_BOX(reader, QStringLiteral("Error writing file ") + path());
    }
    QCOMPARE(written(), file);
    QCOMPARE(names(), (QStringList{QStringLiteral("devices.json"), QStringLiteral("others")}));

    // With room again, saving works.
    QVERIFY(others.remove());
    const BoxReader reader;
    save();
    QCOMPARE(reader.boxes().size(), 0);
    QCOMPARE(written().count("\"mac\""), rows);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestMainWindowDeviceList::tellsThatTheDiskFilledUp()
{
    QByteArray file = fileOf({entry("roof", "0E:5A:11:00:00:01"), entry("roof", "0E:5A:11:00:00:02")});
    put(file);
    open(2);
    m_bench->window().onDevice(answerOf(mac3, QStringLiteral("cellar"), QString()));
    const BoxReader reader;
    {
        const FileSizeLimit limit(100);
        save();
    }
    COMPARE_BOX(reader, QStringLiteral("Error writing file ") + path());
    QCOMPARE(written(), file);
    QCOMPARE(names(), QStringList{QStringLiteral("devices.json")});
}

void TestMainWindowDeviceList::tellsInTheLanguageOfTheWindow()
{
    open(0);
    QTranslator german;
    QVERIFY(german.load(QStringLiteral(NEMBRA_TRANSLATIONS "/NembraHub_de.qm")));
    QVERIFY(QCoreApplication::installTranslator(&german));
    {
        const BoxReader reader;
        const FileSizeLimit limit(1);
        save();
        COMPARE_BOX(reader, QStringLiteral("Fehler beim Schreiben der Datei ") + path());
    }
    const QString missing = directory() + QStringLiteral("/missing/devices.json");
    show(missing);
    const BoxReader reader;
    save();
    COMPARE_BOX(reader,
                QStringLiteral("Fehler beim Öffnen der Datei ") + missing + QStringLiteral(" zum Schreiben"));
}

NEMBRA_GUI_TEST_MAIN(TestMainWindowDeviceList)
#include "tst_mainwindow_devicelist.moc"

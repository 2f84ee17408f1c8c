#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "mainwindow/mainwindow.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "windowbench.h"

#include <QAction>
#include <QApplication>
#include <QCompleter>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>
#include <QScreen>
#include <QStatusBar>
#include <QToolBar>
#include <QtTest>

#include <algorithm>
#include <limits>
#include <memory>

namespace {

/// Whatever stands in the settings, a start may cost as much work as so many usual ones.
constexpr int mostStarts = 50;

const QString mac = QStringLiteral("0E:5A:11:00:00:01");

QStringList lines(std::initializer_list<const char *> texts)
{
    QStringList result;
    for (const char *const text : texts) {
        result += QString::fromUtf8(text);
    }
    return result;
}

/// What a window shows that starts without any settings.
QStringList usualLook()
{
    return lines({"auto update: off", "columns: 0 1 2", "filter bar: hidden", "font size: 9",
                  "icon action: actionNormal", "icon size: 22", "patterns: 0", "size: 435x293",
                  "sorting: 0 up", "status bar: shown", "tool bar: shown"});
}

/// The usual look with some lines in place of those that begin alike.
QStringList usualLookBut(const QStringList &other)
{
    QStringList look = usualLook();
    for (const QString &line : other) {
        const QString name = line.section(QLatin1Char(':'), 0, 0) + QLatin1Char(':');
        for (QString &usual : look) {
            usual = usual.startsWith(name) ? line : usual;
        }
    }
    return look;
}

QString textOf(const QRect &rect)
{
    return QStringLiteral("%1x%2 at %3, %4").arg(rect.width()).arg(rect.height()).arg(rect.x()).arg(rect.y());
}

/// A big-endian number.
QByteArray number(quint32 value)
{
    QByteArray bytes;
    QDataStream(&bytes, QIODevice::WriteOnly) << value;
    return bytes;
}

} // namespace

class TestHostileSettings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void startsWithTheUsualLook();
    void takesWhatIsWritten_data();
    void takesWhatIsWritten();
    void startsWithoutAUsableFile_data();
    void startsWithoutAUsableFile();
    void ignoresBytesThatAreNoLook_data();
    void ignoresBytesThatAreNoLook();
    void survivesDamagedLooks_data();
    void survivesDamagedLooks();
    void takesAHeaderOfFewerColumns();
    void ignoresAHeaderOfMoreColumns();
    void showsAColumnWhereAllAreHidden();
    void widensColumnsWithoutWidth();
    void staysOnTheScreen_data();
    void staysOnTheScreen();
    void readsOnlyPatternsThatAreThere_data();
    void readsOnlyPatternsThatAreThere();
    void readsHugePatterns();
    void replacesADamagedHistory();
    void asksForNoFileElsewhere_data();
    void asksForNoFileElsewhere();

private:
    void write(const QByteArray &content);
    /// Opens the window as a start of the program does.
    void start();
    /// A device answers, the list is painted and filtered. Fails when that has cost too much since the start
    /// or the device can't be seen. Every test ends with it.
    void use();
    bool isAffordable() const { return m_work.milliseconds() < mostStarts * m_usualWork; }
    /// For a failure.
    QByteArray cost() const;
    QStringList look() const;
    template <typename T>
    T *find(const char *objectName) const
    {
        return m_bench->window().findChild<T *>(QLatin1String(objectName));
    }
    QStringList patterns() const;
    QString shownColumns() const;
    /// What a window writes about its look when it is closed; moved columns and a hidden one among it.
    QByteArray usualState(const char *key);

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<WindowBench> m_bench;
    /// Since the start.
    thisprocess::Work m_work;
    /// Milliseconds of work for a start without any settings.
    qint64 m_usualWork = 0;
};

void TestHostileSettings::initTestCase()
{
    m_environment = std::make_unique<TestEnvironment>();
    // The first one makes what the process has once.
    for (int i = 0; i < 2; ++i) {
        m_usualWork = std::numeric_limits<int>::max();
        start();
        use();
        m_usualWork = std::max<qint64>(m_work.milliseconds(), 1);
        m_bench.reset();
    }
    m_environment.reset();
}

void TestHostileSettings::init()
{
    m_environment = std::make_unique<TestEnvironment>();
}

void TestHostileSettings::cleanup()
{
    if (m_bench) {
        use();
    }
    m_bench.reset();
    m_environment.reset();
}

void TestHostileSettings::write(const QByteArray &content)
{
    QFile file(m_environment->settingsFile());
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.errorString()));
    QCOMPARE(file.write(content), content.size());
    file.close();
    settings::open(file.fileName());
}

void TestHostileSettings::start()
{
    m_work.restart();
    m_bench = std::make_unique<WindowBench>();
}

void TestHostileSettings::use()
{
    DiscoveryDevice record;
    record.setMacText(mac);
    record.setHostname(QStringLiteral("roof"));
    record.setVariant(16);
    m_bench->window().onDevice(record);
    QVERIFY(m_bench->row(mac));
    QVERIFY(!m_bench->window().grab().isNull());
    m_bench->trigger("actionFilter");
    QVERIFY(find<QToolBar>("filterToolBar")->isVisible());
    m_bench->trigger("actionFilterClose");
    m_bench->trigger("actionResize_columns");
    QVERIFY(m_bench->window().isVisible());
    const QRect visible = m_bench->list().visualItemRect(m_bench->row(mac));
    QVERIFY2(visible.intersects(m_bench->list().viewport()->rect()), qPrintable(textOf(visible)));
    QVERIFY2(isAffordable(), cost().constData());
}

QByteArray TestHostileSettings::cost() const
{
    return QByteArray::number(m_work.milliseconds()) + " ms of work instead of " +
           QByteArray::number(m_usualWork);
}

QStringList TestHostileSettings::look() const
{
    const MainWindow &window = m_bench->window();
    const auto line = [](const char *name, const QString &value) {
        return QLatin1String(name) + QLatin1String(": ") + value;
    };
    const auto visibility = [](const QWidget *widget) {
        return widget->isVisible() ? QStringLiteral("shown") : QStringLiteral("hidden");
    };
    const QTreeWidget &list = m_bench->list();
    QStringList iconActions;
    for (const char *const name : {"actionSmall", "actionNormal", "actionLarge"}) {
        if (m_bench->action(name)->isChecked()) {
            iconActions += QLatin1String(name);
        }
    }
    const bool ascending = list.header()->sortIndicatorOrder() == Qt::AscendingOrder;
    return {
        line("auto update",
             m_bench->action("actionAuto")->isChecked() ? QStringLiteral("on") : QStringLiteral("off")),
        line("columns", shownColumns()),
        line("filter bar", visibility(find<QToolBar>("filterToolBar"))),
        line("font size", QString::number(list.font().pointSize())),
        line("icon action", iconActions.join(QLatin1Char(' '))),
        line("icon size", QString::number(find<QToolBar>("mainToolBar")->iconSize().width())),
        line("patterns", QString::number(patterns().size())),
        line("size", QStringLiteral("%1x%2").arg(window.width()).arg(window.height())),
        line("sorting", QString::number(list.sortColumn()) + QLatin1String(ascending ? " up" : " down")),
        line("status bar", visibility(find<QStatusBar>("statusBar"))),
        line("tool bar", visibility(find<QToolBar>("mainToolBar"))),
    };
}

QStringList TestHostileSettings::patterns() const
{
    const auto *const edit = find<QToolBar>("filterToolBar")->findChild<QLineEdit *>();
    const QAbstractItemModel *const model = edit->completer()->model();
    QStringList texts;
    for (int i = 0; i < model->rowCount(); ++i) {
        texts += model->index(i, 0).data().toString();
    }
    return texts;
}

QString TestHostileSettings::shownColumns() const
{
    QStringList shown;
    const QHeaderView *const header = m_bench->list().header();
    for (int i = 0; i < header->count(); ++i) {
        const int column = header->logicalIndex(i);
        if (!header->isSectionHidden(column)) {
            shown += QString::number(column);
        }
    }
    return shown.join(QLatin1Char(' '));
}

QByteArray TestHostileSettings::usualState(const char *key)
{
    m_bench = std::make_unique<WindowBench>();
    m_bench->list().header()->moveSection(2, 0);
    m_bench->list().setColumnHidden(Column::Uptime, false);
    m_bench->window().close();
    m_bench.reset();
    QByteArray state = settings::store().value(QLatin1String(key)).toByteArray();
    settings::store().clear();
    return state;
}

void TestHostileSettings::startsWithTheUsualLook()
{
    start();
    QCOMPARE(look(), usualLook());
}

void TestHostileSettings::takesWhatIsWritten_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("other");
    const auto row = [](const char *content, std::initializer_list<const char *> other = {}) {
        QByteArray text(content);
        QTest::newRow(text.replace('\n', ' ').left(60).constData()) << QByteArray(content) << lines(other);
    };
    for (const char *const value : {"-1", "70000", "text", "", "1e9", "99999999999999999999", "@Invalid()"}) {
        row(QByteArray("[Scan]\nPort=V\nHTTPPort=V\nHTTPSPort=V").replace('V', value).constData());
    }
    row("[Scan]\nAutoUpdate=text", {"auto update: on"});
    row("[Scan]\nAutoUpdate=2", {"auto update: on"});
    row("[Scan]\nAutoUpdate=");
    row("[Scan]\nAutoUpdate=0");
    row("[Scan]\nAutoUpdate=FALSE");
    row("[Scan]\nAutoUpdate=true, true");
    row("[Scan]\nAutoUpdate=@Invalid()");
    for (const char *const value :
         {"nan", "inf", "-inf", "-1", "0", "1e300", "1e-300", "text", "", "1,5", "@Invalid()"}) {
        row(QByteArray("[Scan]\nAutoUpdate=true\nAutoUpdateInterval=").append(value).constData(),
            {"auto update: on"});
    }
    for (const char *const value : {"text", "7", "", "@Variant(\\0\\0)", "1, 2"}) {
        row(QByteArray("PreferExtended=").append(value).constData());
    }

    row("[MainWindow]\nSortColumn=7", {"sorting: 7 up"});
    row("[MainWindow]\nSortColumn=26", {"sorting: 26 up"});
    // No column: the rows in the order of their coming.
    row("[MainWindow]\nSortColumn=-1", {"sorting: -1 up"});
    row("[MainWindow]\nSortColumn=-2");
    row("[MainWindow]\nSortColumn=27");
    row("[MainWindow]\nSortColumn=99");
    row("[MainWindow]\nSortColumn=2147483647");
    row("[MainWindow]\nSortColumn=-2147483648");
    row("[MainWindow]\nSortColumn=text");
    row("[MainWindow]\nSortColumn=3.5");
    row("[MainWindow]\nSortColumn=");
    row("[MainWindow]\nSortDescending=1", {"sorting: 0 down"});
    row("[MainWindow]\nSortDescending=7", {"sorting: 0 down"});
    row("[MainWindow]\nSortDescending=-1", {"sorting: 0 down"});
    row("[MainWindow]\nSortDescending=text");
    row("[MainWindow]\nSortDescending=true");
    row("[MainWindow]\nSortDescending=@Invalid()");

    row("[MainWindow]\nStatusbar=false", {"status bar: hidden"});
    row("[MainWindow]\nStatusbar=0", {"status bar: hidden"});
    row("[MainWindow]\nStatusbar=", {"status bar: hidden"});
    row("[MainWindow]\nStatusbar=text");
    row("[MainWindow]\nStatusbar=-1");

    row("[MainWindow]\nFontSize=14", {"font size: 14"});
    row("[MainWindow]\nFontSize=1", {"font size: 1"});
    row("[MainWindow]\nFontSize=0");
    row("[MainWindow]\nFontSize=-1");
    row("[MainWindow]\nFontSize=-2147483648");
    row("[MainWindow]\nFontSize=text");
    row("[MainWindow]\nFontSize=");
    row("[MainWindow]\nFontSize=1000000");
    row("[MainWindow]\nFontSize=2147483647");
    row("[MainWindow]\nFont=", {});
    row("[MainWindow]\nFont=,,,");
    row("[MainWindow]\nFont=\",,,\"");
    row("[MainWindow]\nFont=\",,,,,,,,,\"");
    row("[MainWindow]\nFont=\"DejaVu Sans,17,-1,5,50,0,0,0,0,0\"", {"font size: 17"});
    // Without the quotes it is a list, which is no font.
    row("[MainWindow]\nFont=DejaVu Sans,17,-1,5,50,0,0,0,0,0");
    row("[MainWindow]\nFont=\"DejaVu Sans,-5,-1,5,50,0,0,0,0,0\"");
    row("[MainWindow]\nFont=\"DejaVu Sans,0,-1,5,50,0,0,0,0,0\"");
    row("[MainWindow]\nFont=\"DejaVu Sans,nan,-1,5,50,0,0,0,0,0\"");
    row("[MainWindow]\nFont=\"DejaVu Sans,1e300,-1,5,50,0,0,0,0,0\"");
    row("[MainWindow]\nFont=\"DejaVu Sans,1000000,-1,5,50,0,0,0,0,0\"");
    row("[MainWindow]\nFont=\"DejaVu Sans,-1,1000000,5,50,0,0,0,0,0\"");
    row("[MainWindow]\nFont=\"DejaVu Sans,-5\"");
    row("[MainWindow]\nFont=\"No such font,12,-1,5,50,0,0,0,0,0\"", {"font size: 12"});
    row("[MainWindow]\nFont=7");
    row("[MainWindow]\nFont=@Invalid()");
    row("[MainWindow]\nFont=@ByteArray(\\xff\\xfe)");
    row("[MainWindow]\nFontSize=14\nFont=a,b,c", {"font size: 14"});

    row("[MainWindow]\nIconSize=11", {"icon size: 11", "icon action: actionSmall"});
    row("[MainWindow]\nIconSize=44", {"icon size: 44", "icon action: actionLarge"});
    row("[MainWindow]\nIconSize=30", {"icon size: 30", "icon action: "});
    row("[MainWindow]\nIconSize=1", {"icon size: 1", "icon action: "});
    row("[MainWindow]\nIconSize=128", {"icon size: 128", "icon action: "});
    row("[MainWindow]\nIconSize=-1", {"icon action: "});
    row("[MainWindow]\nIconSize=0", {"icon action: "});
    row("[MainWindow]\nIconSize=text", {"icon action: "});
    row("[MainWindow]\nIconSize=", {"icon action: "});
    row("[MainWindow]\nIconSize=100000", {"icon action: "});
    row("[MainWindow]\nIconSize=2147483647", {"icon action: "});

    for (const char *const key : {"Geometry", "WindowState", "tableHeader", "tableHeaderState"}) {
        for (const char *const value :
             {"", "7", "text", "true", "1, 2, 3", "@Invalid()", "@ByteArray()", R"(@ByteArray(\0\0\0\xff))",
              R"(@Variant(\0\0\0\x7f))", "@Rect(0 0 5 5)"}) {
            row(QByteArray("[MainWindow]\n").append(key).append('=').append(value).constData());
        }
    }

    row("[MainWindow]\nFilterHistory\\size=text");
    row("[MainWindow]\nFilterHistory\\size=-1");
    row("[MainWindow]\nFilterHistory\\size=-2147483648");
    row("[MainWindow]\nFilterHistory\\size=@Invalid()");
    row("[MainWindow]\nFilterHistory=7");
    row("[MainWindow]\nFilterHistory\\1\\String=without a size");

    row("Language=7");
    row("Language=de, en");
    row("Language=@Invalid()");
    row(R"(Language=@ByteArray(\xff\xfe\0))");
}

void TestHostileSettings::takesWhatIsWritten()
{
    QFETCH(QByteArray, content);
    QFETCH(QStringList, other);
    write(content + '\n');
    start();
    QCOMPARE(look(), usualLookBut(other));
    use();
    // What it writes itself makes the same window.
    m_bench->window().close();
    m_bench.reset();
    settings::store().sync();
    settings::open(m_environment->settingsFile());
    m_bench = std::make_unique<WindowBench>();
    QCOMPARE(look(), usualLookBut(other));
}

void TestHostileSettings::startsWithoutAUsableFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QByteArray all;
    for (int i = 0; i < 256 * 64; ++i) {
        all.append(static_cast<char>(i * 31 + i / 256));
    }
    QTest::newRow("any bytes") << all;
    QTest::newRow("zeros") << QByteArray(100000, '\0');
    QTest::newRow("one long line") << QByteArray(3000000, 'x');
    QTest::newRow("brackets") << QByteArray(100000, '[');
    QTest::newRow("backslashes") << QByteArray("[MainWindow]\nGeometry=") + QByteArray(100000, '\\');
    QTest::newRow("an open quotation") << QByteArray("[MainWindow]\nFont=\"DejaVu Sans,17\n[Scan]\nPort=1\n");
    QTest::newRow("another format") << QByteArray(R"({"MainWindow": {"SortColumn": 7}})");
    QTest::newRow("UTF-16") << QByteArray("\xff\xfe[\0M\0]\0\n\0", 10);
    QTest::newRow("many groups") << QByteArray("[g]\nk=1\n").repeated(20000);
}

void TestHostileSettings::startsWithoutAUsableFile()
{
    QFETCH(QByteArray, content);
    write(content);
    start();
    QCOMPARE(look(), usualLook());
    use();
    // And there is a usable one afterwards.
    m_bench->action("actionAuto")->trigger();
    m_bench->window().close();
    m_bench.reset();
    settings::store().sync();
    settings::open(m_environment->settingsFile());
    m_bench = std::make_unique<WindowBench>();
    QCOMPARE(look(), usualLookBut({QStringLiteral("auto update: on")}));
}

void TestHostileSettings::ignoresBytesThatAreNoLook_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("state");
    for (const char *const key : {"Geometry", "WindowState", "tableHeader", "tableHeaderState"}) {
        const QString path = QLatin1String("MainWindow/") + QLatin1String(key);
        const auto row = [&](const char *name, const QByteArray &state) {
            QTest::newRow((QByteArray(key) + ", " + name).constData()) << path << state;
        };
        row("one byte", QByteArray(1, '\0'));
        row("zeros", QByteArray(10000, '\0'));
        row("ones", QByteArray(10000, '\xff'));
        row("big", QByteArray(100000, 'x'));
        row("a marker", number(0xff) + number(0));
        row("a marker and big lengths", number(0xff) + number(0) + QByteArray(400, '\x7f'));
        row("a marker and lengths", number(0xff) + number(0) + number(1).repeated(400));
        row("docks without end", number(0xff) + number(0) + '\xfd' + number(0x7fffffff));
        row("tool bars without end", number(0xff) + number(0) + '\xfd' + number(0) + QByteArray(24, '\0') +
                                         '\xfc' + number(0x7fffffff));
        row("a name without end", number(0xff) + number(0) + '\xfd' + number(0) + QByteArray(24, '\0') +
                                      '\xfc' + number(1) + number(0) + number(1) + number(0x7ffffffe));
        row("columns without end",
            number(0xff) + number(0) + number(1) + number(0) + number(0) + '\0' + number(0x7fffffff));
    }
}

void TestHostileSettings::ignoresBytesThatAreNoLook()
{
    QFETCH(QString, key);
    QFETCH(QByteArray, state);
    settings::store().setValue(key, state);
    start();
    QCOMPARE(look(), usualLook());
}

void TestHostileSettings::survivesDamagedLooks_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("damage");
    QTest::addColumn<int>("step");
    for (const char *const key : {"Geometry", "WindowState", "tableHeader", "tableHeaderState"}) {
        const auto row = [&](const char *name, const QByteArray &damage, int step) {
            QTest::newRow((QByteArray(key) + ", " + name).constData())
                << QByteArray("MainWindow/") + key << damage << step;
        };
        const int step = qstrcmp(key, "tableHeaderState") == 0 ? 53 : 9;
        row("cut off", QByteArray(), step);
        row("an endless length", number(0x7fffffff), step);
        row("a length that memory holds", number(0x00ffffff), step);
        row("a negative number", number(0xffffff00), step);
        row("a small number", number(40), step);
    }
}

void TestHostileSettings::survivesDamagedLooks()
{
    QFETCH(QByteArray, key);
    QFETCH(QByteArray, damage);
    QFETCH(int, step);
    const QByteArray state = usualState(key.constData());
    QVERIFY(state.size() > 40);
    for (int i = 0; i < state.size(); i += step) {
        QByteArray damaged = state;
        if (damage.isEmpty()) {
            damaged.truncate(i);
        } else {
            damaged.replace(i, damage.size(), damage);
        }
        settings::store().clear();
        settings::store().setValue(QLatin1String(key), damaged);
        m_work.restart();
        MainWindow window{QString()};
        window.show();
        QVERIFY(!window.grab().isNull());
        const auto *const list = window.findChild<QTreeWidget *>(QStringLiteral("devList"));
        QVERIFY2(list->header()->count() == 27, qPrintable(QString::number(i)));
        QVERIFY2(isAffordable(), (QByteArray::number(i) + ": " + cost()).constData());
    }
}

void TestHostileSettings::takesAHeaderOfFewerColumns()
{
    QTreeWidget older;
    older.setColumnCount(20);
    older.setColumnWidth(1, 123);
    older.setColumnHidden(0, true);
    for (int i = 5; i < 20; ++i) {
        older.setColumnHidden(i, true);
    }
    older.header()->moveSection(4, 0);
    settings::setValue(settings::tableHeaderState, older.header()->saveState());
    start();
    QCOMPARE(m_bench->list().header()->count(), 27);
    QCOMPARE(m_bench->list().columnWidth(1), 123);
    // Those that are new show.
    QCOMPARE(shownColumns(), QStringLiteral("4 1 2 3 20 21 22 23 24 25 26"));
}

void TestHostileSettings::ignoresAHeaderOfMoreColumns()
{
    QTreeWidget newer;
    newer.setColumnCount(28);
    newer.setColumnWidth(1, 123);
    newer.setColumnHidden(0, true);
    settings::setValue(settings::tableHeaderState, newer.header()->saveState());
    start();
    QCOMPARE(m_bench->list().header()->count(), 27);
    QCOMPARE(look(), usualLook());
}

void TestHostileSettings::showsAColumnWhereAllAreHidden()
{
    QTreeWidget list;
    list.setColumnCount(27);
    for (int i = 0; i < 27; ++i) {
        list.setColumnHidden(i, true);
    }
    settings::setValue(settings::tableHeaderState, list.header()->saveState());
    start();
    QCOMPARE(shownColumns(), QStringLiteral("0"));
    QVERIFY(m_bench->list().columnWidth(0) > 0);
    QCOMPARE(find<QMenu>("menuVisible_columns")->actions().at(0)->isChecked(), true);
}

void TestHostileSettings::widensColumnsWithoutWidth()
{
    QTreeWidget list;
    list.setColumnCount(27);
    list.header()->setMinimumSectionSize(0);
    list.header()->setStretchLastSection(false);
    for (int i = 0; i < 27; ++i) {
        list.setColumnWidth(i, 0);
    }
    settings::setValue(settings::tableHeaderState, list.header()->saveState());
    start();
    QCOMPARE(m_bench->list().header()->count(), 27);
    m_bench->trigger("actionResize_columns");
    for (int i = 0; i < 27; ++i) {
        QVERIFY2(m_bench->list().columnWidth(i) > 10, qPrintable(QString::number(i)));
    }
}

void TestHostileSettings::staysOnTheScreen_data()
{
    QTest::addColumn<QRect>("place");
    QTest::newRow("far to the right") << QRect(100000, 100, 435, 293);
    QTest::newRow("far to the left") << QRect(-100000, 100, 435, 293);
    QTest::newRow("far down") << QRect(100, 100000, 435, 293);
    QTest::newRow("huge") << QRect(0, 0, 100000, 100000);
    QTest::newRow("without an area") << QRect(100, 100, 0, 0);
    QTest::newRow("turned inside out") << QRect(100, 100, -50, -50);
}

void TestHostileSettings::staysOnTheScreen()
{
    QFETCH(QRect, place);
    QByteArray geometry;
    QDataStream stream(&geometry, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_4_0);
    stream << quint32(0x1D9D0CB) << quint16(3) << quint16(0) << place << place << qint32(0) << quint8(0)
           << quint8(0) << qint32(800) << place;
    settings::setValue(settings::windowGeometry, geometry);
    start();
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    const QRect window = m_bench->window().geometry();
    const QRect inSight = window.intersected(screen);
    QVERIFY2(inSight.width() > 60 && inSight.height() > 60, qPrintable(textOf(window)));
    QVERIFY2(window.width() <= screen.width() && window.height() <= screen.height(),
             qPrintable(textOf(window)));
}

void TestHostileSettings::readsOnlyPatternsThatAreThere_data()
{
    QTest::addColumn<QByteArray>("size");
    QTest::addColumn<int>("entries");
    QTest::addColumn<int>("read");
    QTest::newRow("a million announced") << QByteArray("1000000") << 3 << 3;
    QTest::newRow("two thousand million announced") << QByteArray("2147483647") << 3 << 3;
    QTest::newRow("none there") << QByteArray("1000000") << 0 << 0;
    QTest::newRow("fewer announced") << QByteArray("2") << 3 << 2;
    QTest::newRow("more than are kept") << QByteArray("25") << 25 << 25;
    QTest::newRow("thirty thousand") << QByteArray("30000") << 30000 << 30000;
}

void TestHostileSettings::readsOnlyPatternsThatAreThere()
{
    QFETCH(QByteArray, size);
    QFETCH(int, entries);
    QFETCH(int, read);
    QByteArray content("[MainWindow]\nFilterHistory\\size=" + size + '\n');
    for (int i = 1; i <= entries; ++i) {
        const QByteArray index = QByteArray::number(i);
        content += "FilterHistory\\" + index + "\\String=pattern " + index + '\n';
    }
    write(content);
    start();
    const QStringList found = patterns();
    QCOMPARE(found.size(), read);
    for (int i = 0; i < read; ++i) {
        QCOMPARE(found.at(i), QStringLiteral("pattern %1").arg(i + 1));
    }
}

void TestHostileSettings::readsHugePatterns()
{
    write("[MainWindow]\nFilterHistory\\size=2\nFilterHistory\\1\\String=" + QByteArray(1000000, 'x') +
          "\nFilterHistory\\2\\String=\"" + QByteArray(20000, '(') + "\"\n");
    start();
    QCOMPARE(patterns().size(), 2);
    QCOMPARE(patterns().constFirst().size(), 1000000);
}

void TestHostileSettings::replacesADamagedHistory()
{
    write("[MainWindow]\nFilterHistory\\size=1000000\nFilterHistory\\1\\String=one\n"
          "FilterHistory\\3\\String=three\nFilterHistory\\x\\String=no number\n");
    start();
    m_bench->trigger("actionFilter");
    find<QToolBar>("filterToolBar")->findChild<QLineEdit *>()->setText(QStringLiteral("new"));
    m_bench->trigger("actionApply");
    QCOMPARE(patterns(), lines({"new", "one", "three"}));
    settings::store().sync();
    QFile file(m_environment->settingsFile());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray written = file.readAll();
    QVERIFY2(written.contains("FilterHistory\\size=3\n"), written.constData());
    QVERIFY2(!written.contains("no number"), written.constData());
}

void TestHostileSettings::asksForNoFileElsewhere_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("a path upwards") << QStringLiteral("../../x");
    QTest::newRow("an absolute path") << QStringLiteral("/etc/passwd");
    QTest::newRow("a format") << QStringLiteral("%1%n%s");
    QTest::newRow("markup") << QStringLiteral("<img src=x>");
    QTest::newRow("a zero byte") << QStringLiteral("en") + QChar(0) + QStringLiteral("de");
    QTest::newRow("very long") << QString(1000000, QLatin1Char('d'));
}

void TestHostileSettings::asksForNoFileElsewhere()
{
    QFETCH(QString, language);
    settings::setValue(settings::language, language);
    start();
    QCOMPARE(look(), usualLook());
    QCOMPARE(m_bench->list().headerItem()->text(0), QStringLiteral("System name"));
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 0/0"));
    QCOMPARE(settings::value(settings::language), language);
}

NEMBRA_GUI_TEST_MAIN(TestHostileSettings)
#include "tst_hostilesettings.moc"

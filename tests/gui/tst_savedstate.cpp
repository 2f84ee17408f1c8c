#include "widgets/savedstate.h"

#include <QApplication>
#include <QHeaderView>
#include <QMainWindow>
#include <QToolBar>
#include <QTreeWidget>
#include <QtTest>

#include <functional>
#include <memory>

namespace {

constexpr int columns = 27;

using HeaderChange = std::function<void(QTreeWidget &)>;
using WindowChange = std::function<void(QMainWindow &)>;

QByteArray headerState(const HeaderChange &change, int count = columns)
{
    QTreeWidget list;
    list.setColumnCount(count);
    change(list);
    return list.header()->saveState();
}

std::unique_ptr<QMainWindow> windowWithToolBars()
{
    auto window = std::make_unique<QMainWindow>();
    for (const char *const name : {"mainToolBar", "filterToolBar"}) {
        auto *const bar = new QToolBar(window.get());
        bar->setObjectName(QLatin1String(name));
        window->addToolBar(Qt::TopToolBarArea, bar);
    }
    return window;
}

QToolBar *barOf(const QMainWindow &window, const char *name)
{
    return window.findChild<QToolBar *>(QLatin1String(name));
}

/// States that are cut off, or differ in one or four bytes, anywhere.
QList<QByteArray> damagedCopies(const QByteArray &state)
{
    QList<QByteArray> copies;
    for (int i = 0; i < state.size(); ++i) {
        copies += state.left(i);
        for (const char *const hex : {"00", "1b", "1c", "7f", "ff", "7fffffff", "ffffffff", "00ffffff"}) {
            QByteArray copy = state;
            const QByteArray damage = QByteArray::fromHex(hex);
            copy.replace(i, damage.size(), damage);
            copies += copy;
        }
    }
    return copies;
}

} // namespace

Q_DECLARE_METATYPE(HeaderChange)
Q_DECLARE_METATYPE(WindowChange)

class TestSavedState : public QObject
{
    Q_OBJECT

private slots:
    void readsFonts_data();
    void readsFonts();
    void takesTheHeadersThatQtWrites_data();
    void takesTheHeadersThatQtWrites();
    void restoresTheHeadersOfOtherVersions_data();
    void restoresTheHeadersOfOtherVersions();
    void takesNoHeaderOfMoreColumns();
    void takesNoOtherHeader_data();
    void takesNoOtherHeader();
    void takesNoHeaderThatQtCannotRestore_data();
    void takesNoHeaderThatQtCannotRestore();

    void takesTheWindowsThatQtWrites_data();
    void takesTheWindowsThatQtWrites();
    void takesNoOtherWindow_data();
    void takesNoOtherWindow();
    void takesNoWindowThatQtCannotRestore();
};

void TestSavedState::readsFonts_data()
{
    QTest::addColumn<QString>("description");
    QTest::addColumn<int>("points");
    QTest::addColumn<int>("shown");
    QTest::newRow("nothing stored") << QString() << 12 << 12;
    QTest::newRow("no size") << QString() << 0 << 9;
    QTest::newRow("below all sizes") << QString() << -1 << 9;
    QTest::newRow("the biggest size") << QString() << 512 << 512;
    QTest::newRow("beyond it") << QString() << 513 << 9;
    QTest::newRow("a description") << QStringLiteral("Sans,15,-1,5,50,0,0,0,0,0") << 12 << 15;
    QTest::newRow("of the biggest size") << QStringLiteral("Sans,512,-1,5,50,0,0,0,0,0") << 12 << 512;
    QTest::newRow("of one beyond") << QStringLiteral("Sans,513,-1,5,50,0,0,0,0,0") << 12 << 12;
    QTest::newRow("of the biggest pixels") << QStringLiteral("Sans,-1,512,5,50,0,0,0,0,0") << 12 << 512;
    QTest::newRow("of pixels beyond") << QStringLiteral("Sans,-1,513,5,50,0,0,0,0,0") << 12 << 12;
    QTest::newRow("of no size") << QStringLiteral("Sans,-1,-1,5,50,0,0,0,0,0") << 12 << 12;
    QTest::newRow("of nothing") << QStringLiteral("a,b") << 12 << 12;
}

void TestSavedState::readsFonts()
{
    QFETCH(QString, description);
    QFETCH(int, points);
    const QFont font = savedstate::fontOf(description, points, QFont());
    QTEST(font.pixelSize() > 0 ? font.pixelSize() : font.pointSize(), "shown");
}

void TestSavedState::takesTheHeadersThatQtWrites_data()
{
    QTest::addColumn<HeaderChange>("change");
    QTest::addColumn<int>("count");
    const auto row = [](const char *name, const HeaderChange &change, int count = columns) {
        QTest::newRow(name) << change << count;
    };
    row("as made", [](QTreeWidget &) {});
    row("hidden columns", [](QTreeWidget &list) {
        list.setColumnHidden(0, true);
        list.setColumnHidden(26, true);
    });
    row("all hidden", [](QTreeWidget &list) {
        for (int i = 0; i < columns; ++i) {
            list.setColumnHidden(i, true);
        }
    });
    row("moved columns", [](QTreeWidget &list) {
        list.header()->moveSection(26, 0);
        list.header()->moveSection(5, 9);
    });
    row("a moved and hidden column", [](QTreeWidget &list) {
        list.header()->moveSection(2, 20);
        list.setColumnHidden(2, true);
    });
    row("widths", [](QTreeWidget &list) {
        list.setColumnWidth(3, 1);
        list.setColumnWidth(4, 20000);
    });
    row("no width", [](QTreeWidget &list) {
        list.header()->setMinimumSectionSize(0);
        list.setColumnWidth(3, 0);
    });
    row("sorted", [](QTreeWidget &list) {
        list.setSortingEnabled(true);
        list.sortByColumn(26, Qt::DescendingOrder);
    });
    row("not sorted", [](QTreeWidget &list) {
        list.setSortingEnabled(true);
        list.sortByColumn(-1, Qt::AscendingOrder);
    });
    row("sorted by what is no column", [](QTreeWidget &list) {
        // As it is in a table that gets its columns after its header.
        list.setSortingEnabled(true);
        list.header()->setSortIndicator(columns, Qt::AscendingOrder);
    });
    row("a big font", [](QTreeWidget &list) {
        QFont font;
        font.setPointSize(200);
        list.setFont(font);
        list.header()->setFont(font);
        list.show();
    });
    row(
        "one column", [](QTreeWidget &) {}, 1);
    row(
        "fewer columns, moved and hidden",
        [](QTreeWidget &list) {
            list.header()->moveSection(19, 0);
            list.setColumnHidden(3, true);
        },
        20);
}

void TestSavedState::takesTheHeadersThatQtWrites()
{
    QFETCH(HeaderChange, change);
    QFETCH(int, count);
    const QByteArray state = headerState(change, count);
    QVERIFY(savedstate::fitsHeader(state, columns));
    // What a version to come adds is not looked at; what older ones of Qt 5 did not know yet may be missing:
    // a number, a switch, a number.
    QVERIFY(savedstate::fitsHeader(state + "more", columns));
    for (int i = 0; i < state.size(); ++i) {
        const bool olderEnd = i == state.size() - 9 || i == state.size() - 5 || i == state.size() - 4;
        QVERIFY2(savedstate::fitsHeader(state.left(i), columns) == olderEnd, qPrintable(QString::number(i)));
    }
}

void TestSavedState::restoresTheHeadersOfOtherVersions_data()
{
    QTest::addColumn<int>("cut");
    QTest::addColumn<QByteArray>("added");
    QTest::newRow("without the last size") << 4 << QByteArray();
    QTest::newRow("without the switch") << 5 << QByteArray();
    QTest::newRow("without the precision") << 9 << QByteArray();
    QTest::newRow("with more") << 0 << QByteArray("more");
}

void TestSavedState::restoresTheHeadersOfOtherVersions()
{
    QFETCH(int, cut);
    QFETCH(QByteArray, added);
    QByteArray state = headerState(
        [](QTreeWidget &list) {
            list.header()->resizeSection(2, 321);
            list.header()->moveSection(4, 0);
            list.setColumnHidden(7, true);
        },
        columns);
    state.chop(cut);
    state += added;
    QVERIFY(savedstate::fitsHeader(state, columns));
    QTreeWidget list;
    list.setColumnCount(columns);
    QVERIFY(list.header()->restoreState(state));
    QCOMPARE(list.columnWidth(2), 321);
    QCOMPARE(list.header()->visualIndex(4), 0);
    QVERIFY(list.isColumnHidden(7));
}

void TestSavedState::takesNoHeaderOfMoreColumns()
{
    const QByteArray state = headerState([](QTreeWidget &) {}, columns + 1);
    QVERIFY(!savedstate::fitsHeader(state, columns));
    QVERIFY(savedstate::fitsHeader(state, columns + 1));
}

void TestSavedState::takesNoOtherHeader_data()
{
    QTest::addColumn<QByteArray>("state");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("text") << QByteArray("plain text");
    QTest::newRow("zeros") << QByteArray(607, '\0');
    QTest::newRow("a window") << windowWithToolBars()->saveState();
    QTreeWidget list;
    list.setColumnCount(columns);
    QTest::newRow("a geometry") << list.header()->saveGeometry();
    QHeaderView vertical(Qt::Vertical);
    QTest::newRow("a header of rows") << vertical.saveState();
    QByteArray beyond = headerState([](QTreeWidget &made) {
        made.setColumnHidden(0, true);
        made.setColumnHidden(26, true);
    });
    QTest::newRow("a column hidden that isn't there")
        << beyond.replace(QByteArray::fromHex("0000001B01000004"), QByteArray::fromHex("0000001B01000024"));
    // All its columns are to come.
    QByteArray negative =
        headerState([](QTreeWidget &made) { made.header()->setDefaultSectionSize(0x1ABCD); }, 0);
    QTest::newRow("columns of negative width")
        << negative.replace(QByteArray::fromHex("0001ABCD"), QByteArray::fromHex("FFFFFFFF"));
}

void TestSavedState::takesNoOtherHeader()
{
    QFETCH(QByteArray, state);
    QVERIFY(!savedstate::fitsHeader(state, columns));
}

void TestSavedState::takesNoHeaderThatQtCannotRestore_data()
{
    QTest::addColumn<QByteArray>("state");
    QTest::newRow("as made") << headerState([](QTreeWidget &) {});
    const HeaderChange change = [](QTreeWidget &list) {
        list.header()->moveSection(19, 0);
        list.setColumnHidden(3, true);
    };
    QTest::newRow("moved and hidden") << headerState(change);
    QTest::newRow("fewer columns, moved and hidden") << headerState(change, 20);
}

void TestSavedState::takesNoHeaderThatQtCannotRestore()
{
    QFETCH(QByteArray, state);
    int taken = 0;
    const QList<QByteArray> copies = damagedCopies(state);
    QTreeWidget list;
    list.setColumnCount(columns);
    for (const QByteArray &copy : copies) {
        if (!savedstate::fitsHeader(copy, columns)) {
            continue;
        }
        ++taken;
        list.header()->restoreState(copy);
        QCOMPARE(list.header()->count(), columns);
        for (int i = 0; i < columns; ++i) {
            QCOMPARE(list.header()->logicalIndex(list.header()->visualIndex(i)), i);
            QVERIFY(list.header()->sectionSize(i) >= 0);
        }
    }
    list.resizeColumnToContents(0);
    QVERIFY(savedstate::fitsHeader(list.header()->saveState(), columns));
    // Another width or alignment is as good as the one before.
    QVERIFY(taken > 0);
    QVERIFY(taken < copies.size() / 2);
}

void TestSavedState::takesTheWindowsThatQtWrites_data()
{
    QTest::addColumn<WindowChange>("change");
    const auto row = [](const char *name, const WindowChange &change) { QTest::newRow(name) << change; };
    row("as made", [](QMainWindow &) {});
    row("shown", [](QMainWindow &window) { window.show(); });
    row("a hidden tool bar", [](QMainWindow &window) {
        window.show();
        barOf(window, "mainToolBar")->hide();
    });
    row("another side",
        [](QMainWindow &window) { window.addToolBar(Qt::BottomToolBarArea, barOf(window, "mainToolBar")); });
    row("two lines", [](QMainWindow &window) { window.insertToolBarBreak(barOf(window, "filterToolBar")); });
    row("all sides", [](QMainWindow &window) {
        for (const auto area : {Qt::LeftToolBarArea, Qt::RightToolBarArea, Qt::BottomToolBarArea}) {
            auto *const bar = new QToolBar(&window);
            bar->setObjectName(QStringLiteral("bar%1").arg(area));
            window.addToolBar(area, bar);
        }
    });
    row("no tool bar", [](QMainWindow &window) { qDeleteAll(window.findChildren<QToolBar *>()); });
    row("full screen", [](QMainWindow &window) { window.showFullScreen(); });
}

void TestSavedState::takesTheWindowsThatQtWrites()
{
    QFETCH(WindowChange, change);
    const auto window = windowWithToolBars();
    change(*window);
    const QByteArray state = window->saveState();
    QVERIFY2(savedstate::fitsWindow(state), state.toHex().constData());
    QVERIFY(!savedstate::fitsWindow(state + '\0'));
    for (int i = 0; i < state.size(); ++i) {
        QVERIFY2(!savedstate::fitsWindow(state.left(i)), qPrintable(QString::number(i)));
    }
}

void TestSavedState::takesNoOtherWindow_data()
{
    QTest::addColumn<QByteArray>("state");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("text") << QByteArray("plain text");
    QTest::newRow("zeros") << QByteArray(200, '\0');
    QTest::newRow("a header") << headerState([](QTreeWidget &) {});
    QTest::newRow("another version") << windowWithToolBars()->saveState(1);
    const auto window = windowWithToolBars();
    QTest::newRow("a geometry") << window->saveGeometry();
}

void TestSavedState::takesNoOtherWindow()
{
    QFETCH(QByteArray, state);
    QVERIFY(!savedstate::fitsWindow(state));
}

void TestSavedState::takesNoWindowThatQtCannotRestore()
{
    int taken = 0;
    const QList<QByteArray> copies = damagedCopies(windowWithToolBars()->saveState());
    for (const QByteArray &copy : copies) {
        if (!savedstate::fitsWindow(copy)) {
            continue;
        }
        ++taken;
        const auto window = windowWithToolBars();
        window->restoreState(copy);
        QVERIFY(barOf(*window, "mainToolBar"));
        QVERIFY(savedstate::fitsWindow(window->saveState()));
    }
    QVERIFY(taken > 0);
    QVERIFY(taken < copies.size());
}

QTEST_MAIN(TestSavedState)
#include "tst_savedstate.moc"

#include "common/plainline.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "device/devicelist.h"
#include "device/timespan.h"
#include "testenvironment.h"
#include "widgets/contrast.h"

#include <QAccessible>
#include <QApplication>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QImage>
#include <QItemSelectionModel>
#include <QPaintEvent>
#include <QRegion>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>

namespace {

/// Milliseconds for what the list does by itself, and a device for its answer.
constexpr int patience = 20000;
constexpr int rowCount = 12;

/// Cells as the toolkit paints them: what the list's own delegate must look like.
class ToolkitDelegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QString displayText(const QVariant &value, const QLocale &locale) const override
    {
        return plainLine(QStyledItemDelegate::displayText(value, locale), 256);
    }

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        // Whether the text can be read on the colour of an age is asked elsewhere.
        for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
            option->palette.setColor(group, QPalette::Text,
                                     contrast::readable(option->palette.color(group, QPalette::Text),
                                                        option->backgroundBrush.color()));
        }
    }
};

/// Steps of 0 to 255 by which a pixel may differ, for the sake of antialiasing.
constexpr int antialiasing = 24;

/// The pixels of which a colour differs by more than antialiasing.
int differences(const QImage &one, const QImage &other)
{
    int count = 0;
    for (int y = 0; y < one.height(); ++y) {
        const auto *const left = reinterpret_cast<const QRgb *>(one.constScanLine(y));
        const auto *const right = reinterpret_cast<const QRgb *>(other.constScanLine(y));
        for (int x = 0; x < one.width(); ++x) {
            const int distance = std::max({std::abs(qRed(left[x]) - qRed(right[x])),
                                           std::abs(qGreen(left[x]) - qGreen(right[x])),
                                           std::abs(qBlue(left[x]) - qBlue(right[x]))});
            count += distance > antialiasing ? 1 : 0;
        }
    }
    return count;
}

QPalette paletteOf(const QColor &text, const QColor &base, const QColor &highlight,
                   const QColor &highlightedText)
{
    QPalette palette;
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::Window, base);
    palette.setColor(QPalette::Highlight, highlight);
    palette.setColor(QPalette::HighlightedText, highlightedText);
    palette.setColor(QPalette::Disabled, QPalette::Text, Qt::gray);
    return palette;
}

/// Counts how often a list is painted.
class PaintCounter final : public QObject
{
public:
    explicit PaintCounter(QAbstractItemView &list) { list.viewport()->installEventFilter(this); }
    int count() const { return m_count; }
    QRegion painted() const { return m_painted; }
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint) {
            ++m_count;
            m_painted += static_cast<QPaintEvent *>(event)->region();
        }
        return QObject::eventFilter(watched, event);
    }

private:
    int m_count = 0;
    QRegion m_painted;
};

} // namespace

Q_DECLARE_METATYPE(std::function<void(DeviceList &)>)

/// The list by itself: what it paints, in which order its rows are, and what that costs.
class TestDeviceList : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void looksAsTheToolkitPaints_data();
    void looksAsTheToolkitPaints();
    void takesUpANewLook_data();
    void takesUpANewLook();
    void paintsColumnsWhereTheyAre();

    void ordersAsTheToolkit_data();
    void ordersAsTheToolkit();
    void sortsABurstOfRowsOnce();
    void sortsALongListSoonAgain();
    void sortsOnlyWhatIsSortedBy();
    void sortsAtOnceForTheUser();
    void leavesRowsInTheOrderOfTheirComing();

    void announcesNoCell();
    void paintsABurstAFewTimes();
    void showsAChangeWhenAtRest();
    void showsAnAgeWhenAtRest();
    void paintsTheWholeOfASingleRow();
    void paintsItsHeaderWithoutLookingAtRows();
    void paintsLongTextsAsTheirBeginning();
    void removesRows_data();
    void removesRows();
    void goesUpFromTheLastRow();
    void readsOutWhatIsShown_data();
    void readsOutWhatIsShown();
    void namesItsColumnCount();

private:
    void fill();
    void show();
    /// Waits until all that changed is taken up.
    bool rests() const
    {
        return QTest::qWaitFor([this] { return !m_list->hasChanges(); }, patience);
    }
    /// Waits until the next change is taken up at once.
    void awaitEndOfPause() const;
    QStringList column(int column) const;
    DeviceItem *addRow(const QString &name);
    QImage picture(qreal ratio);

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<DeviceList> m_list;
    QPalette m_palette;
};

void TestDeviceList::init()
{
    m_palette = QApplication::palette();
    m_environment = std::make_unique<TestEnvironment>();
    m_list = std::make_unique<DeviceList>();
    m_list->setColumnCount(Column::Count);
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setAllColumnsShowFocus(true);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->sortByColumn(Column::SystemName, Qt::AscendingOrder);
    m_list->resize(1900, 280);
}

void TestDeviceList::cleanup()
{
    m_list.reset();
    QApplication::setPalette(m_palette);
    QApplication::setLayoutDirection(Qt::LeftToRight);
    m_environment.reset();
}

void TestDeviceList::fill()
{
    const QStringList texts{QStringLiteral("attic"),
                            QStringLiteral("a name that is much too long for its column"),
                            QStringLiteral("Dachgeschoss groß"),
                            QStringLiteral("two\nlines\tand\u2028more"),
                            QStringLiteral("\u05e9\u05dc\u05d5\u05dd abc"),
                            QStringLiteral("21.5 °C ↥"),
                            QStringLiteral("<b>bold</b> & more"),
                            QString()};
    for (int row = 0; row < rowCount; ++row) {
        auto *const item = new DeviceItem;
        for (int column = 0; column < Column::Count; ++column) {
            item->setText(column, texts.at((row + column) % texts.size()));
        }
        const QDateTime time(QDate(2026, 11, 22), QTime(2, 35, 33, 719));
        item->setData(Column::FirstSeen, Qt::DisplayRole, time);
        item->setData(Column::LastSeen, Qt::DisplayRole, time.addDays(row));
        item->setData(Column::HistoryStart, Qt::DisplayRole, row == 3 ? QDateTime() : time.addYears(-row));
        item->setData(Column::Uptime, Qt::DisplayRole, QVariant::fromValue(Timespan{row, 2, 3, 4}));
        item->device().addAge(row % 6);
        item->device().resetDiscoveryAge();
        m_list->addRow(item);
    }
}

QImage TestDeviceList::picture(qreal ratio)
{
    QWidget *const viewport = m_list->viewport();
    QImage image(viewport->size() * ratio, QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::magenta);
    viewport->render(&image);
    return image;
}

void TestDeviceList::show()
{
    m_list->show();
    QVERIFY(QTest::qWaitForWindowActive(m_list.get()));
    QVERIFY(rests());
}

void TestDeviceList::awaitEndOfPause() const
{
    // The pause between two paints is a time, and this one is longer.
    QVERIFY(rests());
    QElapsedTimer sinceRest;
    sinceRest.start();
    QTRY_VERIFY_WITH_TIMEOUT(sinceRest.hasExpired(100), patience);
    QVERIFY(rests());
}

QStringList TestDeviceList::column(int column) const
{
    QStringList texts;
    for (int row = 0; row < m_list->topLevelItemCount(); ++row) {
        texts += m_list->topLevelItem(row)->text(column);
    }
    return texts;
}

DeviceItem *TestDeviceList::addRow(const QString &name)
{
    auto *const item = new DeviceItem;
    item->setText(Column::SystemName, name);
    m_list->addRow(item);
    return item;
}

void TestDeviceList::looksAsTheToolkitPaints_data()
{
    const QPalette light = paletteOf(Qt::black, Qt::white, QColor(48, 140, 198), Qt::white);
    const QPalette dark = paletteOf(Qt::white, QColor(35, 35, 35), QColor(42, 130, 218), Qt::black);
    const QPalette contrast = paletteOf(Qt::yellow, Qt::black, Qt::yellow, Qt::black);
    QTest::addColumn<QPalette>("palette");
    QTest::addColumn<QString>("locale");
    QTest::addColumn<qreal>("ratio");
    QTest::addColumn<QString>("state");
    const auto add = [](const char *name, const QPalette &palette, const char *locale, qreal ratio,
                        const char *state) {
        QTest::newRow(name) << palette << QString::fromLatin1(locale) << ratio << QString::fromLatin1(state);
    };
    add("light, English", light, "en", 1.0, "plain");
    add("light, German", light, "de", 1.0, "plain");
    add("dark, English", dark, "en", 1.0, "plain");
    add("dark, German", dark, "de", 1.0, "plain");
    add("high contrast", contrast, "en", 1.0, "plain");
    add("light, all selected", light, "en", 1.0, "selected");
    add("dark, all selected", dark, "de", 1.0, "selected");
    add("high contrast, all selected", contrast, "en", 1.0, "selected");
    add("some selected, a current row", light, "en", 1.0, "focus");
    add("disabled", light, "en", 1.0, "disabled");
    add("alternating", light, "en", 1.0, "alternating");
    add("right to left", light, "en", 1.0, "mirrored");
    add("wide columns", light, "en", 1.0, "wide");
    add("narrow columns", light, "en", 1.0, "narrow");
    add("another font", light, "en", 1.0, "font");
    add("one and a half times as big", light, "en", 1.5, "plain");
    add("twice as big", light, "en", 2.0, "plain");
    add("twice as big, dark, selected", dark, "de", 2.0, "selected");
}

void TestDeviceList::looksAsTheToolkitPaints()
{
    QFETCH(QPalette, palette);
    QFETCH(QString, locale);
    QFETCH(qreal, ratio);
    QFETCH(QString, state);
    QApplication::setPalette(palette);
    m_list->setLocale(QLocale(locale));
    fill();
    const QHash<QString, int> widths{{QStringLiteral("wide"), 300}, {QStringLiteral("narrow"), 9}};
    for (int i = 0; i < Column::Count; ++i) {
        m_list->setColumnWidth(i, widths.value(state, 70));
    }
    if (state == QLatin1String("mirrored")) {
        m_list->setLayoutDirection(Qt::RightToLeft);
    } else if (state == QLatin1String("alternating")) {
        m_list->setAlternatingRowColors(true);
    } else if (state == QLatin1String("font")) {
        m_list->setFont(QFont(QStringLiteral("monospace"), 14, QFont::Bold, true));
    } else if (state == QLatin1String("selected")) {
        m_list->selectAll();
    }
    m_list->show();
    QVERIFY(QTest::qWaitForWindowActive(m_list.get()));
    if (state == QLatin1String("focus")) {
        m_list->setFocus();
        m_list->setCurrentItem(m_list->topLevelItem(4), 0);
        m_list->topLevelItem(6)->setSelected(true);
    }
    m_list->setEnabled(state != QLatin1String("disabled"));
    const QImage ours = picture(ratio);
    m_list->setItemDelegate(new ToolkitDelegate(m_list.get()));
    const QImage theirs = picture(ratio);
    // A picture with something in it.
    QVERIFY(differences(theirs, QImage(theirs.size(), theirs.format())) > 1000);
    // Between whole pixels a letter here and there is rounded the other way.
    const int rounded = ratio > std::floor(ratio) ? ours.width() * ours.height() / 5000 : 0;
    const int different = differences(ours, theirs);
    QVERIFY2(different <= rounded, qPrintable(QString::number(different)));
}

void TestDeviceList::takesUpANewLook_data()
{
    QTest::addColumn<std::function<void(DeviceList &)>>("change");
    const auto add = [](const char *name, const std::function<void(DeviceList &)> &change) {
        QTest::newRow(name) << change;
    };
    add("palette", [](DeviceList &) {
        QApplication::setPalette(paletteOf(Qt::white, Qt::black, Qt::blue, Qt::yellow));
    });
    add("font", [](DeviceList &list) { list.setFont(QFont(QStringLiteral("serif"), 13)); });
    add("locale", [](DeviceList &list) { list.setLocale(QLocale(QStringLiteral("de"))); });
    add("direction", [](DeviceList &list) { list.setLayoutDirection(Qt::RightToLeft); });
    add("width of a column", [](DeviceList &list) { list.setColumnWidth(Column::Ip, 33); });
    add("elided in the middle", [](DeviceList &list) { list.setTextElideMode(Qt::ElideMiddle); });
}

void TestDeviceList::takesUpANewLook()
{
    QFETCH(std::function<void(DeviceList &)>, change);
    m_list->setLocale(QLocale(QStringLiteral("en")));
    fill();
    show();
    const QImage before = picture(1.0);
    change(*m_list);
    m_list->doItemsLayout();
    const QImage ours = picture(1.0);
    QVERIFY(differences(ours, before) > 0);
    m_list->setItemDelegate(new ToolkitDelegate(m_list.get()));
    QCOMPARE(differences(ours, picture(1.0)), 0);
}

void TestDeviceList::paintsColumnsWhereTheyAre()
{
    fill();
    show();
    m_list->header()->moveSection(20, 1);
    m_list->setColumnHidden(Column::Mac, true);
    m_list->resize(600, 300);
    m_list->horizontalScrollBar()->setValue(137);
    m_list->topLevelItem(2)->setHidden(true);
    QVERIFY(rests());
    const QImage ours = picture(1.0);
    m_list->setItemDelegate(new ToolkitDelegate(m_list.get()));
    QCOMPARE(differences(ours, picture(1.0)), 0);
}

void TestDeviceList::ordersAsTheToolkit_data()
{
    QTest::addColumn<QVariantList>("values");
    QTest::newRow("names") << QVariantList{QStringLiteral("roof"),     QStringLiteral("Attic"),
                                           QStringLiteral("attic 10"), QStringLiteral("attic 2"),
                                           QString(QLatin1String("")), QStringLiteral("Zoo"),
                                           QStringLiteral("äther"),    QStringLiteral("ß"),
                                           QStringLiteral("-a"),       QStringLiteral("a")};
    QTest::newRow("addresses") << QVariantList{QStringLiteral("10.0.0.9"), QStringLiteral("10.0.0.10"),
                                               QStringLiteral("9.1.1.1"), QStringLiteral("10.0.0.9"),
                                               QString(QLatin1String(""))};
    const QDateTime time(QDate(2026, 10, 25), QTime(2, 30), Qt::LocalTime);
    QTest::newRow("times") << QVariantList{
        time,      time.addSecs(-3600), QDateTime(), time.addMSecs(1), time.addYears(-30), time.addDays(200),
        QVariant()};
    QTest::newRow("times beyond all calendars")
        << QVariantList{time,
                        QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC),
                        QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::max(), Qt::UTC),
                        QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::min() + 1, Qt::UTC),
                        QDateTime(QDate(9999, 12, 31), QTime(23, 59), Qt::UTC),
                        QVariant(),
                        QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC)};
    QTest::newRow("time spans") << QVariantList{
        QVariant::fromValue(Timespan{10, 1, 1, 1}), QVariant::fromValue(Timespan{9, 1, 1, 1}), QVariant(),
        QVariant::fromValue(Timespan{0, 0, 0, 0}), QVariant::fromValue(Timespan{10, 1, 1, 0})};
    QTest::newRow("never set and empty") << QVariantList{
        QStringLiteral("b"), QVariant(), QString(QLatin1String("")), QString(), QStringLiteral("a")};
    QTest::newRow("equal") << QVariantList{QStringLiteral("a"), QStringLiteral("a"), QStringLiteral("a"),
                                           QStringLiteral("a")};
}

void TestDeviceList::ordersAsTheToolkit()
{
    QFETCH(QVariantList, values);
    QTreeWidget toolkit;
    toolkit.setColumnCount(Column::Count);
    for (int i = 0; i < values.size(); ++i) {
        auto *const plain = new QTreeWidgetItem(&toolkit);
        DeviceItem *const row = addRow(QString::number(i));
        plain->setText(Column::SystemName, QString::number(i));
        // What was never set stays so.
        if (values.at(i).isValid()) {
            plain->setData(Column::Type, Qt::DisplayRole, values.at(i));
            row->setData(Column::Type, Qt::DisplayRole, values.at(i));
        }
    }
    for (const Qt::SortOrder order : {Qt::DescendingOrder, Qt::AscendingOrder}) {
        toolkit.sortItems(Column::Type, order);
        m_list->sortByColumn(Column::Type, order);
        QStringList expected;
        for (int row = 0; row < toolkit.topLevelItemCount(); ++row) {
            expected += toolkit.topLevelItem(row)->text(Column::SystemName);
        }
        QCOMPARE(column(Column::SystemName), expected);
    }
}

void TestDeviceList::sortsABurstOfRowsOnce()
{
    show();
    m_list->sortByColumn(Column::SystemName, Qt::AscendingOrder);
    const QSignalSpy sorted(m_list->model(), &QAbstractItemModel::layoutChanged);
    constexpr int rows = 500;
    QStringList expected;
    for (int i = 0; i < rows; ++i) {
        const QString name = QStringLiteral("device %1").arg((i * 7) % rows, 4, 10, QLatin1Char('0'));
        addRow(name);
        expected += name;
    }
    QCOMPARE(m_list->topLevelItemCount(), rows);
    QVERIFY(rests());
    expected.sort();
    QCOMPARE(column(Column::SystemName), expected);
    QCOMPARE(sorted.size(), 1);
}

void TestDeviceList::sortsALongListSoonAgain()
{
    constexpr int rows = 20000;
    show();
    for (int i = 0; i < rows; ++i) {
        addRow(QStringLiteral("device %1").arg((i * 7) % rows, 5, 10, QLatin1Char('0')));
    }
    QVERIFY(rests());
    // What sorting takes here.
    QElapsedTimer clock;
    clock.start();
    m_list->model()->sort(Column::SystemName, Qt::AscendingOrder);
    const qint64 sortTime = clock.elapsed();

    const QString last(QChar(0x9FA5));
    m_list->topLevelItem(0)->setText(Column::SystemName, last);
    QTRY_COMPARE_WITH_TIMEOUT(m_list->topLevelItem(rows - 1)->text(Column::SystemName), last, patience);
    // It was sorted just now. A tenth of the time may go into that, and everything stands still when we do.
    QTimer turns;
    const QSignalSpy ticks(&turns, &QTimer::timeout);
    turns.start(static_cast<int>(10 * sortTime + 100));
    m_list->topLevelItem(0)->setText(Column::SystemName, last + last);
    QTRY_COMPARE_WITH_TIMEOUT(m_list->topLevelItem(rows - 1)->text(Column::SystemName), last + last,
                              patience);
    QVERIFY2(ticks.count() < 4, qPrintable(QString::number(ticks.count())));
}

void TestDeviceList::sortsOnlyWhatIsSortedBy()
{
    fill();
    show();
    m_list->sortByColumn(Column::Ip, Qt::AscendingOrder);
    QVERIFY(rests());
    const QSignalSpy sorted(m_list->model(), &QAbstractItemModel::layoutChanged);
    for (int row = 0; row < rowCount; ++row) {
        QTreeWidgetItem *const item = m_list->topLevelItem(row);
        item->setText(Column::Status, QStringLiteral("200 OK"));
        item->setText(Column::SystemName, QString::number(-row));
        static_cast<DeviceItem *>(item)->device().addAge(1);
        // The same as before.
        item->setText(Column::Ip, item->text(Column::Ip));
    }
    QVERIFY(rests());
    QCOMPARE(sorted.size(), 0);
    // After all others in any language.
    const QString last(QChar(0x9FA5));
    m_list->topLevelItem(0)->setText(Column::Ip, last);
    QVERIFY(rests());
    QCOMPARE(sorted.size(), 1);
    QCOMPARE(column(Column::Ip).constLast(), last);
}

void TestDeviceList::sortsAtOnceForTheUser()
{
    show();
    for (const char *const name : {"b", "c", "a"}) {
        addRow(QString::fromLatin1(name));
    }
    const auto click = [this] {
        QHeaderView *const header = m_list->header();
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, QPoint(20, header->height() / 2));
        return column(Column::SystemName).join(QString());
    };
    const QString first = click();
    const QString second = click();
    QCOMPARE((QStringList{first, second}).toSet(),
             (QStringList{QStringLiteral("abc"), QStringLiteral("cba")}).toSet());
    QVERIFY(m_list->header()->isSortIndicatorShown());
}

void TestDeviceList::leavesRowsInTheOrderOfTheirComing()
{
    m_list->sortByColumn(-1, Qt::AscendingOrder);
    show();
    for (const char *const name : {"b", "c", "a"}) {
        addRow(QString::fromLatin1(name));
    }
    QVERIFY(rests());
    QCOMPARE(column(Column::SystemName).join(QString()), QStringLiteral("bca"));
}

void TestDeviceList::announcesNoCell()
{
    fill();
    show();
    const QSignalSpy announced(m_list->model(), &QAbstractItemModel::dataChanged);
    for (int round = 0; round < 5; ++round) {
        for (int row = 0; row < rowCount; ++row) {
            auto *const item = static_cast<DeviceItem *>(m_list->topLevelItem(row));
            item->device().addAge(1);
            for (int i = 0; i < Column::Count; ++i) {
                item->setText(i, QString::number(round * 1000 + row));
            }
        }
    }
    QVERIFY(rests());
    QCOMPARE(announced.size(), 0);
}

void TestDeviceList::paintsABurstAFewTimes()
{
    fill();
    show();
    PaintCounter paints(*m_list);
    QElapsedTimer clock;
    clock.start();
    QTimer answers;
    int changes = 0;
    QObject::connect(&answers, &QTimer::timeout, &answers, [&] {
        ++changes;
        m_list->topLevelItem(changes % rowCount)->setText(Column::Status, QString::number(changes));
    });
    answers.start(1);
    QTRY_VERIFY_WITH_TIMEOUT(changes >= 200, patience);
    answers.stop();
    QVERIFY(rests());
    // At most one for each 60 ms, with the first and the last.
    QVERIFY2(paints.count() <= clock.elapsed() / 60 + 2, qPrintable(QString::number(paints.count())));
    QVERIFY(paints.count() >= 2);
}

void TestDeviceList::showsAChangeWhenAtRest()
{
    fill();
    show();
    awaitEndOfPause();
    PaintCounter paints(*m_list);
    m_list->topLevelItem(0)->setText(Column::Status, QStringLiteral("404 Not Found"));
    // Turns of the event loop that take no time.
    for (int turn = 0; turn < 5; ++turn) {
        QCoreApplication::processEvents();
    }
    QCOMPARE(paints.count(), 1);
}

void TestDeviceList::showsAnAgeWhenAtRest()
{
    fill();
    show();
    awaitEndOfPause();
    PaintCounter paints(*m_list);
    static_cast<DeviceItem *>(m_list->topLevelItem(0))->device().addAge(1);
    for (int turn = 0; turn < 5; ++turn) {
        QCoreApplication::processEvents();
    }
    QCOMPARE(paints.count(), 1);
}

void TestDeviceList::paintsTheWholeOfASingleRow()
{
    DeviceItem *const row = addRow(QStringLiteral("attic"));
    show();
    awaitEndOfPause();
    PaintCounter paints(*m_list);
    row->setText(Column::Status, QStringLiteral("200 OK"));
    QTRY_VERIFY_WITH_TIMEOUT(paints.count() > 0, patience);
    QVERIFY(paints.painted().contains(m_list->visualItemRect(row).adjusted(0, 0, -1, -1)));
    QVERIFY(paints.painted().boundingRect().width() > m_list->columnWidth(0));
}

void TestDeviceList::paintsLongTextsAsTheirBeginning()
{
    // Of a device that means harm.
    const QString beginning(256, QLatin1Char('i'));
    addRow(beginning + QString(1000000, QLatin1Char('x')));
    m_list->setColumnWidth(0, 100000);
    show();
    const QImage picture = this->picture(1.0);
    m_list->topLevelItem(0)->setText(0, beginning);
    QCOMPARE(differences(picture, this->picture(1.0)), 0);
}

void TestDeviceList::paintsItsHeaderWithoutLookingAtRows()
{
    fill();
    auto *const selection = new QItemSelectionModel(m_list->model(), m_list.get());
    m_list->setSelectionModel(selection);
    show();
    m_list->selectAll();
    QCOMPARE(selection->selectedRows().size(), rowCount);
    QVERIFY(!m_list->header()->selectionModel()->hasSelection());
    const QImage all = m_list->header()->grab().toImage();
    m_list->clearSelection();
    QCOMPARE(differences(all, m_list->header()->grab().toImage()), 0);
}

void TestDeviceList::removesRows_data()
{
    QTest::addColumn<QString>("removed");
    QTest::addColumn<QString>("left");
    QTest::addColumn<QString>("current");
    const auto row = [](const char *name, const char *removed, const char *left, const char *current) {
        QTest::newRow(name) << removed << left << current;
    };
    // In "c" it is, and "b" is hidden.
    row("none", "", "abcdef", "c");
    row("one", "c", "abdef", "d");
    row("a run", "bcd", "aef", "e");
    row("two runs", "abef", "cd", "c");
    row("the first and the last", "af", "bcde", "c");
    row("every second one", "ace", "bdf", "d");
    row("all from there on", "cdef", "ab", "a");
    row("all that are shown", "acdef", "b", "");
    row("all", "abcdef", "", "");
}

void TestDeviceList::removesRows()
{
    QFETCH(QString, removed);
    QFETCH(QString, left);
    QFETCH(QString, current);
    m_list->setColumnHidden(3, true);
    m_list->setColumnWidth(0, 123);
    QSet<QTreeWidgetItem *> rows;
    for (const char name : {'a', 'b', 'c', 'd', 'e', 'f'}) {
        DeviceItem *const item = addRow(QString(QLatin1Char(name)));
        if (removed.contains(QLatin1Char(name))) {
            rows.insert(item);
        }
    }
    m_list->topLevelItem(1)->setHidden(true);
    show();
    m_list->setCurrentItem(m_list->topLevelItem(2));
    m_list->selectAll();
    m_list->removeRows(rows);
    QCOMPARE(column(Column::SystemName).join(QString()), left);
    QCOMPARE(m_list->currentItem() ? m_list->currentItem()->text(Column::SystemName) : QString(), current);
    QVERIFY(rests());
    QVERIFY(m_list->isColumnHidden(3));
    QCOMPARE(m_list->columnWidth(0), 123);
}

void TestDeviceList::goesUpFromTheLastRow()
{
    for (const char name : {'a', 'b', 'c'}) {
        addRow(QString(QLatin1Char(name)));
    }
    show();
    QTreeWidgetItem *const last = m_list->topLevelItem(2);
    m_list->setCurrentItem(last);
    m_list->removeRows({last});
    QCOMPARE(m_list->currentItem(), m_list->topLevelItem(1));
}

void TestDeviceList::readsOutWhatIsShown_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("time");
    QTest::newRow("English") << "en_US"
                             << "11/22/26 2:35 AM";
    QTest::newRow("German") << "de_DE"
                            << "22.11.26 02:35";
}

void TestDeviceList::readsOutWhatIsShown()
{
    QFETCH(QString, locale);
    QFETCH(QString, time);
    m_list->setLocale(QLocale(locale));
    DeviceItem *const row = addRow(QStringLiteral("attic"));
    row->setData(Column::LastSeen, Qt::DisplayRole, QDateTime(QDate(2026, 11, 22), QTime(2, 35, 33, 719)));
    row->setData(Column::Uptime, Qt::DisplayRole, QVariant::fromValue(Timespan{1, 2, 3, 4}));
    show();
    QAccessibleInterface *const list = QAccessible::queryAccessibleInterface(m_list.get());
    QVERIFY(list && list->tableInterface());
    const auto read = [list](int column) {
        return list->tableInterface()->cellAt(0, column)->text(QAccessible::Name);
    };
    QCOMPARE(read(Column::LastSeen), time);
    QCOMPARE(read(Column::SystemName), QStringLiteral("attic"));
    QCOMPARE(read(Column::Uptime), QStringLiteral("1d 2h 3m 4s"));
    QCOMPARE(read(Column::FirstSeen), QString());
    // What a device makes up is read out as it is painted.
    row->setText(Column::Type, QString(100000, QLatin1Char('x')));
    row->setText(Column::Status, QStringLiteral("one\ntwo"));
    QCOMPARE(read(Column::Type).size(), 256);
    QVERIFY(!read(Column::Status).contains(QLatin1Char('\n')));
}

void TestDeviceList::namesItsColumnCount()
{
    const DeviceItem *const row = addRow(QStringLiteral("attic"));
    QCOMPARE(row->columnCount(), int(Column::Count));
}

NEMBRA_GUI_TEST_MAIN(TestDeviceList)
#include "tst_devicelist.moc"

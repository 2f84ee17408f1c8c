#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "device/devicelist.h"
#include "testenvironment.h"

#include <QApplication>
#include <QClipboard>
#include <QDrag>
#include <QHeaderView>
#include <QHelpEvent>
#include <QImage>
#include <QMimeData>
#include <QToolTip>
#include <QtTest>

#include <memory>

namespace {

constexpr int patience = 20000; // milliseconds
/// Where it is, which the device itself says.
constexpr int placeColumn = 16;

/// Pixels that differ from the list's background.
int inkOf(QWidget *viewport)
{
    const QImage picture = viewport->grab().toImage();
    const QRgb background = picture.pixel(0, picture.height() - 1);
    int count = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            count += picture.pixel(x, y) == background ? 0 : 1;
        }
    }
    return count;
}

} // namespace

/// What a user does with a list: copies from it, drags out of it, looks closer, and wonders why it is empty.
class TestDeviceListUse final : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void copiesTheSelectedRows();
    void copiesWhatIsShown_data();
    void copiesWhatIsShown();
    void leavesTheClipboardWithoutASelection();
    void dragsTheSelectedRows();
    void selectsWithAKeyFromASelectedRow();
    void selectsWithTheMouseFromAnotherRow();
    void showsWhatIsCutOffInATip_data();
    void showsWhatIsCutOffInATip();
    void saysWhyItIsEmpty();

private:
    DeviceItem *addRow(const QString &name, const QString &location = QStringLiteral("first floor"));
    void show();
    QString copied();
    QPoint placeOf(int row) const { return m_list->visualItemRect(m_list->topLevelItem(row)).center(); }

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<DeviceList> m_list;
};

void TestDeviceListUse::init()
{
    m_environment = std::make_unique<TestEnvironment>();
    m_list = std::make_unique<DeviceList>();
    m_list->setLocale(QLocale(QStringLiteral("en")));
    m_list->setRootIsDecorated(false);
    m_list->setAllColumnsShowFocus(true);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->setColumnCount(Column::Count);
    for (int column = 0; column < Column::Count; ++column) {
        m_list->setColumnHidden(column, column != Column::SystemName && column != placeColumn);
    }
    m_list->sortByColumn(Column::SystemName, Qt::AscendingOrder);
    m_list->resize(600, 300);
    QApplication::clipboard()->setText(QStringLiteral("before"));
}

void TestDeviceListUse::cleanup()
{
    QToolTip::hideText();
    m_list.reset();
    m_environment.reset();
}

DeviceItem *TestDeviceListUse::addRow(const QString &name, const QString &location)
{
    auto *const row = new DeviceItem;
    row->setText(Column::SystemName, name);
    row->setText(placeColumn, location);
    m_list->addRow(row);
    return row;
}

void TestDeviceListUse::show()
{
    m_list->show();
    QVERIFY(QTest::qWaitForWindowActive(m_list.get()));
    QTRY_VERIFY_WITH_TIMEOUT(!m_list->hasChanges(), patience);
}

QString TestDeviceListUse::copied()
{
    QTest::keySequence(m_list.get(), QKeySequence(QKeySequence::Copy));
    return QApplication::clipboard()->text();
}

void TestDeviceListUse::copiesTheSelectedRows()
{
    for (const char *const name : {"cellar", "attic", "barn", "dairy"}) {
        addRow(QString::fromLatin1(name));
    }
    show();
    for (const int row : {3, 0, 1}) {
        m_list->topLevelItem(row)->setSelected(true);
    }
    m_list->topLevelItem(1)->setHidden(true);
    QCOMPARE(copied(), QStringLiteral("attic\tfirst floor\ndairy\tfirst floor\n"));
    m_list->header()->swapSections(m_list->header()->visualIndex(Column::SystemName),
                                   m_list->header()->visualIndex(placeColumn));
    m_list->setColumnHidden(Column::LastSeen, false);
    m_list->topLevelItem(0)->setData(Column::LastSeen, Qt::DisplayRole,
                                     QDateTime(QDate(2026, 11, 22), QTime(2, 35)));
    m_list->topLevelItem(3)->setSelected(false);
    QCOMPARE(copied(), QStringLiteral("first floor\t11/22/26 2:35 AM\tattic\n"));
}

void TestDeviceListUse::copiesWhatIsShown_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("copied");
    QTest::newRow("tab and line break")
        << QStringLiteral("two\tor\r\nthree\u2028") << QStringLiteral("two or  three ");
    QTest::newRow("HTML") << QStringLiteral("<b>&amp;</b>") << QStringLiteral("<b>&amp;</b>");
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("formula") << QStringLiteral("=HYPERLINK(\"http://x\")")
                             << QStringLiteral(" =HYPERLINK(\"http://x\")");
    QTest::newRow("quotation mark") << QStringLiteral("\"a") << QStringLiteral(" \"a");
    QTest::newRow("formula with plus") << QStringLiteral("+1+1") << QStringLiteral(" +1+1");
    QTest::newRow("formula with at") << QStringLiteral("@SUM(1)") << QStringLiteral(" @SUM(1)");
    QTest::newRow("below zero") << QStringLiteral("-5.2 \u00b0C") << QStringLiteral(" -5.2 \u00b0C");
    QTest::newRow("formula behind a line break") << QStringLiteral("\n=1") << QStringLiteral(" =1");
    QTest::newRow("longer than shown") << QString(300, QLatin1Char('x')) << QString(256, QLatin1Char('x'));
}

void TestDeviceListUse::copiesWhatIsShown()
{
    QFETCH(QString, text);
    QFETCH(QString, copied);
    addRow(QStringLiteral("attic"), text);
    show();
    m_list->selectAll();
    QCOMPARE(this->copied(), QStringLiteral("attic\t") + copied + QLatin1Char('\n'));
}

void TestDeviceListUse::leavesTheClipboardWithoutASelection()
{
    addRow(QStringLiteral("attic"));
    show();
    m_list->setCurrentItem(m_list->topLevelItem(0), 0, QItemSelectionModel::NoUpdate);
    QCOMPARE(copied(), QStringLiteral("before"));
}

void TestDeviceListUse::dragsTheSelectedRows()
{
    addRow(QStringLiteral("attic"));
    addRow(QStringLiteral("barn"));
    addRow(QStringLiteral("cellar"));
    show();
    m_list->topLevelItem(0)->setSelected(true);
    m_list->topLevelItem(1)->setSelected(true);
    QTest::mousePress(m_list->viewport(), Qt::LeftButton, Qt::NoModifier, placeOf(0));
    QMouseEvent move(QEvent::MouseMove, placeOf(2), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(m_list->viewport(), &move);
    QApplication::sendEvent(m_list->viewport(), &move);
    // Without a screen it ends at once, and goes with the next turn of the event loop.
    const auto *const drag = m_list->findChild<QDrag *>();
    QVERIFY(drag);
    QCOMPARE(drag->mimeData()->text(), QStringLiteral("attic\tfirst floor\nbarn\tfirst floor\n"));
    QCOMPARE(m_list->topLevelItemCount(), 3);
    QCOMPARE(m_list->selectedItems().size(), 2);
}

void TestDeviceListUse::selectsWithAKeyFromASelectedRow()
{
    addRow(QStringLiteral("attic"));
    addRow(QStringLiteral("barn"));
    show();
    m_list->topLevelItem(0)->setSelected(true);
    m_list->setCurrentItem(m_list->topLevelItem(0), 0, QItemSelectionModel::NoUpdate);
    QTest::mousePress(m_list->viewport(), Qt::LeftButton, Qt::ShiftModifier, placeOf(0));
    QMouseEvent move(QEvent::MouseMove, placeOf(1), Qt::LeftButton, Qt::LeftButton, Qt::ShiftModifier);
    QApplication::sendEvent(m_list->viewport(), &move);
    QApplication::sendEvent(m_list->viewport(), &move);
    QTest::mouseRelease(m_list->viewport(), Qt::LeftButton, Qt::ShiftModifier, placeOf(1));
    QVERIFY(!m_list->findChild<QDrag *>());
    QCOMPARE(m_list->selectedItems().size(), 2);
}

void TestDeviceListUse::selectsWithTheMouseFromAnotherRow()
{
    addRow(QStringLiteral("attic"));
    addRow(QStringLiteral("barn"));
    addRow(QStringLiteral("cellar"));
    show();
    m_list->topLevelItem(2)->setSelected(true);
    QTest::mousePress(m_list->viewport(), Qt::LeftButton, Qt::NoModifier, placeOf(0));
    QMouseEvent move(QEvent::MouseMove, placeOf(1), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(m_list->viewport(), &move);
    QTest::mouseRelease(m_list->viewport(), Qt::LeftButton, Qt::NoModifier, placeOf(1));
    QVERIFY(!m_list->findChild<QDrag *>());
    QVERIFY(m_list->topLevelItem(0)->isSelected());
    QVERIFY(m_list->topLevelItem(1)->isSelected());
    QVERIFY(!m_list->topLevelItem(2)->isSelected());
}

void TestDeviceListUse::showsWhatIsCutOffInATip_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("tip");
    const QString words =
        QStringLiteral("a place that is ") + QString(40, QLatin1Char('x')) + QStringLiteral(" far away");
    QTest::newRow("room enough") << QStringLiteral("attic") << QString();
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("cut off") << words << QStringLiteral("<p>") + words + QStringLiteral("</p>");
    QTest::newRow("like HTML") << QStringLiteral("<img src=x> & ") + words
                               << QStringLiteral("<p>&lt;img src=x&gt; &amp; ") + words +
                                      QStringLiteral("</p>");
    QTest::newRow("line breaks") << words + QStringLiteral("\n\n\nend")
                                 << QStringLiteral("<p>") + words + QStringLiteral("   end</p>");
    QTest::newRow("endless") << QString(100000, QLatin1Char('y'))
                             << QStringLiteral("<p>") + QString(2000, QLatin1Char('y')) +
                                    QStringLiteral("</p>");
}

void TestDeviceListUse::showsWhatIsCutOffInATip()
{
    QFETCH(QString, text);
    QFETCH(QString, tip);
    addRow(QStringLiteral("attic"), text);
    show();
    m_list->setColumnWidth(placeColumn, 120);
    const QRect cell = m_list->visualRect(m_list->model()->index(0, placeColumn));
    QHelpEvent help(QEvent::ToolTip, cell.center(), m_list->viewport()->mapToGlobal(cell.center()));
    QApplication::sendEvent(m_list->viewport(), &help);
    QCOMPARE(QToolTip::text(), tip);
}

void TestDeviceListUse::saysWhyItIsEmpty()
{
    m_list->setHints(QStringLiteral("Nobody there"), QStringLiteral("All hidden"));
    show();
    const int empty = inkOf(m_list->viewport());
    QVERIFY(empty > 0);
    m_list->setHints(QString(), QStringLiteral("All hidden"));
    QCOMPARE(inkOf(m_list->viewport()), 0);
    DeviceItem *const row = addRow(QString(), QString());
    row->setHidden(true);
    QTRY_VERIFY_WITH_TIMEOUT(!m_list->hasChanges(), patience);
    QVERIFY(inkOf(m_list->viewport()) > 0);
    m_list->setHints(QStringLiteral("Nobody there"), QString());
    QCOMPARE(inkOf(m_list->viewport()), 0);
    // Beside a row there is no hint.
    m_list->setHints(QString(), QString());
    row->setHidden(false);
    const int rowAlone = inkOf(m_list->viewport());
    m_list->setHints(QStringLiteral("Nobody there"), QStringLiteral("All hidden"));
    QCOMPARE(inkOf(m_list->viewport()), rowAlone);
}

NEMBRA_GUI_TEST_MAIN(TestDeviceListUse)
#include "tst_devicelist_use.moc"

#include "dialogseries.h"
#include "logbench.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QScrollBar>
#include <QWindow>
#include <QtTest>

using namespace dialogstep;

namespace {

/// Collects the debug log, as long as it lives.
class LogReader final
{
public:
    LogReader()
    {
        collected().clear();
        m_before = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &message) { collected() += message; });
    }
    ~LogReader() { qInstallMessageHandler(m_before); }
    Q_DISABLE_COPY_MOVE(LogReader)

    static QStringList lines() { return collected(); }

private:
    static QStringList &collected()
    {
        static QStringList lines;
        return lines;
    }

    QtMessageHandler m_before;
};

} // namespace
/// Which lines are selected, and what goes to the clipboard.
class TestLogListSelection final : public QObject, private LogBench
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void keepsTheSelectionWhileOthersArrive();
    void selectsByTheMouseWhileOthersArrive_data();
    void selectsByTheMouseWhileOthersArrive();
    void selectsContiguousLines();
    void selectsAllByItsKey();
    void findsALineByTyping();
    void doesNotSearchALongList();

    void copiesTheSelectedLines();
    void cutsTheSelectedLines();
    void leavesTheClipboardWithoutASelection_data();
    void leavesTheClipboardWithoutASelection();
    void leavesTheClipboardToFewerLines_data();
    void leavesTheClipboardToFewerLines();
    void receivesAfterACut();

    void logsWhatItCopied();
    void logsOnlyTheBeginning();
    void logsThatTheClipboardStayedEmpty();
    void logsNothingAboutACut();

private:
    /// The middle of a line, in the window's coordinates.
    QPoint middleOf(int row) const;
};

QPoint TestLogListSelection::middleOf(int row) const
{
    return list().viewport()->mapTo(m_log.get(), list().visualItemRect(list().item(row)).center());
}

void TestLogListSelection::keepsTheSelectionWhileOthersArrive()
{
    open();
    fill(QByteArray(100, 'a'));
    const QScrollBar &bar = *list().verticalScrollBar();
    QCOMPARE(bar.value(), bar.maximum());
    const int last = list().count() - 1;
    selectRows(last - 2, last - 1);
    const QList<QListWidgetItem *> selected = list().selectedItems();
    QCOMPARE(selected.size(), 2);
    receive({"b", "c"});
    QCOMPARE(list().selectedItems(), selected);
    QVERIFY(bar.maximum() > 0);
    QCOMPARE(bar.value(), bar.maximum());
    QVERIFY(list().viewport()->rect().contains(list().visualItemRect(list().item(101)).center()));
    // Also from further up.
    list().scrollToTop();
    receive({"d"});
    QCOMPARE(bar.value(), bar.maximum());
    QCOMPARE(list().selectedItems(), selected);
}

void TestLogListSelection::selectsByTheMouseWhileOthersArrive_data()
{
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("pressed");
    QTest::addColumn<int>("released");
    QTest::addColumn<QString>("selectedOnTheWay");
    QTest::addColumn<QString>("selected");
    QTest::newRow("downwards") << 6 << 1 << 4 << "1 2"
                               << "1 2 3 4";
    QTest::newRow("upwards") << 6 << 4 << 1 << "3 4"
                             << "1 2 3 4";
    QTest::newRow("back again") << 6 << 2 << 2 << "2 3"
                                << "2";
    QTest::newRow("down to those that came") << 6 << 3 << 7 << "3 4"
                                             << "3 4 5 6 7";
    QTest::newRow("scrolled, downwards") << 100 << 93 << 98 << "93 94"
                                         << "93 94 95 96 97 98";
    QTest::newRow("scrolled, upwards") << 100 << 98 << 93 << "97 98"
                                       << "93 94 95 96 97 98";
}

void TestLogListSelection::selectsByTheMouseWhileOthersArrive()
{
    QFETCH(int, before);
    QFETCH(int, pressed);
    QFETCH(int, released);
    QFETCH(QString, selectedOnTheWay);
    QFETCH(QString, selected);
    open();
    fill(QByteArray(before, 'a'));
    QWindow *const window = m_log->windowHandle();
    QTest::mousePress(window, Qt::LeftButton, Qt::NoModifier, middleOf(pressed));
    QTest::mouseMove(window, middleOf(released >= pressed ? pressed + 1 : pressed - 1));
    QTRY_COMPARE_WITH_TIMEOUT(selectedRows(), selectedOnTheWay, patience);
    receive({"b", "c"});
    QCOMPARE(selectedRows(), selectedOnTheWay);
    QTest::mouseMove(window, middleOf(released));
    QTRY_COMPARE_WITH_TIMEOUT(selectedRows(), selected, patience);
    receive({"d"});
    QCOMPARE(selectedRows(), selected);
    QTest::mouseRelease(window, Qt::LeftButton, Qt::NoModifier, middleOf(released));
    QCOMPARE(selectedRows(), selected);
    receive({"e"});
    QCOMPARE(selectedRows(), selected);
}

void TestLogListSelection::selectsContiguousLines()
{
    open();
    fill("abcdef");
    selectRows(1, 4);
    QCOMPARE(list().selectedItems().size(), 4);
    selectRows(5, 5);
    QCOMPARE(list().selectedItems().size(), 1);
}

void TestLogListSelection::selectsAllByItsKey()
{
    open();
    fill("abc");
    QTest::keyClick(&list(), Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(list().selectedItems().size(), 3);
}

void TestLogListSelection::findsALineByTyping()
{
    open();
    // A Thursday, a Sunday and a Friday.
    list().append({{0, "a"}, {1000000000999, "b"}, {946681199000, "c"}});
    list().setCurrentRow(0);
    QTest::keyClicks(&list(), QStringLiteral("fri"));
    QCOMPARE(list().currentRow(), 2);
    QCOMPARE(selectedRows(), QStringLiteral("2"));
}

void TestLogListSelection::doesNotSearchALongList()
{
    const auto found = [](int lines) {
        CLogListWidget list;
        list.append(QVector<LogMessage>(lines - 1, LogMessage{0, QByteArray(200, 'a')}));
        // The only Sunday.
        list.append({{1000000000999, "b"}});
        list.setCurrentRow(0);
        QElapsedTimer clock;
        clock.start();
        QTest::keyClick(&list, Qt::Key_S);
        qInfo() << lines << "lines:" << clock.elapsed() << "ms";
        return list.currentRow();
    };
    QCOMPARE(found(20000), 19999);
    // One more, and it would take too long.
    QCOMPARE(found(20001), 0);
}

void TestLogListSelection::copiesTheSelectedLines()
{
    open();
    fill("abcd");
    selectRows(1, 2);
    QTest::keyClick(&list(), Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(clipboard().text(),
             QStringLiteral("Thu Jan 1 01:00:00 1970 b\r\nThu Jan 1 01:00:00 1970 c\r\n"));
    QCOMPARE(letters(), QStringLiteral("abcd"));
    QCOMPARE(list().selectedItems().size(), 2);
    // From bottom to top it is the same.
    clipboard().clear();
    selectRows(2, 1);
    list().copySelection();
    QCOMPARE(clipboard().text(),
             QStringLiteral("Thu Jan 1 01:00:00 1970 b\r\nThu Jan 1 01:00:00 1970 c\r\n"));
}

void TestLogListSelection::cutsTheSelectedLines()
{
    open();
    fill("abcd");
    selectRows(1, 2);
    QTest::keyClick(&list(), Qt::Key_X, Qt::ControlModifier);
    QCOMPARE(clipboard().text(),
             QStringLiteral("Thu Jan 1 01:00:00 1970 b\r\nThu Jan 1 01:00:00 1970 c\r\n"));
    QCOMPARE(letters(), QStringLiteral("ad"));
    list().selectAll();
    list().cutSelection();
    QCOMPARE(clipboard().text(),
             QStringLiteral("Thu Jan 1 01:00:00 1970 a\r\nThu Jan 1 01:00:00 1970 d\r\n"));
    QCOMPARE(list().count(), 0);
}

void TestLogListSelection::leavesTheClipboardWithoutASelection_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<QByteArray>("lines");
    QTest::newRow("copy") << int(Qt::Key_C) << QByteArray("ab");
    QTest::newRow("cut") << int(Qt::Key_X) << QByteArray("ab");
    QTest::newRow("copy of nothing") << int(Qt::Key_C) << QByteArray();
    QTest::newRow("cut of nothing") << int(Qt::Key_X) << QByteArray();
}

void TestLogListSelection::leavesTheClipboardWithoutASelection()
{
    QFETCH(int, key);
    QFETCH(QByteArray, lines);
    open();
    fill(lines);
    list().clearSelection();
    QTest::keyClick(&list(), static_cast<Qt::Key>(key), Qt::ControlModifier);
    QCOMPARE(clipboard().text(), clipboardBefore);
    QCOMPARE(letters(), QString::fromLatin1(lines));
}

void TestLogListSelection::leavesTheClipboardToFewerLines_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("copy") << int(Qt::Key_C);
    QTest::newRow("cut") << int(Qt::Key_X);
}

void TestLogListSelection::leavesTheClipboardToFewerLines()
{
    QFETCH(int, key);
    open();
    // 1,000 characters of text, and what belongs to each line.
    list().append(QVector<LogMessage>(10, LogMessage{0, QByteArray(100, 'x')}));
    list().setClipboardLimit(1100);
    list().selectAll();
    QStringList how;
    DialogSeries dialogs;
    dialogs.then([&how, this](QWidget *dialog) {
        const auto *const box = qobject_cast<QMessageBox *>(dialog);
        how = QStringList{box->windowTitle(), QString::number(box->icon()),
                          QString::number(int(box->standardButtons()))};
        // Others arrive meanwhile.
        list().append({{0, "next"}});
        answer(QMessageBox::Ok)(dialog);
    });
    QTest::keyClick(&list(), static_cast<Qt::Key>(key), Qt::ControlModifier);
    QCOMPARE(dialogs.seen(), QStringList{QStringLiteral("box: Too many lines for the clipboard.")});
    QCOMPARE(how, QStringList(
                      {QString(), QString::number(QMessageBox::Critical), QString::number(QMessageBox::Ok)}));
    QCOMPARE(clipboard().text(), clipboardBefore);
    QCOMPARE(list().count(), 11);
    QCOMPARE(list().selectedItems().size(), 10);
    // Fewer do.
    selectRows(0, 4);
    QTest::keyClick(&list(), static_cast<Qt::Key>(key), Qt::ControlModifier);
    QCOMPARE(clipboard().text().count(QLatin1String("\r\n")), 5);
    QCOMPARE(list().count(), key == Qt::Key_X ? 6 : 11);
    QCOMPARE(dialogs.seen().size(), 1);
}

void TestLogListSelection::receivesAfterACut()
{
    open();
    fill("abc");
    list().selectAll();
    list().cutSelection();
    receive({"next"});
    QCOMPARE(list().count(), 1);
    QCOMPARE(withoutTime(list().item(0)->text()), QStringLiteral("next"));
    QVERIFY(list().visualItemRect(list().item(0)).height() > 0);
}

void TestLogListSelection::logsWhatItCopied()
{
    open();
    fill("a");
    list().selectAll();
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral(
                                         R"re(^Clipboard is not empty: .*Thu Jan 1 01:00:00 1970 a)re")));
    list().copySelection();
}

void TestLogListSelection::logsOnlyTheBeginning()
{
    open();
    const QByteArray text(5000, 'x');
    list().append({{0, text}});
    list().selectAll();
    const LogReader log;
    list().copySelection();
    // 4096 characters.
    const QStringList expected{QStringLiteral("Clipboard is not empty:  \"Thu Jan 1 01:00:00 1970 ") +
                               QString(4072, QLatin1Char('x')) + QLatin1Char('"')};
    QCOMPARE(LogReader::lines(), expected);
    QCOMPARE(clipboard().text(),
             QLatin1String("Thu Jan 1 01:00:00 1970 ") + QString::fromLatin1(text) + QLatin1String("\r\n"));
}

void TestLogListSelection::logsThatTheClipboardStayedEmpty()
{
    open();
    fill("ab");
    list().selectAll();
    // Somebody else takes it at once.
    const QMetaObject::Connection taker = connect(&clipboard(), &QClipboard::dataChanged, this, [] {
        if (!clipboard().text().isEmpty()) {
            clipboard().clear();
        }
    });
    const LogReader log;
    list().copySelection();
    disconnect(taker);
    QCOMPARE(LogReader::lines(), QStringList{QStringLiteral("Clipboard is empty!")});
    QCOMPARE(letters(), QStringLiteral("ab"));
}

void TestLogListSelection::logsNothingAboutACut()
{
    open();
    fill("ab");
    list().selectAll();
    const LogReader log;
    list().cutSelection();
    QCOMPARE(clipboard().text().count(QLatin1String("\r\n")), 2);
    QCOMPARE(LogReader::lines(), QStringList());
}

NEMBRA_GUI_TEST_MAIN(TestLogListSelection)
#include "tst_loglist_selection.moc"

#include "common/settings.h"
#include "dialogseries.h"
#include "logbench.h"
#include "mainwindow/mainwindow.h"
#include "windowbench.h"

#include <QAction>
#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QSizeGrip>
#include <QTimer>
#include <QTranslator>
#include <QWindow>
#include <QtTest>

#include <chrono>
#include <fcntl.h>
#include <memory>
#include <sched.h>
#include <unistd.h>

using namespace std::chrono_literals;

using namespace dialogstep;

namespace {

const QString geometryKey = QStringLiteral("LogDialog/Geometry");

/// Deals with one context menu that comes up next: notes it and chooses the entry, or leaves it.
class MenuUser final : public QObject
{
public:
    explicit MenuUser(QString entry = QString())
        : m_entry(std::move(entry))
    {
        connect(&m_timer, &QTimer::timeout, this, &MenuUser::look);
        m_timer.start(5ms);
    }
    /// "Select all Ctrl+A | - | Change Port"; "?" behind a shortcut that can't be seen.
    QString text() const { return m_text; }
    QPoint position() const { return m_position; }

private:
    void look()
    {
        auto *const menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (!menu || !menu->isVisible()) {
            return;
        }
        m_timer.stop();
        m_position = menu->pos();
        QStringList entries;
        QAction *chosen = nullptr;
        const QList<QAction *> actions = menu->actions();
        for (QAction *const action : actions) {
            QString entry = action->isSeparator() ? QStringLiteral("-") : action->text();
            if (!action->shortcut().isEmpty()) {
                entry += QLatin1Char(' ') + action->shortcut().toString(QKeySequence::PortableText);
                entry += QLatin1String(action->isShortcutVisibleInContextMenu() ? "" : "?");
            }
            entries += entry;
            if (action->text() == m_entry) {
                chosen = action;
            }
        }
        m_text = entries.join(QLatin1String(" | "));
        if (chosen) {
            QTest::mouseClick(menu, Qt::LeftButton, Qt::NoModifier, menu->actionGeometry(chosen).center());
        } else {
            menu->close();
        }
    }

    const QString m_entry;
    QString m_text;
    QPoint m_position;
    QTimer m_timer;
};

/// The log windows that there are.
QList<CLogList *> logWindows()
{
    QList<CLogList *> found;
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *const window : windows) {
        if (auto *const log = qobject_cast<CLogList *>(window)) {
            found += log;
        }
    }
    return found;
}

/// This thread sees a network without any interface that is up, as long as the object lives.
class NoNetwork final
{
public:
    NoNetwork()
        : m_before(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC))
        , m_left(m_before >= 0 && unshare(CLONE_NEWNET) == 0)
    {
    }
    ~NoNetwork()
    {
        if (m_left && setns(m_before, CLONE_NEWNET) != 0) {
            qFatal("no way back into the network");
        }
        close(m_before);
    }
    Q_DISABLE_COPY_MOVE(NoNetwork)

    bool holds() const { return m_left; }

private:
    const int m_before;
    const bool m_left;
};

} // namespace
/// The window of the log: what it looks like, its menu, its place and its life beside the main window.
class TestLogList final : public QObject, private LogBench
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void looksAsDesigned();
    void offersItsSlotsInTheirOrder();
    void tellsTheKeysOfTheClipboard();
    void tellsWhereItListens();
    void tellsThatThereIsNoAddress();
    void wrapsItsAddresses_data();
    void wrapsItsAddresses();
    void speaksTheLanguageChosenMeanwhile();
    void comesBackWithItsGeometry_data();
    void comesBackWithItsGeometry();

    void offersAContextMenu_data();
    void offersAContextMenu();
    void actsByTheContextMenu();

    void opensFromTheMainWindow() const;
    void opensOnlyOnce();
    void startsEmptyAfterItWasClosed_data();
    void startsEmptyAfterItWasClosed() const;
    void goesWithTheMainWindow() const;

private:
    void rightClick(QWidget &widget) const;
};

void TestLogList::rightClick(QWidget &widget) const
{
    // Through the window, which makes the request for a menu of it.
    QTest::mouseClick(m_log->windowHandle(), Qt::RightButton, Qt::NoModifier,
                      widget.mapTo(m_log.get(), QPoint(5, 5)));
}

void TestLogList::looksAsDesigned()
{
    m_log = std::make_unique<CLogList>(nullptr);
    QCOMPARE(m_log->objectName(), QStringLiteral("CLogList"));
    QCOMPARE(m_log->windowTitle(), QStringLiteral("Syslog"));
    QCOMPARE(m_log->size(), QSize(400, 462));
    QVERIFY(m_log->isSizeGripEnabled());
    QVERIFY(m_log->findChild<QSizeGrip *>());
    QCOMPARE(m_log->toolTipDuration(), 2000);
    QCOMPARE(int(m_log->contextMenuPolicy()), int(Qt::CustomContextMenu));
    QVERIFY(m_log->isWindow());
    QCOMPARE(int(m_log->windowType()), int(Qt::Window));
    QVERIFY(!m_log->isModal());
    const QIcon logo(QStringLiteral(":/Icons/Resources/logo.png"));
    QVERIFY(!logo.isNull());
    QCOMPARE(m_log->windowIcon().pixmap(32).toImage(), logo.pixmap(32).toImage());
    QCOMPARE(m_log->findChild<QAction *>(QStringLiteral("actionChangePort"))->text(),
             QStringLiteral("Change Port"));

    QCOMPARE(int(list().viewport()->cursor().shape()), int(Qt::IBeamCursor));
    QCOMPARE(int(list().verticalScrollBarPolicy()), int(Qt::ScrollBarAlwaysOn));
    QCOMPARE(int(list().editTriggers()), int(QAbstractItemView::NoEditTriggers));
    QVERIFY(list().alternatingRowColors());
    QCOMPARE(int(list().selectionMode()), int(QAbstractItemView::ContiguousSelection));
    QCOMPARE(int(list().selectionBehavior()), int(QAbstractItemView::SelectRows));
    QCOMPARE(int(list().contextMenuPolicy()), int(Qt::NoContextMenu));

    QCOMPARE(int(label("labelInfo").textInteractionFlags()),
             int(Qt::LinksAccessibleByMouse | Qt::TextSelectableByKeyboard | Qt::TextSelectableByMouse));
    QCOMPARE(int(label("labelPort").contextMenuPolicy()), int(Qt::CustomContextMenu));
    const auto *const line = m_log->findChild<QFrame *>(QStringLiteral("line"));
    QCOMPARE(int(line->frameShape()), int(QFrame::VLine));
    QCOMPARE(int(line->frameShadow()), int(QFrame::Sunken));
    QVERIFY(m_log->findChild<QVBoxLayout *>(QStringLiteral("verticalLayout")));
    const auto *const row = m_log->findChild<QHBoxLayout *>(QStringLiteral("horizontalLayout"));
    QStringList names;
    for (int i = 0; i < row->count(); ++i) {
        names += row->itemAt(i)->widget()->objectName();
    }
    QCOMPARE(names,
             QStringList({QStringLiteral("labelInfo"), QStringLiteral("line"), QStringLiteral("labelPort")}));
}

void TestLogList::offersItsSlotsInTheirOrder()
{
    QStringList slotNames;
    const QMetaObject &type = CLogList::staticMetaObject;
    for (int i = type.methodOffset(); i < type.methodCount(); ++i) {
        if (type.method(i).methodType() == QMetaMethod::Slot) {
            slotNames += QString::fromLatin1(type.method(i).methodSignature());
        }
    }
    QCOMPARE(slotNames,
             QStringList({QStringLiteral("initSyslog()"), QStringLiteral("processPendingDatagrams()"),
                          QStringLiteral("on_CLogList_customContextMenuRequested(QPoint)"),
                          QStringLiteral("on_actionChangePort_triggered()")}));
}

void TestLogList::tellsTheKeysOfTheClipboard()
{
    m_log = std::make_unique<CLogList>(nullptr);
    QCOMPARE(m_log->toolTip(),
             QStringLiteral("<html><head/><body><p>Move to clipboard Ctrl+X<br/>Copy to clipboard "
                            "Ctrl+C<br/>Select all Ctrl+A</p></body></html>"));
}

void TestLogList::tellsWhereItListens()
{
    open();
    QCOMPARE(label("labelInfo").text(), QStringLiteral("IP: 10.77.0.1"));
    QCOMPARE(label("labelPort").text(), QStringLiteral("Port: ") + QString::number(m_port));
}

void TestLogList::tellsThatThereIsNoAddress()
{
    const NoNetwork noNetwork;
    if (!noNetwork.holds()) {
        QTest::qSkip("no network of its own is allowed here", __FILE__, __LINE__);
        return;
    }
    open();
    QCOMPARE(label("labelInfo").text(), QStringLiteral("IP: Unknown"));
    QTranslator german;
    QVERIFY(german.load(QStringLiteral(NEMBRA_TRANSLATIONS "/NembraHub_de.qm")));
    QVERIFY(QCoreApplication::installTranslator(&german));
    QTRY_COMPARE_WITH_TIMEOUT(label("labelInfo").text(), QStringLiteral("IP: Unbekannt"), patience);
    m_log.reset();
}

void TestLogList::wrapsItsAddresses_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("addresses");
    QTest::addColumn<bool>("severalLines");
    QTest::newRow("one") << 400 << 1 << false;
    QTest::newRow("one in a wide window") << 800 << 1 << false;
    QTest::newRow("twelve") << 400 << 12 << true;
    QTest::newRow("twelve in a wide window") << 800 << 12 << true;
}

void TestLogList::wrapsItsAddresses()
{
    QFETCH(int, width);
    QFETCH(int, addresses);
    QFETCH(bool, severalLines);
    open();
    QStringList texts;
    for (int i = 0; i < addresses; ++i) {
        texts += QStringLiteral("192.168.%1.200").arg(200 + i);
    }
    QLabel &info = label("labelInfo");
    info.setText(QLatin1String("IP: ") + texts.join(QLatin1String(" / ")));
    m_log->resize(width, 462);
    // As wide as there is room beside the port, as high as its text, and all else is the list's.
    const auto *const line = m_log->findChild<QFrame *>(QStringLiteral("line"));
    const int gap = m_log->layout()->spacing();
    QTRY_COMPARE_WITH_TIMEOUT(info.height(), info.heightForWidth(info.width()), patience);
    QCOMPARE(m_log->size(), QSize(width, 462));
    QCOMPARE(list().geometry().bottom() + 1 + gap, info.y());
    QCOMPARE(info.height() >= 2 * info.fontMetrics().height() - 2, severalLines);
    QCOMPARE(info.geometry().right() + 1 + gap, line->x());
    QVERIFY(line->x() < label("labelPort").x());
    QCOMPARE(label("labelPort").geometry().right(), list().geometry().right());
    QCOMPARE(label("labelPort").width(), label("labelPort").sizeHint().width());
    QVERIFY(list().height() > 8 * list().fontMetrics().height());
}

void TestLogList::speaksTheLanguageChosenMeanwhile()
{
    open();
    fill("ab");
    QTranslator german;
    QVERIFY(german.load(QStringLiteral(NEMBRA_TRANSLATIONS "/NembraHub_de.qm")));
    QVERIFY(QCoreApplication::installTranslator(&german));
    QTRY_COMPARE_WITH_TIMEOUT(m_log->toolTip(),
                              QString::fromUtf8("<html><head/><body><p>In die Zwischenablage verschieben "
                                                "Ctrl+X<br/>In die Zwischenablage kopieren "
                                                "Ctrl+C<br/>Alle ausw\xc3\xa4hlen Ctrl+A</p></body></html>"),
                              patience);
    QCOMPARE(label("labelInfo").text(), QStringLiteral("IP: 10.77.0.1"));
    QCOMPARE(label("labelPort").text(), QStringLiteral("Port: ") + QString::number(m_port));
    const MenuUser menu;
    rightClick(list());
    QCOMPARE(menu.text(),
             QString::fromUtf8("Alle ausw\xc3\xa4hlen Ctrl+A | In die Zwischenablage kopieren Ctrl+C | In "
                               "die Zwischenablage verschieben Ctrl+X | - | Port \xc3\xa4ndern"));
    // What is there stays, and it goes on listening.
    QCOMPARE(letters(), QStringLiteral("ab"));
    receive({"c"});
    QCoreApplication::removeTranslator(&german);
    QTRY_VERIFY_WITH_TIMEOUT(m_log->toolTip().contains(QLatin1String("Select all")), patience);
}

void TestLogList::comesBackWithItsGeometry_data()
{
    QTest::addColumn<bool>("byKey");
    QTest::newRow("closed") << false;
    QTest::newRow("left by Escape") << true;
}

void TestLogList::comesBackWithItsGeometry()
{
    QFETCH(bool, byKey);
    open();
    m_log->resize(555, 333);
    QTRY_COMPARE_WITH_TIMEOUT(m_log->size(), QSize(555, 333), patience);
    if (byKey) {
        QTest::keyClick(&list(), Qt::Key_Escape);
    } else {
        QVERIFY(m_log->close());
    }
    QVERIFY(!m_log->isVisible());
    QVERIFY(settings::store().contains(geometryKey));
    open();
    QCOMPARE(m_log->size(), QSize(555, 333));
}

void TestLogList::offersAContextMenu_data()
{
    QTest::addColumn<QString>("widget");
    QTest::newRow("list") << "logListWidget";
    QTest::newRow("port") << "labelPort";
}

void TestLogList::offersAContextMenu()
{
    QFETCH(QString, widget);
    open();
    fill("ab");
    m_log->move(20, 20);
    const MenuUser menu;
    auto *const target = m_log->findChild<QWidget *>(widget);
    rightClick(*target);
    QCOMPARE(menu.text(), QStringLiteral("Select all Ctrl+A | Copy to clipboard Ctrl+C | Move to clipboard "
                                         "Ctrl+X | - | Change Port"));
    if (target == &list()) {
        QCOMPARE(menu.position(), target->mapToGlobal(QPoint(5, 5)));
    } else {
        // There may be no room below.
        QCOMPARE(menu.position().x(), target->mapToGlobal(QPoint(5, 5)).x());
    }
    QCOMPARE(clipboard().text(), clipboardBefore);
    QCOMPARE(letters(), QStringLiteral("ab"));
}

void TestLogList::actsByTheContextMenu()
{
    open();
    fill("abc");
    const auto choose = [this](const char *entry) {
        const MenuUser menu(QString::fromLatin1(entry));
        rightClick(label("labelPort"));
        return menu.text().isEmpty();
    };
    QVERIFY(!choose("Select all"));
    QCOMPARE(list().selectedItems().size(), 3);
    QVERIFY(!choose("Copy to clipboard"));
    QCOMPARE(clipboard().text().count(QLatin1String("\r\n")), 3);
    QCOMPARE(list().count(), 3);
    selectRows(0, 1);
    QVERIFY(!choose("Move to clipboard"));
    QCOMPARE(clipboard().text(),
             QStringLiteral("Thu Jan 1 01:00:00 1970 a\r\nThu Jan 1 01:00:00 1970 b\r\n"));
    QCOMPARE(letters(), QStringLiteral("c"));
    DialogSeries dialogs;
    dialogs.then(cancel);
    QVERIFY(!choose("Change Port"));
    QTRY_COMPARE_WITH_TIMEOUT(dialogs.seen().size(), 1, patience);
}

void TestLogList::opensFromTheMainWindow() const
{
    WindowBench bench;
    QAction *const action = bench.action("actionSyslog");
    QVERIFY(action->isCheckable());
    QVERIFY(!action->isChecked());
    action->trigger();
    QVERIFY(action->isChecked());
    QCOMPARE(logWindows().size(), 1);
    CLogList *const shown = logWindows().constFirst();
    QVERIFY(shown->isVisible());
    QVERIFY(!shown->parentWidget());
    QVERIFY(shown->testAttribute(Qt::WA_DeleteOnClose));
    QTRY_VERIFY_WITH_TIMEOUT(!isFree(m_port), patience);
    QVERIFY(send("<13>hello", m_port));
    QTRY_COMPARE_WITH_TIMEOUT(listOf(*shown).count(), 1, patience);
}

void TestLogList::opensOnlyOnce()
{
    WindowBench bench;
    bench.trigger("actionSyslog");
    QCOMPARE(logWindows().size(), 1);
    CLogList *const first = logWindows().constFirst();
    first->showMinimized();
    bench.trigger("actionSyslog");
    QCOMPARE(logWindows(), QList<CLogList *>{first});
    QVERIFY(first->isVisible());
    QVERIFY(!first->isMinimized());
    QVERIFY(bench.action("actionSyslog")->isChecked());
    // Its other states stay.
    first->setWindowState(Qt::WindowMaximized | Qt::WindowMinimized);
    bench.trigger("actionSyslog");
    QVERIFY(!first->isMinimized());
    QVERIFY(first->isMaximized());
}

void TestLogList::startsEmptyAfterItWasClosed_data()
{
    QTest::addColumn<bool>("byKey");
    QTest::newRow("closed") << false;
    QTest::newRow("left by Escape") << true;
}

void TestLogList::startsEmptyAfterItWasClosed() const
{
    QFETCH(bool, byKey);
    WindowBench bench;
    const QAction *const action = bench.action("actionSyslog");
    bench.trigger("actionSyslog");
    const QPointer<CLogList> first = logWindows().constFirst();
    QTRY_VERIFY_WITH_TIMEOUT(!isFree(m_port), patience);
    listOf(*first).append({{0, "a"}});
    if (byKey) {
        QTest::keyClick(first, Qt::Key_Escape);
    } else {
        first->close();
    }
    QTRY_VERIFY_WITH_TIMEOUT(first.isNull(), patience);
    QVERIFY(!action->isChecked());
    QVERIFY(isFree(m_port));
    QVERIFY(settings::store().contains(geometryKey));
    QVERIFY(bench.window().isVisible());

    bench.trigger("actionSyslog");
    QCOMPARE(logWindows().size(), 1);
    QVERIFY(action->isChecked());
    QCOMPARE(listOf(*logWindows().constFirst()).count(), 0);
    QTRY_VERIFY_WITH_TIMEOUT(!isFree(m_port), patience);
}

void TestLogList::goesWithTheMainWindow() const
{
    WindowBench bench;
    bench.trigger("actionSyslog");
    const QPointer<CLogList> log = logWindows().constFirst();
    QTRY_VERIFY_WITH_TIMEOUT(!isFree(m_port), patience);
    bench.window().close();
    bench.destroyWindow();
    QVERIFY(log.isNull());
    QVERIFY(isFree(m_port));
}

NEMBRA_GUI_TEST_MAIN(TestLogList)
#include "tst_loglist.moc"

#include "common/settings.h"
#include "dialogseries.h"
#include "mainwindow/mainwindow.h"
#include "syslog/loglist.h"
#include "syslog/loglistwidget.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "windowbench.h"

#include <QAction>
#include <QApplication>
#include <QBoxLayout>
#include <QClipboard>
#include <QDeadlineTimer>
#include <QFile>
#include <QInputDialog>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QScrollBar>
#include <QSizeGrip>
#include <QStyledItemDelegate>
#include <QTextLayout>
#include <QThread>
#include <QTranslator>
#include <QUdpSocket>
#include <QWindow>
#include <QtTest>

#include <algorithm>
#include <array>
#include <chrono>
#include <fcntl.h>
#include <linux/capability.h>
#include <memory>
#include <sched.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace dialogstep;

namespace {

/// Milliseconds that a message has to arrive and to be shown.
constexpr int patience = 10000;

const QString ownAddress = QStringLiteral("10.77.0.1");
const QString portKey = QStringLiteral("SyslogPort");
const QString geometryKey = QStringLiteral("LogDialog/Geometry");
const QString clipboardBefore = QStringLiteral("what was there before");

/// Time and load count only as users get the program.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(NDEBUG)
constexpr bool measured = false;
#else
constexpr bool measured = true;
#endif

/// A port that is free now.
quint16 freePort()
{
    QUdpSocket socket;
    return socket.bind(QHostAddress::Any, 0, QAbstractSocket::DontShareAddress) ? socket.localPort() : 0;
}

/// Whether nobody listens on a port.
bool isFree(quint16 port)
{
    return QUdpSocket().bind(QHostAddress::Any, port, QAbstractSocket::DontShareAddress);
}

void setPort(quint16 port)
{
    settings::store().setValue(portKey, port);
}

bool send(const QByteArray &datagram, quint16 port)
{
    return QUdpSocket().writeDatagram(datagram, QHostAddress(ownAddress), port) == datagram.size();
}

/// The text of a line without its time and the blank behind; says so if the time isn't one since `begin`.
QString withoutTime(const QString &line, qint64 begin)
{
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    for (qint64 second = begin; second <= now; ++second) {
        // "Sat Nov 21 02:50:54 2026", local time.
        const QDateTime time = QDateTime::fromSecsSinceEpoch(second);
        const QString stamp = QLocale::c().toString(time, QStringLiteral("ddd MMM d HH:mm:ss yyyy "));
        if (line.startsWith(stamp)) {
            return line.mid(stamp.size());
        }
    }
    return QLatin1String("(not from now) ") + line;
}

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

/// What the kernel says of the sockets of a port, a list of fields for each.
QVector<QList<QByteArray>> socketsOf(quint16 port)
{
    QVector<QList<QByteArray>> sockets;
    for (const char *const path : {"/proc/net/udp", "/proc/net/udp6"}) {
        QFile table(QString::fromLatin1(path));
        if (!table.open(QIODevice::ReadOnly)) {
            continue;
        }
        const QList<QByteArray> lines = table.readAll().split('\n');
        for (const QByteArray &line : lines) {
            const QList<QByteArray> fields = line.simplified().split(' ');
            if (fields.size() > 12 &&
                fields.at(1).endsWith(':' + QByteArray::number(port, 16).toUpper().rightJustified(4, '0'))) {
                sockets += fields;
            }
        }
    }
    return sockets;
}

/// What the kernel has dropped for want of room in the sockets of a port.
qint64 droppedBy(quint16 port)
{
    qint64 dropped = 0;
    const QVector<QList<QByteArray>> sockets = socketsOf(port);
    for (const QList<QByteArray> &fields : sockets) {
        dropped += fields.constLast().toLongLong();
    }
    return dropped;
}

/// Bytes that wait in the sockets of a port to be read, as the kernel counts them.
qint64 waitingAt(quint16 port)
{
    qint64 waiting = 0;
    const QVector<QList<QByteArray>> sockets = socketsOf(port);
    for (const QList<QByteArray> &fields : sockets) {
        waiting += fields.at(4).mid(fields.at(4).indexOf(':') + 1).toLongLong(nullptr, 16);
    }
    return waiting;
}

/// Bytes that the kernel keeps for a socket, by default and for one that asks for 4 MiB.
struct ReceiveBuffer
{
    int usual = 0;
    int granted = 0;
};
ReceiveBuffer receiveBuffer()
{
    ReceiveBuffer buffer;
    const int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int wanted = 4 * 1024 * 1024;
    socklen_t size = sizeof(int);
    getsockopt(probe, SOL_SOCKET, SO_RCVBUF, &buffer.usual, &size);
    setsockopt(probe, SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);
    getsockopt(probe, SOL_SOCKET, SO_RCVBUF, &buffer.granted, &size);
    close(probe);
    return buffer;
}

/// Bytes that the kernel counts for a small datagram.
constexpr int leastPerDatagram = 600;
constexpr int mostPerDatagram = 1024;

/// Sends them all from this thread, whose event loop doesn't turn meanwhile.
bool sendAtOnce(int count, quint16 port)
{
    QUdpSocket sender;
    const QHostAddress address(ownAddress);
    for (int i = 0; i < count; ++i) {
        const QByteArray datagram = QByteArray::number(i);
        if (sender.writeDatagram(datagram, address, port) != datagram.size()) {
            return false;
        }
    }
    return true;
}

/// Whether so many small datagrams wait at a port before long; the event loop doesn't turn meanwhile.
bool allWait(int count, quint16 port)
{
    const QDeadlineTimer deadline(patience);
    while (waitingAt(port) < qint64{count} * leastPerDatagram) {
        if (deadline.hasExpired()) {
            return false;
        }
        QThread::msleep(1);
    }
    return true;
}

/// This thread may not listen on a port below 1024, as long as the object lives.
class NoRightToLowPorts final
{
public:
    NoRightToLowPorts()
    {
        // Some systems leave low ports to everyone; the network is the test's own.
        QFile firstForAll(QStringLiteral("/proc/sys/net/ipv4/ip_unprivileged_port_start"));
        if (!firstForAll.open(QIODevice::ReadWrite | QIODevice::Unbuffered)) {
            return;
        }
        constexpr int usual = 1024;
        if (firstForAll.readAll().trimmed().toInt() < usual) {
            firstForAll.seek(0);
            if (firstForAll.write(QByteArray::number(usual)) < 0) {
                return;
            }
        }
        if (syscall(SYS_capget, &m_header, m_before.data()) != 0) {
            return;
        }
        Capabilities less = m_before;
        less.front().effective &= ~(1U << static_cast<unsigned>(CAP_NET_BIND_SERVICE));
        m_left = syscall(SYS_capset, &m_header, less.data()) == 0;
    }
    ~NoRightToLowPorts()
    {
        if (m_left && syscall(SYS_capset, &m_header, m_before.data()) != 0) {
            qFatal("no way back to the rights of before");
        }
    }
    Q_DISABLE_COPY_MOVE(NoRightToLowPorts)

    bool holds() const { return m_left; }

private:
    using Capabilities = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;

    /// Of this thread.
    __user_cap_header_struct m_header{_LINUX_CAPABILITY_VERSION_3, 0};
    Capabilities m_before{};
    bool m_left = false;
};

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

/// How high a text is without anything around, pixels.
int heightOf(const QString &text, const QFont &font)
{
    QTextLayout layout(text, font);
    layout.beginLayout();
    const QTextLine line = layout.createLine();
    layout.endLayout();
    return qCeil(line.height());
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

class TestLogList : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void looksAsDesigned();
    void offersItsSlotsInTheirOrder();
    void tellsTheKeysOfTheClipboard();
    void tellsWhereItListens();
    void tellsThatThereIsNoAddress();
    void wrapsItsAddresses_data();
    void wrapsItsAddresses();
    void listensOnceItIsUp();
    void listensOnPort514ByDefault();
    void speaksTheLanguageChosenMeanwhile();
    void comesBackWithItsGeometry_data();
    void comesBackWithItsGeometry();

    void showsMessagesAsReceived_data();
    void showsMessagesAsReceived();
    void showsLinesOfOneHeight();
    void keepsTheHeightOfALine();
    void leavesRoomForTheLongestLine();
    void measuresOncePerBatch();
    void showsTheLocalTime();
    void keepsTheOrder();
    void staysOpenEarsAfterAnEmptyDatagram();
    void keepsTheSelectionWhileOthersArrive();
    void selectsByTheMouseWhileOthersArrive_data();
    void selectsByTheMouseWhileOthersArrive();
    void findsALineByTyping();
    void doesNotSearchALongList();

    void copiesTheSelectedLines();
    void cutsTheSelectedLines();
    void leavesTheClipboardWithoutASelection_data();
    void leavesTheClipboardWithoutASelection();
    void logsWhatItCopied();
    void logsOnlyTheBeginning();
    void logsThatTheClipboardStayedEmpty();
    void logsNothingAboutACut();
    void leavesTheClipboardToFewerLines_data();
    void leavesTheClipboardToFewerLines();
    void selectsContiguousLines();
    void selectsAllByItsKey();
    void receivesAfterACut();

    void offersAContextMenu_data();
    void offersAContextMenu();
    void actsByTheContextMenu();

    void changesThePort();
    void offersThePortsThereAre();
    void keepsThePortWhenLeft();
    void tellsThatAPortIsInUse();
    void tellsThatTheChosenPortIsInUse();
    void tellsThatAPortIsNotAllowed_data();
    void tellsThatAPortIsNotAllowed();
    void takesThePortFromTheSettings_data();
    void takesThePortFromTheSettings();

    void opensFromTheMainWindow() const;
    void opensOnlyOnce();
    void startsEmptyAfterItWasClosed_data();
    void startsEmptyAfterItWasClosed() const;
    void goesWithTheMainWindow() const;

    void takesABurstWhileBusy();
    void readsAllThatWaits();
    void laysOutABurstOnce();
    void losesNothingOfABurst();
    void holdsAMillionLines();

private:
    /// Shows the window and waits until it listens.
    void open();
    CLogListWidget &list() const { return listOf(*m_log); }
    static CLogListWidget &listOf(const CLogList &log)
    {
        return *log.findChild<CLogListWidget *>(QStringLiteral("logListWidget"));
    }
    QLabel &label(const char *name) const { return *m_log->findChild<QLabel *>(QLatin1String(name)); }
    /// Sends each, and waits until they are there.
    void receive(const QList<QByteArray> &datagrams);
    /// Lines "Thu Jan 1 01:00:00 1970 a" and so on.
    void fill(const QByteArray &letters) const;
    /// The last letters of all lines.
    QString letters() const;
    void selectRows(int first, int last) const;
    /// The middle of a line, in the window's coordinates.
    QPoint middleOf(int row) const;
    /// "3 4 5", from top to bottom.
    QString selectedRows() const;
    void rightClick(QWidget &widget) const;
    static QClipboard &clipboard() { return *QApplication::clipboard(); }

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<CLogList> m_log;
    quint16 m_port = 0;
    qint64 m_begin = 0;
};

void TestLogList::init()
{
    m_environment = std::make_unique<TestEnvironment>();
    m_begin = QDateTime::currentSecsSinceEpoch();
    m_port = freePort();
    QVERIFY(m_port != 0);
    setPort(m_port);
    clipboard().setText(clipboardBefore);
}

void TestLogList::cleanup()
{
    m_log.reset();
    m_environment.reset();
}

void TestLogList::open()
{
    m_log = std::make_unique<CLogList>(nullptr);
    m_log->show();
    m_log->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_log.get()));
    const QString port = QStringLiteral("Port: %1").arg(settings::store().value(portKey, 514).toInt());
    QTRY_COMPARE_WITH_TIMEOUT(label("labelPort").text(), port, patience);
    // It moves as long as there is no room for its text.
    QTRY_VERIFY_WITH_TIMEOUT(label("labelPort").width() >= label("labelPort").sizeHint().width(), patience);
}

void TestLogList::receive(const QList<QByteArray> &datagrams)
{
    for (const QByteArray &datagram : datagrams) {
        const int before = list().count();
        QVERIFY(send(datagram, m_port));
        QTRY_COMPARE_WITH_TIMEOUT(list().count(), before + 1, patience);
    }
}

void TestLogList::fill(const QByteArray &letters) const
{
    QVector<LogMessage> messages;
    for (const char letter : letters) {
        messages.append({0, QByteArray(1, letter)});
    }
    list().append(messages);
}

QString TestLogList::letters() const
{
    QString letters;
    for (int row = 0; row < list().count(); ++row) {
        letters += list().item(row)->text().rightRef(1);
    }
    return letters;
}

void TestLogList::selectRows(int first, int last) const
{
    QTest::mouseClick(list().viewport(), Qt::LeftButton, Qt::NoModifier,
                      list().visualItemRect(list().item(first)).center());
    QTest::mouseClick(list().viewport(), Qt::LeftButton, Qt::ShiftModifier,
                      list().visualItemRect(list().item(last)).center());
}

QPoint TestLogList::middleOf(int row) const
{
    return list().viewport()->mapTo(m_log.get(), list().visualItemRect(list().item(row)).center());
}

QString TestLogList::selectedRows() const
{
    QStringList rows;
    for (int row = 0; row < list().count(); ++row) {
        if (list().item(row)->isSelected()) {
            rows += QString::number(row);
        }
    }
    return rows.join(QLatin1Char(' '));
}

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

void TestLogList::listensOnceItIsUp()
{
    m_log = std::make_unique<CLogList>(nullptr);
    m_log->show();
    QCOMPARE(label("labelPort").text(), QString());
    QVERIFY(isFree(m_port));
    QTRY_VERIFY_WITH_TIMEOUT(!isFree(m_port), patience);
    m_log.reset();
    QVERIFY(isFree(m_port));
}

void TestLogList::listensOnPort514ByDefault()
{
    settings::store().remove(portKey);
    if (!isFree(514)) {
        QTest::qSkip("port 514 is not for us here", __FILE__, __LINE__);
        return;
    }
    m_port = 514;
    open();
    QCOMPARE(label("labelPort").text(), QStringLiteral("Port: 514"));
    receive({"<13>hello"});
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

void TestLogList::showsMessagesAsReceived_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<QString>("text");

    const auto addRow = [](const char *name, const QByteArray &datagram, const QString &text) {
        QTest::newRow(name) << datagram << text;
    };
    const auto addSame = [&addRow](const char *name, const QByteArray &datagram) {
        addRow(name, datagram, QString::fromUtf8(datagram));
    };
    const QString replacement(QChar(0xFFFD));
    addSame("priority, time and host name", "<13>Jan  1 00:00:00 lab-1 sensor: 21.5");
    addSame("newer form", R"(<165>1 2026-11-21T02:50:54.003Z lab-1 sensor 42 ID47 [a b="c"] text)");
    addSame("broken priority", "<999999>text");
    addSame("blanks at both ends", "  text  ");
    addRow("zero byte", QByteArray("before\0after", 12), QStringLiteral("before"));
    addRow("zero byte in front", QByteArray("\0after", 6), QString());
    addRow("zero byte at the end", QByteArray("text\0", 5), QStringLiteral("text"));
    addRow("empty", QByteArray(), QString());
    addRow("UTF-8",
           "21.5 \xc2\xb0"
           "C",
           QStringLiteral("21.5 \u00B0C"));
    addRow("beyond the first plane", "\xf0\x9f\x98\x80!", QString::fromUcs4(U"\U0001F600!"));
    addRow("Latin-1",
           "21.5 \xb0"
           "C",
           QStringLiteral("21.5 ") + replacement + QLatin1Char('C'));
    addRow("cut off in a character", "abc\xc2", QStringLiteral("abc") + replacement);
    addRow("line feed", "one\ntwo\n", QStringLiteral("one\ntwo\n"));
    addRow("carriage return", "one\r\ntwo\rthree", QStringLiteral("one\r\ntwo\rthree"));
    addSame("control characters", "\x01\x02\a\b\t\v\f\x1b[31mred\x7f");
    addSame("line and paragraph separators", "a\xe2\x80\xa8"
                                             "b\xe2\x80\xa9"
                                             "c\xc2\x85"
                                             "d");
    addSame("HTML", R"(<b>bold</b><br><img src="file:///etc/passwd"><a href="http://a/">b</a>)");
    addSame("entities", "&lt;&amp;&deg;C");
    addSame("formats", "%1 %s %n %d %L1");
    addSame("mnemonic", "R&D && more");
    addSame("right to left", "\xd7\xa9\xd7\x9c\xd7\x95\xd7\x9d 123 \xe2\x80\xae"
                             "abc");
    addSame("1500 bytes", QByteArray(1500, 'x'));
    addSame("the longest datagram", QByteArray(65506, 'x') + '!');
    addSame("many line feeds", QByteArray(60000, '\n'));
}

void TestLogList::showsMessagesAsReceived()
{
    QFETCH(QByteArray, datagram);
    QFETCH(QString, text);
    open();
    receive({"before", datagram, "after"});
    QCOMPARE(list().count(), 3);
    QCOMPARE(withoutTime(list().item(1)->text(), m_begin), text);
    QCOMPARE(withoutTime(list().item(2)->text(), m_begin), QStringLiteral("after"));
    // One row, as high as any other.
    const int height = list().visualItemRect(list().item(0)).height();
    QVERIFY(height >= list().fontMetrics().height());
    QVERIFY(height < 2 * list().fontMetrics().height());
    for (int row = 1; row < 3; ++row) {
        QCOMPARE(list().visualItemRect(list().item(row)).height(), height);
    }
    // It can be painted.
    QVERIFY(!list().grab().isNull());
    // The whole text goes to the clipboard.
    selectRows(1, 1);
    list().copySelection();
    QCOMPARE(clipboard().text(), list().item(1)->text() + QLatin1String("\r\n"));
}

void TestLogList::showsLinesOfOneHeight()
{
    open();
    receive({"one\ntwo\nthree", "plain", QByteArray(60000, 'x'), "", "<h1>big</h1>", "\xe2\x80\xa8"});
    const int height = list().visualItemRect(list().item(0)).height();
    for (int row = 0; row < list().count(); ++row) {
        const QRect rect = list().visualItemRect(list().item(row));
        QCOMPARE(rect.height(), height);
        QCOMPARE(rect.top() - list().visualItemRect(list().item(0)).top(), row * height);
    }
    // The line breaks are blanks on the screen.
    const auto *const delegate = qobject_cast<QStyledItemDelegate *>(list().itemDelegate());
    QVERIFY(delegate);
    QVERIFY(
        delegate->displayText(list().item(0)->text(), QLocale()).endsWith(QLatin1String(" one two three")));
}

void TestLogList::keepsTheHeightOfALine()
{
    open();
    list().append({{0, "plain"}});
    const auto height = [this] { return list().visualItemRect(list().item(0)).height(); };
    // As high as the view makes any line.
    QListWidget usual;
    usual.addItem(QStringLiteral("plain"));
    const int before = height();
    QCOMPARE(before, usual.visualItemRect(usual.item(0)).height());
    // Chinese, an emoji and brackets, which come from other fonts.
    const QString higher = QString::fromUtf8("\xe6\xb8\xa9 \xf0\x9f\x98\x80 \xe2\x8c\xa9 \xe3\x80\x9a");
    if (heightOf(higher, list().font()) <= heightOf(QStringLiteral("plain"), list().font())) {
        QTest::qSkip("no font here is higher than the usual one", __FILE__, __LINE__);
        return;
    }
    list().append({{0, higher.toUtf8()}});
    QCOMPARE(height(), before);
    list().append({{0, "plain"}});
    QCOMPARE(height(), before);
    // And with a font that the user has made bigger.
    QFont bigger = list().font();
    bigger.setPointSize(bigger.pointSize() * 2);
    list().setFont(bigger);
    usual.setFont(bigger);
    QTRY_COMPARE_WITH_TIMEOUT(height(), usual.visualItemRect(usual.item(0)).height(), patience);
    QVERIFY(height() > before);
}

void TestLogList::leavesRoomForTheLongestLine()
{
    open();
    const QScrollBar &bar = *list().horizontalScrollBar();
    list().append({{0, "short"}});
    QCOMPARE(bar.maximum(), 0);
    list().append({{0, "short"}, {0, QByteArray(500, 'x')}, {0, "short"}});
    const int widest = bar.maximum() + list().viewport()->width();
    QVERIFY2(widest > list().fontMetrics().horizontalAdvance(QString(500, QLatin1Char('x'))),
             qPrintable(QString::number(widest)));
    // It stays while the line is there.
    list().append({{0, "short"}});
    QCOMPARE(bar.maximum() + list().viewport()->width(), widest);
    list().selectAll();
    list().cutSelection();
    list().append({{0, "short"}});
    QCOMPARE(bar.maximum(), 0);
    // And comes again with the next long one.
    list().append({{0, QByteArray(400, 'x')}});
    QVERIFY(bar.maximum() > 0);
}

void TestLogList::measuresOncePerBatch()
{
    if (!measured) {
        QTest::qSkip("only as users get it", __FILE__, __LINE__);
        return;
    }
    // Each one longer than all before, and the same the other way round.
    constexpr int count = 2000;
    QVector<LogMessage> rising;
    for (int i = 1; i <= count; ++i) {
        rising.append({0, QByteArray(i, 'x')});
    }
    QVector<LogMessage> falling = rising;
    std::reverse(falling.begin(), falling.end());
    const auto timeFor = [](const QVector<LogMessage> &messages) {
        // The machine may be busy: the best of three.
        qint64 best = std::numeric_limits<qint64>::max();
        for (int i = 0; i < 3; ++i) {
            CLogListWidget list;
            QElapsedTimer clock;
            clock.start();
            list.append(messages);
            best = std::min(best, clock.nsecsElapsed());
        }
        return best / 1000;
    };
    const qint64 one = timeFor(falling);
    const qint64 each = timeFor(rising);
    qInfo() << one << "us with the longest first," << each << "us with the longest last";
    QVERIFY2(each < 10 * one, qPrintable(QStringLiteral("%1 of %2").arg(each).arg(one)));
}

void TestLogList::showsTheLocalTime()
{
    open();
    // In Berlin: winter, summer, and the second before 2000.
    list().append({{0, "a"}, {1000000000999, "b"}, {946681199000, "c"}});
    QCOMPARE(list().item(0)->text(), QStringLiteral("Thu Jan 1 01:00:00 1970 a"));
    QCOMPARE(list().item(1)->text(), QStringLiteral("Sun Sep 9 03:46:40 2001 b"));
    QCOMPARE(list().item(2)->text(), QStringLiteral("Fri Dec 31 23:59:59 1999 c"));
}

void TestLogList::keepsTheOrder()
{
    open();
    constexpr int count = 200;
    QUdpSocket sender;
    for (int i = 0; i < count; ++i) {
        QVERIFY(sender.writeDatagram(QByteArray::number(i), QHostAddress(ownAddress), m_port) > 0);
    }
    QTRY_COMPARE_WITH_TIMEOUT(list().count(), count, patience);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(withoutTime(list().item(i)->text(), m_begin), QString::number(i));
    }
}

void TestLogList::staysOpenEarsAfterAnEmptyDatagram()
{
    open();
    for (int i = 0; i < 5; ++i) {
        receive({QByteArray(), "text"});
    }
    // Several in a row, without a wait between.
    for (int i = 0; i < 10; ++i) {
        QVERIFY(send(QByteArray(), m_port));
    }
    QTRY_COMPARE_WITH_TIMEOUT(list().count(), 20, patience);
    receive({"last"});
    QCOMPARE(withoutTime(list().item(0)->text(), m_begin), QString());
    QCOMPARE(withoutTime(list().item(20)->text(), m_begin), QStringLiteral("last"));
}

void TestLogList::keepsTheSelectionWhileOthersArrive()
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

void TestLogList::selectsByTheMouseWhileOthersArrive_data()
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

void TestLogList::selectsByTheMouseWhileOthersArrive()
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

void TestLogList::findsALineByTyping()
{
    open();
    // A Thursday, a Sunday and a Friday.
    list().append({{0, "a"}, {1000000000999, "b"}, {946681199000, "c"}});
    list().setCurrentRow(0);
    QTest::keyClicks(&list(), QStringLiteral("fri"));
    QCOMPARE(list().currentRow(), 2);
    QCOMPARE(selectedRows(), QStringLiteral("2"));
}

void TestLogList::doesNotSearchALongList()
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

void TestLogList::copiesTheSelectedLines()
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

void TestLogList::cutsTheSelectedLines()
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

void TestLogList::leavesTheClipboardWithoutASelection_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<QByteArray>("lines");
    QTest::newRow("copy") << int(Qt::Key_C) << QByteArray("ab");
    QTest::newRow("cut") << int(Qt::Key_X) << QByteArray("ab");
    QTest::newRow("copy of nothing") << int(Qt::Key_C) << QByteArray();
    QTest::newRow("cut of nothing") << int(Qt::Key_X) << QByteArray();
}

void TestLogList::leavesTheClipboardWithoutASelection()
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

void TestLogList::logsWhatItCopied()
{
    open();
    fill("a");
    list().selectAll();
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral(
                                         R"re(^Clipboard is not empty: .*Thu Jan 1 01:00:00 1970 a)re")));
    list().copySelection();
}

void TestLogList::logsOnlyTheBeginning()
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

void TestLogList::logsThatTheClipboardStayedEmpty()
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

void TestLogList::logsNothingAboutACut()
{
    open();
    fill("ab");
    list().selectAll();
    const LogReader log;
    list().cutSelection();
    QCOMPARE(clipboard().text().count(QLatin1String("\r\n")), 2);
    QCOMPARE(LogReader::lines(), QStringList());
}

void TestLogList::leavesTheClipboardToFewerLines_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("copy") << int(Qt::Key_C);
    QTest::newRow("cut") << int(Qt::Key_X);
}

void TestLogList::leavesTheClipboardToFewerLines()
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

void TestLogList::selectsContiguousLines()
{
    open();
    fill("abcdef");
    selectRows(1, 4);
    QCOMPARE(list().selectedItems().size(), 4);
    selectRows(5, 5);
    QCOMPARE(list().selectedItems().size(), 1);
}

void TestLogList::selectsAllByItsKey()
{
    open();
    fill("abc");
    QTest::keyClick(&list(), Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(list().selectedItems().size(), 3);
}

void TestLogList::receivesAfterACut()
{
    open();
    fill("abc");
    list().selectAll();
    list().cutSelection();
    receive({"next"});
    QCOMPARE(list().count(), 1);
    QCOMPARE(withoutTime(list().item(0)->text(), m_begin), QStringLiteral("next"));
    QVERIFY(list().visualItemRect(list().item(0)).height() > 0);
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

void TestLogList::changesThePort()
{
    open();
    receive({"to the old one"});
    const quint16 old = m_port;
    const quint16 next = freePort();
    QVERIFY(next != old);
    DialogSeries dialogs;
    dialogs.then([next](QWidget *dialog) {
        auto *const input = qobject_cast<QInputDialog *>(dialog);
        input->setIntValue(next);
        input->accept();
    });
    m_log->on_actionChangePort_triggered();
    QCOMPARE(dialogs.seen(), QStringList{QStringLiteral(": ")});
    QCOMPARE(settings::store().value(portKey).toInt(), int(next));
    QCOMPARE(label("labelPort").text(), QStringLiteral("Port: ") + QString::number(next));
    QCOMPARE(label("labelInfo").text(), QStringLiteral("IP: 10.77.0.1"));
    QVERIFY(isFree(old));
    m_port = next;
    receive({"to the new one"});
    QCOMPARE(list().count(), 2);
    // And for the next window.
    open();
    QCOMPARE(list().count(), 0);
    receive({"again"});
}

void TestLogList::offersThePortsThereAre()
{
    open();
    QString shown;
    DialogSeries dialogs;
    dialogs.then([&shown](QWidget *dialog) {
        const auto *const input = qobject_cast<QInputDialog *>(dialog);
        shown = QStringLiteral("%1%2 %3..%4 by %5, %6")
                    .arg(input->windowTitle(), input->labelText())
                    .arg(input->intMinimum())
                    .arg(input->intMaximum())
                    .arg(input->intStep())
                    .arg(input->intValue());
        cancel(dialog);
    });
    m_log->on_actionChangePort_triggered();
    QCOMPARE(shown,
             QStringLiteral("Set syslog port (normally 514): 0..65535 by 1, ") + QString::number(m_port));
    settings::store().remove(portKey);
    dialogs.then([&shown](QWidget *dialog) {
        shown = QString::number(qobject_cast<QInputDialog *>(dialog)->intValue());
        cancel(dialog);
    });
    m_log->on_actionChangePort_triggered();
    QCOMPARE(shown, QStringLiteral("514"));
}

void TestLogList::keepsThePortWhenLeft()
{
    open();
    DialogSeries dialogs;
    dialogs.then([](QWidget *dialog) {
        qobject_cast<QInputDialog *>(dialog)->setIntValue(7);
        cancel(dialog);
    });
    m_log->on_actionChangePort_triggered();
    QCOMPARE(settings::store().value(portKey).toInt(), int(m_port));
    QCOMPARE(label("labelPort").text(), QStringLiteral("Port: ") + QString::number(m_port));
    receive({"still there"});
}

void TestLogList::tellsThatAPortIsInUse()
{
    QUdpSocket other;
    QVERIFY(other.bind(QHostAddress::Any, m_port, QAbstractSocket::DontShareAddress));
    QStringList how;
    bool up = false;
    DialogSeries dialogs;
    dialogs.then([&](QWidget *dialog) {
        const auto *const box = qobject_cast<QMessageBox *>(dialog);
        how = QStringList{box->windowTitle(), QString::number(box->icon()),
                          QString::number(int(box->standardButtons()))};
        up = m_log && m_log->isVisible() && dialog->parentWidget() == m_log.get();
        answer(QMessageBox::Ok)(dialog);
    });
    m_log = std::make_unique<CLogList>(nullptr);
    m_log->show();
    QTRY_COMPARE_WITH_TIMEOUT(
        dialogs.seen(), QStringList{QStringLiteral("box: Could not bind to syslog port %1.").arg(m_port)},
        patience);
    QTRY_VERIFY_WITH_TIMEOUT(!QApplication::activeModalWidget(), patience);
    QCOMPARE(how, QStringList(
                      {QString(), QString::number(QMessageBox::Critical), QString::number(QMessageBox::Ok)}));
    QVERIFY(up);
    QVERIFY(m_log->isVisible());
    QCOMPARE(list().count(), 0);
    // Nobody tries again by itself; another port does.
    other.close();
    QVERIFY(isFree(m_port));
    m_log->initSyslog();
    receive({"now"});
}

void TestLogList::tellsThatTheChosenPortIsInUse()
{
    open();
    receive({"before"});
    QUdpSocket other;
    QVERIFY(other.bind(QHostAddress::Any, 0, QAbstractSocket::DontShareAddress));
    const int taken = other.localPort();
    DialogSeries dialogs;
    dialogs
        .then([taken](QWidget *dialog) {
            auto *const input = qobject_cast<QInputDialog *>(dialog);
            input->setIntValue(taken);
            input->accept();
        })
        .then(answer(QMessageBox::Ok));
    m_log->on_actionChangePort_triggered();
    QCOMPARE(dialogs.seen(),
             QStringList({QStringLiteral(": "),
                          QStringLiteral("box: Could not bind to syslog port %1.").arg(taken)}));
    QVERIFY(isFree(m_port));
    QCOMPARE(settings::store().value(portKey).toInt(), taken);
    QCOMPARE(label("labelPort").text(), QStringLiteral("Port: ") + QString::number(taken));
    // What was received stays.
    QCOMPARE(list().count(), 1);
    QVERIFY(m_log->isVisible());
}

void TestLogList::tellsThatAPortIsNotAllowed_data()
{
    QTest::addColumn<int>("port");
    QTest::newRow("the usual one") << 514;
    QTest::newRow("the first one") << 1;
    QTest::newRow("the last one") << 1023;
}

void TestLogList::tellsThatAPortIsNotAllowed()
{
    QFETCH(int, port);
    const quint16 allowed = m_port;
    setPort(static_cast<quint16>(port));
    DialogSeries dialogs;
    dialogs.then(answer(QMessageBox::Ok));
    {
        const NoRightToLowPorts noRight;
        if (!noRight.holds()) {
            QTest::qSkip("the rights can't be changed here", __FILE__, __LINE__);
            return;
        }
        m_log = std::make_unique<CLogList>(nullptr);
        m_log->show();
        QTRY_COMPARE_WITH_TIMEOUT(
            dialogs.seen(), QStringList{QStringLiteral("box: Could not bind to syslog port %1.").arg(port)},
            patience);
        QTRY_VERIFY_WITH_TIMEOUT(!QApplication::activeModalWidget(), patience);
        QVERIFY(m_log->isVisible());
        QCOMPARE(label("labelPort").text(), QStringLiteral("Port: %1").arg(port));
        QCOMPARE(settings::store().value(portKey).toInt(), port);
        dialogs.then([allowed](QWidget *dialog) {
            auto *const input = qobject_cast<QInputDialog *>(dialog);
            input->setIntValue(allowed);
            input->accept();
        });
        m_log->on_actionChangePort_triggered();
        QCOMPARE(label("labelPort").text(), QStringLiteral("Port: %1").arg(allowed));
        receive({"now"});
    }
    // Nobody has tried again, though it would be allowed by now.
    receive({"and now"});
    QVERIFY(isFree(static_cast<quint16>(port)));
    QCOMPARE(dialogs.seen().size(), 2);
    QCOMPARE(list().count(), 2);
}

void TestLogList::takesThePortFromTheSettings_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<int>("port");
    QTest::newRow("a port") << QByteArray("20514") << 20514;
    QTest::newRow("the highest") << QByteArray("65535") << 65535;
    QTest::newRow("any that is free") << QByteArray("0") << 0;
    QTest::newRow("too high") << QByteArray("65536") << 514;
    QTest::newRow("that is another when cut to 16 bits") << QByteArray("70000") << 514;
    QTest::newRow("that is another when cut to 32 bits") << QByteArray("4294987810") << 514;
    QTest::newRow("of more than 64 bits") << QByteArray("99999999999999999999") << 514;
    QTest::newRow("negative") << QByteArray("-1") << 514;
    QTest::newRow("text") << QByteArray("text") << 514;
    QTest::newRow("empty") << QByteArray() << 514;
    QTest::newRow("a fraction") << QByteArray("20514.5") << 514;
    QTest::newRow("an exponent") << QByteArray("1e4") << 514;
    QTest::newRow("a list") << QByteArray("20514, 20515") << 514;
    QTest::newRow("invalid") << QByteArray("@Invalid()") << 514;
    QTest::newRow("bytes") << QByteArray("@ByteArray(20514)") << 20514;
}

void TestLogList::takesThePortFromTheSettings()
{
    QFETCH(QByteArray, stored);
    QFETCH(int, port);
    QFile file(m_environment->path(QStringLiteral("edited.ini")));
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.errorString()));
    QVERIFY(file.write("[General]\nSyslogPort=" + stored + '\n') > 0);
    file.close();
    settings::open(file.fileName());
    int offered = -1;
    const auto look = [&offered](QWidget *dialog) {
        if (const auto *const input = qobject_cast<QInputDialog *>(dialog)) {
            offered = input->intValue();
            cancel(dialog);
        } else {
            // Where 514 is not for us, a box says so.
            answer(QMessageBox::Ok)(dialog);
        }
    };
    DialogSeries dialogs;
    dialogs.then(look).then(look);
    m_log = std::make_unique<CLogList>(nullptr);
    m_log->show();
    QTRY_COMPARE_WITH_TIMEOUT(label("labelPort").text(), QStringLiteral("Port: %1").arg(port), patience);
    if (dialogs.seen().isEmpty() && port != 0) {
        QVERIFY(!isFree(static_cast<quint16>(port)));
    } else {
        QTRY_VERIFY_WITH_TIMEOUT(!QApplication::activeModalWidget(), patience);
    }
    m_log->on_actionChangePort_triggered();
    QCOMPARE(offered, port);
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

void TestLogList::takesABurstWhileBusy()
{
    const ReceiveBuffer buffer = receiveBuffer();
    const int count = std::min(5000, buffer.granted / mostPerDatagram);
    if (buffer.usual >= count * leastPerDatagram) {
        QTest::qSkip("the system grants no more than it does anyway", __FILE__, __LINE__);
        return;
    }
    open();
    QVERIFY(sendAtOnce(count, m_port));
    QTRY_VERIFY_WITH_TIMEOUT(list().count() + droppedBy(m_port) >= count, patience);
    QCOMPARE(droppedBy(m_port), qint64(0));
    QCOMPARE(list().count(), count);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(withoutTime(list().item(i)->text(), m_begin), QString::number(i));
    }
}

void TestLogList::readsAllThatWaits()
{
    open();
    constexpr int count = 200;
    QVERIFY(sendAtOnce(count, m_port));
    QVERIFY(allWait(count, m_port));
    // One wake-up takes all of them.
    m_log->processPendingDatagrams();
    QCOMPARE(waitingAt(m_port), qint64(0));
    QCOMPARE(list().count(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(list().count(), count, patience);
}

void TestLogList::laysOutABurstOnce()
{
    open();
    fill(QByteArray(100, 'a'));
    const QScrollBar &bar = *list().verticalScrollBar();
    QVERIFY(bar.maximum() > 0);
    const QSignalSpy laidOut(&bar, &QScrollBar::rangeChanged);
    const QSignalSpy scrolled(&bar, &QScrollBar::valueChanged);
    constexpr int count = 200;
    QVERIFY(sendAtOnce(count, m_port));
    QVERIFY(allWait(count, m_port));
    m_log->processPendingDatagrams();
    QTRY_COMPARE_WITH_TIMEOUT(list().count(), 100 + count, patience);
    QCOMPARE(laidOut.count(), 1);
    QCOMPARE(scrolled.count(), 1);
    QCOMPARE(bar.value(), bar.maximum());
}

void TestLogList::losesNothingOfABurst()
{
    if (!measured) {
        QTest::qSkip("only as users get it", __FILE__, __LINE__);
        return;
    }
    open();
    constexpr int count = 20000;
    int accepted = 0;
    qint64 milliseconds = 0;
    const quint16 port = m_port;
    std::thread sender([&accepted, &milliseconds, port] {
        QUdpSocket socket;
        const QByteArray datagram(200, 'x');
        const QHostAddress address(ownAddress);
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; i < count; ++i) {
            accepted += socket.writeDatagram(datagram, address, port) == datagram.size() ? 1 : 0;
        }
        milliseconds = clock.elapsed();
    });
    QTRY_VERIFY_WITH_TIMEOUT(list().count() + droppedBy(port) >= count, 30000);
    sender.join();
    qInfo() << accepted << "sent in" << milliseconds << "ms," << list().count() << "shown," << droppedBy(port)
            << "dropped by the kernel";
    QCOMPARE(accepted, count);
    QCOMPARE(list().count() + droppedBy(port), qint64(count));
    QVERIFY(list().count() > 0);
    QCOMPARE(withoutTime(list().item(list().count() - 1)->text(), m_begin),
             QString::fromLatin1(QByteArray(200, 'x')));
}

void TestLogList::holdsAMillionLines()
{
    if (!measured) {
        QTest::qSkip("only as users get it", __FILE__, __LINE__);
        return;
    }
    open();
    constexpr int count = 1000000;
    constexpr int atOnce = 10000;
    constexpr qint64 mostMemory = 400LL * 1024 * 1024;
    const qint64 before = thisprocess::residentMemory();
    for (int i = 0; i < count; i += atOnce) {
        QVector<LogMessage> messages;
        messages.reserve(atOnce);
        for (int j = 0; j < atOnce; ++j) {
            messages.append({0, QByteArray(200, static_cast<char>('a' + j % 26))});
        }
        list().append(messages);
    }
    QCOMPARE(list().count(), count);
    const qint64 held = thisprocess::residentMemory() - before;

    // Processor time: others leave us as much of the machine as they like.
    const auto workOf = [](const std::function<void()> &action) {
        const qint64 start = thisprocess::workOfThread();
        action();
        return thisprocess::workOfThread() - start;
    };
    const auto appendFurther = [this] {
        list().append(QVector<LogMessage>(100, LogMessage{0, "further"}));
        list().viewport()->repaint();
    };
    // One of them may make the list move to a bigger place.
    const qint64 appending = std::min({workOf(appendFurther), workOf(appendFurther), workOf(appendFurther)});
    const qint64 copying = workOf([this] {
        list().selectAll();
        list().copySelection();
    });
    QCOMPARE(clipboard().text().count(QLatin1Char('\n')), count + 300);
    clipboard().clear();
    // The least that can be done: every line made and joined.
    const qint64 joining = workOf([] {
        QString text;
        for (int i = 0; i < count; ++i) {
            text += QString::fromUtf8(QByteArray(200, 'x')) + QLatin1Char('\n');
        }
        QVERIFY(text.size() > count);
    });
    qInfo() << held / 1024 / 1024 << "MB," << appending << "ms to append," << copying
            << "ms to copy, joining alone" << joining;
    QVERIFY2(held <= mostMemory, qPrintable(QString::number(held)));
    QVERIFY2(appending <= joining / 3, qPrintable(QString::number(appending)));
    QVERIFY2(copying <= 3 * joining, qPrintable(QString::number(copying)));
}

NEMBRA_GUI_TEST_MAIN(TestLogList)
#include "tst_loglist.moc"

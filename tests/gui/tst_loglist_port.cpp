#include "common/settings.h"
#include "dialogseries.h"
#include "logbench.h"

#include <QApplication>
#include <QFile>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QUdpSocket>
#include <QtTest>

#include <array>
#include <linux/capability.h>
#include <memory>
#include <sys/syscall.h>
#include <unistd.h>

using namespace dialogstep;

namespace {

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

} // namespace
/// The port on which the log listens: which one, how it is changed, and what is said where it can't be had.
class TestLogListPort final : public QObject, private LogBench
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void listensOnceItIsUp();
    void listensOnPort514ByDefault();
    void changesThePort();
    void offersThePortsThereAre();
    void keepsThePortWhenLeft();

    void tellsThatAPortIsInUse();
    void tellsThatTheChosenPortIsInUse();
    void tellsThatAPortIsNotAllowed_data();
    void tellsThatAPortIsNotAllowed();

    void takesThePortFromTheSettings_data();
    void takesThePortFromTheSettings();
};

void TestLogListPort::listensOnceItIsUp()
{
    m_log = std::make_unique<CLogList>(nullptr);
    m_log->show();
    QCOMPARE(label("labelPort").text(), QString());
    QVERIFY(isFree(m_port));
    QTRY_VERIFY_WITH_TIMEOUT(!isFree(m_port), patience);
    m_log.reset();
    QVERIFY(isFree(m_port));
}

void TestLogListPort::listensOnPort514ByDefault()
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

void TestLogListPort::changesThePort()
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

void TestLogListPort::offersThePortsThereAre()
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

void TestLogListPort::keepsThePortWhenLeft()
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

void TestLogListPort::tellsThatAPortIsInUse()
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

void TestLogListPort::tellsThatTheChosenPortIsInUse()
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

void TestLogListPort::tellsThatAPortIsNotAllowed_data()
{
    QTest::addColumn<int>("port");
    QTest::newRow("the usual one") << 514;
    QTest::newRow("the first one") << 1;
    QTest::newRow("the last one") << 1023;
}

void TestLogListPort::tellsThatAPortIsNotAllowed()
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

void TestLogListPort::takesThePortFromTheSettings_data()
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

void TestLogListPort::takesThePortFromTheSettings()
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

NEMBRA_GUI_TEST_MAIN(TestLogListPort)
#include "tst_loglist_port.moc"

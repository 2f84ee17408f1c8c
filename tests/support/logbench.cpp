#include "logbench.h"

#include "common/settings.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QUdpSocket>
#include <QtTest>

const QString LogBench::ownAddress = QStringLiteral("10.77.0.1");
const QString LogBench::portKey = QStringLiteral("SyslogPort");
const QString LogBench::clipboardBefore = QStringLiteral("what was there before");

LogBench::LogBench() = default;

LogBench::~LogBench() = default;

quint16 LogBench::freePort()
{
    QUdpSocket socket;
    return socket.bind(QHostAddress::Any, 0, QAbstractSocket::DontShareAddress) ? socket.localPort() : 0;
}

bool LogBench::isFree(quint16 port)
{
    return QUdpSocket().bind(QHostAddress::Any, port, QAbstractSocket::DontShareAddress);
}

void LogBench::setPort(quint16 port)
{
    settings::store().setValue(portKey, port);
}

bool LogBench::send(const QByteArray &datagram, quint16 port)
{
    return QUdpSocket().writeDatagram(datagram, QHostAddress(ownAddress), port) == datagram.size();
}

QClipboard &LogBench::clipboard()
{
    return *QApplication::clipboard();
}

void LogBench::begin()
{
    m_environment = std::make_unique<TestEnvironment>();
    m_begin = QDateTime::currentSecsSinceEpoch();
    m_port = freePort();
    QVERIFY(m_port != 0);
    setPort(m_port);
    clipboard().setText(clipboardBefore);
}

void LogBench::end()
{
    m_log.reset();
    m_environment.reset();
}

void LogBench::open()
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

CLogListWidget &LogBench::listOf(const CLogList &log)
{
    return *log.findChild<CLogListWidget *>(QStringLiteral("logListWidget"));
}

QLabel &LogBench::label(const char *name) const
{
    return *m_log->findChild<QLabel *>(QLatin1String(name));
}

void LogBench::receive(const QList<QByteArray> &datagrams)
{
    for (const QByteArray &datagram : datagrams) {
        const int before = list().count();
        QVERIFY(send(datagram, m_port));
        QTRY_COMPARE_WITH_TIMEOUT(list().count(), before + 1, patience);
    }
}

void LogBench::fill(const QByteArray &letters) const
{
    QVector<LogMessage> messages;
    for (const char letter : letters) {
        messages.append({0, QByteArray(1, letter)});
    }
    list().append(messages);
}

QString LogBench::letters() const
{
    QString letters;
    for (int row = 0; row < list().count(); ++row) {
        letters += list().item(row)->text().rightRef(1);
    }
    return letters;
}

QString LogBench::withoutTime(const QString &line) const
{
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    for (qint64 second = m_begin; second <= now; ++second) {
        // "Sat Nov 21 02:50:54 2026", local time.
        const QDateTime time = QDateTime::fromSecsSinceEpoch(second);
        const QString stamp = QLocale::c().toString(time, QStringLiteral("ddd MMM d HH:mm:ss yyyy "));
        if (line.startsWith(stamp)) {
            return line.mid(stamp.size());
        }
    }
    return QLatin1String("(not from now) ") + line;
}

void LogBench::selectRows(int first, int last) const
{
    QTest::mouseClick(list().viewport(), Qt::LeftButton, Qt::NoModifier,
                      list().visualItemRect(list().item(first)).center());
    QTest::mouseClick(list().viewport(), Qt::LeftButton, Qt::ShiftModifier,
                      list().visualItemRect(list().item(last)).center());
}

QString LogBench::selectedRows() const
{
    QStringList rows;
    for (int row = 0; row < list().count(); ++row) {
        if (list().item(row)->isSelected()) {
            rows += QString::number(row);
        }
    }
    return rows.join(QLatin1Char(' '));
}

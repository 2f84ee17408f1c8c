#include "syslog/loglist.h"

#include "ui_loglist.h"

#include "common/settings.h"

#include <QDateTime>
#include <QDebug>
#include <QInputDialog>
#include <QKeySequence>
#include <QMenu>
#include <QMessageBox>
#include <QNetworkInterface>

#include <chrono>

using namespace std::chrono_literals;

namespace {

/// Room for what devices send at once when something is wrong. The kernel may grant less.
constexpr int receiveBufferSize = 4 * 1024 * 1024;
/// The longest datagram there can be, bytes.
constexpr int longestDatagram = 65536;
/// How many are read before the event loop gets its turn.
constexpr int datagramsPerTurn = 20000;
/// In which messages are collected: the list is laid out once for all of them, and that takes the longer the
/// more there are.
constexpr std::chrono::milliseconds collectingTime = 50ms;
constexpr int linesPerMillisecond = 10000;

constexpr int maximumPort = 65535;

/// The settings file may hold anything; what is no port there means the usual one.
int listeningPort()
{
    const settings::Key<int> &key = settings::syslogPort;
    bool isNumber = false;
    const qlonglong stored = settings::store().value(settings::path(key), key.fallback).toLongLong(&isNumber);
    return isNumber && stored >= 0 && stored <= maximumPort ? static_cast<int>(stored) : key.fallback;
}

QString localAddresses()
{
    QStringList addresses;
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &interface : interfaces) {
        const QNetworkInterface::InterfaceFlags flags = interface.flags();
        if (!flags.testFlag(QNetworkInterface::IsUp) || flags.testFlag(QNetworkInterface::IsLoopBack)) {
            continue;
        }
        const QList<QNetworkAddressEntry> entries = interface.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            if (entry.ip().protocol() == QAbstractSocket::IPv4Protocol) {
                addresses.append(entry.ip().toString());
            }
        }
    }
    return addresses.join(QLatin1String(" / "));
}

QString keysOf(QKeySequence::StandardKey key)
{
    return QKeySequence(key).toString(QKeySequence::NativeText);
}

} // namespace

CLogList::CLogList(QWidget *parent)
    : QDialog(parent, Qt::Window)
    , ui(std::make_unique<Ui::CLogList>())
{
    ui->setupUi(this);
    setToolTips();
    connect(&m_socket, &QUdpSocket::readyRead, this, &CLogList::processPendingDatagrams);
    connect(ui->labelPort, &QWidget::customContextMenuRequested, this,
            &CLogList::on_CLogList_customContextMenuRequested);
    m_showTimer.setSingleShot(true);
    connect(&m_showTimer, &QTimer::timeout, this, &CLogList::showReceived);
    restoreGeometry(settings::bytes(settings::syslogGeometry));
    QTimer::singleShot(0, this, &CLogList::initSyslog);
}

CLogList::~CLogList() = default;

void CLogList::setToolTips()
{
    setToolTip(QLatin1String("<html><head/><body><p>") + tr("Move to clipboard") + QLatin1Char(' ') +
               keysOf(QKeySequence::Cut) + QLatin1String("<br/>") + tr("Copy to clipboard") +
               QLatin1Char(' ') + keysOf(QKeySequence::Copy) + QLatin1String("<br/>") + tr("Select all") +
               QLatin1Char(' ') + keysOf(QKeySequence::SelectAll) + QLatin1String("</p></body></html>"));
}

void CLogList::showPlace()
{
    const QString addresses = localAddresses();
    ui->labelInfo->setText(tr("IP: ") + (addresses.isEmpty() ? tr("Unknown") : addresses));
    ui->labelPort->setText(tr("Port: %1").arg(listeningPort()));
}

void CLogList::initSyslog()
{
    showPlace();
    const int port = listeningPort();
    if (!m_socket.bind(QHostAddress::Any, static_cast<quint16>(port), QAbstractSocket::ShareAddress)) {
        qDebug() << "Syslog port" << port << m_socket.errorString();
        QMessageBox::critical(this, QString(), tr("Could not bind to syslog port %1.").arg(port));
        return;
    }
    m_socket.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, receiveBufferSize);
}

void CLogList::processPendingDatagrams()
{
    if (m_socket.state() != QAbstractSocket::BoundState) {
        return;
    }
    QByteArray datagram(longestDatagram, Qt::Uninitialized);
    int read = 0;
    // Read first and ask afterwards: a wake-up after which nothing was read is the last one.
    do {
        const qint64 size = m_socket.readDatagram(datagram.data(), datagram.size());
        if (size >= 0) {
            m_received.append(
                LogMessage::of(QDateTime::currentMSecsSinceEpoch(), datagram.constData(), size));
        }
    } while (++read < datagramsPerTurn && m_socket.hasPendingDatagrams());
    if (m_received.isEmpty()) {
        return;
    }
    if (!m_showTimer.isActive()) {
        m_showTimer.start(collectingTime +
                          std::chrono::milliseconds(ui->logListWidget->count() / linesPerMillisecond));
    }
}

void CLogList::showReceived()
{
    QVector<LogMessage> messages;
    messages.swap(m_received);
    ui->logListWidget->append(messages);
}

void CLogList::on_CLogList_customContextMenuRequested(const QPoint &pos)
{
    const auto *const sender = qobject_cast<QWidget *>(this->sender());
    CLogListWidget *const list = ui->logListWidget;
    QMenu menu;
    menu.addAction(tr("Select all"), list, &QAbstractItemView::selectAll, QKeySequence::SelectAll);
    menu.addAction(tr("Copy to clipboard"), list, &CLogListWidget::copySelection, QKeySequence::Copy);
    menu.addAction(tr("Move to clipboard"), list, &CLogListWidget::cutSelection, QKeySequence::Cut);
    menu.addSeparator();
    menu.addAction(ui->actionChangePort);
    const QList<QAction *> actions = menu.actions();
    for (QAction *const action : actions) {
        action->setShortcutVisibleInContextMenu(true);
    }
    menu.exec((sender ? sender : this)->mapToGlobal(pos));
}

void CLogList::on_actionChangePort_triggered()
{
    bool accepted = false;
    const int port = QInputDialog::getInt(this, QString(), tr("Set syslog port (normally 514):"),
                                          listeningPort(), 0, maximumPort, 1, &accepted);
    if (accepted) {
        settings::setValue(settings::syslogPort, port);
        m_socket.close();
        initSyslog();
    }
}

void CLogList::done(int result)
{
    settings::setValue(settings::syslogGeometry, saveGeometry());
    QDialog::done(result);
}

void CLogList::changeEvent(QEvent *event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) {
        ui->retranslateUi(this);
        setToolTips();
        showPlace();
    }
}

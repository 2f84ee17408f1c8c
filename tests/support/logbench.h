#pragma once

#include "syslog/loglist.h"
#include "syslog/loglistwidget.h"
#include "testenvironment.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <memory>

class QClipboard;
class QLabel;
class QPoint;

/// The window of the log on the screen, a port of its own for it, and what a user does there. A test has it
/// between begin() and end().
class LogBench
{
public:
    LogBench();
    ~LogBench();
    Q_DISABLE_COPY_MOVE(LogBench)

    /// Milliseconds that a message has to arrive and to be shown.
    static constexpr int patience = 10000;
    /// The address of this machine.
    static const QString ownAddress;
    static const QString portKey;
    static const QString clipboardBefore;

    /// A port that is free now; zero if there is none.
    static quint16 freePort();
    /// Whether nobody listens on a port.
    static bool isFree(quint16 port);
    static void setPort(quint16 port);
    static bool send(const QByteArray &datagram, quint16 port);
    static QClipboard &clipboard();

    void begin();
    void end();

    /// Shows the window and waits until it listens.
    void open();
    CLogListWidget &list() const { return listOf(*m_log); }
    static CLogListWidget &listOf(const CLogList &log);
    QLabel &label(const char *name) const;
    /// Sends each, and waits until they are there.
    void receive(const QList<QByteArray> &datagrams);
    /// Lines "Thu Jan 1 01:00:00 1970 a" and so on.
    void fill(const QByteArray &letters) const;
    /// The last letters of all lines.
    QString letters() const;
    /// The text of a line without its time and the blank behind; says so if the time isn't one since begin().
    QString withoutTime(const QString &line) const;
    void selectRows(int first, int last) const;
    /// "3 4 5", from top to bottom.
    QString selectedRows() const;

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<CLogList> m_log;
    quint16 m_port = 0;

private:
    /// Of begin(), seconds since 1970.
    qint64 m_begin = 0;
};

#pragma once

#include "syslog/loglistwidget.h"

#include <QDialog>
#include <QTimer>
#include <QUdpSocket>
#include <QVector>

#include <memory>

namespace Ui {
class CLogList;
}

/// Receives the devices' syslog and shows it, in a window of its own. What was received goes with the window.
/// GUI thread only.
class CLogList final : public QDialog
{
    Q_OBJECT

public:
    explicit CLogList(QWidget *parent);
    ~CLogList() override;

    /// Remembers the geometry, however the window is closed.
    void done(int result) override;

public slots:
    /// Shows where it listens, and listens.
    void initSyslog();
    void processPendingDatagrams();
    void on_CLogList_customContextMenuRequested(const QPoint &pos);
    void on_actionChangePort_triggered();

protected:
    void changeEvent(QEvent *event) override;

private:
    void setToolTips();
    void showPlace();
    void showReceived();

    std::unique_ptr<Ui::CLogList> ui;
    QUdpSocket m_socket;
    /// Received, but not yet in the list.
    QVector<LogMessage> m_received;
    QTimer m_showTimer;
};

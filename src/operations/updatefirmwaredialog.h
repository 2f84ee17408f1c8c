#pragma once

#include "operations/updatethread.h"

#include <QDialog>
#include <QList>
#include <QTimer>

#include <chrono>
#include <memory>

namespace Ui {
class UpdateFirmwareDialog;
}
class Device;
class Discovery;

/// Updates the firmware of many devices at once, each by a thread of its own, and shows how far each is. An
/// update that has ended stays on show until the user cancels or closes.
class UpdateFirmwareDialog final : public QDialog
{
    Q_OBJECT

public:
    /// The devices and the discovery service must outlive the dialog.
    UpdateFirmwareDialog(const QList<Device *> &devices, Discovery &discovery, QWidget *parent);
    ~UpdateFirmwareDialog() override;

    /// How long the updates that are started from now on leave a device alone that restarts.
    void setRestartTime(std::chrono::milliseconds time) { m_restartTime = time; }

    /// Ends what is running and remembers how the dialog looks, however it is closed.
    void done(int result) override;

public slots:
    void on_pushButtonUpdate_clicked();
    void on_pushButtonClose_clicked();
    void on_pushButtonCancel_clicked();
    /// Of one of the threads.
    void onThreadMessage(const QString &text);

private:
    void restoreView();
    void saveView();
    void setUpdating(bool updating);
    void addThread(int row);
    void endThreads();

    std::unique_ptr<Ui::UpdateFirmwareDialog> ui;
    const QList<Device *> m_devices;
    QList<UpdateThread *> m_threads;
    std::chrono::milliseconds m_restartTime = UpdateThread::Job().restartTime;
    /// Has the devices that restart found again.
    QTimer m_refreshTimer;
};

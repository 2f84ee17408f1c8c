#pragma once

#include "operations/transfer.h"

#include <QDialog>

#include <memory>

namespace Ui {
class LoadHistoryDialog;
}
class Device;
class QCalendarWidget;

/// Saves the recorded history of many devices' sensors as files, for a span of days and in steps that the
/// user chooses, as often as the user likes.
class LoadHistoryDialog final : public QDialog
{
    Q_OBJECT

public:
    ~LoadHistoryDialog() override;

    /// Returns when the user has closed the dialog; the devices must last until then.
    static void downloadHistory(const QList<Device *> &devices, QWidget *parent);

    /// Ends what is running and remembers how the dialog looks, however it is closed.
    void done(int result) override;

protected:
    void changeEvent(QEvent *event) override;

private slots:
    void on_pushButtonClose_clicked();
    void on_pushButtonCancel_clicked();
    void on_pushButtonLoad_clicked();

private:
    LoadHistoryDialog(const QList<Device *> &devices, QWidget *parent);
    void addDevices(const QList<Device *> &devices);
    void setUpCalendars(const QList<Device *> &devices);
    void colorWeekends();
    static void nameParts(const QCalendarWidget &calendar, const QString &label);
    void restoreView();
    void saveView();
    void setRunning(bool running);
    void showRow(int row, const QString &text, Transfer::Mark mark);
    void showReceived(int row, qint64 bytes);
    void endRun();

    std::unique_ptr<Ui::LoadHistoryDialog> ui;
    const QList<Device *> m_devices;
    Transfer m_transfer;
};

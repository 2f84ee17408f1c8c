#pragma once

#include "operations/transfer.h"

#include <QDialog>

#include <memory>

namespace Ui {
class NetworkOperationsDialog;
}
class Device;

/// Transfers configurations from or to many devices at once, and shows what becomes of each.
class NetworkOperationsDialog final : public QDialog
{
    Q_OBJECT

public:
    ~NetworkOperationsDialog() override;

    /// Saves the configuration of each device as a file in the directory. Returns when the user has closed
    /// the dialog; it needs the devices no more once it has begun.
    static void downloadConfigs(const QString &directory, const QList<Device *> &devices,
                                bool includePasswords, QWidget *parent);
    /// Sends the content of a configuration file to each device. Returns as downloadConfigs() does.
    static void uploadConfig(const QByteArray &config, const QList<Device *> &devices, QWidget *parent);

private slots:
    void on_pushButtonClose_clicked();
    void on_pushButtonCancel_clicked();

private:
    NetworkOperationsDialog(const QList<Device *> &devices, QWidget *parent);
    void run(const Transfer::Operation &operation);
    void showRow(int row, const QString &text, Transfer::Mark mark);
    void showEnd();

    std::unique_ptr<Ui::NetworkOperationsDialog> ui;
    QList<DeviceAccess> m_devices;
    Transfer m_transfer;
};

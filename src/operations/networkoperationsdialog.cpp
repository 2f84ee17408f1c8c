#include "operations/networkoperationsdialog.h"

#include "ui_networkoperationsdialog.h"

#include "device/device.h"
#include "operations/devicetable.h"
#include "web/deviceprotocol.h"

#include <QDebug>

namespace {

constexpr int statusColumn = 1;

} // namespace

NetworkOperationsDialog::NetworkOperationsDialog(const QList<Device *> &devices, QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::NetworkOperationsDialog>())
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    ui->tableWidget->setColumnWidth(statusColumn, devicetable::statusWidth(ui->tableWidget));
    devicetable::showAsLines(ui->tableWidget);
    ui->tableWidget->setRowCount(devices.size());
    for (const Device *const device : devices) {
        devicetable::fillRow(ui->tableWidget, m_devices.size(), {device->record().hostname()});
        m_devices.append(DeviceAccess(*device));
    }
    devicetable::fitHostnames(ui->tableWidget);
    connect(&m_transfer, &Transfer::rowChanged, this, &NetworkOperationsDialog::showRow);
    connect(&m_transfer, &Transfer::ended, this, &NetworkOperationsDialog::showEnd);
}

NetworkOperationsDialog::~NetworkOperationsDialog() = default;

void NetworkOperationsDialog::downloadConfigs(const QString &directory, const QList<Device *> &devices,
                                              bool includePasswords, QWidget *parent)
{
    NetworkOperationsDialog dialog(devices, parent);
    dialog.ui->label->setText(tr("Downloading configs."));
    dialog.setWindowTitle(tr("Save config"));
    Transfer::Operation operation;
    operation.send = [includePasswords](QNetworkAccessManager *manager, const DeviceAccess &device) {
        return deviceprotocol::fetchConfiguration(manager, device.baseUrl, includePasswords);
    };
    operation.activity = tr("Downloading");
    operation.directory = directory;
    operation.suffix = QStringLiteral(".qini");
    operation.logAnswers = true;
    dialog.run(operation);
}

void NetworkOperationsDialog::uploadConfig(const QByteArray &config, const QList<Device *> &devices,
                                           QWidget *parent)
{
    NetworkOperationsDialog dialog(devices, parent);
    dialog.ui->label->setText(tr("Uploading config."));
    dialog.setWindowTitle(tr("Upload config"));
    Transfer::Operation operation;
    operation.send = [config](QNetworkAccessManager *manager, const DeviceAccess &device) {
        return deviceprotocol::sendConfiguration(manager, device.baseUrl, config);
    };
    operation.activity = tr("Uploading");
    dialog.run(operation);
}

void NetworkOperationsDialog::run(const Transfer::Operation &operation)
{
    ui->pushButtonClose->setEnabled(false);
    m_transfer.start(m_devices, operation);
    exec();
}

void NetworkOperationsDialog::showRow(int row, const QString &text, Transfer::Mark mark)
{
    devicetable::showStatus(ui->tableWidget->item(row, statusColumn), text, mark);
}

void NetworkOperationsDialog::showEnd()
{
    ui->pushButtonClose->setEnabled(true);
    ui->pushButtonCancel->setEnabled(false);
}

void NetworkOperationsDialog::on_pushButtonCancel_clicked()
{
    m_transfer.cancel();
    showEnd();
}

void NetworkOperationsDialog::on_pushButtonClose_clicked()
{
    reject();
}

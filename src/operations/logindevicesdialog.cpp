#include "operations/logindevicesdialog.h"

#include "ui_logindevicesdialog.h"

#include "common/plainline.h"
#include "device/device.h"

#include <QDebug>

LoginDevicesDialog::LoginDevicesDialog(const QList<Device *> &devices, AccessLevel required, QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::LoginDevicesDialog>())
    , m_devices(devices)
    , m_required(required)
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    ui->labelHostname->clear();
    ui->labelError->clear();
    for (const Device *const device : m_devices) {
        connect(device, &Device::loginResult, this, &LoginDevicesDialog::onLoginResult);
        connect(device, &Device::newData, this, &LoginDevicesDialog::onDeviceData);
    }
    showCurrentDevice();
    ui->lineEditUser->setFocus(Qt::OtherFocusReason);
}

LoginDevicesDialog::~LoginDevicesDialog() = default;

Device *LoginDevicesDialog::currentDevice() const
{
    return m_devices.value(m_current);
}

void LoginDevicesDialog::showCurrentDevice()
{
    const Device *const device = currentDevice();
    if (!device) {
        return;
    }
    const QString hostname = plainLine(device->record().hostname(), DiscoveryDevice::nameAreaSize);
    ui->labelHostname->setText(m_devices.size() > 1 ? QStringLiteral("%1 (%2/%3)")
                                                          .arg(hostname, QString::number(m_current + 1),
                                                               QString::number(m_devices.size()))
                                                    : hostname);
}

void LoginDevicesDialog::setInputsEnabled(bool enabled)
{
    ui->lineEditUser->setEnabled(enabled);
    ui->lineEditPassword->setEnabled(enabled);
    ui->pushButtonOK->setEnabled(enabled);
}

void LoginDevicesDialog::on_checkBoxShowPassword_stateChanged(int arg1)
{
    QLineEdit *const password = ui->lineEditPassword;
    password->setEchoMode(arg1 == Qt::Unchecked ? QLineEdit::Password : QLineEdit::Normal);
    // Whoever may look at it, no input method learns it.
    password->setInputMethodHints(password->inputMethodHints() | Qt::ImhSensitiveData |
                                  Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase);
}

void LoginDevicesDialog::on_lineEditUser_returnPressed()
{
    ui->lineEditPassword->setFocus(Qt::OtherFocusReason);
}

void LoginDevicesDialog::on_lineEditPassword_returnPressed()
{
    on_pushButtonOK_clicked();
}

void LoginDevicesDialog::on_pushButtonOK_clicked()
{
    Device *const device = currentDevice();
    if (!device) {
        accept();
        return;
    }
    device->login(ui->lineEditUser->text(), ui->lineEditPassword->text());
    // After it: an older login that it aborts reports its failure at once.
    ui->labelError->setText(tr("Waiting..."));
    setInputsEnabled(false);
}

void LoginDevicesDialog::on_pushButtonCancel_clicked()
{
    reject();
}

void LoginDevicesDialog::onLoginResult(bool successful, const QString &message)
{
    Device *const device = currentDevice();
    if (!device || sender() != device) {
        return;
    }
    m_loginOk = successful;
    qDebug() << "onLoginResult" << successful << message << m_loginOk;
    if (successful) {
        device->updateInfo();
        showCurrentDevice();
        return;
    }
    ui->labelError->setText(message);
    setInputsEnabled(true);
    ui->lineEditPassword->setFocus(Qt::OtherFocusReason);
    ui->lineEditPassword->selectAll();
}

void LoginDevicesDialog::onDeviceData()
{
    const Device *const device = currentDevice();
    if (!device || sender() != device) {
        return;
    }
    qDebug() << "onDeviceData" << m_loginOk << device->loginGroup();
    if (!m_loginOk) {
        return;
    }
    if (device->mayAccess(m_required)) {
        goOn();
    } else {
        // The inputs stay disabled: there is no second try for this device.
        ui->labelError->setText(tr("Missing access rights"));
        m_loginOk = false;
    }
}

void LoginDevicesDialog::goOn()
{
    ++m_current;
    // What the next device reports meanwhile is no answer to a login of its own.
    m_loginOk = false;
    ui->labelError->clear();
    if (!currentDevice()) {
        accept();
        return;
    }
    setInputsEnabled(true);
    ui->lineEditUser->setFocus(Qt::OtherFocusReason);
    ui->lineEditUser->selectAll();
    showCurrentDevice();
}

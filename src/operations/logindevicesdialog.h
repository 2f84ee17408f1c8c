#pragma once

#include <QDialog>
#include <QList>

#include <memory>

namespace Ui {
class LoginDevicesDialog;
}
enum class AccessLevel : qint32;
class Device;

/// Logs in to one device after the other, and makes sure that each session may do what is needed. Accepted
/// when all may. What was typed for one device stands ready for the next.
class LoginDevicesDialog final : public QDialog
{
    Q_OBJECT

public:
    /// `required`: what the sessions must be allowed to do. The devices must outlive the dialog.
    LoginDevicesDialog(const QList<Device *> &devices, AccessLevel required, QWidget *parent);
    ~LoginDevicesDialog() override;

public slots:
    void on_checkBoxShowPassword_stateChanged(int arg1);
    void on_lineEditUser_returnPressed();
    void on_lineEditPassword_returnPressed();
    void on_pushButtonOK_clicked();
    void on_pushButtonCancel_clicked();
    void onLoginResult(bool successful, const QString &message);
    void onDeviceData();

private:
    Device *currentDevice() const;
    void showCurrentDevice();
    void setInputsEnabled(bool enabled);
    void goOn();

    std::unique_ptr<Ui::LoginDevicesDialog> ui;
    const QList<Device *> m_devices;
    int m_current = 0;
    /// Logged in to the current device; what the session may do is not known yet.
    bool m_loginOk = false;
    const AccessLevel m_required;
};

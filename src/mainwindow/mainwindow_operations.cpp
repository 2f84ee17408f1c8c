#include "mainwindow/mainwindow.h"

#include "ui_mainwindow.h"

#include "common/settings.h"
#include "device/device.h"
#include "device/queryqueue.h"
#include "discovery/configdialog.h"
#include "discovery/discovery.h"
#include "mainwindow/rowcounts.h"
#include "operations/loadhistorydialog.h"
#include "operations/logindevicesdialog.h"
#include "operations/networkoperationsdialog.h"
#include "operations/updatefirmwaredialog.h"
#include "syslog/loglist.h"
#include "widgets/plainmessagebox.h"

#include <QDebug>
#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QSet>

#include <algorithm>
#include <iterator>

namespace {

/// After which a device that was given another address is asked for it; milliseconds.
constexpr int restartTime = 500;

} // namespace

void MainWindow::enableOperations(const SelectionRules &rules)
{
    for (QAction *const action :
         {ui->actionSet_Login, ui->actionSave_Configs, ui->actionSave_with_passwords, ui->actionDownload_CSV,
          ui->actionUpload_config, ui->actionUpdate_Firmware}) {
        action->setEnabled(rules.operate);
    }
    ui->actionConfigureDevice->setEnabled(rules.configureDevice);
}

bool MainWindow::ensureAccess(const Selection &devices, AccessLevel level)
{
    const QList<Device *> all = present(devices);
    QList<Device *> missing;
    std::copy_if(all.begin(), all.end(), std::back_inserter(missing),
                 [level](const Device *device) { return !device->mayAccess(level); });
    return (missing.isEmpty() || LoginDevicesDialog(missing, level, this).exec() == QDialog::Accepted) &&
           !present(devices).isEmpty();
}

bool MainWindow::selectAuthorized(Selection &out, AccessLevel level)
{
    return selectReachable(out, true, true) && ensureAccess(out, level);
}

void MainWindow::on_actionSet_Login_triggered()
{
    Selection devices;
    if (selectReachable(devices, true, true)) {
        LoginDevicesDialog(present(devices), AccessLevel::None, this).exec();
    }
}

void MainWindow::on_actionSave_Configs_triggered()
{
    Selection devices;
    if (selectAuthorized(devices, AccessLevel::ReadConfig)) {
        saveConfigs(devices, false);
    }
}

void MainWindow::on_actionSave_with_passwords_triggered()
{
    Selection devices;
    if (selectAuthorized(devices, AccessLevel::WriteConfig)) {
        saveConfigs(devices, true);
    }
}

void MainWindow::saveConfigs(const Selection &devices, bool includePasswords)
{
    const QString directory = QFileDialog::getExistingDirectory(
        this, tr("Open Directory"), settings::value(settings::configDirectory),
        QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
    if (directory.isEmpty()) {
        return;
    }
    settings::setValue(settings::configDirectory, directory);
    const QList<Device *> left = present(devices);
    if (!left.isEmpty()) {
        NetworkOperationsDialog::downloadConfigs(directory, left, includePasswords, this);
    }
}

void MainWindow::on_actionUpload_config_triggered()
{
    Selection devices;
    if (!selectAuthorized(devices, AccessLevel::WriteConfig)) {
        return;
    }
    const QString path = QFileDialog::getOpenFileName(this, QStringLiteral("Upload config"),
                                                      settings::value(settings::lastUploadConfigFile));
    if (path.isEmpty()) {
        return;
    }
    settings::setValue(settings::lastUploadConfigFile, path);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return;
    }
    if (devices.size() > 1 &&
        !PlainMessageBox::question(this, tr("Really upload config to %1 devices?").arg(devices.size()))) {
        return;
    }
    const QByteArray config = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        // A part of a configuration is worse than none.
        return;
    }
    const QList<Device *> left = present(devices);
    if (!left.isEmpty()) {
        NetworkOperationsDialog::uploadConfig(config, left, this);
        refreshDevices();
    }
}

void MainWindow::on_actionDownload_CSV_triggered()
{
    Selection devices;
    if (selectAuthorized(devices, AccessLevel::ReadData)) {
        LoadHistoryDialog::downloadHistory(present(devices), this);
    }
}

void MainWindow::on_actionUpdate_Firmware_triggered()
{
    Selection devices;
    if (selectReachable(devices, true, true) && mayUpdateFirmware(devices)) {
        updateFirmware(devices);
    }
}

bool MainWindow::mayUpdateFirmware(const Selection &devices)
{
    const auto oneType = [this](const QSet<QString> &types) {
        if (types.size() > 1) {
            PlainMessageBox::critical(this, tr("Devices with multiple types selected"));
        }
        return types.size() <= 1;
    };
    // Before anybody has to log in. What a device without rights says about itself may be wrong.
    QSet<QString> knownTypes;
    const QList<Device *> before = present(devices);
    for (const Device *const device : before) {
        if (device->mayAccess(AccessLevel::WriteConfig)) {
            knownTypes.insert(device->deviceType());
        }
    }
    if (!oneType(knownTypes) || !ensureAccess(devices, AccessLevel::WriteConfig)) {
        return false;
    }
    QSet<QString> types;
    const QList<Device *> left = present(devices);
    for (const Device *const device : left) {
        qDebug() << device->record().hostname() << device->deviceType();
        types.insert(device->deviceType());
    }
    qDebug() << types.size();
    return oneType(types) && (!types.contains(QString()) ||
                              PlainMessageBox::criticalQuestion(
                                  this, tr("Devices with unknown types selected. Update anyway?")));
}

void MainWindow::updateFirmware(const Selection &devices)
{
    const QList<Device *> updated = present(devices);
    if (updated.isEmpty()) {
        return;
    }
    const auto mark = [this, &devices](bool active) {
        m_firmwareUpdateActive = active;
        const QList<Device *> all = present(devices);
        for (Device *const device : all) {
            device->setUpdateMember(active);
        }
    };
    m_autoUpdateTimer.stop();
    mark(true);
    // The others are asked by the refresh after it.
    m_queryQueue->keepOnly([](const Device *device) { return device->updateMember(); });
    UpdateFirmwareDialog(updated, *m_discovery, this).exec();
    mark(false);
    applyAutoUpdate();
    refreshDevices();
}

void MainWindow::on_actionConfigureDevice_triggered()
{
    Selection devices;
    if (!selectReachable(devices, false, true) || devices.size() > 1) {
        return;
    }
    DiscoveryDevice record = devices.first()->record();
    CConfigDialog dialog(this);
    dialog.showRecord(record);
    if (dialog.exec() == QDialog::Accepted && dialog.applyTo(record) && mayRestart()) {
        m_discovery->configure(record);
        QTimer::singleShot(restartTime, m_discovery, &Discovery::refresh);
    }
    dialog.saveGeometrySettings();
}

bool MainWindow::mayRestart()
{
    QMessageBox box(this);
    box.setIcon(QMessageBox::Question);
    box.setText(tr("Update device?"));
    box.setInformativeText(tr("The device will restart."));
    box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
    box.setDefaultButton(QMessageBox::Yes);
    return box.exec() == QMessageBox::Yes;
}

void MainWindow::on_actionSyslog_triggered()
{
    if (!m_logList) {
        m_logList = new CLogList(nullptr);
        m_logList->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_logList, &QObject::destroyed, this, &MainWindow::on_logClosed);
    }
    m_logList->setWindowState(m_logList->windowState() & ~Qt::WindowMinimized);
    m_logList->show();
    m_logList->raise();
    ui->actionSyslog->setChecked(true);
}

void MainWindow::on_logClosed()
{
    m_logList = nullptr;
    ui->actionSyslog->setChecked(false);
}

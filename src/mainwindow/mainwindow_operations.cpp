#include "mainwindow/mainwindow.h"

#include "ui_mainwindow.h"

#include "mainwindow/rowcounts.h"

// What is not there yet keeps its place in the menus, disabled, and its slot in the window.

void MainWindow::enableOperations(const SelectionRules &rules)
{
    Q_UNUSED(rules)
    for (QAction *const action : {ui->actionSave_Configs, ui->actionSave_with_passwords,
                                  ui->actionDownload_CSV, ui->actionUpload_config, ui->actionUpdate_Firmware,
                                  ui->actionSet_Login, ui->actionConfigureDevice, ui->actionSyslog}) {
        action->setEnabled(false);
    }
}

void MainWindow::on_actionSet_Login_triggered() {}
void MainWindow::on_actionSave_Configs_triggered() {}
void MainWindow::on_actionSave_with_passwords_triggered() {}
void MainWindow::on_actionUpload_config_triggered() {}
void MainWindow::on_actionDownload_CSV_triggered() {}
void MainWindow::on_actionUpdate_Firmware_triggered() {}
void MainWindow::on_actionConfigureDevice_triggered() {}
void MainWindow::on_actionSyslog_triggered() {}
void MainWindow::on_logClosed() {}

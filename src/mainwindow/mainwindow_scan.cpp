#include "ui_mainwindow.h"

#include "common/settings.h"
#include "discovery/discovery.h"
#include "mainwindow/mainwindow.h"

void MainWindow::applySettings()
{
    m_discovery->setPort(static_cast<quint16>(settings::value(settings::scanPort)));
    const bool autoUpdate = settings::value(settings::scanAutoUpdate);
    ui->actionAuto->setChecked(autoUpdate);
    runAutoUpdate(autoUpdate);
    const int iconSize = settings::value(settings::iconSize);
    ui->mainToolBar->setIconSize(QSize(iconSize, iconSize));
}

void MainWindow::on_actionAuto_triggered(bool checked)
{
    runAutoUpdate(checked);
}

void MainWindow::runAutoUpdate(bool on)
{
    if (on) {
        constexpr double millisecondsPerSecond = 1000.0;
        m_autoUpdateTimer.start(
            static_cast<int>(settings::value(settings::scanAutoUpdateInterval) * millisecondsPerSecond));
    } else {
        m_autoUpdateTimer.stop();
    }
}

void MainWindow::on_actionProgram_options_triggered() {}
void MainWindow::on_actionSave_list_triggered() {}
void MainWindow::loadDevices() {}
